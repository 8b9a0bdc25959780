// SaveDelimited: saves a data source as delimited text, with its dictionary beside it.
//
//   SaveDelimited(survey, "survey.tsv");
//   const auto again = SystemFileDataSource::Open("survey.tsv");

#ifndef LIBDATASRC_SAVEDELIMITED_H_
#define LIBDATASRC_SAVEDELIMITED_H_

#include <libdatasrc/Progress.h>
#include <ServerDataManager/Export.h>

#include <string>

class ORVX_DataSource;

// Threads: a plain value; any thread may use its own copy.
struct SaveOptions {
  // A comma, tab, semicolon or bar. 0 chooses by the path: a tab if the path ends in .tsv or .tab,
  // otherwise a comma. For any other character, SaveDelimited throws std::invalid_argument.
  char delimiter = 0;
};

// Writes the cases of any source to `path`, and its dictionary to the schema beside it (see
// SystemFileDataSource.h): survey.schema.json for survey.tsv. Replaces both files if they exist.
//
// Opening the file again gives the same
//   - variables in the same order, with new identifiers: name, label, type and width, value labels,
//     declared missing values, measurement level, format and attributes
//   - label and attributes of the dataset, weight, filter and split
//   - values. Every number has the same bits, except that any NaN is read as kMissingNumber; an
//     infinity is written as INF or -INF. Strings lose trailing blanks, which are padding.
//
// Not saved: sets, extensions and trends information of the dataset, rows per imputation; value
// labels and declared missing values whose value is a NaN or does not have the type of the
// variable; a weight or filter that is a string.
//
// When SaveDelimited returns, the new content is on the disk. If it throws, or the process ends at
// any moment, opening the file gives the whole old content or the whole new content. If the process
// is killed at the end of a save, or at any time on a file system without unnamed files
// (O_TMPFILE), files with the suffix .new or .saving may remain. A file keeps its permissions. A
// symbolic link is replaced by a file. Do not open the file while it is being replaced: the data of
// one content could be read with the schema of the other.
//
// Throws std::invalid_argument for:
//   - a path that ends in .gz or .zst (saving does not compress) or in .schema.json
//   - a path whose schema belongs to another data file in the folder, as for survey.csv and
//     survey.tsv; data files end in .csv, .tsv, .tab, .txt or .dat, and .gz or .zst may follow
//   - a source that could not be read back: it has no variables, a variable without a name, two
//     variables with the same name, a text that is not UTF-8 or has a zero byte, a format with a
//     negative width or decimals, more than kMaxSplitVars split variables, or a case or a schema
//     larger than SystemFileDataSource::kMaxRecordBytes
//   - a source whose GetObsAreaSize() is not the number of cells in a row of its RowLayout()
// Throws DataFileError for an error of the file system. If the error text begins with "saved" after
// the path, the new content is in place; otherwise the old content is.
//
// `progress` counts the bytes of the cases, as CaseReader does; the total is 0 until the end if
// RowCount() is unknown. The source is not changed. To save a dataset of the registry, see
// ServerDataManager/SaveDataset.h.
//
// Threads: any, as a reader of the source.
SDM_EXPORT void SaveDelimited(const ORVX_DataSource& source, const std::string& path,
                              const SaveOptions& options = {}, const Progress& progress = {});

#endif  // LIBDATASRC_SAVEDELIMITED_H_
