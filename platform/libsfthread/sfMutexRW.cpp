// The reader/writer lock uses only one atomic word, state_, while no thread waits. A thread that
// releases a lock with waiters acquires the lock on behalf of the waiters that it admits, so that
// no other thread can overtake these waiters.

#include <libsfthread/sfMutexRW.h>

#include <algorithm>
#include <utility>

namespace {
// state_ counts reads in units of kRead and has two flags. While kAwaited is set, reads and
// writes are released only under mutex_.
constexpr unsigned kWriting = 1, kAwaited = 2, kRead = 4;
constexpr std::chrono::milliseconds kFirstClosing{80}, kLongestClosing{1280};
// `first`: the lock that this thread last asked to read. `second`: the number of its reads of
// `first` since it last read another lock, minus its calls of unlock(). Only a hint: other threads
// may release these reads, and the thread may still hold reads of `first` from before.
[[gnu::tls_model("initial-exec")]] thread_local std::pair<const sfMutexRW*, int> mine;
}  // namespace

// Counts the read first, which is fastest, and subtracts it again if the thread has to wait.
void sfMutexRW::readLock() {
  if (mine.first == this) {
    ++mine.second;
  } else {
    mine = {this, 1};
  }
  if ((state_.fetch_add(kRead) & (kWriting | kAwaited)) != 0) WaitToRead();
}

// Called after state_ has counted the read.
void sfMutexRW::WaitToRead() {
  sdm_internal::MutexLock lock(mutex_);
  if (MayRead(/*nested=*/mine.second > 1)) return;
  const auto isAdmitted = [this, turn = readersTurn_]()
                              SDM_REQUIRES(mutex_) { return readersTurn_ != turn; };
  const auto isWritten = [this] { return (state_ & kWriting) != 0; };
  const auto opening = opening_;
  ++waitingReaders_;
  Release(kRead);
  if (isWritten() || readers_.wait_until(lock.ForWaiting(), opening, isAdmitted) || isWritten()) {
    return readers_.wait(lock.ForWaiting(), isAdmitted);
  }
  --waitingReaders_;
  state_ += kRead;
}

bool sfMutexRW::tryReadLock() {
  const int reads = mine.first == this ? mine.second : 0;
  if ((state_.fetch_add(kRead) & (kWriting | kAwaited)) != 0 && !TryToKeepRead(reads > 0)) {
    return false;
  }
  mine = {this, reads + 1};
  return true;
}

// Called after state_ has counted the read. If the read is not allowed, subtracts it again and
// returns false.
bool sfMutexRW::TryToKeepRead(bool nested) {
  const sdm_internal::MutexLock lock(mutex_);
  if (MayRead(nested)) return true;
  Release(kRead);
  return false;
}

void sfMutexRW::writeLock() {
  if (tryWriteLock()) return;
  sdm_internal::MutexLock lock(mutex_);
  if (state_.fetch_or(kAwaited) == 0) return static_cast<void>(state_ += kWriting);
  writers_.wait(lock.ForWaiting(), [this, turn = writersQueued_++]()
                                       SDM_REQUIRES(mutex_) { return turn < writersAdmitted_; });
}

bool sfMutexRW::tryWriteLock() {
  unsigned free = 0;
  return state_.compare_exchange_strong(free, kWriting);
}

void sfMutexRW::unlock() noexcept {
  if (mine.first != this || mine.second <= 0) return UnlockFrom(state_.load());
  // Avoids a load by assuming that only this thread reads and no thread waits; otherwise the
  // exchange fails and loads the state.
  unsigned state = kRead * static_cast<unsigned>(mine.second--);
  if (!state_.compare_exchange_strong(state, state - kRead)) UnlockFrom(state);
}

// Releases the lock, whose state was `state` when it was last loaded. Does not access the object
// after releasing: the next holder may destroy it.
void sfMutexRW::UnlockFrom(unsigned state) noexcept {
  while (state != 0) {
    const unsigned held = (state & kWriting) != 0 ? kWriting : kRead;
    if ((state & kAwaited) == 0) {
      if (state_.compare_exchange_weak(state, state - held)) return;
    } else if (const sdm_internal::MutexLock lock(mutex_);
               waitingReaders_ > 0 || HasWaitingWriter()) {
      return Release(held);
    } else {
      state = state_ &= ~kAwaited;
    }
  }
}

// Called under mutex_. Releases one read or the write. After the last read, admits the next writer.
// After the write, admits all waiting readers or, if no reader waits, the next writer.
void sfMutexRW::Release(unsigned held) {
  if ((state_ -= held) != kAwaited && held == kRead) return;
  if (held == kWriting && waitingReaders_ > 0) {
    state_ += kRead * std::exchange(waitingReaders_, 0U);
    ++readersTurn_;
    return readers_.notify_all();
  }
  state_ += kWriting;
  closedFor_ = {};
  opening_ = {};
  ++writersAdmitted_;
  writers_.notify_all();
}

// Called under mutex_ by a thread that has counted its read. Returns whether the thread may keep
// the read. Sets kAwaited, so that unlock() acquires mutex_.
bool sfMutexRW::MayRead(bool nested) {
  if ((state_.fetch_or(kAwaited) & kWriting) != 0) return false;
  if (!HasWaitingWriter()) return true;
  const auto now = std::chrono::steady_clock::now();
  if (now > opening_ + closedFor_ / 4) {
    closedFor_ = std::clamp(2 * closedFor_, kFirstClosing, kLongestClosing);
    opening_ = now + closedFor_;
  }
  return now >= opening_ || (nested && closedFor_ == kFirstClosing);
}
