// SvrDMCloneDataSource: a source with its own dictionary and the cases of another source. All
// copies of a clone share that source.
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

// All copies of a clone together own the source that the clone was built from, with its chain of
// parents; the last copy deletes the chain, the source first. No other object may own any source of
// this chain, neither a dataset nor another clone built from the same source. To clone the source
// of a dataset, call ShowParents(true) on the clone and give the clone to the dataset: SetDataSet
// then does not delete the source, and the dataset owns only the clone.
//
// Rows keep the layout of the owned source, even after edits of the clone's dictionary. RowLayout()
// returns the source whose dictionary defines this layout. ObsProjector(clone, clone) converts rows
// to the clone's dictionary. A FilteredDataSource on a clone converts the rows itself.
//
// The owned source is not the parent of the clone, except after ShowParents(true). So a chain ends
// at a clone, and a dataset with a clone of a saved file is not treated as a dataset of that file.
// Deleting a chain stops after a clone, even if the clone shows its parent: the parents of the
// clone belong to all its copies. A clone without an owned source has no rows.
//
// Threads: several threads may read one clone, make iterators and copy it; copies are independent.
// The owned source must then support iterators on several threads. ShowParents and edits of the
// dictionary need exclusive access. While one thread makes an iterator, GetParentSource() of the
// clone may return the owned source on other threads; ParentOf ignores this link. No lock is held
// while the owned source makes its iterator.
class SDM_EXPORT SvrDMCloneDataSource : public ORVX_DataSource {
 public:
  // Owns `source`, which may be null, with its chain of parents, and copies its dictionary. If the
  // constructor throws std::bad_alloc, the caller cannot tell whether it still owns the chain or
  // the chain was deleted. Prefer Adopt: if it throws, it has deleted the chain.
  explicit SvrDMCloneDataSource(ORVX_DataSource const* source);

  // Makes a clone like the constructor. If Adopt throws, it has deleted the source and its chain.
  static std::unique_ptr<SvrDMCloneDataSource> Adopt(std::unique_ptr<ORVX_DataSource> source);

  // Shares the source of `other` and copies the dictionary of `other`. The copy does not show its
  // parent (ShowParents).
  SvrDMCloneDataSource(SvrDMCloneDataSource const& other);
  SvrDMCloneDataSource& operator=(SvrDMCloneDataSource const&) = delete;

  ~SvrDMCloneDataSource() override;

  // Returns a new PassThroughIter over the rows of the owned source; the caller owns the iterator.
  // The iterator may outlive the owned source if that source's own iterators may. After the call,
  // even if it throws, the clone does not show its parent (ShowParents).
  ObsIterator* MakeIterator(OBS* area) const override;

  // The values of the owned source; 0 without an owned source.
  long GetObsAreaSize() const override;
  long long RowCount() const override;

  // NParents() of the owned source; 0 without an owned source.
  int NParents() const override;

  // With true, makes the owned source the parent of this clone, until MakeIterator is called. With
  // false, clears the parent. Returns whether the parent was set before the call.
  bool ShowParents(bool show);

  // The parent of any source; null for none. Ignores the parent that a clone shows while it makes
  // an iterator.
  static ORVX_DataSource* ParentOf(ORVX_DataSource const& source);

  // The owned source; null for none. Borrowed as long as this clone or any copy of the clone lives.
  ORVX_DataSource const* Source() const;

 private:
  class SDM_HIDDEN Data;

  SDM_HIDDEN explicit SvrDMCloneDataSource(RefCountPtr<Data> const& data);

  RefCountPtr<Data> data_;
};

#endif  // SERVERDATAMANAGER_SVRDMCLONEDATASOURCE_H_
