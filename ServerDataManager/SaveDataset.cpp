#include <ServerDataManager/SaveDataset.h>

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <stdexcept>

using namespace sdm_internal;

namespace {

void RefuseFileOfAnother(const SvrDMWriteableDataSource& writer, const std::string& path) {
  const ServerDataManager* const registry = writer.GetServerDataManager();
  if (registry == nullptr) return;
  for (const SvrDMDataset& dataset : registry->GetAllDatasets()) {
    if (dataset.GetDataSetID() == writer.GetDataSetID()) continue;
    if (_ORVXMBstricmp_A(dataset.GetFileName().c_str(), path.c_str()) != 0) continue;
    throw DataFileError(path, "cannot be saved: it is the file of another dataset");
  }
}

// An observer that ignores the changes. A pass compares the dataset only if it has an observer.
// Without a comparison before the save, a later pass would find the old changes of variables and
// mark the saved dataset as dirty.
class ComparedByPass : public SvrDMDataSetObserver {
 public:
  explicit ComparedByPass(SvrDMDataset& dataset) : dataset_(dataset) { dataset_.Register(*this); }
  ~ComparedByPass() { dataset_.Unregister(*this); }
  ComparedByPass(const ComparedByPass&) = delete;
  ComparedByPass& operator=(const ComparedByPass&) = delete;

  void OnDataSetChanged(SvrDMWriteableDataSource const*) override {}

 private:
  SvrDMDataset& dataset_;
};

void NotifyOfChanges(SvrDMWriteableDataSource& writer) {
  const ComparedByPass compared(writer);
  writer.Notify();
}

// The pass reports the file specification only if the dataset is built on a saved file.
void ReportFile(SvrDMWriteableDataSource& writer, const std::string& path) {
  if (SystemFile(writer.GetDataSource()) || writer.GetDataSource()->GetFileSpec() == path) return;
  writer.AddNotification(new DEMessages::FileSpecChangeMsg(
      0, writer.GetDataSetID(), writer.GetCaseSequence(), path.c_str(), true));
}

// Closes the old file first: LockSavFileInUse keeps an open file of the same name, which the save
// has replaced on disk.
void HoldFile(SvrDMWriteableDataSource& writer) {
  writer.UnlockSavFileInUse();
  writer.LockSavFileInUse();
}

}  // namespace

void SaveDataset(SvrDMWriteableDataSource& writer, const std::string& path,
                 const SaveOptions& options, const Progress& progress) {
  ORVX_DataSource* const source = writer.GetDataSource();
  if (source == nullptr) throw std::invalid_argument("SaveDataset: no data source");
  RefuseFileOfAnother(writer, path);
  NotifyOfChanges(writer);
  SaveDelimited(*source, path, options, progress);
  ReportFile(writer, path);
  source->SetFileSpec(path.c_str());
  writer.SetFileName(path);
  if (writer.SuppressedFileName() == path) writer.SuppressedFileName({});
  HoldFile(writer);
  source->SetDirty(false);
}
