#include <ServerDataManager/SvrDMInputDataSource.h>

#include <ServerDataManager/LockFailed.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/serverdatamgr.h>

using namespace sdm_internal;

SvrDMInputDataSource::SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id,
                                           bool tryOnly)
    : SvrDMInputDataSource(registry, id, tryOnly, nullptr) {}

SvrDMInputDataSource::SvrDMInputDataSource(ServerDataManager& registry, LocallyUniqueID id,
                                           bool tryOnly, const char* label)
    : SvrDMDataset(registry, id) {
  AcquireReadLock(tryOnly, label);
}

SvrDMInputDataSource::SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly)
    : SvrDMInputDataSource(id, tryOnly, nullptr) {}

SvrDMInputDataSource::SvrDMInputDataSource(LocallyUniqueID id, bool tryOnly, const char* label)
    : SvrDMDataset(id) {
  AcquireReadLock(tryOnly, label);
}

SvrDMInputDataSource::SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly)
    : SvrDMInputDataSource(item, tryOnly, nullptr) {}

SvrDMInputDataSource::SvrDMInputDataSource(SvrDMItemPtr& item, bool tryOnly, const char* label)
    : SvrDMDataset(item) {
  AcquireReadLock(tryOnly, label);
}

SvrDMInputDataSource::SvrDMInputDataSource(Acquired, SvrDMItemPtr& item, const char* label)
    : SvrDMDataset(item) {
  if (LocksAreMonitored()) {
    RecordHold(Item(), LockReport::Mode::Read, LockHolder{this, label});
  }
  Item().AddReader();
}

std::optional<SvrDMInputDataSource> SvrDMInputDataSource::TryRead(SvrDMItemPtr& item,
                                                                  std::chrono::milliseconds longest,
                                                                  const char* label) {
  if (!item->AcquireReadLockWithin(longest, label)) return std::nullopt;
  return std::optional<SvrDMInputDataSource>(std::in_place, Acquired(), item, label);
}

std::optional<SvrDMInputDataSource> SvrDMInputDataSource::TryRead(ServerDataManager& registry,
                                                                  LocallyUniqueID id,
                                                                  std::chrono::milliseconds longest,
                                                                  const char* label) {
  SvrDMItemPtr item = registry.GetDataSet(id);
  return TryRead(item, longest, label);
}

std::optional<SvrDMInputDataSource> SvrDMInputDataSource::TryRead(LocallyUniqueID id,
                                                                  std::chrono::milliseconds longest,
                                                                  const char* label) {
  return TryRead(ServerDataManager::GetInstance(), id, longest, label);
}

SvrDMInputDataSource::SvrDMInputDataSource(char const*, SvrDMItemPtr const& item)
    : SvrDMDataset(item) {
  Item().AddWriter();
}

SvrDMInputDataSource::~SvrDMInputDataSource() {
  SvrDMItem& item = Item();
  item.ReleaseLock(this);
  item.DropReader();
}

void SvrDMInputDataSource::AcquireReadLock(bool tryOnly, const char* label) {
  SvrDMItem& item = Item();
  if (!item.AcquireReadLock(tryOnly, LockHolder{this, label})) throw kLockFailed;
  item.AddReader();
}

ORVX_DataSource* SvrDMInputDataSource::operator->() const {
  return Item().DataSource();
}

ORVX_DataSource* SvrDMInputDataSource::operator*() const {
  return Item().DataSource();
}
