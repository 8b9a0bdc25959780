// DelimitedText: the records of a file of delimited text, one after another.

#ifndef LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
#define LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_

#include <csv.h>
#include <libdatasrc/internal/RegularFile.h>
#include <libdatasrc/internal/TextPosition.h>
#include <libdatasrc/internal/Utf8.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Reads in chunks and holds one record at a time. libcsv takes the fields out of their quotes;
// beside it a scanner follows the places of the fields, finds where records end, and refuses what
// no text file holds. Every byte is scanned before libcsv gets it, a record ends for both at the
// same byte, and of two errors in a record the first is told. Errors are DataFileError.
class DelimitedText {
 public:
  // Reads the header as far as it takes to know the delimiter.
  explicit DelimitedText(RegularFile file);
  DelimitedText(const DelimitedText&) = delete;
  DelimitedText& operator=(const DelimitedText&) = delete;
  ~DelimitedText();

  // Goes to the next record, at first the header. False at the end of the file.
  bool Next();

  // Of the record at hand; an empty line is one empty field. Texts are good until the next call.
  std::size_t FieldCount() const { return ends_.size(); }
  std::string_view Field(std::size_t i) const;
  TextPosition FieldPosition(std::size_t i) const { return starts_[i]; }
  bool IsEmptyLine() const { return isEmptyLine_; }
  // Where its last field ends.
  TextPosition End() const { return end_; }

  [[noreturn]] void Fail(TextPosition where, const std::string& text) const;

 private:
  bool ReadMore();
  void SkipByteOrderMark();
  char FindDelimiter();
  void BeginRecord();
  void Scan(char byte);
  void Refuse(char byte);
  bool EndLastRecord();
  void Parse();
  void TakeField(std::string_view field) noexcept;
  [[noreturn]] void FailAfterParsing(TextPosition where, const std::string& text);

  RegularFile file_;
  csv_parser parser_;
  char delimiter_ = ',';

  std::string chunk_;
  std::size_t scanned_ = 0;      // bytes of the chunk that the scanner has passed
  std::size_t parsed_ = 0;       // and those that libcsv has got
  TextPosition position_;        // of the byte at `scanned_`
  TextPosition parsedPosition_;  // of the byte at `parsed_`

  // The scanner's state.
  bool inQuotes_ = false;
  bool afterReturn_ = false;  // the last byte was a carriage return outside quotes
  TextPosition return_;       // where
  Utf8Checker utf8_;
  TextPosition character_;  // where the character at hand begins

  // The record at hand.
  TextPosition begin_;
  TextPosition end_;
  std::size_t size_ = 0;  // in bytes, its line end included
  bool isComplete_ = false;
  bool isEmptyLine_ = false;
  bool outOfMemory_ = false;
  std::string text_;                  // of all fields, one after another
  std::vector<std::size_t> ends_;     // of each field in `text_`
  std::vector<TextPosition> starts_;  // of each field in the file
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
