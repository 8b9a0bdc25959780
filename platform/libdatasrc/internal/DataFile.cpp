// Builds columns and variables from the records of a data file and its schema.
//
// The first block with a value of a column determines the type of the column. If a value in a later
// block has another type, the column becomes text, and the file is read again for such columns
// only. Keeping the texts of all numbers would avoid the second reading, but double the memory.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/BlockReader.h>
#include <libdatasrc/internal/ColumnPart.h>
#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/internal/FileColumn.h>
#include <libdatasrc/internal/KeyCheck.h>
#include <libdatasrc/internal/OrderedWork.h>
#include <libdatasrc/internal/SavedFiles.h>
#include <libdatasrc/internal/TableSchema.h>
#include <libdatasrc/internal/TextLayout.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>
#include <unordered_map>

namespace sdm_internal {

namespace {

struct Block {
  RecordBlock records;
  bool isRight = false;
  std::vector<ColumnPart> parts;  // by column
};

class DataFileReader {
 public:
  DataFileReader(const std::string& path, const ImportOptions& options, const ReadCalls& calls,
                 const BlockSettings& settings)
      : path_(path),
        dataPath_(FindSavedFiles(path).data),
        options_(options),
        calls_(calls),
        settings_(settings) {
    if (settings_.threads == 0) {
      // The thread that calls Read appends all blocks; it cannot keep up with more threads.
      constexpr unsigned int kMostThreads = 8;
      settings_.threads = std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
    }
  }

  DataFile Read() {
    writtenAt_ = WrittenAt();
    BlockReader reader{FileText(dataPath_, options_.encoding)};
    schema_ = ReadSchemaOf(path_);
    auto first = std::make_unique<Block>();
    reader.Next(settings_.firstBytes, first->records);
    encoding_ = reader.File().Encoding();
    ReadHeader(*first);
    ReadRecords(reader, std::move(first));
    ReadAgain();
    return Finish();
  }

 private:
  static constexpr std::uint8_t kSkip = 0xFF;  // in `types_`: the column is complete

  void ReadHeader(Block& first) {
    const std::string_view text = first.records.Text();
    skipped_ = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    const std::string_view start = text.substr(skipped_);
    FindLayout(start.substr(0, std::size_t{1} << 20));
    TextPosition begin;
    begin.Advance(text.substr(0, skipped_));
    DelimitedText header(path_, start, begin, delimiter_);
    if (!header.Next()) throw DataFileError(path_, "empty file, without a header line");
    AddColumns(header);
    skipped_ += header.BytesRead();
    first.records.Skip(skipped_);
    firstLine_ =
        1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(skipped_), '\n');
  }

  void FindLayout(std::string_view start) {
    const bool hasDecimalComma = options_.decimalMark == ',';
    delimiter_ = options_.delimiter ? *options_.delimiter
                                    : FindDelimiter(start, /*commaIsPossible=*/!hasDecimalComma);
    decimalMark_ =
        options_.decimalMark ? *options_.decimalMark : FindDecimalMark(start, delimiter_);
  }

  void AddColumns(const DelimitedText& header) {
    std::unordered_map<std::string_view, const SchemaField*> fields;
    if (schema_) {
      for (const SchemaField& field : schema_->fields) fields.emplace(field.name, &field);
    }
    for (std::size_t i = 0; i < header.FieldCount(); ++i) {
      const std::string_view name = header.Field(i);
      if (name.empty()) header.Fail(header.FieldPosition(i), "column without a name");
      if (!positions_.emplace(name, i).second) {
        header.Fail(header.FieldPosition(i), "duplicate column name " + Quoted(name));
      }
      const auto field = fields.find(name);
      AddColumn(std::string(name), field != fields.end() ? field->second : nullptr);
    }
    types_ = std::vector<std::atomic<std::uint8_t>>(columns_.size());
    if (schema_) MatchFields(header);
  }

  // Throws DataFileError if `fieldsMatch` in the schema does not allow these fields and columns.
  void MatchFields(const DelimitedText& header) {
    using Match = TableSchema::FieldsMatch;
    const Match match = schema_->fieldsMatch;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const bool needsField = match != Match::Subset && match != Match::Partial;
      if (needsField && !columns_[i].HasField()) {
        header.Fail(header.FieldPosition(i),
                    "the schema has no field " + Quoted(columns_[i].Name()));
      }
    }
    std::size_t matches = 0;
    for (std::size_t i = 0; i < schema_->fields.size(); ++i) {
      const SchemaField& field = schema_->fields[i];
      const auto found = positions_.find(field.name);
      if (found != positions_.end()) ++matches;
      if (found == positions_.end() && match != Match::Superset && match != Match::Partial) {
        schema_->Fail(field.position, "the data file has no column " + Quoted(field.name));
      }
      if (match == Match::Exact && found->second != i) {
        schema_->Fail(field.position, "field " + Quoted(field.name) + " is column " +
                                          std::to_string(found->second + 1) + " of the data file");
      }
    }
    if (match == Match::Partial && matches == 0) {
      throw DataFileError(schema_->file, "no field is a column of the data file");
    }
  }

  void AddColumn(std::string name, const SchemaField* field) {
    ColumnRules rules;
    rules.decimalMark = decimalMark_;
    const void* const key = field != nullptr ? field->missingValues.get() : nullptr;
    std::unique_ptr<MissingWords>& missing = missing_[key];
    if (missing == nullptr) {
      missing = field != nullptr ? std::make_unique<MissingWords>(*field->missingValues)
                                 : std::make_unique<MissingWords>(options_.missing);
    }
    rules.missing = missing.get();
    columns_.emplace_back(std::move(name), field, rules);
  }

  // Reads the records of `first`, then the rest of the file.
  void ReadRecords(BlockReader& reader, std::unique_ptr<Block> first) {
    line_ = firstLine_;
    rows_ = bytes_ = 0;
    PublishTypes();
    Parse(*first);
    Append(*first, reader);

    OrderedWork<Block> work([this](Block& block) { Parse(block); }, settings_.threads - 1);
    std::vector<std::unique_ptr<Block>> unused;
    unused.push_back(std::move(first));
    bool isAtEnd = false;
    std::exception_ptr error;  // thrown after the blocks before the error are appended
    for (;;) {
      // Parses one block at a time until the first rows have determined the types of columns.
      const std::size_t most = rows_ == 0 ? 1 : settings_.threads + 2;
      while (!isAtEnd && work.Size() < most) {
        if (unused.empty()) unused.push_back(std::make_unique<Block>());
        try {
          isAtEnd = !reader.Next(BlockBytes(), unused.back()->records);
        } catch (const DataFileError&) {
          error = std::current_exception();
          isAtEnd = true;
        }
        if (isAtEnd) break;
        std::unique_ptr<Block> block = std::move(unused.back());
        unused.pop_back();
        work.Push(std::move(block));
      }
      if (work.Size() == 0) break;
      unused.push_back(work.Pop());
      Append(*unused.back(), reader);
    }
    if (error) std::rethrow_exception(error);
  }

  std::size_t BlockBytes() const {
    if (settings_.bytes > 0) return settings_.bytes;
    return std::max(std::size_t{128} << 10, 64 * columns_.size());
  }

  // Reads the file a second time, for the columns whose type turned out to be wrong.
  void ReadAgain() {
    const auto isWrong = [](const FileColumn& column) { return column.MustBeReadAgain(); };
    if (std::none_of(columns_.begin(), columns_.end(), isWrong)) return;
    for (FileColumn& column : columns_) column.BeginSecondReading();
    const std::size_t rows = rows_;
    isSecondReading_ = true;
    BlockReader reader{FileText(dataPath_, options_.encoding)};
    auto first = std::make_unique<Block>();
    reader.Next(settings_.firstBytes, first->records);
    if (first->records.Text().size() < skipped_) FailAsChanged();
    first->records.Skip(skipped_);
    ReadRecords(reader, std::move(first));
    if (rows_ != rows || WrittenAt() != writtenAt_) FailAsChanged();
  }

  // Returns file_time_type::min() if the time cannot be read.
  std::filesystem::file_time_type WrittenAt() const {
    std::error_code error;
    return std::filesystem::last_write_time(dataPath_, error);
  }

  [[noreturn]] void FailAsChanged() const {
    throw DataFileError(path_, "changed while it was read");
  }

  // Threads: any, while the thread that called Read appends other blocks.
  void Parse(Block& block) const {
    block.isRight = block.records.Scan(delimiter_, columns_.size());
    if (!block.isRight) return;
    block.parts.resize(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::uint8_t type = types_[i].load(std::memory_order_relaxed);
      if (type == kSkip) continue;
      ReadColumn(block.records, i, static_cast<ImportReport::Type>(type), columns_[i].Rules(),
                 block.parts[i]);
    }
  }

  void Append(Block& block, const BlockReader& reader) {
    if (!block.isRight) FailAtFirstError(block);
    Report(reader.File());
    for (std::size_t i = 0; calls_.check && i < block.records.RecordCount(); ++i) calls_.check();
    rows_ += block.records.RowCount();
    bytes_ += block.records.Text().size();
    const ReadSoFar soFar{rows_, TimesAsMuch(reader)};
    bool isAllowed = true;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].IsComplete()) continue;
      const BlockColumn column{block.records, i, line_};
      isAllowed &= columns_[i].Append(column, block.parts[i], soFar);
    }
    // After the loop, because FailAtFirstError needs the new types of all columns.
    if (!isAllowed) FailAtFirstError(block);
    line_ += static_cast<long>(block.records.LineFeedCount());
    PublishTypes();
  }

  void Report(const FileText& file) const {
    if (!calls_.progress) return;
    const std::uint64_t size = file.BytesInAll();
    const std::uint64_t done = file.BytesRead() + (isSecondReading_ ? size : 0);
    if (!calls_.progress(done, isSecondReading_ ? 2 * size : size)) throw GivenUp();
  }

  // Estimates the size of the whole text, as a multiple of the text appended so far. The text may
  // have more bytes than the file, which may be compressed or in another encoding.
  double TimesAsMuch(const BlockReader& reader) const {
    const auto ofText = static_cast<double>(reader.TextBytes()) / static_cast<double>(bytes_ + 1);
    const auto ofFile = static_cast<double>(reader.File().BytesInAll()) /
                        static_cast<double>(reader.File().BytesRead() + 1);
    return std::max(1.0, ofText * ofFile);
  }

  void PublishTypes() {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const FileColumn& column = columns_[i];
      types_[i].store(column.IsComplete() ? kSkip : static_cast<std::uint8_t>(column.GetType()),
                      std::memory_order_relaxed);
    }
  }

  [[noreturn]] void FailAtFirstError(const Block& block) const {
    DelimitedText records(path_, block.records.Text(), TextPosition{line_, 1}, delimiter_);
    while (NextRow(records)) {
      CheckFieldCount(records);
      for (std::size_t i = 0; i < columns_.size(); ++i) columns_[i].CheckField(records, i);
    }
    throw std::logic_error("SystemFileDataSource: no error in records that were refused");
  }

  // Advances to the next record that is a row: an empty line is a row only if there is one column.
  bool NextRow(DelimitedText& records) const {
    while (records.Next()) {
      if (!records.IsEmptyLine() || columns_.size() == 1) return true;
    }
    return false;
  }

  void CheckFieldCount(const DelimitedText& record) const {
    const std::size_t count = record.FieldCount();
    if (count == columns_.size()) return;
    const std::string text =
        std::to_string(count) + " fields, but the header has " + std::to_string(columns_.size());
    const bool isLong = count > columns_.size();
    record.Fail(isLong ? record.FieldPosition(columns_.size()) : record.End(), text);
  }

  // The index of the column that the schema names. Throws DataFileError if there is none.
  std::size_t ColumnOf(const SchemaName& name) const {
    const auto found = positions_.find(name.name);
    if (found == positions_.end()) {
      schema_->Fail(name.position, "the data file has no column " + Quoted(name.name));
    }
    return found->second;
  }

  std::vector<std::size_t> ColumnsOf(const std::vector<std::size_t>& fields) const {
    std::vector<std::size_t> columns;
    for (const std::size_t field : fields) {
      columns.push_back(ColumnOf({schema_->fields[field].name, schema_->fields[field].position}));
    }
    return columns;
  }

  // Throws DataFileError for the first required value that is missing because its field is blank.
  void CheckRequiredValues() const {
    std::size_t row = ColumnPart::kNone;
    std::size_t column = 0;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].RequiredButBlank() >= row) continue;
      row = columns_[i].RequiredButBlank();
      column = i;
    }
    if (row == ColumnPart::kNone) return;
    FailInRow(row,
              [&](const DelimitedText& record) { columns_[column].FailAsMissing(record, column); });
  }

  void CheckKeys(const DataFile& file) const {
    const auto fail = [&](std::size_t row, const std::vector<std::size_t>& columns,
                          const std::string& problem) {
      FailInRow(row,
                [&](const DelimitedText& record) { FailInRecord(file, record, columns, problem); });
    };
    const auto valuesOf = [&](const std::vector<std::size_t>& columns) {
      KeyColumns values;
      for (const std::size_t i : columns)
        values.push_back(file.cases.Find(file.variables[i].GetID()));
      return values;
    };
    for (const SchemaKey& key : schema_->keys) {
      const std::vector<std::size_t> columns = ColumnsOf(key.fields);
      const auto row = FirstRepeatedRow(valuesOf(columns));
      if (row) fail(*row, columns, "is repeated, against the rule of the schema: " + key.rule);
    }
    for (const SchemaReference& reference : schema_->references) {
      const std::vector<std::size_t> columns = ColumnsOf(reference.fields);
      const auto row =
          FirstRowWithoutReference(valuesOf(columns), valuesOf(ColumnsOf(reference.referenced)));
      if (row) fail(*row, columns, "refers to no row, against the rule of the schema: foreignKeys");
    }
  }

  // Reads the file again up to this row. Then calls `fail`, which throws DataFileError, with the
  // record of the row.
  [[noreturn]] void FailInRow(std::size_t row,
                              const std::function<void(const DelimitedText&)>& fail) const {
    BlockReader reader{FileText(dataPath_, options_.encoding)};
    RecordBlock block;
    long line = firstLine_;
    std::size_t before = 0;  // rows before the block
    for (bool isFirst = true; reader.Next(BlockBytes(), block); isFirst = false) {
      if (isFirst) block.Skip(std::min(skipped_, block.Text().size()));
      if (!block.Scan(delimiter_, columns_.size())) break;
      if (row >= before + block.RowCount()) {
        before += block.RowCount();
        line += static_cast<long>(block.LineFeedCount());
        continue;
      }
      DelimitedText records(path_, block.Text(), TextPosition{line, 1}, delimiter_);
      while (NextRow(records)) {
        if (before++ == row) fail(records);
      }
    }
    FailAsChanged();
  }

  [[noreturn]] static void FailInRecord(const DataFile& file, const DelimitedText& record,
                                        const std::vector<std::size_t>& columns,
                                        const std::string& problem) {
    std::string fields;
    for (const std::size_t i : columns) {
      fields += (fields.empty() ? "" : ", ") + Quoted(record.Field(i)) + " in column " +
                Quoted(file.variables[i].GetName());
    }
    record.Fail(record.FieldPosition(columns.front()), fields + " " + problem);
  }

  void ReadRoles(DataFile& file) const {
    const auto numericColumn = [&](const SchemaName& name, const char* role) {
      const std::size_t column = ColumnOf(name);
      if (file.variables[column].GetType() == 0) return static_cast<int>(column);
      schema_->Fail(name.position,
                    std::string("the ") + role + " " + Quoted(name.name) + " is not numeric");
    };
    if (schema_->weight) file.weight = numericColumn(*schema_->weight, "weight");
    if (schema_->filter) file.filter = numericColumn(*schema_->filter, "filter");
    for (const SchemaName& name : schema_->split) {
      file.split.push_back(static_cast<int>(ColumnOf(name)));
      if (file.split.size() <= ORVX_DataSource::kMaxSplitVars) continue;
      schema_->Fail(
          name.position,
          "a split has at most " + std::to_string(ORVX_DataSource::kMaxSplitVars) + " variables");
    }
    file.splitSeparate = schema_->splitSeparate;
    for (const auto& [name, values] : schema_->attributes) file.attributes.Set(name, values);
  }

  DataFile Finish() {
    CheckRequiredValues();
    DataFile file;
    file.report.delimiter = delimiter_;
    file.report.decimalMark = decimalMark_;
    file.report.encoding = encoding_;
    file.report.rows = rows_;
    for (FileColumn& column : columns_) {
      file.variables.push_back(column.MakeVariable(schema_ ? &*schema_ : nullptr));
      file.cases.Add(file.variables.back().GetID(), column.TakeValues());
      file.report.variables.push_back(column.TakeReport());
    }
    file.cases.SetRowCount(rows_);
    if (!schema_) return file;
    file.label = schema_->title;
    CheckKeys(file);
    ReadRoles(file);
    return file;
  }

  const std::string& path_;
  const std::string dataPath_;  // differs from `path_` after an interrupted save
  const ImportOptions& options_;
  const ReadCalls& calls_;
  BlockSettings settings_;

  std::optional<TableSchema> schema_;
  std::map<const void*, std::unique_ptr<MissingWords>> missing_;  // key: SchemaField::missingValues
  std::string encoding_;
  char delimiter_ = ',';
  char decimalMark_ = '.';
  std::size_t skipped_ = 0;  // bytes before the first record after the header
  long firstLine_ = 1;       // of the first record after the header
  std::filesystem::file_time_type writtenAt_;
  bool isSecondReading_ = false;

  std::vector<FileColumn> columns_;
  std::map<std::string, std::size_t, std::less<>> positions_;  // columns by name
  // The type as which threads read each column, or kSkip. A thread may still see an older type;
  // FileColumn::Append then reads the column of that block again.
  std::vector<std::atomic<std::uint8_t>> types_;

  // The rows and bytes of the appended blocks, and the number of the line after these blocks.
  std::size_t rows_ = 0;
  std::size_t bytes_ = 0;
  long line_ = 1;
};

void CheckOptions(const ImportOptions& options) {
  constexpr std::string_view kDelimiters = ",\t;| ";
  constexpr std::string_view kMarks = ".,";
  if (options.delimiter && kDelimiters.find(*options.delimiter) == kDelimiters.npos) {
    throw std::invalid_argument(
        "ImportOptions: the delimiter must be a comma, tab, semicolon, bar or space");
  }
  if (options.decimalMark && kMarks.find(*options.decimalMark) == kMarks.npos) {
    throw std::invalid_argument("ImportOptions: the decimal mark must be a point or a comma");
  }
  if (options.delimiter && options.delimiter == options.decimalMark) {
    throw std::invalid_argument("ImportOptions: the delimiter is also the decimal mark");
  }
}

}  // namespace

DataFile ReadDataFile(const std::string& path, const ImportOptions& options, const ReadCalls& calls,
                      const BlockSettings& settings) {
  CheckOptions(options);
  return DataFileReader(path, options, calls, settings).Read();
}

}  // namespace sdm_internal
