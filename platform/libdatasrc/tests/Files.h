// Data files for tests, and rows as text.

#ifndef LIBDATASRC_TESTS_FILES_H_
#define LIBDATASRC_TESTS_FILES_H_

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <stdlib.h>

#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// A folder for the files of a test, deleted with this object.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "datasrc-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    path_ = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string Path(const std::string& name) const { return (path_ / name).string(); }

  std::string Write(const std::string& name, std::string_view bytes) const {
    std::ofstream file(path_ / name, std::ios::binary);
    file << bytes;
    if (!file.flush()) throw std::runtime_error("cannot write " + name);
    return Path(name);
  }

 private:
  std::filesystem::path path_;
};

inline int Cells(const ORVX_Variable& variable) {
  return variable.GetType() > 0 ? (variable.GetType() + 7) / 8 : 1;
}

// Prints the value of a variable: a number as text, "." for a missing number, or a string in
// brackets with the padding of its cells.
inline void PrintCell(const ORVX_Variable& variable, const OBS* cell, std::ostream& out) {
  if (variable.GetType() > 0) {
    out << '[' << std::string_view(cell->text, static_cast<std::size_t>(Cells(variable)) * 8)
        << ']';
  } else if (std::isnan(cell->number)) {
    out << '.';
  } else {
    out << cell->number;
  }
}

// Formats a row, with blanks between the variables.
inline std::string RowText(const ORVX_DataSource& dictionary, const OBS* row) {
  std::ostringstream text;
  for (int i = 0; i < dictionary.ColumnCount(); ++i) {
    if (i > 0) text << ' ';
    PrintCell(dictionary.GetVariable(i), row, text);
    row += Cells(dictionary.GetVariable(i));
  }
  return text.str();
}

// A source that has its own dictionary and passes on the rows of its parent unchanged.
class PassedOn : public ORVX_DataSource {
 public:
  explicit PassedOn(ORVX_DataSource* parent) : ORVX_DataSource(parent) {
    CopyDictionary(parent);
    SetRowLayout(parent);
  }
  ObsIterator* MakeIterator(OBS* area) const override {
    return GetParentSource()->MakeIterator(area);
  }
};

// Formats each row of a source.
inline std::vector<std::string> Rows(const ORVX_DataSource& source) {
  std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> iterator(source.MakeIterator(area.data()));
  std::vector<std::string> rows;
  while (iterator->Next()) rows.push_back(RowText(source, area.data()));
  return rows;
}

#endif  // LIBDATASRC_TESTS_FILES_H_
