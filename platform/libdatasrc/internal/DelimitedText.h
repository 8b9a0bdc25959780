// DelimitedText: the records of a file of delimited text, one after another.

#ifndef LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
#define LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_

#include <libdatasrc/internal/RegularFile.h>
#include <libdatasrc/internal/TextPosition.h>
#include <libdatasrc/internal/Utf8.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Reads in chunks and holds one record at a time. Quoting is that of RFC 4180. Errors are
// DataFileError, for the first byte that cannot stand where it does.
class DelimitedText {
 public:
  // Reads the header as far as it takes to know the delimiter.
  explicit DelimitedText(RegularFile file);
  DelimitedText(const DelimitedText&) = delete;
  DelimitedText& operator=(const DelimitedText&) = delete;

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
  void ScanQuote(TextPosition here);
  void EndField();
  bool EndLastRecord();

  RegularFile file_;
  char delimiter_ = ',';

  std::string chunk_;
  std::size_t scanned_ = 0;  // bytes of the chunk that were scanned
  TextPosition position_;    // of the byte at `scanned_`

  // Where in its field the next byte stands. Behind a quote: that closed the field, or is the first
  // of two.
  enum class Place { AtStart, Unquoted, InQuotes, BehindQuote };
  Place place_ = Place::AtStart;
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
  std::string text_;                  // of all fields, one after another
  std::vector<std::size_t> ends_;     // of each field in `text_`
  std::vector<TextPosition> starts_;  // of each field in the file
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_DELIMITEDTEXT_H_
