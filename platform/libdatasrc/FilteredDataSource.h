// FilteredDataSource: some cases and some variables of another source.
//
//   auto* adults = new FilteredDataSource(survey, idOfIsAdult);   // survey is its parent
//   adults->DeleteVariables(0, 3);                                 // shown without these

#ifndef LIBDATASRC_FILTEREDDATASOURCE_H_
#define LIBDATASRC_FILTEREDDATASOURCE_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/Export.h>

// Begins with a copy of the parent's dictionary, which is its own: variables may be deleted, moved
// and retyped, and its rows follow. ObsProjector.h tells what a variable of another type reads as,
// and one that the parent does not have.
//
// The parent stays for good. It may be a clone: its variables read as its dictionary says by then,
// also where its rows are laid out by another one.
//
// Threads: as for ORVX_DataSource.
class SDM_EXPORT FilteredDataSource : public ORVX_DataSource {
 public:
  // All cases of `parent`, not null, which becomes the parent source: borrowed.
  explicit FilteredDataSource(ORVX_DataSource* parent);

  // Those cases in which the variable `selector` of `parent` is a number other than 0, and neither
  // a NaN nor one of its missing values; which these are, the parent's dictionary says when an
  // iterator is made. Throws std::invalid_argument where `parent` has no such variable, or
  // where it is a string.
  FilteredDataSource(ORVX_DataSource* parent, LocallyUniqueID selector);

  ~FilteredDataSource() override;

  // Outlives edits of the dictionaries, and the source itself as far as the parent's iterator does.
  // Throws std::invalid_argument where the parent has lost the selecting variable or made it a
  // string, or where its rows are not as long as the dictionary of its RowLayout() says.
  ObsIterator* MakeIterator(OBS* area) const override;

  // The parent's; -1, unknown, where cases are selected.
  long long RowCount() const override;
  bool IsLoaded() const override;  // as the parent

 private:
  bool selects_ = false;      // false: all cases
  LocallyUniqueID selector_;  // of the parent
};

#endif  // LIBDATASRC_FILTEREDDATASOURCE_H_
