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
// the rows change accordingly. ObsProjector.h defines how values are converted.
//
// The parent never changes. It may be a clone, whose rows have the layout of another dictionary;
// values are then converted to the types of the clone's own dictionary.
//
// Threads: as for ORVX_DataSource.
class SDM_EXPORT FilteredDataSource : public ORVX_DataSource {
 public:
  // Has all cases of `parent`, which is borrowed and not null.
  explicit FilteredDataSource(ORVX_DataSource* parent);

  // Has the cases in which the variable `selector` of `parent` is not 0, not a NaN and not one of
  // its missing values, as the parent's dictionary defines them when an iterator is made. Throws
  // std::invalid_argument if `parent` has no such variable or it is a string.
  FilteredDataSource(ORVX_DataSource* parent, LocallyUniqueID selector);

  ~FilteredDataSource() override;

  // The iterator stays valid when a dictionary is edited, and may outlive this source if the
  // parent's iterators may. Throws std::invalid_argument if the selecting variable was deleted or
  // is now a string, or if the length of the parent's rows differs from the dictionary of its
  // RowLayout().
  ObsIterator* MakeIterator(OBS* area) const override;

  // The parent's row count, or -1 (unknown) with a selecting variable.
  long long RowCount() const override;
  bool IsLoaded() const override;  // the same as for the parent

 private:
  bool selects_ = false;      // false: all cases
  LocallyUniqueID selector_;  // of the parent
};

#endif  // LIBDATASRC_FILTEREDDATASOURCE_H_
