// An observer that prints the changes of a writer.

#include <cstdio>
#include <memory>
#include <string>

#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/DataSetMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

namespace {

class Printer final : public SvrDMDataSetObserver, private DataSetMsgVisitor {
 public:
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    for (const DataSetMsg* message : writer->GetNotifications()) {
      if (message != nullptr) message->Accept(*this);
    }
  }

 private:
  void Visit(const InsertVarsMsg& message) override {
    for (const ORVX_Variable& variable : message.GetVariables()) Print("inserted", variable);
  }
  void Visit(const DeleteVarsMsg& message) override {
    for (const ORVX_Variable& variable : message.GetVariables()) Print("deleted", variable);
  }
  void Visit(const ModifyVarMsg& message) override { Print("modified", message.GetVariable()); }
  void Visit(const FileLabelChangeMsg& message) override {
    std::printf("label %s\n", message.GetLabel().c_str());
  }
  void Visit(const MoveVarsMsg&) override {}
  void Visit(const ResetUndoMsg&) override {}
  void Visit(const ImputationInfoMsg&) override {}
  void Visit(const FileSpecChangeMsg&) override {}
  void Visit(const WeightVarMsg&) override {}
  void Visit(const FilterVarMsg&) override {}
  void Visit(const TrendsInfoMsg&) override {}
  void Visit(const SplitFileMsg&) override {}
  void Visit(const ExtensionsMsg&) override {}
  void Visit(const ResetClientDataMsg&) override { std::printf("cases are new\n"); }
  void Visit(const DataSetModifiedMsg&) override {}

  static void Print(const char* what, const ORVX_Variable& variable) {
    std::printf("%s %s\n", what, variable.GetName().c_str());
  }
};

}  // namespace

int main() {
  ServerDataManager& registry = ServerDataManager::GetInstance();
  const LocallyUniqueID dataset =
      registry.Add(std::make_unique<DataFreeDataSource>(), "", /*quiet=*/false);
  Printer printer;
  SvrDMDataset handle(dataset);
  handle.Register(printer);
  {
    const SvrDMWriteableDataSource writer(dataset, /*tryOnly=*/false, /*originator=*/nullptr);
    writer->InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "age"));
    writer->InsertVariable(1, ORVX_Variable(ORVX_Variable::NextID(), "income"));
  }
  {
    const SvrDMWriteableDataSource writer(dataset, /*tryOnly=*/false, /*originator=*/nullptr);
    writer->GetVariable(0).SetName("years");
    writer->DeleteVariables(1, 1);
    writer->SetLabel("National survey");
  }
  handle.Unregister(printer);
  registry.Delete(dataset);
}
