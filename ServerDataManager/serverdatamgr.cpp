#include <ServerDataManager/serverdatamgr.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <liborvxdemg/ErrorMsg.h>
#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/ServerDataManagerData.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/SourceChain.h>

#include <algorithm>
#include <optional>
#include <utility>

using namespace sdm_internal;

// The registry of the process. Static, so that the registry exists as soon as the library is
// loaded. A union, so that the registry is never destroyed: at exit, the destructor of the union
// only releases the datasets, and threads that still call the registry find it empty.
union SDM_HIDDEN ServerDataManager::RegistryOfTheProcess {
  RegistryOfTheProcess() : registry() {}
  ~RegistryOfTheProcess() { registry.data_->ReleaseItems(); }
  ServerDataManager registry;
};
ServerDataManager::RegistryOfTheProcess ServerDataManager::instance_;

namespace {

constexpr unsigned int kUnknownDataset = 2001;  // ErrorMsg code

// Whether the item has the file name `name`; false for the empty name. Takes the leaf lock.
bool HasFile(const SvrDMItemPtr& item, const std::string& name) {
  const LeafLock held;
  return !item->FileName().empty() && IsSameName(item->FileName(), name);
}

// Owns a source and its chain until a dataset owns them.
class PendingSource {
 public:
  explicit PendingSource(std::unique_ptr<ORVX_DataSource> handed) : source(handed.release()) {}
  PendingSource(const PendingSource&) = delete;
  PendingSource& operator=(const PendingSource&) = delete;
  ~PendingSource() { DeleteDataSourceTo(source, nullptr); }

  ORVX_DataSource* source;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// ServerDataManager::Data

DatasetIndex& ServerDataManager::Data::Index() {
  return static_cast<IndexedData&>(*this).index;
}

const DatasetIndex& ServerDataManager::Data::Index() const {
  return static_cast<const IndexedData&>(*this).index;
}

template <class Match>
SvrDMItemPtr ServerDataManager::Data::First(const Match& match) const {
  const LeafLock held;
  return Index().First(match);
}

void ServerDataManager::Data::Add(ORVX_DataSource*& ds, const std::string& name, bool hasPassword,
                                  const std::string& password, bool passwordFlag, bool quiet,
                                  LocallyUniqueID id, unsigned int caseSequence) {
  // The filter hook is called before the file name is checked, because the hook may change which
  // names are in use.
  ORVX_DataSource* const filtered = Filtered(ds);
  SvrDMItemPtr item = NewItem(filtered, name, quiet, id, caseSequence);
  ds = nullptr;  // the item now owns the source
  if (hasPassword) item->Password(password, passwordFlag);
  // Allocates before the registration: if memory runs out, the dataset is not registered. Copies
  // the file name, because other threads may set it after the registration.
  const Notice notice(*this);
  const std::string fileName = item->FileName();
  auto entry = std::make_unique<IndexEntry>();
  {
    const LeafLock held;
    Index().Append(*item, std::move(entry));
  }
  if (ClaimAnnouncement(*item)) Announce(*item, fileName, notice);
}

LocallyUniqueID ServerDataManager::Data::AddNew(ORVX_DataSource*& ds, const std::string& name,
                                                bool hasPassword, const std::string& password,
                                                bool passwordFlag, bool quiet) {
  const Lock held(*this);
  const LocallyUniqueID id = generator.Next();
  Add(ds, name, hasPassword, password, passwordFlag, quiet, id, /*caseSequence=*/0);
  return id;
}

void ServerDataManager::Data::Replace(ORVX_DataSource*& ds, const std::string& name, bool quiet,
                                      LocallyUniqueID id, unsigned int caseSequence) {
  const Lock held(*this);
  Delete(First(LUIDMatch{id}));
  Add(ds, name, /*hasPassword=*/false, std::string(), /*passwordFlag=*/false, quiet, id,
      caseSequence);
}

ORVX_DataSource* ServerDataManager::Data::Filtered(ORVX_DataSource*& ds) const {
  if (filter == nullptr || ds == nullptr) return ds;
  ORVX_DataSource* const answer = filter->FilterDataSource(ds);
  if (!IsChildOf(answer, ds)) ds = nullptr;
  return answer;
}

SvrDMItem* ServerDataManager::Data::NewItem(ORVX_DataSource* ds, const std::string& name,
                                            bool quiet, LocallyUniqueID id,
                                            unsigned int caseSequence) const {
  std::string fileName = name;
  std::string suppressedFileName;
  if (FileNameInUse(name)) fileName.swap(suppressedFileName);

  auto* const item = new SvrDMItem(id, ds, owner, caseSequence, fileName, !quiet);
  item->SuppressedFileName(std::move(suppressedFileName));
  return item;
}

SvrDMItemPtr ServerDataManager::Data::Find(LocallyUniqueID id) const {
  const SvrDMItemPtr found = First(LUIDMatch{id});
  if (!found.IsValid()) throw ErrorMsg(kUnknownDataset, "");
  return found;
}

SvrDMItemPtr ServerDataManager::Data::Find(const std::string& handle) const {
  return First(HandleMatch{handle});
}

std::size_t ServerDataManager::Data::Count() const {
  const LeafLock held;
  return Index().Count();
}

SvrDMItemPtr ServerDataManager::Data::At(std::size_t index) {
  const LeafLock held;
  Index().Compact();
  return index < items.size() ? items[index] : SvrDMItemPtr(nullptr);
}

ServerDataManager::Data::Notice::Notice(const Data& data)
    : data_(data), observers_(data.observers.begin(), data.observers.end()), outer_(innermost_) {
  innermost_ = this;
}

template <class Notify>
void ServerDataManager::Data::Notice::Send(Notify notify) const {
  for (ServerDataManagerObserver* observer : observers_) {
    if (observer != nullptr) notify(*observer);
  }
}

void ServerDataManager::Data::Notice::Skip(const Data& data,
                                           const ServerDataManagerObserver& observer) {
  for (Notice* notice = innermost_; notice != nullptr; notice = notice->outer_) {
    if (&notice->data_ != &data) continue;
    for (ServerDataManagerObserver*& each : notice->observers_) {
      if (each == &observer) each = nullptr;
    }
  }
}

void ServerDataManager::Data::Delete(SvrDMItemPtr item) {
  if (!item.IsValid()) return;
  const LocallyUniqueID id = item->ID();
  // Notifies even if the dataset never had a source, and so had no creation notice.
  if (item->NotifyDelete()) {
    const Lock held(*this);
    Notice(*this).Send([&](ServerDataManagerObserver& observer) { observer.DataSetDeleted(id); });
  }
  std::unique_ptr<IndexEntry> removed;  // deleted after the leaf lock is released
  const LeafLock held;
  // Null if an observer has already removed the item from the list.
  removed = Index().Remove(*item);
}

void ServerDataManager::Data::ReleaseItems() {
  std::vector<SvrDMItemPtr> released;
  std::vector<std::unique_ptr<IndexEntry>> entries;
  const LeafLock held;
  items.swap(released);
  entries = Index().Clear();
}

bool ServerDataManager::Data::FileNameInUse(const std::string& name) const {
  const FileNameMatch match{name};  // hashes the name before the leaf lock is acquired
  const LeafLock held;
  return Index().First(match) != nullptr;
}

void ServerDataManager::Data::NotifyCreate(SvrDMItem& item) {
  if (!ClaimAnnouncement(item)) return;
  const Lock held(*this);
  std::optional<Notice> notice;
  std::string fileName;
  try {
    notice.emplace(*this);
    fileName = CopyOfName(item.FileName());
  } catch (...) {
    // No observer was notified; the next pass will notify the observers.
    item.ClearNotifiedCreation();
    throw;
  }
  Announce(item, fileName, *notice);
}

bool ServerDataManager::Data::ClaimAnnouncement(SvrDMItem& item) {
  if (!item.NotifyDelete()) return false;
  if (item.NotifiedCreation()) return false;
  if (item.DataSource() == nullptr) return false;
  // Of several threads, only the thread that sets the flag sends the creation notice. The flag is
  // set before any observer is called, so that a call of NotifyCreate inside the notice does not
  // send another notice.
  return item.SetNotifiedCreation();
}

void ServerDataManager::Data::Announce(const SvrDMItem& item, const std::string& fileName,
                                       const Notice& notice) {
  const LocallyUniqueID id = item.ID();
  notice.Send([&](ServerDataManagerObserver& observer) { observer.DataSetCreated(id, fileName); });
}

// ---------------------------------------------------------------------------------------------
// Public operations

ServerDataManager& ServerDataManager::GetInstance() {
  return instance_.registry;
}

ServerDataManager::ServerDataManager() : data_(std::make_unique<IndexedData>(this)) {}

ServerDataManager::~ServerDataManager() = default;

LocallyUniqueID ServerDataManager::Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name,
                                       bool quiet) {
  PendingSource handed(std::move(ds));
  return data_->AddNew(handed.source, name, /*hasPassword=*/false, std::string(),
                       /*passwordFlag=*/false, quiet);
}

LocallyUniqueID ServerDataManager::Add(ORVX_DataSource& ds, const std::string& name, bool quiet) {
  ORVX_DataSource* source = &ds;
  return data_->AddNew(source, name, /*hasPassword=*/false, std::string(), /*passwordFlag=*/false,
                       quiet);
}

LocallyUniqueID ServerDataManager::Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name,
                                       const std::string& password, bool passwordFlag, bool quiet) {
  PendingSource handed(std::move(ds));
  return data_->AddNew(handed.source, name, /*hasPassword=*/true, password, passwordFlag, quiet);
}

LocallyUniqueID ServerDataManager::Add(ORVX_DataSource& ds, const std::string& name,
                                       const std::string& password, bool passwordFlag, bool quiet) {
  ORVX_DataSource* source = &ds;
  return data_->AddNew(source, name, /*hasPassword=*/true, password, passwordFlag, quiet);
}

void ServerDataManager::Add(std::unique_ptr<ORVX_DataSource> ds, const std::string& name,
                            bool quiet, LocallyUniqueID id, unsigned int caseSequence) {
  PendingSource handed(std::move(ds));
  data_->Replace(handed.source, name, quiet, id, caseSequence);
}

void ServerDataManager::Add(ORVX_DataSource& ds, const std::string& name, bool quiet,
                            LocallyUniqueID id, unsigned int caseSequence) {
  ORVX_DataSource* source = &ds;
  data_->Replace(source, name, quiet, id, caseSequence);
}

LocallyUniqueID ServerDataManager::AddEmpty(bool quiet) {
  ORVX_DataSource* none = nullptr;
  return data_->AddNew(none, std::string(), /*hasPassword=*/false, std::string(),
                       /*passwordFlag=*/false, quiet);
}

SvrDMItemPtr ServerDataManager::GetDataSet(const LocallyUniqueID& id) const {
  const Data::Lock held(*data_);
  return data_->Find(id);
}

SvrDMItemPtr ServerDataManager::GetDataSet(const std::string& handle) const {
  const Data::Lock held(*data_);
  return data_->Find(handle);
}

std::vector<SvrDMDataset> ServerDataManager::GetAllDatasets() const {
  const Data::Lock held(*data_);
  std::vector<SvrDMDataset> datasets;
  // Allocates before the leaf lock is acquired. The allocated size stays sufficient: other threads
  // may remove datasets, but they need the registry lock to add any.
  datasets.reserve(data_->Count());
  const LeafLock heldToo;
  data_->Index().Compact();
  for (const SvrDMItemPtr& item : data_->items) datasets.emplace_back(item);
  return datasets;
}

bool ServerDataManager::SavFileExternallyChanged(const std::string& name) const {
  const Data::Lock held(*data_);
  bool changed = false;
  // No early exit: the last dataset with that name decides, and callers rely on it.
  for (std::size_t index = 0;; ++index) {
    SvrDMItemPtr item = data_->At(index);
    if (!item.IsValid()) return changed;
    if (HasFile(item, name)) changed = item->SavFileExternallyChanged();
  }
}

void ServerDataManager::Delete(const LocallyUniqueID& id) {
  const Data::Lock held(*data_);
  data_->Delete(data_->First(LUIDMatch{id}));
}

void ServerDataManager::Clear() {
  // Observers may delete other datasets inside a notice, so `index` may be out of range. In that
  // case, At() returns an empty pointer, which Delete ignores.
  for (std::size_t index = data_->Count(); index-- > 0;) data_->Delete(data_->At(index));
}

void ServerDataManager::Password(const LocallyUniqueID& id, const std::string& password,
                                 bool flag) {
  const Data::Lock held(*data_);
  SvrDMItemPtr item = data_->First(LUIDMatch{id});
  if (item.IsValid()) item->Password(password, flag);
}

void ServerDataManager::Register(ServerDataManagerObserver& observer) {
  const Data::Lock held(*data_);
  std::list<ServerDataManagerObserver*>& observers = data_->observers;
  const auto present = std::find(observers.begin(), observers.end(), &observer);
  if (present != observers.end()) {
    observers.splice(observers.end(), observers, present);
  } else {
    observers.push_back(&observer);
  }
}

void ServerDataManager::Unregister(ServerDataManagerObserver& observer) {
  const Data::Lock held(*data_);
  data_->observers.remove(&observer);
  Data::Notice::Skip(*data_, observer);
}

ORVX_DataSourceFilterHook* ServerDataManager::RegisterFilter(ORVX_DataSourceFilterHook* hook) {
  return std::exchange(data_->filter, hook);
}

LockReport ServerDataManager::GetLockReport() const {
  return ReportLocksOf(this);
}

void ServerDataManager::NotifyCreate(SvrDMItem& item) {
  data_->NotifyCreate(item);
}
