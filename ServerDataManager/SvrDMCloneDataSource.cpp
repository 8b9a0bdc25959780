// SvrDMCloneDataSource: sharing the source chain, and showing it for as long as it takes.

#include <libdatasrc/PassThroughIter.h>
#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <mutex>

using namespace sdm_internal;

// What all copies share: a source with its chain.
class SvrDMCloneDataSource::Data : public ORVX_RefCntObject {
 public:
  explicit Data(ORVX_DataSource const* chain) : source(chain) { RefuseShownParents(chain); }
  // Never made, as no clone detaches from its copies; both would delete the chain.
  Data(Data const&) = default;
  Data& operator=(Data const&) = delete;
  ~Data() override {
    RefuseShownParents(source);
    DeleteDataSourceTo(source, nullptr);
  }

  ORVX_DataSource const* const source;  // owned, with its chain; null for none
};

namespace {

// Held while the parent of a clone shows for an iterator, as readers of one clone make theirs at
// once, also where a shared source is itself a clone. Recursive, as the clone under a clone is then
// asked for its iterator.
std::recursive_mutex iteratorLock;

struct DeleteChain {
  void operator()(ORVX_DataSource* chain) const { DeleteDataSourceTo(chain, nullptr); }
};

// Takes the parent of a clone away on every way out.
class ParentHider {
 public:
  explicit ParentHider(ORVX_DataSource& clone) : clone_(clone) {}
  ParentHider(ParentHider const&) = delete;
  ParentHider& operator=(ParentHider const&) = delete;
  ~ParentHider() { clone_.SetParentSource(nullptr); }

 private:
  ORVX_DataSource& clone_;
};

}  // namespace

SvrDMCloneDataSource::SvrDMCloneDataSource(ORVX_DataSource const* source)
    : SvrDMCloneDataSource(RefCountPtr<Data>(new Data(source))) {}

SvrDMCloneDataSource::SvrDMCloneDataSource(RefCountPtr<Data> const& data) : data_(data) {
  CopyDictionary(Source());
}

std::unique_ptr<SvrDMCloneDataSource> SvrDMCloneDataSource::Adopt(
    std::unique_ptr<ORVX_DataSource> source) {
  std::unique_ptr<ORVX_DataSource, DeleteChain> chain(source.release());
  const RefCountPtr<Data> data(new Data(chain.get()));
  static_cast<void>(chain.release());  // the data owns it now
  return std::unique_ptr<SvrDMCloneDataSource>(new SvrDMCloneDataSource(data));
}

SvrDMCloneDataSource::SvrDMCloneDataSource(SvrDMCloneDataSource const& other)
    : ORVX_DataSource(nullptr), data_(other.data_) {
  CopyDictionary(&other);
}

SvrDMCloneDataSource::~SvrDMCloneDataSource() = default;

ObsIterator* SvrDMCloneDataSource::MakeIterator(OBS* area) const {
  const std::lock_guard lock(iteratorLock);
  // Const, and yet the iterator finds its rows through the link alone. Hidden afterwards even where
  // ShowParents had shown it: callers who want it seen say so again.
  auto& self = const_cast<SvrDMCloneDataSource&>(*this);
  const ParentHider hider(self);
  self.ShowParents(true);
  return new PassThroughIter(this, area, nullptr);
}

long SvrDMCloneDataSource::GetObsAreaSize() const {
  return Source()->GetObsAreaSize();
}

long long SvrDMCloneDataSource::RowCount() const {
  return Source()->RowCount();
}

int SvrDMCloneDataSource::NParents() const {
  return Source() != nullptr ? Source()->NParents() : 0;
}

bool SvrDMCloneDataSource::ShowParents(bool show) {
  const bool shown = GetParentSource() != nullptr;
  // Links are not const, but nobody changes a source through this one.
  SetParentSource(show ? const_cast<ORVX_DataSource*>(Source()) : nullptr);
  return shown;
}

ORVX_DataSource* SvrDMCloneDataSource::ParentOf(ORVX_DataSource const& source) {
  if (dynamic_cast<SvrDMCloneDataSource const*>(&source) == nullptr) {
    return source.GetParentSource();
  }
  const std::lock_guard lock(iteratorLock);
  return source.GetParentSource();
}

void SvrDMCloneDataSource::RefuseShownParents([[maybe_unused]] ORVX_DataSource const* source) {
#ifndef NDEBUG
  for (ORVX_DataSource const* link = source; link != nullptr; link = link->GetParentSource()) {
    if (link->GetParentSource() == nullptr) return;
    if (dynamic_cast<SvrDMCloneDataSource const*>(link) != nullptr) {
      InvariantFailed("ServerDataManager/SvrDMCloneDataSource", __LINE__, "RefuseShownParents",
                      "clone->GetParentSource() == nullptr");
    }
  }
#endif
}

ORVX_DataSource const* SvrDMCloneDataSource::Source() const {
  return data_->source;
}

ORVX_DataSource const* SvrDMCloneDataSource::RowLayout() const {
  ORVX_DataSource const* layout = Source();
  while (auto const* const clone = dynamic_cast<SvrDMCloneDataSource const*>(layout)) {
    layout = clone->Source();
  }
  return layout;
}
