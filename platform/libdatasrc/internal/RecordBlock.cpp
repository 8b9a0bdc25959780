#include <libdatasrc/internal/ByteGroup.h>
#include <libdatasrc/internal/RecordBlock.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace sdm_internal {

namespace {

// Calls `use` for each group of 64 bytes, with the position and the bytes of the group, and a mask
// of the bytes that belong to the text. Blanks follow the text in the last group.
template <class Use>
void ForEachGroup(std::string_view text, Use use) {
  std::size_t position = 0;
  for (; position + kGroupBytes <= text.size(); position += kGroupBytes) {
    use(position, ByteGroup(text.data() + position), ~std::uint64_t{0});
  }
  const std::size_t rest = text.size() - position;
  if (rest == 0) return;
  std::array<char, kGroupBytes> padded;
  padded.fill(' ');
  std::memcpy(padded.data(), text.data() + position, rest);
  use(position, ByteGroup(padded.data()), (std::uint64_t{1} << rest) - 1);
}

// Bit i of the result is the parity of the bits 0 to i.
std::uint64_t PrefixParity(std::uint64_t bits) {
  for (const int shift : {1, 2, 4, 8, 16, 32}) bits ^= bits << shift;
  return bits;
}

// Checks the quotes of a text, group by group.
class Quotes {
 public:
  // A mask of the bytes in quotes in the next group, with opening but without closing quotes.
  std::uint64_t Inside(std::uint64_t quotes) {
    if (quotes == 0) return inside_;
    const std::uint64_t inside = PrefixParity(quotes) ^ inside_;
    inside_ = std::uint64_t{0} - (inside >> 63);
    return inside;
  }

  // Returns false for misplaced quotes. A quote may open only at the start of a field, or directly
  // after a closing quote: such a pair is one quote in the field. After a closing quote, only a
  // quote or the end of the field may follow.
  bool AreWellPlaced(std::uint64_t quotes, std::uint64_t inside, std::uint64_t fieldEnds,
                     std::uint64_t returns) {
    const std::uint64_t closing = quotes & ~inside;
    const std::uint64_t mayOpen = (fieldEnds | closing) << 1 | mayOpen_;
    const std::uint64_t afterClosing = closing << 1 | afterClosing_;
    mayOpen_ = (fieldEnds | closing) >> 63;
    afterClosing_ = closing >> 63;
    return (quotes & inside & ~mayOpen) == 0 &&
           (afterClosing & ~(fieldEnds | returns | quotes)) == 0;
  }

  bool IsOpen() const { return inside_ != 0; }

 private:
  std::uint64_t inside_ = 0;  // all bits set if the next group begins in quotes
  std::uint64_t mayOpen_ = 1;
  std::uint64_t afterClosing_ = 0;
};

}  // namespace

char* RecordBlock::Reserve(std::size_t bytes, std::size_t keep) {
  if (bytes > capacity_) {
    auto larger = std::make_unique_for_overwrite<char[]>(bytes + kPadding);
    std::copy_n(buffer_.get(), keep, larger.get());
    buffer_ = std::move(larger);
    capacity_ = bytes;
  }
  return buffer_.get();
}

void RecordBlock::SetText(std::size_t size, bool isLast) {
  std::fill_n(buffer_.get() + size, kPadding, '\0');
  text_ = std::string_view(buffer_.get(), size);
  isLast_ = isLast;
}

bool RecordBlock::Scan(char delimiter, std::size_t fieldsPerRecord) {
  fieldsPerRecord_ = fieldsPerRecord;
  return FindEnds(delimiter) && FindRows() && (isAscii_ || IsUtf8());
}

std::size_t RecordBlock::LineFeedsBefore(std::size_t row, std::size_t field) const {
  const std::size_t unended = text_.ends_with('\n') ? 0 : 1;
  const bool isOneLinePerRow =
      RowCount() == RecordCount() && LineFeedCount() + unended == RecordCount();
  if (isOneLinePerRow) return row;
  const std::string_view before = text_.substr(0, FieldBegin(row, field));
  return static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

// Returns false for a wrong quote or carriage return, a zero byte, and a text that ends inside a
// record. Only the last record of the file needs no line feed.
bool RecordBlock::FindEnds(char delimiter) {
  if (endsCapacity_ < text_.size() + 1) {
    ends_ = std::make_unique_for_overwrite<std::uint32_t[]>(text_.size() + 1);
    endsCapacity_ = text_.size() + 1;
  }
  std::uint32_t* next = ends_.get();
  Quotes open;
  bool isRight = true;
  std::uint64_t afterReturn = 0;
  isAscii_ = true;
  recordCount_ = lineFeedCount_ = 0;
  ForEachGroup(text_, [&](std::size_t position, const ByteGroup& group, std::uint64_t valid) {
    const std::uint64_t quotes = group.MaskOf('"');
    const std::uint64_t inside = open.Inside(quotes);
    const std::uint64_t feeds = group.MaskOf('\n');
    const std::uint64_t returns = group.MaskOf('\r') & ~inside;
    std::uint64_t fieldEnds = (group.MaskOf(delimiter) & valid & ~inside) | (feeds & ~inside);
    if (feeds != 0) {
      lineFeedCount_ += static_cast<std::size_t>(std::popcount(feeds));
      recordCount_ += static_cast<std::size_t>(std::popcount(feeds & ~inside));
    }
    isRight &= ((returns << 1 | afterReturn) & ~feeds & valid) == 0 && !group.HasZeroByte();
    afterReturn = returns >> 63;
    isRight &= open.AreWellPlaced(quotes, inside, fieldEnds | ~valid, returns);
    isAscii_ &= group.IsAscii();
    for (; fieldEnds != 0; fieldEnds &= fieldEnds - 1) {
      *next++ = static_cast<std::uint32_t>(position +
                                           static_cast<std::size_t>(std::countr_zero(fieldEnds)));
    }
  });
  if (!isRight || open.IsOpen()) return false;
  if (!text_.empty() && text_.back() != '\n') {
    if (!isLast_ || text_.back() == '\r') return false;
    *next++ = static_cast<std::uint32_t>(text_.size());
    ++recordCount_;
  }
  endCount_ = static_cast<std::size_t>(next - ends_.get());
  return true;
}

// Returns false for a record that is too long or does not have `fieldsPerRecord_` fields.
bool RecordBlock::FindRows() {
  rows_.clear();
  rows_.reserve(endCount_ / fieldsPerRecord_);
  const auto isRecordEnd = [this](std::uint32_t end) {
    return end == text_.size() || text_[end] == '\n';
  };
  const auto isEmptyLine = [this](std::uint32_t begin, std::uint32_t end) {
    return end - begin <= 1 && end < text_.size() && text_[end] == '\n' &&
           (begin == end || text_[begin] == '\r');
  };
  std::uint32_t* kept = ends_.get();
  std::uint32_t begin = 0;
  std::size_t emptyLines = 0;
  for (std::size_t i = 0; i < endCount_;) {
    if (fieldsPerRecord_ > 1 && isEmptyLine(begin, ends_[i])) {
      begin = ends_[i++] + 1;
      ++emptyLines;
      continue;
    }
    const std::size_t next = i + fieldsPerRecord_;
    if (next > endCount_ || !isRecordEnd(ends_[next - 1])) return false;
    if (ends_[next - 1] - begin >= SystemFileDataSource::kMaxRecordBytes) return false;
    rows_.push_back(begin);
    begin = ends_[next - 1] + 1;
    if (emptyLines > 0) std::copy(ends_.get() + i, ends_.get() + next, kept);
    kept += fieldsPerRecord_;
    i = next;
  }
  // False if a line feed ended a field that is not the last of its row: a record was too short.
  return rows_.size() + emptyLines == recordCount_;
}

bool RecordBlock::IsUtf8() const {
  Utf8Checker utf8;
  for (std::size_t i = 0; i < text_.size(); ++i) {
    if (!utf8.IsInside()) {
      while (i + kGroupBytes <= text_.size() && ByteGroup(text_.data() + i).IsAscii()) {
        i += kGroupBytes;
      }
      if (i == text_.size()) break;
    }
    if (!utf8.Accepts(text_[i])) return false;
  }
  return !utf8.IsInside();
}

std::size_t EndOfLastRecord(std::string_view text) {
  std::uint64_t quotes = 0;
  ForEachGroup(text, [&](std::size_t, const ByteGroup& group, std::uint64_t) {
    quotes ^= group.MaskOf('"');
  });
  bool isInQuotes = std::popcount(quotes) % 2 != 0;
  for (std::size_t end = text.size(); end > 0; --end) {
    if (text[end - 1] == '"') isInQuotes = !isInQuotes;
    if (text[end - 1] == '\n' && !isInQuotes) return end;
  }
  return 0;
}

}  // namespace sdm_internal
