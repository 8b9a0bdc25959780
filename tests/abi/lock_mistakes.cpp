// Mistakes that the thread-safety analysis must find: this file compiles with MISTAKE 0, but not
// with the other numbers that lock_mistakes.sh defines. It is only compiled, never linked.

#include <libsfthread/sfGuard.h>
#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/ServerDataManagerData.h>
#include <ServerDataManager/svrdmitem.h>

using namespace sdm_internal;

// Mistake 1: uses a field without its lock.
std::size_t ServerDataManager::Data::Count() const {
#if MISTAKE != 1
  const LeafLock held;
#endif
  return items.size();
}

// Mistake 2: calls an operation without the lock that it requires.
SvrDMItemPtr ServerDataManager::GetDataSet(const LocallyUniqueID& id) const {
#if MISTAKE != 2
  const Data::Lock held(*data_);
#endif
  return data_->Find(id);
}

// Mistake 3: acquires the registry lock under the leaf lock.
void ServerDataManager::Unregister(ServerDataManagerObserver& observer) {
#if MISTAKE == 3
  const LeafLock tooEarly;
#endif
  const Data::Lock held(*data_);
  data_->observers.remove(&observer);
}

// Mistake 4: acquires a dataset's lock under the registry lock.
void ServerDataManager::NotifyCreate(SvrDMItem& item) {
#if MISTAKE == 4
  const Data::Lock held(*data_);
#endif
  item.AcquireReadLock(/*tryOnly=*/false);
}

// Mistake 5: uses a field of a dataset without CallerHoldsWriteLock.
void SvrDMItem::AddNotification(DataSetMsg* message) {
#if MISTAKE != 5
  CallerHoldsWriteLock();
#endif
  notifications_.push_back(message);
}

// Mistake 6: acquires a dataset's lock under its notification mutex.
void SvrDMItem::Register(SvrDMDataSetObserver& observer) {
  const sfGuard guard(notificationMutex_, 1);
#if MISTAKE == 6
  lock_.readLock();
  lock_.unlock();
#endif
  observers_.push_back(&observer);
}
