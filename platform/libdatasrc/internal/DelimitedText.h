// DelimitedText: reads delimited text record by record, and finds the first error in it.

#ifndef LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
#define LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_

#include <libdatasrc/internal/TextPosition.h>
#include <libdatasrc/internal/Utf8.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Reads byte by byte, and so knows the position of each field. Used for the header, and to find the
// position of an error. RecordBlock, which is faster, reads the other records. Quoting follows RFC
// 4180. Throws DataFileError with the position of the first error.
class DelimitedText {
 public:
  // Borrows `text`, which starts with a record. `path` and `begin`, the position of `text` in the
  // file, are for error messages.
  DelimitedText(std::string path, std::string_view text, TextPosition begin, char delimiter);
  DelimitedText(const DelimitedText&) = delete;
  DelimitedText& operator=(const DelimitedText&) = delete;

  // Advances to the next record. Returns false at the end of the text. The text must end with a
  // whole record or at the end of the file.
  bool Next();
  // The number of bytes of all records so far.
  std::size_t BytesRead() const { return scanned_; }

  // The current record; an empty line is one empty field. Fields are valid until the next call of
  // Next.
  std::size_t FieldCount() const { return ends_.size(); }
  std::string_view Field(std::size_t i) const;
  TextPosition FieldPosition(std::size_t i) const { return starts_[i]; }
  bool IsEmptyLine() const { return isEmptyLine_; }
  // The end of the last field of the current record.
  TextPosition End() const { return end_; }

  [[noreturn]] void Fail(TextPosition where, const std::string& text) const;

 private:
  void BeginRecord();
  void Scan(char byte);
  void CheckAllowed(char byte);
  [[noreturn]] void FailAsTooLong() const;
  void ScanQuote(TextPosition here);
  void EndField();
  bool EndLastRecord();

  const std::string path_;
  const std::string_view source_;
  const char delimiter_;
  std::size_t scanned_ = 0;  // number of bytes of source_ scanned
  TextPosition position_;    // of the byte at `scanned_`

  // The state of the scanner. AfterQuote: after a quote that closes the field or is the first of a
  // pair.
  enum class State { FieldStart, Unquoted, InQuotes, AfterQuote };
  State state_ = State::FieldStart;
  bool afterReturn_ = false;  // the last byte was a carriage return outside quotes
  TextPosition return_;       // the position of that carriage return
  Utf8Checker utf8_;

  TextPosition character_;  // the start of the current character

  // The current record.
  TextPosition begin_;
  TextPosition end_;
  std::size_t size_ = 0;  // in bytes, including the line end
  bool isComplete_ = false;
  bool isEmptyLine_ = false;
  std::string text_;                  // the text of all fields, concatenated
  std::vector<std::size_t> ends_;     // the end of each field in `text_`
  std::vector<TextPosition> starts_;  // the start of each field in the file
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
