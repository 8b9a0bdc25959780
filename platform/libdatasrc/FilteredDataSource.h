// FilteredDataSource: some cases and some variables of another source.
//
//   auto adults = std::make_unique<FilteredDataSource>(*writer, idOfIsAdult);
//   adults->DeleteVariables(0, 3);         // the parent keeps these variables
//   writer.SetDataSet(std::move(adults));  // the dataset owns both sources

#ifndef LIBDATASRC_FILTEREDDATASOURCE_H_
#define LIBDATASRC_FILTEREDDATASOURCE_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>

// Starts with its own copy of the parent's dictionary. Variables may be deleted, moved and retyped;
// the rows change accordingly. All values of an inserted variable that the parent lacks are
// missing. ObsProjector.h defines how values are converted.
//
// Do not call SetParentSource. If the parent is a clone, whose rows have the layout of another
// dictionary, values are first converted to the types in the clone's own dictionary.
//
// Threads: as for ORVX_DataSource.
class SDM_EXPORT FilteredDataSource : public ORVX_DataSource {
 public:
  // Has all cases of `parent`, which is borrowed and not null.
  explicit FilteredDataSource(ORVX_DataSource* parent);

  // Has the cases in which the variable `selector` of `parent` is not 0, not a NaN and not a
  // missing value. Each iterator uses the missing values that the parent's dictionary declares when
  // the iterator is made. Throws std::invalid_argument if `parent` has no such variable or if the
  // variable is a string.
  FilteredDataSource(ORVX_DataSource* parent, LocallyUniqueID selector);

  ~FilteredDataSource() override;

  // Later edits of the dictionaries do not affect the iterator. The iterator may outlive this
  // source; it may outlive the parent if the parent's iterators may. Throws std::invalid_argument
  // if the selecting variable was deleted from the parent or is now a string, or if the parent's
  // GetObsAreaSize() is not the number of cells in a row of its RowLayout().
  ObsIterator* MakeIterator(OBS* area) const override;

  // The parent's row count; -1 (unknown) if a variable selects the cases.
  long long RowCount() const override;
  bool IsLoaded() const override;  // the parent's IsLoaded()

 private:
  bool selects_ = false;      // false: all cases
  LocallyUniqueID selector_;  // a variable of the parent
};

#endif  // LIBDATASRC_FILTEREDDATASOURCE_H_
