// BenchDataset: a registered dataset for benchmarks.

#ifndef BENCHMARKS_BENCHDATASET_H_
#define BENCHMARKS_BENCHDATASET_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <memory>
#include <string>
#include <utility>

// Creates a dataset in the registry of the process; the destructor deletes the dataset. The object
// observes the dataset, because a dataset without observers is never compared with its snapshot.
// After construction the snapshot is up to date.
class BenchDataset : private SvrDMDataSetObserver {
 public:
  explicit BenchDataset(int variables) {
    auto source = std::make_unique<DataFreeDataSource>();
    for (int i = 0; i < variables; ++i) {
      ORVX_Variable variable(ORVX_Variable::NextID(), "answer" + std::to_string(i));
      variable.SetLabel("What the respondent said to question " + std::to_string(i));
      variable.SetValueLabels({{1.0, "Agrees"}, {2.0, "Neither"}, {3.0, "Disagrees"}});
      source->MakeVariable(variable, nullptr);
    }
    // Each text is too long for the small-string buffer, so copying a property allocates memory.
    source->SetLabel("A label that is a sentence, as labels of datasets are");
    source->SetFileSpec("/data/surveys/national/1996/election-study.tsv");
    VariableSetImpl set;
    set.name = "A set of variables with a name of its own";
    set.members = {source->GetVariable(0).GetID()};
    source->SetVariableSets({set});
    source->SetMRSets({set});
    DatasourceAttributes attributes;
    attributes.Set("the source of the data", {"a national survey, held before the election"});
    source->SetAttributes(attributes);
    id_ = Registry().Add(std::move(source), "", /*quiet=*/true);
    item_ = Registry().GetDataSet(id_);
    item_->Register(*this);
    SvrDMWriteableDataSource(item_, /*tryOnly=*/false, /*originator=*/nullptr).Notify();
  }
  ~BenchDataset() {
    item_->Unregister(*this);
    Registry().Delete(id_);
  }
  BenchDataset(const BenchDataset&) = delete;
  BenchDataset& operator=(const BenchDataset&) = delete;

  LocallyUniqueID ID() const { return id_; }
  SvrDMItemPtr& Item() { return item_; }
  // The number of passes that found a change; 1 after construction.
  int PassesHeard() const { return passesHeard_; }

 private:
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override { ++passesHeard_; }

  static ServerDataManager& Registry() { return ServerDataManager::GetInstance(); }

  LocallyUniqueID id_;
  SvrDMItemPtr item_{nullptr};
  int passesHeard_ = 0;
};

#endif  // BENCHMARKS_BENCHDATASET_H_
