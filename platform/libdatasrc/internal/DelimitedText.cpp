#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <utility>

namespace sdm_internal {

namespace {

constexpr std::size_t kMaxRecordBytes = SystemFileDataSource::kMaxRecordBytes;

}  // namespace

DelimitedText::DelimitedText(std::string path, std::string_view text, TextPosition begin,
                             char delimiter)
    : path_(std::move(path)), source_(text), delimiter_(delimiter), position_(begin) {}

bool DelimitedText::Next() {
  BeginRecord();
  while (!isComplete_) {
    if (scanned_ == source_.size()) return EndLastRecord();
    Scan(source_[scanned_]);
  }
  return true;
}

std::string_view DelimitedText::Field(std::size_t i) const {
  const std::size_t begin = i > 0 ? ends_[i - 1] : 0;
  return std::string_view(text_).substr(begin, ends_[i] - begin);
}

void DelimitedText::Fail(TextPosition where, const std::string& text) const {
  throw DataFileError(path_, where.line, where.column, text);
}

void DelimitedText::BeginRecord() {
  begin_ = position_;
  size_ = 0;
  isComplete_ = false;
  isEmptyLine_ = false;
  text_.clear();
  ends_.clear();
  starts_.assign(1, position_);
}

void DelimitedText::Scan(char byte) {
  if (!utf8_.IsInside()) character_ = position_;
  CheckAllowed(byte);
  const TextPosition here = position_;
  const bool afterReturn = std::exchange(afterReturn_, false);
  ++scanned_;
  ++size_;
  position_.Advance(byte);
  if (byte == '"') {
    ScanQuote(here);
  } else if (state_ == State::InQuotes) {
    text_ += byte;
  } else if (byte == delimiter_) {
    EndField();
    starts_.push_back(position_);
  } else if (byte == '\r') {
    afterReturn_ = true;
    return_ = here;
  } else if (byte == '\n') {
    EndField();
    end_ = afterReturn ? return_ : here;
    isEmptyLine_ = end_ == begin_;
    isComplete_ = true;
  } else {
    if (state_ == State::AfterQuote) Fail(here, "text after the closing quote of a field");
    state_ = State::Unquoted;
    text_ += byte;
  }
}

void DelimitedText::ScanQuote(TextPosition here) {
  if (state_ == State::Unquoted) Fail(here, "quote inside an unquoted field");
  if (state_ == State::AfterQuote) text_ += '"';
  state_ = state_ == State::InQuotes ? State::AfterQuote : State::InQuotes;
}

void DelimitedText::EndField() {
  ends_.push_back(text_.size());
  state_ = State::FieldStart;
}

// Throws DataFileError if `byte`, the next byte of the file, is not allowed.
void DelimitedText::CheckAllowed(char byte) {
  if (afterReturn_ && byte != '\n') {
    Fail(return_, "carriage return without a line feed after it");
  }
  if (byte == '\0') Fail(position_, "zero byte");
  if (!utf8_.Accepts(byte)) Fail(character_, "not UTF-8");
  if (size_ >= kMaxRecordBytes) FailAsTooLong();
}

void DelimitedText::FailAsTooLong() const {
  const std::string limit = std::to_string(kMaxRecordBytes) + " bytes";
  if (state_ == State::InQuotes) Fail(starts_.back(), "quote not closed within " + limit);
  Fail(begin_, "record longer than " + limit);
}

// Called after the last byte of the text. Returns false if no record is left.
bool DelimitedText::EndLastRecord() {
  if (utf8_.IsInside()) Fail(character_, "not UTF-8");
  if (afterReturn_) Fail(return_, "carriage return without a line feed after it");
  if (state_ == State::InQuotes) Fail(starts_.back(), "unclosed quote");
  if (size_ == 0) return false;
  if (size_ == kMaxRecordBytes) FailAsTooLong();  // no room for a line feed
  EndField();
  end_ = position_;
  return true;
}

}  // namespace sdm_internal
