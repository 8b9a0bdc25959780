#include <ServerDataManager/svrdmitem.h>

#include <libdatasrc/iDMY2Orvx.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <libplatdep/ExtNameStr.h>
#include <libsfthread/sfGuard.h>
#include <ServerDataManager/DatasetIndex.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/PlainField.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

using namespace sdm_internal;

namespace {

// Exists while the observers of an item are called, and contains the data that the observers share
// (PassData). An observer may cause a pass of another item on the same thread, so these objects
// form a stack.
class ObserversBeingCalled {
 public:
  explicit ObserversBeingCalled(const SvrDMItem& item)
      : item_(item), outer_(std::exchange(innermost_, this)) {}
  ~ObserversBeingCalled() { innermost_ = outer_; }
  ObserversBeingCalled(const ObserversBeingCalled&) = delete;
  ObserversBeingCalled& operator=(const ObserversBeingCalled&) = delete;

  // Returns null if this thread is not calling the observers of the item.
  static std::any* DataOf(const SvrDMItem& item) {
    for (ObserversBeingCalled* calls = innermost_; calls != nullptr; calls = calls->outer_) {
      if (&calls->item_ == &item) return &calls->data_;
    }
    return nullptr;
  }

 private:
  static inline thread_local ObserversBeingCalled* innermost_ = nullptr;

  const SvrDMItem& item_;
  ObserversBeingCalled* const outer_;
  std::any data_;
};

constexpr int kExclusive = 1;   // the lock type of sfGuard
constexpr int kDenyWrite = 32;  // the share mode of ExtNameStr::fsopen

// Calls `succeeds` until it returns true or the time is up, and records the wait. The lock has no
// timed wait, so this function pauses before each try, each time twice as long, up to 5 ms.
template <class Try>
bool SucceedsWithin(std::chrono::milliseconds longest, const LockRequest& lock, const char* label,
                    Try succeeds) {
  using namespace std::chrono;
  if (longest <= milliseconds::zero()) return false;
  std::optional<WaitRecord> wait;
  if (LocksAreMonitored()) wait.emplace(lock, LockHolder{nullptr, label}, /*isTimed=*/true);
  constexpr milliseconds kEver = hours(24 * 365 * 100);  // keeps the sum in the range of the clock
  const auto end = steady_clock::now() + std::min(longest, kEver);
  for (nanoseconds pause = microseconds(20);; pause = std::min<nanoseconds>(2 * pause, 5ms)) {
    const nanoseconds left = end - steady_clock::now();
    if (left <= nanoseconds::zero()) return false;
    std::this_thread::sleep_for(std::min(pause, left));
    if (succeeds()) return true;
  }
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

// Other threads may still acquire the leaf lock at exit, so the destructor of Mutex must do
// nothing.
static_assert(std::is_trivially_destructible_v<Mutex>);
constinit Mutex sdm_internal::leafMutex;

// ---------------------------------------------------------------------------------------------
// Construction and destruction

SvrDMItem::SvrDMItem(LocallyUniqueID id, ORVX_DataSource* ds, ServerDataManager* manager,
                     unsigned int caseSequence, const std::string& fileName, bool notifyDelete)
    : manager_(manager),
      dataSource_(ds),
      fileName_(fileName),
      errorMonitor_(LocallyUniqueID(), nullptr),
      id_(id),
      caseSequence_(caseSequence),
      observerView_(*this),
      notifyDelete_(notifyDelete) {
  LockSavFileInUse();
  orvxTimestampNow(&creationTime_);
}

SvrDMItem::SvrDMItem() : SvrDMItem(LocallyUniqueID(), nullptr, nullptr, 0, std::string(), true) {}

SvrDMItem::SvrDMItem(const SvrDMItem&) : SvrDMItem() {
  InvariantFailed("ServerDataManager/svrdmitem", __LINE__, "SvrDMItem", "0");
}

SvrDMItem::~SvrDMItem() {
  UnlockSavFileInUse();
  ClearNotifications();
  DeleteDataSource();
  SetBootstrapSpecs(nullptr);
  if (LoadField(writeLockFailed_) && LocksAreMonitored()) RemoveLock(this);
}

// ---------------------------------------------------------------------------------------------
// Names. Setters allocate strings before they acquire the leaf lock, and free them after they
// release it.

void SvrDMItem::Handle(const std::string& handle) {
  std::string name = handle;
  const std::uint64_t hash = NameHash(name.c_str());
  const LeafLock held;
  handle_.swap(name);
  DatasetIndex::NameChanged(*this, HandleMatch{handle_, hash});
}

void SvrDMItem::FileName(const std::string& fileName) {
  FileName(std::string(fileName));
}

void SvrDMItem::FileName(std::string&& fileName) noexcept {
  const std::uint64_t hash = NameHash(fileName.c_str());
  const LeafLock held;
  fileName_.swap(fileName);
  DatasetIndex::NameChanged(*this, FileNameMatch{fileName_, hash});
}

std::string SvrDMItem::SuppressedFileName() const {
  const LeafLock held;
  return suppressedFileName_;
}

bool SvrDMItem::HasSuppressedFileName(std::string_view fileName) const {
  const LeafLock held;
  return suppressedFileName_ == fileName;
}

void SvrDMItem::SuppressedFileName(std::string fileName) {
  const LeafLock held;
  suppressedFileName_.swap(fileName);
}

// ---------------------------------------------------------------------------------------------
// Data source

// The pointer is stored with release and loaded with acquire, so that a thread that reads a new
// pointer sees a complete source.
ORVX_DataSource* SvrDMItem::DataSource() const {
  return LoadField(dataSource_, std::memory_order_acquire);
}

void SvrDMItem::SetDataSet(ORVX_DataSource* ds) {
  ORVX_DataSource* const old = DataSource();
  // Deletes the old chain before closing the file and replacing the pointer, because destructors of
  // the old sources may still read the file and the pointer.
  if (IsChildOf(old, ds)) {
    DeleteDataSourceTo(old, ds);
  } else if (!IsChildOf(ds, old)) {
    DeleteDataSourceTo(old, nullptr);
  }
  if (old != nullptr) UnlockSavFileInUse();
  StoreField(dataSource_, ds, std::memory_order_release);
  if (old != nullptr) AddNotification(new ResetUndoMsg());
  if (ds != nullptr) {
    LockSavFileInUse();
  } else {
    UnlockSavFileInUse();
  }
}

void SvrDMItem::SetDataSet(std::unique_ptr<ORVX_DataSource> ds) {
  SetDataSet(ds.release());
}

void SvrDMItem::DeleteDataSource() {
  DeleteDataSourceTo(DataSource(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Reader/writer lock

bool SvrDMItem::AcquireReadLock(bool tryOnly) {
  return AcquireReadLock(tryOnly, LockHolder());
}

bool SvrDMItem::AcquireWriteLock(bool tryOnly) {
  return AcquireWriteLock(tryOnly, LockHolder());
}

void SvrDMItem::ReleaseLock() {
  ReleaseLock(nullptr);
}

LockRequest SvrDMItem::DataLock(bool forWriting) const {
  const auto mode = forWriting ? LockReport::Mode::Write : LockReport::Mode::Read;
  return {LockReport::Kind::Data, mode, id_, this, manager_};
}

bool SvrDMItem::AcquireReadLock(bool tryOnly, LockHolder who) {
  // `tryOnly` is ignored: callers rely on a reader never failing.
  tryOnly = false;
  if (tryOnly) return lock_.tryReadLock();
  if (LocksAreMonitored()) {
    AcquireMonitoredReadLock(who);
  } else {
    lock_.readLock();
  }
  return true;
}

void SvrDMItem::AcquireMonitoredReadLock(LockHolder who) {
  if (lock_.tryReadLock()) {
    RecordHold(*this, LockReport::Mode::Read, who);
  } else {
    WaitRecord wait(DataLock(/*forWriting=*/false), who);
    lock_.readLock();
    wait.Acquired();
  }
}

bool SvrDMItem::AcquireWriteLock(bool tryOnly, LockHolder who) {
  if (!tryOnly && !LocksAreMonitored()) {
    lock_.writeLock();
    return true;
  }
  if (lock_.tryWriteLock()) {
    if (LocksAreMonitored()) RecordHold(*this, LockReport::Mode::Write, who);
    return true;
  }
  if (!tryOnly) {
    WaitRecord wait(DataLock(/*forWriting=*/true), who);
    lock_.writeLock();
    wait.Acquired();
    return true;
  }
  // Never cleared: the handle whose try failed still calls ReleaseLock, which must not release
  // another handle's lock.
  StoreField(writeLockFailed_, true);
  return false;
}

bool SvrDMItem::AcquireReadLockWithin(std::chrono::milliseconds longest, const char* label) {
  const auto acquires = [this] { return lock_.tryReadLock(); };
  return acquires() || SucceedsWithin(longest, DataLock(/*forWriting=*/false), label, acquires);
}

bool SvrDMItem::AcquireWriteLockWithin(std::chrono::milliseconds longest, const char* label) {
  const auto acquires = [this] { return lock_.tryWriteLock(); };
  return acquires() || SucceedsWithin(longest, DataLock(/*forWriting=*/true), label, acquires);
}

void SvrDMItem::ReleaseLock(const void* handle) {
  const bool staysHeld = LoadField(writeLockFailed_);
  if (LocksAreMonitored()) {
    (staysHeld ? ClearHandle : RemoveHold)(LockReport::Kind::Data, this, handle);
  }
  if (!staysHeld) lock_.unlock();
}

// ---------------------------------------------------------------------------------------------
// Counters and flags

int SvrDMItem::ReadersCount() const {
  return LoadField(readersCount_);
}
int SvrDMItem::WritersCount() const {
  return LoadField(writersCount_);
}
void SvrDMItem::AddReader() {
  AddToField(readersCount_, 1);
}
void SvrDMItem::DropReader() {
  AddToField(readersCount_, -1);
}
void SvrDMItem::AddWriter() {
  AddToField(writersCount_, 1);
}
void SvrDMItem::DropWriter() {
  AddToField(writersCount_, -1);
}

unsigned int SvrDMItem::CaseSequence() const {
  return LoadField(caseSequence_);
}
void SvrDMItem::Originator(unsigned int& number) {
  StoreField(originator_, number);
}

bool SvrDMItem::NotifyDelete() const {
  return LoadField(notifyDelete_);
}
bool SvrDMItem::NotifiedCreation() {
  return LoadField(notifiedCreation_);
}
bool SvrDMItem::SetNotifiedCreation() {
  return SetFlag(notifiedCreation_);
}
void SvrDMItem::ClearNotifiedCreation() {
  StoreField(notifiedCreation_, false);
}

bool SvrDMItem::WindowFront() const {
  return LoadField(windowFront_);
}
void SvrDMItem::WindowFront(bool front) {
  StoreField(windowFront_, front);
}
bool SvrDMItem::WindowMinimized() const {
  return LoadField(windowMinimized_);
}
void SvrDMItem::WindowMinimized(bool minimized) {
  StoreField(windowMinimized_, minimized);
}
bool SvrDMItem::WindowHidden() const {
  return LoadField(windowHidden_);
}
void SvrDMItem::WindowHidden(bool hidden) {
  StoreField(windowHidden_, hidden);
}

// ---------------------------------------------------------------------------------------------
// Observers and change messages

class SDM_SCOPED_CAPABILITY SvrDMItem::NotificationGuard : MonitoredGuard<sfGuard> {
 public:
  explicit NotificationGuard(SvrDMItem& item) SDM_ACQUIRE(item.notificationMutex_)
      : MonitoredGuard({LockReport::Kind::Notification, LockReport::Mode::Exclusive, item.id_,
                        &item, item.manager_},
                       item.notificationMutex_, kExclusive) {}
  ~NotificationGuard() SDM_RELEASE() {}
};

void SvrDMItem::Register(SvrDMDataSetObserver& observer) {
  const NotificationGuard guard(*this);
  observers_.push_back(&observer);
}

void SvrDMItem::Unregister(SvrDMDataSetObserver& observer) {
  const NotificationGuard guard(*this);
  observers_.remove(&observer);
}

void SvrDMItem::AddNotification(DataSetMsg* message) {
  std::unique_ptr<DataSetMsg> owned(message);
  CallerHoldsWriteLock();
  notifications_.push_back(message);
  static_cast<void>(owned.release());
}

void SvrDMItem::ClearNotifications() {
  TruncateNotifications(0);
}

void SvrDMItem::TruncateNotifications(std::size_t count) {
  CallerHoldsWriteLock();
  const auto first = notifications_.begin() + static_cast<std::ptrdiff_t>(count);
  std::for_each(first, notifications_.end(), [](DataSetMsg* message) { delete message; });
  notifications_.erase(first, notifications_.end());
}

void SvrDMItem::Notify(SvrDMWriteableDataSource const* writer, SvrDMDataSetObserver* originator) {
  CallerHoldsWriteLock();
  UpdateObserverView();
  if (notifications_.empty()) return;
  if (NotifyDelete() && !NotifiedCreation()) manager_->NotifyCreate(*this);
  CallObservers(writer, originator);
  ClearNotifications();
}

// Without dataset observers, the comparison is needed only if a creation notice is still due.
void SvrDMItem::UpdateObserverView() {
  const NotificationGuard guard(*this);
  const bool unannounced = NotifyDelete() && !NotifiedCreation();
  if (!observers_.empty() || unannounced) observerView_.Update();
}

void SvrDMItem::CallObservers(SvrDMWriteableDataSource const* writer,
                              SvrDMDataSetObserver* originator) {
  const NotificationGuard guard(*this);
  const ObserversBeingCalled calls(*this);
  for (SvrDMDataSetObserver* observer : observers_) {
    if (observer != originator) observer->OnDataSetChanged(writer);
  }
}

std::any* SvrDMItem::PassData() const {
  return ObserversBeingCalled::DataOf(*this);
}

void SvrDMItem::BulkVarMoves(bool bulk) {
  CallerHoldsWriteLock();
  observerView_.SetBulkVarMoves(bulk);
}

// ---------------------------------------------------------------------------------------------
// Saved file, creation time, password

void SvrDMItem::LockSavFileInUse() {
  CallerHoldsWriteLock();
  const std::string fileName = CopyOfName(FileName());
  if (fileName == lockedFileName_) return;
  UnlockSavFileInUse();
  if (fileName.empty()) return;

  ExtNameStr name;
  name.SetGeneric(fileName);
  std::unique_ptr<std::FILE, CloseFile> file(name.fsopen("r", kDenyWrite));
  if (file == nullptr) return;

  lockedFileName_ = fileName;
  lockedFile_ = file.release();
  struct stat status {};
  if (fstat(fileno(lockedFile_), &status) == 0) lockedFileTime_ = status.st_mtime;
}

void SvrDMItem::UnlockSavFileInUse() {
  CallerHoldsWriteLock();
  if (lockedFile_ == nullptr) return;
  std::fclose(lockedFile_);
  lockedFile_ = nullptr;
  lockedFileTime_ = 0;
  lockedFileName_.clear();
}

bool SvrDMItem::SavFileExternallyChanged() {
  CallerHoldsWriteLock();
  struct stat status {};
  return lockedFile_ != nullptr && fstat(fileno(lockedFile_), &status) == 0 &&
         status.st_mtime != lockedFileTime_;
}

void SvrDMItem::orvxTimestampNow(double* out) {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  if (localtime_r(&now, &local) != nullptr) {
    iDMY2Orvx(local.tm_mday, local.tm_mon + 1, local.tm_year + 1900, local.tm_hour, local.tm_min,
              static_cast<double>(local.tm_sec), out);
  } else {
    iDMY2Orvx(1, 2, 1975, 12, 0, 0.0, out);
  }
}

void SvrDMItem::Password(const std::string& password, bool mangled) {
  password_ = password;
  StoreField(passwordMangled_, mangled);
}

bool SvrDMItem::PasswordMangled() const {
  const ORVX_DataSource* const source = DataSource();
  if (const auto* file = dynamic_cast<const SystemFileDataSource*>(source)) {
    return file->GetPasswordMangled();
  }
  // If the parent is a saved file, the file says whether the password is mangled. The parent's
  // parent is not checked: callers rely on this.
  const ORVX_DataSource* const parent =
      source != nullptr ? SvrDMCloneDataSource::ParentOf(*source) : nullptr;
  if (const auto* file = dynamic_cast<const SystemFileDataSource*>(parent)) {
    return file->GetPasswordMangled();
  }
  return LoadField(passwordMangled_);
}

// ---------------------------------------------------------------------------------------------
// Error monitor and bootstrap specification

void SvrDMItem::InitializeErrorMonitor(PackageProxy* proxy) {
  CallerHoldsWriteLock();
  errorMonitor_.InitializeErrorMonitor(id_, proxy);
}

SvrBootstrapSpecs* SvrDMItem::GetBootstrapSpecs() const {
  return LoadField(bootstrapSpecs_, std::memory_order_acquire);
}

void SvrDMItem::SetBootstrapSpecs(SvrBootstrapSpecs* specs) {
  SvrBootstrapSpecs* const present = GetBootstrapSpecs();
  if (specs == present) return;
  delete present;
  StoreField(bootstrapSpecs_, specs, std::memory_order_release);
}
