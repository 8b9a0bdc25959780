// SvrDMCloneDataSource: shares the source chain, and shows it while iterators are made.

#include <libdatasrc/PassThroughIter.h>
#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

#include <mutex>

using namespace sdm_internal;

// What all copies share: a source with its chain.
class SvrDMCloneDataSource::Data : public ORVX_RefCntObject {
 public:
  explicit Data(ORVX_DataSource const* chain) : source(chain) {}
  // Never made, as no clone detaches from its copies; both would delete the chain.
  Data(Data const&) = default;
  Data& operator=(Data const&) = delete;
  ~Data() override { DeleteDataSourceTo(source, nullptr); }

  ORVX_DataSource const* const source;  // owned, with its chain; null for none
};

namespace {

// A call of MakeIterator under way. A clone's parent link is set while at least one call for it is
// under way. The calls live on the stacks of their threads, linked into one list.
class IteratorMaker {
 public:
  // Links point to sources that are not const; a link is no part of the value of either source.
  IteratorMaker(ORVX_DataSource const& clone, ORVX_DataSource const* parent)
      : clone_(const_cast<ORVX_DataSource&>(clone)) {
    const std::lock_guard lock(mutex);
    if (!IsAtWorkOn(clone_)) clone_.SetParentSource(const_cast<ORVX_DataSource*>(parent));
    next_ = newest;
    newest = this;
  }
  IteratorMaker(IteratorMaker const&) = delete;
  IteratorMaker& operator=(IteratorMaker const&) = delete;
  ~IteratorMaker() {
    const std::lock_guard lock(mutex);
    IteratorMaker** link = &newest;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
    if (!IsAtWorkOn(clone_)) clone_.SetParentSource(nullptr);
  }

  // The parent of `clone`. Null while a call is under way, which sets the link for itself.
  static ORVX_DataSource* ParentOf(ORVX_DataSource const& clone) {
    const std::lock_guard lock(mutex);
    return IsAtWorkOn(clone) ? nullptr : clone.GetParentSource();
  }

 private:
  // Under the mutex.
  static bool IsAtWorkOn(ORVX_DataSource const& clone) {
    for (IteratorMaker const* maker = newest; maker != nullptr; maker = maker->next_) {
      if (&maker->clone_ == &clone) return true;
    }
    return false;
  }

  // Held only while links are set and read; no other lock is taken under it.
  static inline std::mutex mutex;
  static inline IteratorMaker* newest = nullptr;

  ORVX_DataSource& clone_;
  IteratorMaker* next_;  // under the mutex
};

}  // namespace

SvrDMCloneDataSource::SvrDMCloneDataSource(ORVX_DataSource const* source)
    : SvrDMCloneDataSource(RefCountPtr<Data>(new Data(source))) {}

SvrDMCloneDataSource::SvrDMCloneDataSource(RefCountPtr<Data> const& data) : data_(data) {
  SetRowLayout(Source());
  CopyDictionary(Source());
}

std::unique_ptr<SvrDMCloneDataSource> SvrDMCloneDataSource::Adopt(
    std::unique_ptr<ORVX_DataSource> source) {
  OwnedChain chain(source.release());
  const RefCountPtr<Data> data(new Data(chain.get()));
  static_cast<void>(chain.release());  // the data owns it now
  return std::unique_ptr<SvrDMCloneDataSource>(new SvrDMCloneDataSource(data));
}

SvrDMCloneDataSource::SvrDMCloneDataSource(SvrDMCloneDataSource const& other)
    : ORVX_DataSource(nullptr), data_(other.data_) {
  SetRowLayout(Source());
  CopyDictionary(&other);
}

SvrDMCloneDataSource::~SvrDMCloneDataSource() = default;

ObsIterator* SvrDMCloneDataSource::MakeIterator(OBS* area) const {
  // The iterator finds its rows through the parent link. Afterwards the link is null, even where
  // ShowParents had set it: callers who want it set call ShowParents again.
  const IteratorMaker maker(*this, Source());
  return new PassThroughIter(this, area, nullptr);
}

long SvrDMCloneDataSource::GetObsAreaSize() const {
  return Source() != nullptr ? Source()->GetObsAreaSize() : 0;
}

long long SvrDMCloneDataSource::RowCount() const {
  return Source() != nullptr ? Source()->RowCount() : 0;
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
  return IteratorMaker::ParentOf(source);
}

ORVX_DataSource const* SvrDMCloneDataSource::Source() const {
  return data_->source;
}
