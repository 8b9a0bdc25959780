// SvrDMCloneDataSource: a source with a dictionary of its own over the cases of another source,
// which all copies of the clone share.
//
//   auto clone = SvrDMCloneDataSource::Adopt(SystemFileDataSource::Open("survey.tsv"));
//   SvrDMCloneDataSource copy(*clone);   // copies the dictionary, shares the cases
//   copy.DeleteVariables(0, 0);          // the clone and the file keep the variable

#ifndef SERVERDATAMANAGER_SVRDMCLONEDATASOURCE_H_
#define SERVERDATAMANAGER_SVRDMCLONEDATASOURCE_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/RefCountPtr.h>

#include <memory>

// Owns the source that it is built from, with its chain of parents, together with all its copies;
// the last of them to go deletes the chain, the source first. Nobody else may own any of it: not a
// second clone built from the same source, and not a dataset. A dataset's own source can be cloned
// once another has taken its place, or by a clone that takes its place itself and shows its parent
// meanwhile: SetDataSet keeps what the new source stands on.
//
// Rows are laid out as the dictionary of RowLayout() says, which is that of the owned source,
// whatever this one says by now: ObsProjector(clone, clone) makes them into rows of the clone's own
// dictionary. A FilteredDataSource on a clone does so by itself.
//
// The owned source is no parent of the clone, except while ShowParents says so. Chains end at a
// clone, so a dataset whose source is a clone of a saved file does not count as resting on that
// file. Whoever deletes a chain stops behind a clone, whether it shows its parent or not: what lies
// above belongs to the copies. A clone of nothing has no rows, and is a source like another.
//
// Threads: any number may read one clone at once, MakeIterator included, and make copies of it; the
// copies are independent of each other. The owned source is then asked for iterators by several
// threads at once. ShowParents and changes of the dictionary are for one thread alone. While a
// thread makes an iterator, others may find that GetParentSource() is set: ParentOf leaves that
// out. Nobody waits for a source that makes an iterator.
class SDM_EXPORT SvrDMCloneDataSource : public ORVX_DataSource {
 public:
  // Takes `source`, which may be null, and its chain of parents over, and copies its dictionary.
  // Beware of std::bad_alloc: where there is no memory for what copies share, the caller still owns
  // the chain; where there is none for the dictionary, the chain is deleted. After Adopt it always
  // is.
  explicit SvrDMCloneDataSource(ORVX_DataSource const* source);

  // The same, with the source and its chain deleted wherever it throws.
  static std::unique_ptr<SvrDMCloneDataSource> Adopt(std::unique_ptr<ORVX_DataSource> source);

  // Shares the source of `other` and copies its dictionary. The copy shows no parent.
  SvrDMCloneDataSource(SvrDMCloneDataSource const& other);
  SvrDMCloneDataSource& operator=(SvrDMCloneDataSource const&) = delete;

  ~SvrDMCloneDataSource() override;

  // A new PassThroughIter over the rows of the owned source, which the caller owns; no rows without
  // one. Lives on as far as that source's own iterator does. Afterwards the clone shows no parent,
  // whatever ShowParents said before, also where this throws.
  ObsIterator* MakeIterator(OBS* area) const override;

  // Those of the owned source; 0 without one.
  long GetObsAreaSize() const override;
  long long RowCount() const override;

  // How many sources the owned source stands on, itself not counted; 0 without one.
  int NParents() const override;

  // Makes the owned source the parent of this one, until the next iterator is made or `show` is
  // false, which takes it away. Returns whether there was a parent before.
  bool ShowParents(bool show);

  // The parent of any source, not only of a clone; null for none. What a clone shows for an
  // iterator under way does not count.
  static ORVX_DataSource* ParentOf(ORVX_DataSource const& source);

  // The owned source; null for none. Borrowed while any of the copies lives.
  ORVX_DataSource const* Source() const;

 private:
  class SDM_HIDDEN Data;

  SDM_HIDDEN explicit SvrDMCloneDataSource(RefCountPtr<Data> const& data);

  RefCountPtr<Data> data_;
};

#endif  // SERVERDATAMANAGER_SVRDMCLONEDATASOURCE_H_
