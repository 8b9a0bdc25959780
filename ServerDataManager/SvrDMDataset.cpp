#include <ServerDataManager/SvrDMDataset.h>

#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/serverdatamgr.h>

#include <utility>

using namespace sdm_internal;

SvrDMDataset::SvrDMDataset(ServerDataManager& registry, LocallyUniqueID id)
    : item_(registry.GetDataSet(id)) {}

SvrDMDataset::SvrDMDataset(LocallyUniqueID id)
    : SvrDMDataset(ServerDataManager::GetInstance(), id) {}

SvrDMDataset::SvrDMDataset(std::string handle)
    : item_(ServerDataManager::GetInstance().GetDataSet(handle)) {}

SvrDMDataset::SvrDMDataset(SvrDMItemPtr const& item) : item_(item) {}

SvrDMDataset::~SvrDMDataset() = default;

LocallyUniqueID SvrDMDataset::GetDataSetID() const {
  return item_->ID();
}
unsigned int SvrDMDataset::GetCaseSequence() const {
  return item_->CaseSequence();
}
std::string SvrDMDataset::GetHandle() const {
  return CopyOfName(item_->Handle());
}
void SvrDMDataset::SetHandle(std::string handle) {
  item_->Handle(handle);
}
std::string SvrDMDataset::GetFileName() const {
  return CopyOfName(item_->FileName());
}
void SvrDMDataset::SetFileName(std::string const& fileName) {
  item_->FileName(fileName);
}
std::string SvrDMDataset::SuppressedFileName() const {
  return item_->SuppressedFileName();
}
void SvrDMDataset::SuppressedFileName(std::string fileName) {
  item_->SuppressedFileName(std::move(fileName));
}
std::string SvrDMDataset::GetPassword() const {
  return item_->Password();
}
void SvrDMDataset::SetPassword(std::string const& password, bool mangled) {
  item_->Password(password, mangled);
}
bool SvrDMDataset::GetPasswordMangled() const {
  return item_->PasswordMangled();
}

bool SvrDMDataset::HasDataSource() const {
  return item_->DataSource() != nullptr;
}
ServerDataManager* SvrDMDataset::GetServerDataManager() {
  return item_->Manager();
}
ServerDataManager* SvrDMDataset::GetServerDataManager() const {
  return item_->Manager();
}

InteractiveErrorMonitor& SvrDMDataset::GetErrorMonitor() {
  return item_->GetErrorMonitor();
}
void SvrDMDataset::InitializeErrorMonitor(PackageProxy* proxy) {
  item_->InitializeErrorMonitor(proxy);
}
void SvrDMDataset::Register(SvrDMDataSetObserver& observer) {
  item_->Register(observer);
}
void SvrDMDataset::Unregister(SvrDMDataSetObserver& observer) {
  item_->Unregister(observer);
}

bool SvrDMDataset::WindowFront() const {
  return item_->WindowFront();
}
bool SvrDMDataset::WindowFront(bool front) {
  item_->WindowFront(front);
  return front;
}
bool SvrDMDataset::WindowMinimized() const {
  return item_->WindowMinimized();
}
bool SvrDMDataset::WindowMinimized(bool minimized) {
  item_->WindowMinimized(minimized);
  return minimized;
}
bool SvrDMDataset::WindowHidden() const {
  return !item_.IsValid() || item_->WindowHidden();
}
bool SvrDMDataset::WindowHidden(bool hidden) {
  item_->WindowHidden(hidden);
  return hidden;
}

unsigned int SvrDMDataset::WritersCount() const {
  return static_cast<unsigned int>(item_->WritersCount());
}
unsigned int SvrDMDataset::ReadersCount() const {
  return static_cast<unsigned int>(item_->ReadersCount());
}

void SvrDMDataset::LockSavFileInUse() {
  item_->LockSavFileInUse();
}
void SvrDMDataset::UnlockSavFileInUse() {
  item_->UnlockSavFileInUse();
}
double SvrDMDataset::getObjCreationTime() const {
  return item_->getObjCreationTime();
}
SvrBootstrapSpecs* SvrDMDataset::GetBootstrapSpecs() const {
  return item_->GetBootstrapSpecs();
}
void SvrDMDataset::SetBootstrapSpecs(SvrBootstrapSpecs* specs) {
  item_->SetBootstrapSpecs(specs);
}
