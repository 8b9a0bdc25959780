// The scanner of delimited text, and libcsv beside it.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <new>

namespace sdm_internal {

namespace {

constexpr std::size_t kChunkSize = std::size_t{64} << 10;
constexpr std::size_t kMaxRecordBytes = SystemFileDataSource::kMaxRecordBytes;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

DelimitedText::DelimitedText(RegularFile file) : file_(std::move(file)) {
  csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI);
  csv_set_space_func(&parser_, [](unsigned char) { return 0; });  // blanks belong to their field
  csv_set_blk_size(&parser_, kChunkSize);
  ReadMore();
  SkipByteOrderMark();
  delimiter_ = FindDelimiter();
  csv_set_delim(&parser_, static_cast<unsigned char>(delimiter_));
}

DelimitedText::~DelimitedText() {
  csv_free(&parser_);
}

bool DelimitedText::Next() {
  BeginRecord();
  while (!isComplete_) {
    if (scanned_ < chunk_.size()) {
      Scan(chunk_[scanned_]);
      continue;
    }
    Parse();
    if (!ReadMore()) return EndLastRecord();
  }
  Parse();
  if (isEmptyLine_) ends_.push_back(0);  // libcsv skips it
  return true;
}

std::string_view DelimitedText::Field(std::size_t i) const {
  const std::size_t begin = i > 0 ? ends_[i - 1] : 0;
  return std::string_view(text_).substr(begin, ends_[i] - begin);
}

void DelimitedText::Fail(TextPosition where, const std::string& text) const {
  throw DataFileError(file_.Path(), where.line, where.column, text);
}

// Replaces the chunk, all of which has been parsed.
bool DelimitedText::ReadMore() {
  chunk_.resize(kChunkSize);
  chunk_.resize(file_.Read(chunk_.data(), kChunkSize));
  scanned_ = parsed_ = 0;
  return !chunk_.empty();
}

void DelimitedText::SkipByteOrderMark() {
  if (!chunk_.starts_with(kByteOrderMark)) return;
  scanned_ = parsed_ = kByteOrderMark.size();
  position_.Pass(kByteOrderMark);
  parsedPosition_ = position_;
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
    inQuotes_ = !inQuotes_;  // a doubled quote leaves and enters again
  } else if (inQuotes_) {
    return;
  } else if (byte == delimiter_) {
    starts_.push_back(position_);
  } else if (byte == '\r') {
    afterReturn_ = true;
    return_ = here;
  } else if (byte == '\n') {
    end_ = afterReturn ? return_ : here;
    isEmptyLine_ = end_ == begin_;
    isComplete_ = true;
  }
}

// Fails when the next byte cannot stand where it does.
void DelimitedText::Refuse(char byte) {
  if (afterReturn_ && byte != '\n') {
    FailAfterParsing(return_, "a carriage return without a line feed behind it");
  }
  if (byte == '\0') FailAfterParsing(position_, "a zero byte, which is no text");
  if (!utf8_.Accepts(byte)) FailAfterParsing(character_, "not UTF-8");
  if (size_ < kMaxRecordBytes) return;
  const std::string limit = std::to_string(kMaxRecordBytes) + " bytes";
  if (inQuotes_) FailAfterParsing(starts_.back(), "a quote that is not closed within " + limit);
  FailAfterParsing(begin_, "a record of more than " + limit);
}

// At the end of the file, with all bytes parsed.
bool DelimitedText::EndLastRecord() {
  if (utf8_.IsInside()) Fail(character_, "not UTF-8");
  if (afterReturn_) Fail(return_, "a carriage return without a line feed behind it");
  if (inQuotes_) Fail(starts_.back(), "a quote that is never closed");
  if (size_ == 0) return false;
  end_ = position_;
  csv_fini(
      &parser_,
      [](void* text, std::size_t size, void* self) {
        static_cast<DelimitedText*>(self)->TakeField({static_cast<const char*>(text), size});
      },
      nullptr, this);
  if (outOfMemory_) throw std::bad_alloc();
  return true;
}

// Gives libcsv what the scanner has passed.
void DelimitedText::Parse() {
  const std::string_view bytes(chunk_.data() + parsed_, scanned_ - parsed_);
  const std::size_t taken = csv_parse(
      &parser_, bytes.data(), bytes.size(),
      [](void* text, std::size_t size, void* self) {
        static_cast<DelimitedText*>(self)->TakeField({static_cast<const char*>(text), size});
      },
      nullptr, this);
  if (outOfMemory_ || csv_error(&parser_) == CSV_ENOMEM) throw std::bad_alloc();
  if (taken < bytes.size()) {
    TextPosition where = parsedPosition_;
    where.Pass(bytes.substr(0, taken));
    Fail(where, bytes[taken] == '"' ? "a quote inside a field that is not quoted"
                                    : "text behind the closing quote of a field");
  }
  parsed_ = scanned_;
  parsedPosition_ = position_;
}

// Called by libcsv, which no exception may pass.
void DelimitedText::TakeField(std::string_view field) noexcept {
  try {
    text_.append(field);
    ends_.push_back(text_.size());
  } catch (const std::bad_alloc&) {
    outOfMemory_ = true;
  }
}

// What libcsv finds wrong earlier in the record is told first.
void DelimitedText::FailAfterParsing(TextPosition where, const std::string& text) {
  Parse();
  Fail(where, text);
}

}  // namespace sdm_internal
