// The reader/writer lock. A thread that releases hands the lock over itself: it changes the state
// on behalf of those it admits and wakes them, so nobody slips in between.

#include <libsfthread/sfMutexRW.h>

#include <algorithm>
#include <atomic>
#include <utility>

void sfMutexRW::readLock() {
  const ThreadNumber self = ThisThread();
  Lock lock(mutex_);
  if (IsOpenToReaders() || ReadsForSure(self)) {
    AddRead(self);
  } else {
    WaitToRead(lock, self);
  }
}

void sfMutexRW::writeLock() {
  Lock lock(mutex_);
  if (IsFree()) {
    writing_ = true;
  } else {
    WaitToWrite(lock);
  }
}

bool sfMutexRW::tryReadLock() {
  const ThreadNumber self = ThisThread();
  const Lock lock(mutex_);
  if (!IsOpenToReaders() && !ReadsForSure(self)) return false;
  AddRead(self);
  return true;
}

bool sfMutexRW::tryWriteLock() {
  const Lock lock(mutex_);
  if (!IsFree()) return false;
  writing_ = true;
  return true;
}

void sfMutexRW::unlock() noexcept {
  const ThreadNumber self = ThisThread();
  const Lock lock(mutex_);
  if (writing_) {
    EndWrite();
  } else if (!IsFree()) {
    EndRead(self);
  }
}

sfMutexRW::ThreadNumber sfMutexRW::ThisThread() {
  static std::atomic<ThreadNumber> last{0};
  thread_local ThreadNumber number = 0;
  if (number == 0) number = last.fetch_add(1, std::memory_order_relaxed) + 1;
  return number;
}

sfMutexRW::Reader* sfMutexRW::Find(ThreadNumber thread) {
  const auto found = std::find_if(readers_.begin(), readers_.end(),
                                  [=](const Reader& reader) { return reader.thread == thread; });
  return found == readers_.end() ? nullptr : &*found;
}

bool sfMutexRW::ReadsForSure(ThreadNumber thread) {
  const Reader* const reader = Find(thread);
  // What is held of doubtful reads can only be held by a thread that has some.
  return reader != nullptr && (reader->sure > 0 || readers_.size() == 1);
}

bool sfMutexRW::MayStillRead(ThreadNumber thread) {
  return Find(thread) != nullptr;
}

void sfMutexRW::AddRead(ThreadNumber thread) {
  Reader* reader = Find(thread);
  if (reader == nullptr) reader = &readers_.emplace_back(Reader{thread, 0, 0});
  ++reader->sure;
  ++sureReads_;
}

void sfMutexRW::WaitToRead(Lock& lock, ThreadNumber thread) {
  Waiter waiter(thread);
  // The thread that releases must be able to admit everybody who waits without allocating.
  readers_.reserve(readers_.size() + waitingReaders_.size() + 1);
  waitingReaders_.push_back(&waiter);
  if (MayStillRead(thread)) WaitOutDoubt(lock, waiter);
  waiter.wake.wait(lock, [&] { return waiter.admitted; });
}

// Lets the thread in by itself where it may be what the waiting writer waits for.
void sfMutexRW::WaitOutDoubt(Lock& lock, Waiter& waiter) {
  const auto grace = grace_;
  if (waiter.wake.wait_for(lock, grace, [&] { return waiter.admitted; })) return;
  if (!MayStillRead(waiter.thread)) return;
  std::erase(waitingReaders_, &waiter);
  AddRead(waiter.thread);
  waiter.admitted = true;
  if (grace == grace_) admittedInDoubt_ = true;
}

void sfMutexRW::WaitToWrite(Lock& lock) {
  Waiter waiter(ThisThread());
  // Linked, not stored: a writer that waits needs no memory, so writeLock() cannot run out of it.
  (firstWaitingWriter_ == nullptr ? firstWaitingWriter_ : lastWaitingWriter_->next) = &waiter;
  lastWaitingWriter_ = &waiter;
  waiter.wake.wait(lock, [&] { return waiter.admitted; });
}

void sfMutexRW::EndWrite() {
  writing_ = false;
  if (!waitingReaders_.empty()) {
    AdmitWaitingReaders();
  } else if (firstWaitingWriter_ != nullptr) {
    AdmitFirstWriter();
  }
}

void sfMutexRW::EndRead(ThreadNumber thread) {
  if (Reader* const own = Find(thread)) {
    EndReadOf(*own);
  } else if (readers_.size() == 1) {
    EndReadOf(readers_.front());
  } else {
    EndReadOfUnknown();
  }
  if (IsFree() && firstWaitingWriter_ != nullptr) AdmitFirstWriter();
}

void sfMutexRW::EndReadOf(Reader& reader) {
  if (reader.sure == 0) return EndDoubtfulReadOf(reader);
  --reader.sure;
  --sureReads_;
  if (reader.sure == 0 && reader.doubtful == 0) Forget(reader);
}

void sfMutexRW::EndDoubtfulReadOf(Reader& reader) {
  --reader.doubtful;
  if (reader.doubtful == 0) Forget(reader);
  if (--doubtfulReads_ == 0) ForgetDoubtfulReads();
}

// Every read taken so far becomes doubtful.
void sfMutexRW::EndReadOfUnknown() {
  for (Reader& reader : readers_) reader.doubtful += std::exchange(reader.sure, 0);
  doubtfulReads_ += std::exchange(sureReads_, 0) - 1;
  if (doubtfulReads_ == 0) ForgetDoubtfulReads();
  if (std::exchange(admittedInDoubt_, false)) grace_ *= 2;
}

void sfMutexRW::Forget(Reader& reader) {
  reader = readers_.back();
  readers_.pop_back();
}

// None of the doubtful reads is held any more, so what the threads have of them has been ended.
void sfMutexRW::ForgetDoubtfulReads() {
  for (Reader& reader : readers_) reader.doubtful = 0;
  std::erase_if(readers_, [](const Reader& reader) { return reader.sure == 0; });
}

void sfMutexRW::AdmitWaitingReaders() {
  for (Waiter* const waiter : waitingReaders_) {
    AddRead(waiter->thread);
    Admit(*waiter);
  }
  waitingReaders_.clear();
}

void sfMutexRW::AdmitFirstWriter() {
  Waiter& first = *firstWaitingWriter_;
  firstWaitingWriter_ = first.next;
  writing_ = true;
  grace_ = kFirstGrace;
  admittedInDoubt_ = false;
  Admit(first);
}

void sfMutexRW::Admit(Waiter& waiter) {
  waiter.admitted = true;
  // Under the mutex: the waiter leaves, and its condition with it, as soon as it can take that.
  waiter.wake.notify_one();
}
