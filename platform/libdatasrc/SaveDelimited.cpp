#include <dirent.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/internal/SavedFiles.h>
#include <libdatasrc/internal/SchemaText.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/SaveDelimited.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

using namespace sdm_internal;

namespace {

constexpr std::string_view kDelimiters = ",\t;|";

// Kinds of bytes.
constexpr std::uint8_t kQuoted = 1;    // a field with such a byte must be in quotes
constexpr std::uint8_t kNotAscii = 2;  // part of a character of several bytes
constexpr std::uint8_t kZero = 4;
constexpr std::uint8_t kBlank = 8;

// The kind of each byte. A field that contains any allowed delimiter is quoted, not only the
// delimiter of this file: otherwise opening could take the wrong character for the delimiter.
constexpr std::array<std::uint8_t, 256> kBytes = [] {
  std::array<std::uint8_t, 256> kinds{};
  for (std::size_t byte = 0x80; byte < kinds.size(); ++byte) kinds[byte] = kNotAscii;
  for (const char byte : {'"', '\r', '\n'}) kinds[static_cast<unsigned char>(byte)] = kQuoted;
  for (const char byte : kDelimiters) kinds[static_cast<unsigned char>(byte)] = kQuoted;
  kinds[0] = kZero;
  kinds[' '] = kBlank;
  return kinds;
}();

// Formats records.
class RecordText {
 public:
  explicit RecordText(char delimiter) : delimiter_(delimiter) {}

  void Start() {
    text_.clear();
    fields_ = 0;
  }

  void AddNumber(double number) {
    Separate();
    if (std::isnan(number)) return;
    if (std::isinf(number)) {
      text_ += ShortestText(number);
    } else {
      std::array<char, 32> digits;
      text_.append(static_cast<const char*>(digits.data()), Format(number, digits));
    }
  }

  // Returns false for a text that cannot be read back. `quoted`: the kinds of bytes for which the
  // field is quoted.
  bool AddText(std::string_view text, std::uint8_t quoted = kQuoted) {
    Separate();
    std::uint8_t kinds = 0;
    for (const char c : text) kinds |= kBytes[static_cast<unsigned char>(c)];
    if ((kinds & kZero) != 0 || ((kinds & kNotAscii) != 0 && !IsUtf8(text))) return false;
    // Without quotes, a byte-order mark at the start of the file would not belong to the first
    // field.
    if ((kinds & quoted) != 0 || text.starts_with(kByteOrderMark)) {
      AddQuoted(text);
    } else {
      text_ += text;
    }
    return true;
  }

  // Returns the record with its line end. Writes "" for an empty record, because some programs skip
  // empty lines.
  std::string_view Finish() {
    if (text_.empty()) text_ = "\"\"";
    text_ += '\n';
    return text_;
  }

 private:
  // Formats integers below kMost without an exponent, even if the text is then longer.
  static const char* Format(double number, std::array<char, 32>& digits) {
    constexpr double kMost = 1e15;
    char* const end = digits.data() + digits.size();
    const bool isInteger = std::fabs(number) < kMost && std::trunc(number) == number &&
                           !(number == 0 && std::signbit(number));
    if (isInteger) return std::to_chars(digits.data(), end, static_cast<long long>(number)).ptr;
    return std::to_chars(digits.data(), end, number).ptr;
  }

  void Separate() {
    if (fields_++ > 0) text_ += delimiter_;
  }

  void AddQuoted(std::string_view text) {
    text_ += '"';
    for (const char c : text) {
      if (c == '"') text_ += '"';
      text_ += c;
    }
    text_ += '"';
  }

  const char delimiter_;
  std::string text_;
  std::size_t fields_ = 0;
};

[[noreturn]] void Refuse(const std::string& path, const std::string& text) {
  throw std::invalid_argument(path + " cannot be saved: " + text);
}

class Saver {
 public:
  Saver(const ORVX_DataSource& source, const std::string& path, char delimiter)
      : source_(source),
        path_(path),
        projector_(source, source),
        row_(RowArea(source, projector_)),
        area_(static_cast<std::size_t>(projector_.GetToAreaSize())),
        record_(delimiter) {
    for (int i = 0; i < source.ColumnCount(); ++i)
      types_.push_back(source.GetVariable(i).GetType());
  }

  void WriteHeader(NewFile& file) {
    // The header of a single variable has no delimiter: opening could take a space in the name for
    // the delimiter.
    const std::uint8_t quoted = source_.ColumnCount() == 1 ? kQuoted | kBlank : kQuoted;
    record_.Start();
    for (int i = 0; i < source_.ColumnCount(); ++i) {
      if (!record_.AddText(source_.GetVariable(i).GetName(), quoted)) {
        Refuse(path_, "the name of variable " + std::to_string(i + 1) +
                          " is not UTF-8 or has a zero byte");
      }
    }
    Append(file);
  }

  void WriteCases(NewFile& file, const Progress& progress) {
    constexpr std::uint64_t kCasesInReport = 4096;
    const std::unique_ptr<ObsIterator> rows(source_.MakeIterator(row_.data()));
    const long long count = source_.RowCount();
    const auto total = static_cast<std::uint64_t>(std::max(count, 0LL));
    for (; rows->Next(); ++cases_) {
      if (cases_ % kCasesInReport == 0) Report(progress, total);
      WriteCase(file);
    }
    Report(progress, count < 0 ? cases_ : total);
  }

 private:
  // `total` is the number of cases, 0 if unknown.
  void Report(const Progress& progress, std::uint64_t total) const {
    const std::uint64_t rowBytes = row_.size() * sizeof(OBS);
    if (progress && !progress(cases_ * rowBytes, total * rowBytes)) throw GivenUp();
  }

  void WriteCase(NewFile& file) {
    projector_.Project(row_.data(), area_.data());
    record_.Start();
    const OBS* cells = area_.data();
    for (std::size_t i = 0; i < types_.size(); ++i) {
      AddValue(i, cells);
      cells += ObsCells(types_[i]);
    }
    Append(file);
  }

  void AddValue(std::size_t position, const OBS* cells) {
    const int type = types_[position];
    if (type == 0) return record_.AddNumber(cells->number);
    if (record_.AddText(WithoutPadding({cells->text, static_cast<std::size_t>(type)}))) return;
    Refuse(path_, "the value of \"" + source_.GetVariable(static_cast<int>(position)).GetName() +
                      "\" in case " + std::to_string(cases_ + 1) +
                      " is not UTF-8 or has a zero byte");
  }

  void Append(NewFile& file) {
    const std::string_view record = record_.Finish();
    if (record.size() > SystemFileDataSource::kMaxRecordBytes) {
      Refuse(path_, "a record of " + std::to_string(record.size()) + " bytes");
    }
    file.Append(record);
  }

  const ORVX_DataSource& source_;
  const std::string& path_;
  const ObsProjector projector_;
  std::vector<OBS> row_;   // from the source's iterator; a clone's rows have another layout
  std::vector<OBS> area_;  // the row, converted to the layout of the source's own dictionary
  std::vector<int> types_;
  RecordText record_;
  std::uint64_t cases_ = 0;
};

char DelimiterFor(const std::string& path, char wanted) {
  if (wanted == 0) return path.ends_with(".tsv") || path.ends_with(".tab") ? '\t' : ',';
  if (kDelimiters.find(wanted) == kDelimiters.npos) {
    Refuse(path, "the delimiter is not a comma, tab, semicolon or bar");
  }
  return wanted;
}

// Whether a file with this name is probably a data file.
bool IsDataFile(const std::filesystem::path& file) {
  static constexpr std::string_view kSuffixes[] = {".csv", ".tsv", ".tab", ".txt", ".dat"};
  const std::string suffix = file.extension().string();
  if (suffix == ".gz" || suffix == ".zst") return IsDataFile(file.stem());
  return std::ranges::find(kSuffixes, suffix) != std::end(kSuffixes);
}

// Refuses a path that shares its schema with another data file: with the new schema, the other file
// could no longer be opened.
void CheckSiblings(const std::filesystem::path& path) {
  const std::string schema = SchemaPathOf(path.filename().string());
  // Not std::filesystem::directory_iterator, which ends the process if memory runs out.
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(FolderOf(path).c_str()), closedir);
  if (entries == nullptr) return;
  while (const dirent* const entry = readdir(entries.get())) {
    const std::filesystem::path name = entry->d_name;
    if (name == path.filename() || !IsDataFile(name)) continue;
    if (SchemaPathOf(name.string()) != schema) continue;
    Refuse(path.string(), name.string() + " in the same folder has the same schema, " + schema);
  }
}

void CheckPath(const std::string& path) {
  if (path.ends_with(".gz") || path.ends_with(".zst")) {
    Refuse(path, "compressed files cannot be written; choose another name");
  }
  if (path.ends_with(".schema.json")) Refuse(path, "the name of a schema, not of a data file");
  CheckSiblings(path);
}

std::string CheckedSchema(const ORVX_DataSource& source, const std::string& path) {
  if (source.ColumnCount() == 0) Refuse(path, "the dictionary has no variables");
  if (source.GetNSplitVars() > ORVX_DataSource::kMaxSplitVars) {
    Refuse(path, std::to_string(source.GetNSplitVars()) + " variables split the file");
  }
  std::string schema;
  try {
    schema = SchemaText(source);
  } catch (const std::invalid_argument& error) {
    Refuse(path, error.what());
  }
  if (schema.size() > SystemFileDataSource::kMaxRecordBytes) {
    Refuse(path, "a schema of " + std::to_string(schema.size()) + " bytes");
  }
  return schema;
}

}  // namespace

void SaveDelimited(const ORVX_DataSource& source, const std::string& path,
                   const SaveOptions& options, const Progress& progress) {
  CheckPath(path);
  Saver saver(source, path, DelimiterFor(path, options.delimiter));
  const std::string schemaText = CheckedSchema(source, path);
  NewFile data(path);
  NewFile schema(SchemaPathOf(path));
  saver.WriteHeader(data);
  saver.WriteCases(data, progress);
  data.Finish();
  schema.Append(schemaText);
  schema.Finish();
  ReplaceFiles(data, schema);
}
