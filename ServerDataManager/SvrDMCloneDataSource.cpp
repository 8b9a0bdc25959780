// SvrDMCloneDataSource: shares a source chain, and sets the parent link while it makes an iterator.

#include <libdatasrc/PassThroughIter.h>
#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/SourceChain.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/ThreadSafety.h>

using namespace sdm_internal;

// The source chain that all copies share.
class SvrDMCloneDataSource::Data : public ORVX_RefCntObject {
 public:
  explicit Data(ORVX_DataSource const* chain) : source(chain) {}
  // RefCountPtr needs a copy constructor to compile. It is never called, because clones do not call
  // Unshared(): a copy would delete the same chain a second time.
  Data(Data const&) = default;
  Data& operator=(Data const&) = delete;
  ~Data() override { DeleteDataSourceTo(source, nullptr); }

  ORVX_DataSource const* const source;  // owned, with its chain; null for none
};

namespace {

// A call of MakeIterator in progress. The parent link of a clone is set while at least one call for
// this clone is in progress. The objects are on the stacks of their threads, linked in one list.
class IteratorMaker {
 public:
  // Removes const to set the parent link, which is not part of the value of a source.
  IteratorMaker(ORVX_DataSource const& clone, ORVX_DataSource const* parent)
      : clone_(const_cast<ORVX_DataSource&>(clone)) {
    const MutexLock lock(mutex);
    if (!IsAtWorkOn(clone_)) clone_.SetParentSource(const_cast<ORVX_DataSource*>(parent));
    next_ = newest;
    newest = this;
  }
  IteratorMaker(IteratorMaker const&) = delete;
  IteratorMaker& operator=(IteratorMaker const&) = delete;
  ~IteratorMaker() {
    const MutexLock lock(mutex);
    IteratorMaker** link = &newest;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
    if (!IsAtWorkOn(clone_)) clone_.SetParentSource(nullptr);
  }

  // The parent of `clone`; null while a call of MakeIterator for the clone is in progress.
  static ORVX_DataSource* ParentOf(ORVX_DataSource const& clone) {
    const MutexLock lock(mutex);
    return IsAtWorkOn(clone) ? nullptr : clone.GetParentSource();
  }

 private:
  static bool IsAtWorkOn(ORVX_DataSource const& clone) SDM_REQUIRES(mutex) {
    for (IteratorMaker const* maker = newest; maker != nullptr; maker = maker->next_) {
      if (&maker->clone_ == &clone) return true;
    }
    return false;
  }

  // Held only while links are set and read; no other lock is acquired meanwhile.
  static inline Mutex mutex;
  static inline IteratorMaker* newest SDM_GUARDED_BY(mutex) = nullptr;

  ORVX_DataSource& clone_;
  IteratorMaker* next_ SDM_GUARDED_BY(mutex);
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
  static_cast<void>(chain.release());  // `data` owns the chain now
  return std::unique_ptr<SvrDMCloneDataSource>(new SvrDMCloneDataSource(data));
}

SvrDMCloneDataSource::SvrDMCloneDataSource(SvrDMCloneDataSource const& other)
    : ORVX_DataSource(nullptr), data_(other.data_) {
  SetRowLayout(Source());
  CopyDictionary(&other);
}

SvrDMCloneDataSource::~SvrDMCloneDataSource() = default;

ObsIterator* SvrDMCloneDataSource::MakeIterator(OBS* area) const {
  // The constructor of PassThroughIter needs the parent link; the constructed iterator does not.
  // `maker` sets the link here and clears it on return, even if ShowParents had set it: callers
  // that need the link call ShowParents again.
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
  // Removes const because parent links are not const; nothing changes the source through the link.
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
