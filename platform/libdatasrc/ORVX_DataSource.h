// ORVX_DataSource: a dictionary of variables; derived classes add cases.
//
//   DataFreeDataSource source;
//   source.MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "age"), nullptr);
//   source.GetVariable(0).SetLabel("Age in years");
//   source.SetWeightVar(0);
//
// Sources form chains: the parent of a source is the source that it reads from.

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

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

union OBS;
class ObsIterator;

// The dictionary is a list of variables, with positions from 0. Identifiers should be unique; if
// several variables share an identifier, a search finds the first of these variables. Lookup by
// position costs a few nanoseconds, lookup by identifier a few tens of nanoseconds. Inserting or
// deleting one variable costs far less than reading the whole list.
//
// Weight, filter and split are stored by identifier. When a variable is deleted or gets another
// identifier, it is dropped from weight, filter and split; inserting the variable again does not
// restore these uses. A use that is off has position -1 and the null identifier.
//
// Only SetDirty changes the dirty flag. Arguments are copied unless stated otherwise. An operation
// that throws, std::bad_alloc included, has changed nothing.
//
// Threads: one writer or several readers; the owner's lock ensures this. Non-const operations count
// as writes, including the non-const GetVariable. Only SetParentSource may run concurrently with
// readers.
class SDM_EXPORT ORVX_DataSource {
 public:
  // Identifies the application that an extension belongs to.
  using ExtensionType = int;
  class Extension;

  // The maximum number of variables for SetSplit.
  static constexpr unsigned int kMaxSplitVars = 8;

  ORVX_DataSource(const ORVX_DataSource&) = delete;
  ORVX_DataSource& operator=(const ORVX_DataSource&) = delete;

  // Never reorder the virtual functions: other binaries call them by slot.

  // Does not delete the parent; the owner of the chain does.
  virtual ~ORVX_DataSource();

  virtual unsigned int GetNSplitVars() const;
  // The position and the identifier of split variable `i`, counted from 0; -1 and the null
  // identifier if there is none.
  virtual int GetSplitVarIndex(unsigned int i) const;
  virtual LocallyUniqueID GetSplitVarID(unsigned int i) const;
  // True if each split group is analysed separately. False without a split.
  virtual bool GetSplitqSeparate() const;

  // Returns a new iterator over the cases; the caller owns it. The iterator borrows `area`, which
  // holds GetObsAreaSize() cells, and writes each row to it. The rows keep the layout that the
  // dictionary of RowLayout() has at the time of the call, even if the dictionary is edited later.
  // The source must outlive the iterator unless the class of the source allows otherwise. This
  // class returns an iterator without rows.
  virtual ObsIterator* MakeIterator(OBS* area) const;

  // The number of cells in a row of this source. The variables of the source RowLayout() determine
  // it: 1 cell for each number, ceil(w / 8) cells for each string of w bytes. 0 if RowLayout() is
  // null.
  virtual long GetObsAreaSize() const;

  // -1 if unknown. This class returns 0.
  virtual long long RowCount() const;

  // Whether the cases can be read without waiting. This class returns true.
  virtual bool IsLoaded() const;

  // The number of parents in the chain of this source. This class returns 0 without a parent,
  // otherwise the parent's number plus 1.
  virtual int NParents() const;

  // --- variables ---

  int ColumnCount() const;

  // The variable at `position`. The reference is valid until a variable is inserted or deleted, or
  // CopyDictionary or MatchVariables is called. The variable may be assigned to and changed in
  // place, including its identifier. Throws std::out_of_range for a wrong position.
  ORVX_Variable& GetVariable(int position);
  const ORVX_Variable& GetVariable(int position) const;

  // The first position with this identifier, or -1. The null identifier is searched for like any
  // other.
  int FindVarIndex(LocallyUniqueID id) const;

  // Deletes the variables from `first` to `last`, inclusive. An empty range (last == first - 1,
  // also 0 to -1 in an empty dictionary) changes nothing. Any other range outside the dictionary
  // throws std::out_of_range. Allocates nothing.
  void DeleteVariables(int first, int last);

  // Inserts a copy before the variable at `position`, or appends it if `position` is ColumnCount().
  // Any other position throws std::out_of_range.
  void InsertVariable(long position, const ORVX_Variable& variable);

  // Appends a copy. Stores its position in `*position` if `position` is not null.
  void MakeVariable(const ORVX_Variable& variable, unsigned int* position);

  // --- snapshots ---
  // A snapshot is a dictionary that is repeatedly made equal to another dictionary. These
  // operations find the differences without comparing every variable.

  // Adjacent variables of the dictionary, valid until the dictionary is next edited. Two blocks
  // with the same stamp have equal variables in the same order, even if the blocks are in different
  // dictionaries. A stamp of 0 says nothing about the variables.
  struct Block {
    int first;  // the position of the first variable
    std::span<const ORVX_Variable> variables;
    std::uint64_t stamp;
  };

  // The block with the variable at `position`. Throws std::out_of_range.
  Block BlockAt(int position) const;

  bool ContainsVariable(LocallyUniqueID id) const;
  bool HasUniqueIDs() const;

  // Whether the stamps prove that the variables equal the variables of `other`: true after
  // MatchVariables, until a variable of either source is changed, inserted or deleted.
  bool VariablesAreKnownToEqual(const ORVX_DataSource& other) const;

  // Makes the variables equal to the variables of `other`, and stamps the blocks of both sources.
  // The cost depends mainly on the blocks that differ. Variables that leave the dictionary are
  // dropped from weight, filter and split. The call also counts as a write of `other`.
  void MatchVariables(ORVX_DataSource& other);

  // Drops the variable from weight, filter and split. Never throws.
  void DropUses(LocallyUniqueID id);

  // The hash of the list of variables, computed from the hashes that `hashOf` returns for the
  // variables. The hash of a variable is cached until the variable changes, so all callers in a
  // process must pass the same function. Exceptions of `hashOf` propagate.
  // Threads: any that may read the source.
  VariableListHash HashOfVariables(VariableHash (*hashOf)(const ORVX_Variable& variable)) const;

  // --- weight, filter and split ---

  int GetWeightVarIndex() const;
  LocallyUniqueID GetWeightVariableID() const;
  // -1 switches weighting off. Throws std::out_of_range for any other position outside the
  // dictionary, std::invalid_argument for a variable with the null identifier.
  void SetWeightVar(int position);

  int GetFilterVarIndex() const;
  LocallyUniqueID GetFilterVariableID() const;
  void SetFilterVar(int position);  // same rules as SetWeightVar

  // Splits the file by the variables at the `count` positions in `indices`, borrowed for the call.
  // A count of 0 switches splitting off; `indices` may then be null and `separate` is ignored. More
  // than kMaxSplitVars throws std::length_error. A position outside the dictionary, including -1,
  // throws std::out_of_range; a variable with the null identifier throws std::invalid_argument.
  void SetSplit(unsigned int count, const int* indices, bool separate);

  // SetSplit without the maximum, to copy the split of a source whose class overrides GetNSplitVars
  // and returns more variables.
  void SetSplitOfAnySize(unsigned int count, const int* indices, bool separate);

  // --- properties ---

  // Whether there are unsaved changes; false for a new source. SetDirty never throws.
  bool IsDirty() const;
  void SetDirty(bool dirty);

  // The file name; "" for none, never null. Valid until it is next set. Setting null sets "".
  const char* GetFileSpec() const;
  void SetFileSpec(const char* fileSpec);

  // The label of the dataset, null for none. Valid until it is next set.
  const char* GetLabel() const;
  void SetLabel(const char* label);

  // 0 if the rows are not a multiple imputation. Any number is accepted; setting it never throws.
  long long RowsPerImputation() const;
  void RowsPerImputation(long long rows);

  // --- time series, sets, extensions, attributes ---

  // Never null; valid as long as this source. The non-const form allows assignment.
  ORVX_TrendsInfo* GetTrendsInfo();
  const ORVX_TrendsInfo* GetTrendsInfo() const;

  // Multiple-response sets and variable sets, each list in its own order. Members are stored by
  // identifier; deleting a variable does not change the sets. References are valid until the list
  // is next set. Members that are not in the dictionary and duplicate names are accepted.
  const std::vector<VariableSetImpl>& GetMRSets() const;
  void SetMRSets(const std::vector<VariableSetImpl>& sets);
  const std::vector<VariableSetImpl>& GetVariableSets() const;
  void SetVariableSets(const std::vector<VariableSetImpl>& sets);

  // Replaces the extension of the same type, if any, and shares the block of `extension`. Any type
  // is accepted.
  void SetExtension(const Extension& extension);

  const DatasourceAttributes& GetAttributes() const;  // valid until they are next set
  void SetAttributes(const DatasourceAttributes& attributes);

  // --- the source as a whole ---

  // The source whose dictionary defines the layout of this source's rows: this source itself or,
  // for a clone, another source. Null for a clone without a source, which has no rows. Borrowed
  // while this source lives. ObsProjector(clone, clone) converts the rows of a clone to the clone's
  // own dictionary.
  const ORVX_DataSource* RowLayout() const;

  // Borrowed, null for none; the parent must outlive this source. SetParentSource may be called
  // while other threads read this source; these threads see the old or the new parent.
  ORVX_DataSource* GetParentSource() const;
  void SetParentSource(ORVX_DataSource* parent);

  // Replaces the whole dictionary with a copy of the dictionary of `other`: everything but the
  // parent, the rows and the dirty flag. Does nothing if `other` is null or this source. Only reads
  // `other`.
  void CopyDictionary(const ORVX_DataSource* other);

 protected:
  // Borrows `parent`, which may be null.
  explicit ORVX_DataSource(ORVX_DataSource* parent = nullptr);

  // For a class that passes on the rows of `source` unchanged: RowLayout() then returns
  // source->RowLayout(). Borrows `source` while this source lives; `source` is null if there are no
  // rows.
  // Threads: not safe; call before other threads use this source.
  void SetRowLayout(const ORVX_DataSource* source);

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

// One extension of a data source: a shared, immutable block of bytes. An absent extension has
// length 0.
//
// Threads: any thread may use its own copy.
class ORVX_DataSource::Extension {
 public:
  // Shares the block that `source` has now.
  Extension(const ORVX_DataSource& source, ExtensionType type);

  // Shares `block`. Throws std::invalid_argument for a null pointer.
  explicit Extension(const RefCountPtr<ORVX_ExtensionImpl>& block);

  // The block itself, never null.
  const RefCountPtr<ORVX_ExtensionImpl>& Impl() const { return block_; }

  // Equal if type, version and bytes are equal. All empty extensions of one type are equal.
  bool operator==(const Extension& other) const;

 private:
  RefCountPtr<ORVX_ExtensionImpl> block_;
};

#endif  // LIBDATASRC_ORVX_DATASOURCE_H_
