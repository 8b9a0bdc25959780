#include <ServerDataManager/SvrDMInputDataSource.h>

#include <ServerDataManager/LockFailed.h>
#include <ServerDataManager/serverdatamgr.h>

SvrDMInputDataSource::SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id,
                                           bool tryOnly)
    : SvrDMDataset(registry, id) {
  AcquireReadLock(tryOnly);
}

SvrDMInputDataSource::SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly) : SvrDMDataset(id) {
  AcquireReadLock(tryOnly);
}

SvrDMInputDataSource::SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly) : SvrDMDataset(item) {
  AcquireReadLock(tryOnly);
}

SvrDMInputDataSource::SvrDMInputDataSource(char const*, SvrDMItemPtr const& item)
    : SvrDMDataset(item) {
  Item().AddWriter();
}

SvrDMInputDataSource::~SvrDMInputDataSource() {
  Item().ReleaseLock();
  Item().DropReader();
}

void SvrDMInputDataSource::AcquireReadLock(bool tryOnly) {
  if (!Item().AcquireReadLock(tryOnly)) throw kLockFailed;
  Item().AddReader();
}

ORVX_DataSource* SvrDMInputDataSource::operator->() const {
  return Item().DataSource();
}

ORVX_DataSource* SvrDMInputDataSource::operator*() const {
  return Item().DataSource();
}
