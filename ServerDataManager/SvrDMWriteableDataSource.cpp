#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <ServerDataManager/LockFailed.h>
#include <ServerDataManager/LockRecords.h>
#include <ServerDataManager/PlainField.h>
#include <ServerDataManager/serverdatamgr.h>

using namespace sdm_internal;

SvrDMWriteableDataSource::SvrDMWriteableDataSource(ServerDataManager& registry, LocallyUniqueID id,
                                                   bool tryOnly, SvrDMDataSetObserver* originator)
    : SvrDMWriteableDataSource(registry, id, tryOnly, originator, nullptr) {}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(ServerDataManager& registry, LocallyUniqueID id,
                                                   bool tryOnly, SvrDMDataSetObserver* originator,
                                                   const char* label)
    : SvrDMInputDataSource("", registry.GetDataSet(id)), originator_(originator) {
  AcquireWriteLock(tryOnly, label);
}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly,
                                                   SvrDMDataSetObserver* originator)
    : SvrDMWriteableDataSource(id, tryOnly, originator, nullptr) {}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(LocallyUniqueID id, bool tryOnly,
                                                   SvrDMDataSetObserver* originator,
                                                   const char* label)
    : SvrDMInputDataSource("", ServerDataManager::GetInstance().GetDataSet(id)),
      originator_(originator) {
  AcquireWriteLock(tryOnly, label);
}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly,
                                                   SvrDMDataSetObserver* originator)
    : SvrDMWriteableDataSource(item, tryOnly, originator, nullptr) {}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(SvrDMItemPtr& item, bool tryOnly,
                                                   SvrDMDataSetObserver* originator,
                                                   const char* label)
    : SvrDMInputDataSource("", item), originator_(originator) {
  AcquireWriteLock(tryOnly, label);
}

SvrDMWriteableDataSource::SvrDMWriteableDataSource(Acquired, SvrDMItemPtr& item,
                                                   SvrDMDataSetObserver* originator,
                                                   const char* label)
    : SvrDMInputDataSource("", item), originator_(originator) {
  if (LocksAreMonitored()) {
    RecordHold(Item(), LockReport::Mode::Write, LockHolder{this, label});
  }
}

std::optional<SvrDMWriteableDataSource> SvrDMWriteableDataSource::TryWrite(
    SvrDMItemPtr& item, std::chrono::milliseconds longest, SvrDMDataSetObserver* originator,
    const char* label) {
  if (!item->AcquireWriteLockWithin(longest, label)) return std::nullopt;
  return std::optional<SvrDMWriteableDataSource>(std::in_place, Acquired(), item, originator,
                                                 label);
}

std::optional<SvrDMWriteableDataSource> SvrDMWriteableDataSource::TryWrite(
    ServerDataManager& registry, LocallyUniqueID id, std::chrono::milliseconds longest,
    SvrDMDataSetObserver* originator, const char* label) {
  SvrDMItemPtr item = registry.GetDataSet(id);
  return TryWrite(item, longest, originator, label);
}

std::optional<SvrDMWriteableDataSource> SvrDMWriteableDataSource::TryWrite(
    LocallyUniqueID id, std::chrono::milliseconds longest, SvrDMDataSetObserver* originator,
    const char* label) {
  return TryWrite(ServerDataManager::GetInstance(), id, longest, originator, label);
}

SvrDMWriteableDataSource::~SvrDMWriteableDataSource() {
  Notify();
  // Balances DropReader in the destructor of the base class.
  Item().AddReader();
  Item().DropWriter();
}

// If the try fails, the destructor of the base class drops a reader that was never counted, and the
// writer stays counted. Callers rely on these counts; nothing resets them.
void SvrDMWriteableDataSource::AcquireWriteLock(bool tryOnly, const char* label) {
  if (!Item().AcquireWriteLock(tryOnly, LockHolder{this, label})) throw kLockFailed;
}

ORVX_DataSource* SvrDMWriteableDataSource::GetDataSource() const {
  return Item().DataSource();
}

void SvrDMWriteableDataSource::SetDataSet(std::unique_ptr<ORVX_DataSource> ds) {
  Item().SetDataSet(ds.release());
}

void SvrDMWriteableDataSource::SetDataSet(ORVX_DataSource* ds) {
  Item().SetDataSet(ds);
}

void SvrDMWriteableDataSource::IncrementCaseSequence() {
  AddToField(Item().CaseSequence(), 1);
}

// Adds one, like IncrementCaseSequence, so that clients do not see a case sequence twice.
void SvrDMWriteableDataSource::UndoIncrementCaseSequence() {
  IncrementCaseSequence();
}

void SvrDMWriteableDataSource::Originator(unsigned int number) {
  Item().Originator(number);
}

void SvrDMWriteableDataSource::AddNotification(DataSetMsg* message) {
  Item().AddNotification(message);
}

const std::vector<DataSetMsg*>& SvrDMWriteableDataSource::GetNotifications() const {
  return Item().Notifications();
}

void SvrDMWriteableDataSource::ClearNotifications() {
  Item().ClearNotifications();
}

std::any* SvrDMWriteableDataSource::PassData() const {
  return Item().PassData();
}

void SvrDMWriteableDataSource::BulkVarMoves() {
  Item().BulkVarMoves(true);
}

void SvrDMWriteableDataSource::Notify() {
  Item().Notify(this, originator_);
}
