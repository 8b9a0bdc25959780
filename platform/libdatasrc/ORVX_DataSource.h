// ORVX_DataSource: a dictionary of variables, and the cases that a derived class has for it.
//
//   DataFreeDataSource source;
//   source.MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "age"), nullptr);
//   source.GetVariable(0).SetLabel("Age in years");
//   source.SetWeightVar(0);
//
// Sources form chains: a filtered or derived source has as its parent the source it reads from.

#ifndef LIBDATASRC_ORVX_DATASOURCE_H_
#define LIBDATASRC_ORVX_DATASOURCE_H_

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_ExtensionImpl.h>
#include <libdatasrc/ORVX_TrendsInfo.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/VariableSets.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/RefCountPtr.h>

#include <memory>
#include <vector>

union OBS;
class ObsIterator;

// The dictionary is a list of variables by 0-based position. Identifiers are meant to be unique in
// it but need not be; where several variables bear one, searches answer the first. Finding by
// position costs a few nanoseconds, finding by identifier a few tens, and inserting or deleting one
// variable far less than running over the list.
//
// Weight, filter and split are kept by identifier. A variable that leaves the dictionary, deleted
// or replaced in its place by a variable with another identifier, is dropped from all three;
// putting it back does not restore them. "Off" is position -1 and the null identifier.
//
// No operation but SetDirty touches the dirty flag. Operations copy what they are given, unless
// they say otherwise. One that throws, std::bad_alloc included, has changed nothing.
//
// Threads: one thread changes a source, or several only read it; the owner's lock sees to that.
// What is not const changes the source, GetVariable too; SetParentSource alone may run beside
// readers.
class SDM_EXPORT ORVX_DataSource {
 public:
  // Says whose the bytes of an extension are.
  using ExtensionType = int;
  class Extension;

  // The most variables that SetSplit takes.
  static constexpr unsigned int kMaxSplitVars = 8;

  ORVX_DataSource(const ORVX_DataSource&) = delete;
  ORVX_DataSource& operator=(const ORVX_DataSource&) = delete;

  // The virtual operations stand in this order for good: other binaries call them by slot.

  // Deletes no parent: whoever owns the chain does.
  virtual ~ORVX_DataSource();

  virtual unsigned int GetNSplitVars() const;
  // Of the split variable number `i`, counted from 0; -1 and the null identifier where there is
  // none.
  virtual int GetSplitVarIndex(unsigned int i) const;
  virtual LocallyUniqueID GetSplitVarID(unsigned int i) const;
  // True when each group of a split is analysed on its own. False while nothing splits the file.
  virtual bool GetSplitqSeparate() const;

  // A new iterator over the cases, which the caller owns. It lays rows out in `area`, borrowed for
  // as long as the iterator is used, for the dictionary of RowLayout() as it is now: `area` needs
  // the GetObsAreaSize() of now, and editing a dictionary later does not change what the iterator
  // does. Here: no rows.
  virtual ObsIterator* MakeIterator(OBS* area) const;

  // Cells in a row: 1 for each number, ceil(w / 8) for each string of w bytes of RowLayout().
  virtual long GetObsAreaSize() const;

  // -1 while unknown. Here: 0, a dictionary alone.
  virtual long long RowCount() const;

  // Whether the cases can be read without waiting for them. Here: true.
  virtual bool IsLoaded() const;

  // The sources that this one stands on. Here: 0 without a parent, otherwise one more than the
  // parent's.
  virtual int NParents() const;

  // --- variables ---

  int ColumnCount() const;

  // The variable at `position`, good until the next variable is inserted or deleted. It may be
  // assigned to and changed in place, its identifier too. Throws std::out_of_range.
  ORVX_Variable& GetVariable(int position);
  const ORVX_Variable& GetVariable(int position) const;

  // The first position of a variable with this identifier, or -1. The null identifier is searched
  // like any other.
  int FindVarIndex(LocallyUniqueID id) const;

  // Deletes the variables from `first` to `last`, both included. An empty range (last == first - 1,
  // 0 to -1 in an empty dictionary too) changes nothing; any other range that does not lie in the
  // dictionary throws std::out_of_range. Needs no memory.
  void DeleteVariables(int first, int last);

  // Inserts a copy in front of the variable at `position`, or at the end for the column count. Any
  // other position throws std::out_of_range.
  void InsertVariable(long position, const ORVX_Variable& variable);

  // Appends a copy, and stores where in `position` unless that is null.
  void MakeVariable(const ORVX_Variable& variable, unsigned int* position);

  // --- uses of variables ---

  int GetWeightVarIndex() const;
  LocallyUniqueID GetWeightVariableID() const;
  // -1 switches weighting off. Any other position outside the dictionary throws std::out_of_range,
  // a variable with the null identifier std::invalid_argument.
  void SetWeightVar(int position);

  int GetFilterVarIndex() const;
  LocallyUniqueID GetFilterVariableID() const;
  void SetFilterVar(int position);  // as for the weight

  // Splits the file by the variables at the `count` positions in `indices`, borrowed for the call;
  // 0 switches splitting off (`indices` may then be null, and `separate` is taken as false). More
  // than kMaxSplitVars throw std::length_error. A wrong position, -1 too, throws as for the weight.
  void SetSplit(unsigned int count, const int* indices, bool separate);

  // The same for any number of variables: for a dictionary that follows another source's, whose
  // class may report more of them.
  void SetSplitOfAnySize(unsigned int count, const int* indices, bool separate);

  // --- properties ---

  // Whether there are unsaved changes; false for a fresh source. Setting it never throws.
  bool IsDirty() const;
  void SetDirty(bool dirty);

  // The name of the file, "" for none, never null. Good until it is next set; setting null is "".
  const char* GetFileSpec() const;
  void SetFileSpec(const char* fileSpec);

  // The label of the dataset, null for none. Good until it is next set.
  const char* GetLabel() const;
  void SetLabel(const char* label);

  // 0 when the rows are not those of a multiple imputation. Any number is taken; setting it never
  // throws.
  long long RowsPerImputation() const;
  void RowsPerImputation(long long rows);

  // --- time series, sets, extensions, attributes ---

  // Never null. The first form may be assigned to.
  ORVX_TrendsInfo* GetTrendsInfo();
  const ORVX_TrendsInfo* GetTrendsInfo() const;

  // Multiple-response sets and variable sets, each in an order of its own. Members are kept by
  // identifier; deleting a variable leaves the sets as they are. Good until they are next set. Any
  // sets are taken: whether the members are there, or a name comes twice, is not looked at.
  const std::vector<VariableSetImpl>& GetMRSets() const;
  void SetMRSets(const std::vector<VariableSetImpl>& sets);
  const std::vector<VariableSetImpl>& GetVariableSets() const;
  void SetVariableSets(const std::vector<VariableSetImpl>& sets);

  // Shares the block of `extension`, in place of the one of its type. Any type is taken.
  void SetExtension(const Extension& extension);

  const DatasourceAttributes& GetAttributes() const;  // good until they are next set
  void SetAttributes(const DatasourceAttributes& attributes);

  // --- the source as a whole ---

  // The source whose dictionary lays out the rows of this one: this source itself, unless its class
  // says otherwise, as a clone does. Borrowed while this source lives. Null for a clone of nothing,
  // which has no rows. Whoever takes rows apart goes by this dictionary, or by the source's own
  // after an ObsProjector(source, source).
  const ORVX_DataSource* RowLayout() const;

  // Borrowed, null for none; the parent must live as long as this source. The link may be set while
  // others read the source, who then find the one or the other parent.
  ORVX_DataSource* GetParentSource() const;
  void SetParentSource(ORVX_DataSource* parent);

  // Makes the dictionary of `other` this one's: variables, weight, filter, split, properties and
  // the rest, all but the parent, the rows and the dirty flag. Null changes nothing, and so does
  // the source itself. Threads: `other` is only read.
  void CopyDictionary(const ORVX_DataSource* other);

 protected:
  // Borrows `parent`, which may be null.
  explicit ORVX_DataSource(ORVX_DataSource* parent = nullptr);

  // For a class that passes the rows of `source` on as they are: RowLayout() is then that of
  // `source`, which is borrowed while this source lives. Null where there are no rows to pass on.
  // Threads: not safe; before the source is shown to other threads.
  void SetRowLayout(const ORVX_DataSource* source);

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

// The extension of one type that a data source has: a shared, unchanging block of bytes. One that
// is absent is one of length 0.
//
// Threads: a value; any thread may use its own copy.
class ORVX_DataSource::Extension {
 public:
  // Shares the block that `source` has now.
  Extension(const ORVX_DataSource& source, ExtensionType type);

  // Shares `block` as the extension of its type. Throws std::invalid_argument for an empty pointer.
  explicit Extension(const RefCountPtr<ORVX_ExtensionImpl>& block);

  // The block itself, never null.
  const RefCountPtr<ORVX_ExtensionImpl>& Impl() const { return block_; }

  // The same type, and the same bytes in the same version; empty ones of a type are all equal.
  bool operator==(const Extension& other) const;

 private:
  RefCountPtr<ORVX_ExtensionImpl> block_;
};

#endif  // LIBDATASRC_ORVX_DATASOURCE_H_
