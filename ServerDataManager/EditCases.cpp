#include <ServerDataManager/EditCases.h>

#include <liborvxdemg/ResetClientDataMsg.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

bool HasQueuedReset(const SvrDMWriteableDataSource& writer) {
  return std::ranges::any_of(writer.GetNotifications(), [](const DataSetMsg* message) {
    return dynamic_cast<const DEMessages::ResetClientDataMsg*>(message) != nullptr;
  });
}

}  // namespace

void EditCases(SvrDMWriteableDataSource& writer,
               const std::function<void(MemoryDataSource&)>& edit) {
  if (*writer == nullptr) throw std::invalid_argument("EditCases: no data source");
  std::unique_ptr<MemoryDataSource> copy;
  auto* source = dynamic_cast<MemoryDataSource*>(*writer);
  if (source == nullptr) {
    copy = MemoryDataSource::CopyOf(**writer);
    source = copy.get();
  }
  const long long rowsBefore = source->RowCount();
  edit(*source);
  source->SetDirty(true);
  if (copy != nullptr) writer.SetDataSet(std::move(copy));
  writer.IncrementCaseSequence();
  if (source->RowCount() != rowsBefore || HasQueuedReset(writer)) return;
  writer.AddNotification(new DEMessages::ResetClientDataMsg(0, writer.GetDataSetID(),
                                                            writer.GetCaseSequence(), rowsBefore));
}
