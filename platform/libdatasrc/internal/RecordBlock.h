// RecordBlock: whole records of delimited text, scanned together.

#ifndef LIBDATASRC_INTERNAL_RECORDBLOCK_H_
#define LIBDATASRC_INTERNAL_RECORDBLOCK_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Positions are offsets in the text. An object is reused for many blocks, with the same buffer.
class RecordBlock {
 public:
  // The number of bytes after the text that may be read.
  static constexpr std::size_t kPadding = 16;

  // Returns a buffer with room for `bytes` bytes of text. Keeps the first `keep` bytes of the
  // buffer. The text is undefined until SetText is called.
  char* Reserve(std::size_t bytes, std::size_t keep);
  // Sets the text to the first `size` bytes of the buffer. The text must start with a record.
  // `isLast` is true if the text ends at the end of the file.
  void SetText(std::size_t size, bool isLast);
  void Skip(std::size_t bytes) { text_.remove_prefix(bytes); }

  std::string_view Text() const { return text_; }

  // Finds the fields of all records. Returns false if the text has any error; the fields are then
  // undefined. An empty line is a row only if records have one field.
  bool Scan(char delimiter, std::size_t fieldsPerRecord);

  // Call these after Scan has returned true.
  std::size_t RowCount() const { return rows_.size(); }
  std::size_t RecordCount() const { return recordCount_; }  // with empty lines that are not rows
  std::size_t LineFeedCount() const { return lineFeedCount_; }

  // The position of a field, and the field itself with its quotes, if any.
  std::size_t FieldBegin(std::size_t row, std::size_t field) const {
    return field == 0 ? rows_[row] : ends_[row * fieldsPerRecord_ + field - 1] + 1;
  }
  std::string_view RawField(std::size_t row, std::size_t field) const {
    const std::size_t begin = FieldBegin(row, field);
    std::size_t end = ends_[row * fieldsPerRecord_ + field];
    if (field + 1 == fieldsPerRecord_ && end > begin && text_[end - 1] == '\r') --end;
    return text_.substr(begin, end - begin);
  }

  // The number of line feeds before a field: `row` if every line is a row. Otherwise this function
  // counts the line feeds, which takes long.
  std::size_t LineFeedsBefore(std::size_t row, std::size_t field) const;

 private:
  bool FindEnds(char delimiter);
  bool FindRows();
  bool IsUtf8() const;

  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::string_view text_;
  bool isLast_ = false;

  std::unique_ptr<std::uint32_t[]> ends_;  // of the fields
  std::size_t endsCapacity_ = 0;
  std::size_t endCount_ = 0;
  std::vector<std::uint32_t> rows_;  // the position of the first field of each row
  std::size_t fieldsPerRecord_ = 0;
  std::size_t recordCount_ = 0;
  std::size_t lineFeedCount_ = 0;  // including line feeds in quotes
  bool isAscii_ = true;
};

// The end of the last complete record in `text`, which must start with a record; 0 if no record is
// complete. A line feed ends a record if the number of quotes before it is even. This rule is exact
// up to the first error in the text.
std::size_t EndOfLastRecord(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_RECORDBLOCK_H_
