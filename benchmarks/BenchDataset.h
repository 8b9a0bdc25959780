// BenchDataset: a registered dataset for a benchmark to work on.

#ifndef BENCHMARKS_BENCHDATASET_H_
#define BENCHMARKS_BENCHDATASET_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <memory>
#include <string>

// Stands in the registry of the process until it goes. It is its own observer, for without one
// nothing would be compared, and has been told of every variable.
class BenchDataset : private SvrDMDataSetObserver {
 public:
  explicit BenchDataset(int variables) {
    auto source = std::make_unique<DataFreeDataSource>();
    for (int i = 0; i < variables; ++i) {
      source->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), std::to_string(i)), nullptr);
    }
    id_ = Registry().Add(*source.release(), "", /*quiet=*/true);
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
  // How many passes found something to tell: 1 as long as nobody changes the dictionary.
  int PassesHeard() const { return passesHeard_; }

 private:
  void OnDataSetChanged(SvrDMWriteableDataSource const*) override { ++passesHeard_; }

  static ServerDataManager& Registry() { return ServerDataManager::GetInstance(); }

  LocallyUniqueID id_;
  SvrDMItemPtr item_;
  int passesHeard_ = 0;
};

#endif  // BENCHMARKS_BENCHDATASET_H_
