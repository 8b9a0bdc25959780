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
// the last of them to go deletes the chain, the source first. Nobody else may delete any of it.
//
// Rows are laid out as the dictionary of the owned source says, whatever this one says by now:
// ObsProjector makes the one into the other.
//
// The owned source is no parent of the clone, except while ShowParents says so. A clone that shows
// its parent must not be given to a dataset, nor be in a chain that is deleted: the chain would be
// deleted with the dataset and again with the clone. Builds without NDEBUG stop the process there.
//
// Threads: any number may read one clone at once, MakeIterator included, and make copies of it; the
// copies, and clones of one source, are independent of each other. ShowParents and changes of the
// dictionary are for one thread alone. Iterators are made under one lock for all clones: a source
// whose MakeIterator waits for another thread that makes one waits for ever.
class SDM_EXPORT SvrDMCloneDataSource : public ORVX_DataSource {
 public:
  // Takes `source`, which may be null, and its chain of parents over, and copies its dictionary.
  // Beware: where memory runs out at first, the caller still owns them, and where it runs out
  // later, they are deleted; Adopt has one answer.
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

  // Those of the owned source. Not without one.
  long GetObsAreaSize() const override;
  long long RowCount() const override;

  // How many sources the owned source stands on, itself not counted; 0 without one.
  int NParents() const override;

  // Makes the owned source the parent of this one, or nothing. Returns whether there was a parent
  // before.
  bool ShowParents(bool show);

  // The owned source, whose dictionary lays the rows out; null for none. Borrowed while any of the
  // copies lives.
  ORVX_DataSource const* Source() const;

 private:
  class SDM_HIDDEN Data;

  SDM_HIDDEN explicit SvrDMCloneDataSource(RefCountPtr<Data> const& data);

  RefCountPtr<Data> data_;
};

#endif  // SERVERDATAMANAGER_SVRDMCLONEDATASOURCE_H_
