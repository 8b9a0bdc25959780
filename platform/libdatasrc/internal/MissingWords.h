// MissingWords: the words that mean a missing value in a column.

#ifndef LIBDATASRC_INTERNAL_MISSINGWORDS_H_
#define LIBDATASRC_INTERNAL_MISSINGWORDS_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sdm_internal {

// Borrows the words.
class MissingWords {
 public:
  static constexpr std::uint32_t kNone = ~std::uint32_t{0};
  static constexpr std::uint32_t kBlank = 0;  // the empty word; also for blank fields
  static constexpr std::uint32_t kNaN = 1;    // for numbers that are NaN; not returned by Find

  template <class Words>
  explicit MissingWords(const Words& words) : words_{std::string_view(), "NaN"} {
    for (const std::string& word : words) Add(word);
  }

  // Returns the number of the word that equals `text`, or kNone.
  std::uint32_t Find(std::string_view text) const {
    if (text.empty()) return isEmptyMissing_ ? kBlank : kNone;
    // Quickly rejects a text if no word has the same first byte and the same length.
    const std::uint32_t lengths = lengths_[static_cast<unsigned char>(text.front())];
    if ((lengths & LengthBit(text)) == 0) return kNone;
    const auto found = numbers_.find(text);
    return found == numbers_.end() ? kNone : found->second;
  }

  std::string_view Word(std::uint32_t number) const { return words_[number]; }

 private:
  static std::uint32_t LengthBit(std::string_view text) {
    return std::uint32_t{1} << std::min<std::size_t>(text.size(), 31);
  }

  void Add(std::string_view word) {
    if (word.empty()) {
      isEmptyMissing_ = true;
    } else if (numbers_.emplace(word, words_.size()).second) {
      words_.push_back(word);
      lengths_[static_cast<unsigned char>(word.front())] |= LengthBit(word);
    }
  }

  bool isEmptyMissing_ = false;
  std::array<std::uint32_t, 256> lengths_{};  // for each first byte: LengthBits of its words
  std::unordered_map<std::string_view, std::uint32_t> numbers_;
  std::vector<std::string_view> words_;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_MISSINGWORDS_H_
