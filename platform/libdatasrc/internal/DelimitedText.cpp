// The scanner of delimited text.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <utility>

namespace sdm_internal {

namespace {

constexpr std::size_t kChunkSize = std::size_t{64} << 10;
constexpr std::size_t kMaxRecordBytes = SystemFileDataSource::kMaxRecordBytes;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

DelimitedText::DelimitedText(RegularFile file) : file_(std::move(file)) {
  ReadMore();
  SkipByteOrderMark();
  delimiter_ = FindDelimiter();
}

bool DelimitedText::Next() {
  BeginRecord();
  while (!isComplete_) {
    if (scanned_ == chunk_.size() && !ReadMore()) return EndLastRecord();
    Scan(chunk_[scanned_]);
  }
  return true;
}

std::string_view DelimitedText::Field(std::size_t i) const {
  const std::size_t begin = i > 0 ? ends_[i - 1] : 0;
  return std::string_view(text_).substr(begin, ends_[i] - begin);
}

void DelimitedText::Fail(TextPosition where, const std::string& text) const {
  throw DataFileError(file_.Path(), where.line, where.column, text);
}

// Replaces the chunk, all of which has been scanned.
bool DelimitedText::ReadMore() {
  chunk_.resize(kChunkSize);
  chunk_.resize(file_.Read(chunk_.data(), kChunkSize));
  scanned_ = 0;
  return !chunk_.empty();
}

void DelimitedText::SkipByteOrderMark() {
  if (!chunk_.starts_with(kByteOrderMark)) return;
  scanned_ = kByteOrderMark.size();
  position_.Pass(kByteOrderMark);
}

// Looks through the header line only, reading on in the same chunk as far as that takes. What is
// wrong with the line is found when it is scanned.
char DelimitedText::FindDelimiter() {
  std::size_t commas = 0;
  std::size_t tabs = 0;
  bool inQuotes = false;
  for (std::size_t i = scanned_; i < kMaxRecordBytes; ++i) {
    if (i == chunk_.size()) {
      chunk_.resize(i + kChunkSize);
      chunk_.resize(i + file_.Read(chunk_.data() + i, kChunkSize));
      if (i == chunk_.size()) break;
    }
    const char byte = chunk_[i];
    if (byte == '"') inQuotes = !inQuotes;
    if (inQuotes) continue;
    if (byte == '\n' || byte == '\0') break;
    if (byte == ',') ++commas;
    if (byte == '\t') ++tabs;
  }
  return tabs > commas ? '\t' : ',';
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
  Refuse(byte);
  const TextPosition here = position_;
  const bool afterReturn = std::exchange(afterReturn_, false);
  ++scanned_;
  ++size_;
  position_.Pass(byte);
  if (byte == '"') {
    ScanQuote(here);
  } else if (place_ == Place::InQuotes) {
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
    if (place_ == Place::BehindQuote) Fail(here, "text behind the closing quote of a field");
    place_ = Place::Unquoted;
    text_ += byte;
  }
}

void DelimitedText::ScanQuote(TextPosition here) {
  if (place_ == Place::Unquoted) Fail(here, "a quote inside a field that is not quoted");
  if (place_ == Place::BehindQuote) text_ += '"';
  place_ = place_ == Place::InQuotes ? Place::BehindQuote : Place::InQuotes;
}

void DelimitedText::EndField() {
  ends_.push_back(text_.size());
  place_ = Place::AtStart;
}

// Fails when the next byte cannot stand where it does.
void DelimitedText::Refuse(char byte) {
  if (afterReturn_ && byte != '\n') {
    Fail(return_, "a carriage return without a line feed behind it");
  }
  if (byte == '\0') Fail(position_, "a zero byte, which is no text");
  if (!utf8_.Accepts(byte)) Fail(character_, "not UTF-8");
  if (size_ < kMaxRecordBytes) return;
  const std::string limit = std::to_string(kMaxRecordBytes) + " bytes";
  if (place_ == Place::InQuotes) Fail(starts_.back(), "a quote that is not closed within " + limit);
  Fail(begin_, "a record of more than " + limit);
}

// At the end of the file, with all bytes scanned.
bool DelimitedText::EndLastRecord() {
  if (utf8_.IsInside()) Fail(character_, "not UTF-8");
  if (afterReturn_) Fail(return_, "a carriage return without a line feed behind it");
  if (place_ == Place::InQuotes) Fail(starts_.back(), "a quote that is never closed");
  if (size_ == 0) return false;
  EndField();
  end_ = position_;
  return true;
}

}  // namespace sdm_internal
