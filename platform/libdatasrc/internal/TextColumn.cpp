#include <libdatasrc/internal/LargePages.h>
#include <libdatasrc/internal/TextColumn.h>

#include <stdexcept>

namespace sdm_internal {

namespace {

constexpr std::size_t kMaxPoolBytes = std::size_t{1} << 40;

void CheckLength(std::size_t length) {
  if (length > TextColumn::kMaxTextBytes) {
    throw std::length_error("a text of " + std::to_string(length) + " bytes, but at most " +
                            std::to_string(TextColumn::kMaxTextBytes) + " can be stored");
  }
}

void CheckSizes(std::string_view text, std::size_t poolBytes) {
  CheckLength(text.size());
  if (poolBytes > kMaxPoolBytes) {
    throw std::length_error("more than " + std::to_string(kMaxPoolBytes) + " bytes of text");
  }
}

}  // namespace

void TextColumn::Reserve(std::size_t rows, std::size_t bytes) {
  if (rows > words_.capacity()) {
    words_.reserve(rows);
    UseLargePages(words_.data(), rows * sizeof words_.front());
  }
  if (bytes > pool_.capacity()) {
    pool_.reserve(bytes);
    UseLargePages(pool_.data(), bytes);
  }
}

void TextColumn::ReserveMore(std::size_t rows, std::size_t bytes) {
  CheckSizes({}, pool_.size() + bytes);
  constexpr std::size_t kLeastUnused = 4096;
  if (unused_ > std::max(kLeastUnused, pool_.size() / 2)) *this = Compacted(rows, bytes);
  Grow(words_, words_.size() + rows);
  Grow(pool_, pool_.size() + bytes);
}

TextColumn TextColumn::Compacted(std::size_t moreRows, std::size_t moreBytes) const {
  TextColumn compacted;
  compacted.Reserve(Size() + moreRows, pool_.size() - unused_ + moreBytes);
  for (std::size_t row = 0; row < Size(); ++row) compacted.Add((*this)[row]);
  return compacted;
}

// The pool must have room for the text.
std::uint64_t TextColumn::AppendToPool(std::string_view text) {
  const std::uint64_t begin = pool_.size();
  pool_.append(text);
  return begin << kLengthBits | text.size();
}

void TextColumn::Add(std::string_view text) {
  CheckSizes(text, pool_.size() + text.size());
  Grow(words_, words_.size() + 1);
  Grow(pool_, pool_.size() + text.size());
  words_.push_back(AppendToPool(text));
}

// A text that is not longer than the old text overwrites it in the pool.
void TextColumn::Set(std::size_t row, std::string_view text) {
  const std::uint64_t word = words_[row];
  const std::size_t length = word & kMaxTextBytes;
  if (text.size() <= length) {
    std::copy(text.begin(), text.end(), pool_.data() + (word >> kLengthBits));
    words_[row] = word - length + text.size();
    unused_ += length - text.size();
    return;
  }
  CheckSizes(text, pool_.size());
  ReserveMore(0, text.size());
  words_[row] = AppendToPool(text);
  unused_ += length;
}

void TextColumn::Append(std::string_view texts, const std::vector<std::uint32_t>& lengths) {
  std::size_t begin = pool_.size();
  CheckSizes({}, begin + texts.size());
  for (const std::uint32_t length : lengths) CheckLength(length);
  Grow(words_, words_.size() + lengths.size());
  Grow(pool_, begin + texts.size());
  for (const std::uint32_t length : lengths) {
    words_.push_back(std::uint64_t{begin} << kLengthBits | length);
    begin += length;
  }
  pool_.append(texts);
}

void TextColumn::Insert(std::size_t row, std::size_t count) {
  Grow(words_, words_.size() + count);
  words_.insert(words_.begin() + static_cast<std::ptrdiff_t>(row), count, 0);
}

void TextColumn::Erase(std::size_t row, std::size_t count) {
  const auto first = words_.begin() + static_cast<std::ptrdiff_t>(row);
  const auto last = first + static_cast<std::ptrdiff_t>(count);
  std::for_each(first, last, [this](std::uint64_t word) { unused_ += word & kMaxTextBytes; });
  words_.erase(first, last);
}

}  // namespace sdm_internal
