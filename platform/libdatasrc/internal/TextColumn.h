// TextColumn: the strings of one variable, in one pool of bytes.

#ifndef LIBDATASRC_INTERNAL_TEXTCOLUMN_H_
#define LIBDATASRC_INTERNAL_TEXTCOLUMN_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// Makes room for `size` elements. Reserves at least twice the current capacity, so that repeated
// growth takes linear time.
template <class Container>
void Grow(Container& container, std::size_t size) {
  if (size > container.capacity()) container.reserve(std::max(size, 2 * container.capacity()));
}

// A missing value is an empty text. An operation that throws has changed nothing.
class TextColumn {
 public:
  // A text of more than kMaxTextBytes bytes, or a pool of more than 2^40 bytes, throws
  // std::length_error.
  static constexpr std::size_t kMaxTextBytes = (std::size_t{1} << 24) - 1;

  std::size_t Size() const { return words_.size(); }
  std::string_view operator[](std::size_t row) const {
    const std::uint64_t word = words_[row];
    return {pool_.data() + (word >> kLengthBits), static_cast<std::size_t>(word & kMaxTextBytes)};
  }

  // Allocates memory for this many rows and bytes in total.
  void Reserve(std::size_t rows, std::size_t bytes);
  // Makes room for this many more rows and bytes: adding them then allocates nothing. Repeated
  // growth takes linear time. Drops the unused bytes if they are more than 4 KB and more than half
  // of the pool.
  void ReserveMore(std::size_t rows, std::size_t bytes);

  // The views given to Add and Set must not point into this column's pool, which may be
  // reallocated.
  void Add(std::string_view text);
  void Set(std::size_t row, std::string_view text);
  // Appends several texts, concatenated in `texts`. `lengths` are the lengths of the texts in
  // bytes.
  void Append(std::string_view texts, const std::vector<std::uint32_t>& lengths);
  // Inserts missing values before `row`.
  void Insert(std::size_t row, std::size_t count);
  // Allocates nothing.
  void Erase(std::size_t row, std::size_t count);

  // The size of the pool, including unused bytes.
  std::size_t PoolBytes() const { return pool_.size(); }

 private:
  static constexpr int kLengthBits = 24;

  std::uint64_t AppendToPool(std::string_view text);
  TextColumn Compacted(std::size_t moreRows, std::size_t moreBytes) const;

  std::string pool_;
  std::vector<std::uint64_t> words_;  // high 40 bits: the start in the pool; low 24: the length
  std::size_t unused_ = 0;            // bytes of the pool that belong to no row
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TEXTCOLUMN_H_
