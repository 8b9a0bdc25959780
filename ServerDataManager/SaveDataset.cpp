#include <ServerDataManager/SaveDataset.h>

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

using namespace sdm_internal;

namespace {

// Whether both paths name the same entry of the same folder. Two links to one file are two entries:
// saving under one name does not replace the other entry.
bool AreSpellingsOfOneFile(const std::filesystem::path& a, const std::filesystem::path& b) {
  const auto folderOf = [](const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
  };
  std::error_code ignored;
  return a.has_filename() && a.filename() == b.filename() &&
         std::filesystem::equivalent(folderOf(a), folderOf(b), ignored);
}

// Gives access to the item of a handle. Two datasets may share an identifier, but never an item.
class ItemHandle : public SvrDMDataset {
 public:
  explicit ItemHandle(const SvrDMDataset& dataset) : SvrDMDataset(dataset) {}
  using SvrDMDataset::Item;
};

void RefuseFileOfAnother(const SvrDMWriteableDataSource& writer, const std::string& path) {
  const ServerDataManager* const registry = writer.GetServerDataManager();
  if (registry == nullptr) return;
  const SvrDMItem* const own = &ItemHandle(writer).Item();
  for (const SvrDMDataset& dataset : registry->GetAllDatasets()) {
    const std::string file = dataset.GetFileName();
    if (file.empty() || &ItemHandle(dataset).Item() == own) continue;
    if (_ORVXMBstricmp_A(file.c_str(), path.c_str()) == 0 || AreSpellingsOfOneFile(file, path)) {
      throw DataFileError(path, "cannot be saved: it is the file of another dataset");
    }
  }
}

// An observer that does nothing, registered because a pass without observers may skip the
// comparison. A later pass would then find changes of variables from before the save, and mark the
// saved dataset as dirty.
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

// Queues a message if the file specification will change. For a dataset built on a saved file,
// queues nothing, because the next pass queues the message.
void ReportFile(SvrDMWriteableDataSource& writer, const std::string& path) {
  if (SystemFile(writer.GetDataSource()) || writer.GetDataSource()->GetFileSpec() == path) return;
  writer.AddNotification(new DEMessages::FileSpecChangeMsg(
      0, writer.GetDataSetID(), writer.GetCaseSequence(), path.c_str(), true));
}

// Closes the open file first: otherwise, if the name is unchanged, LockSavFileInUse would keep the
// old file open, although the save has replaced it on disk.
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
