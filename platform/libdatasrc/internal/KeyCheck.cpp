#include <libdatasrc/internal/KeyCheck.h>

#include <cmath>
#include <functional>
#include <list>
#include <string_view>
#include <unordered_set>

namespace sdm_internal {

namespace {

struct RowKey {
  const KeyColumns* columns;
  std::size_t row;
};

std::size_t RowCount(const KeyColumns& columns) {
  const CaseColumn& first = *columns.front();
  const auto* numbers = std::get_if<NumberColumn>(&first);
  return numbers != nullptr ? numbers->size() : std::get<TextColumn>(first).Size();
}

bool IsMissing(const CaseColumn& column, std::size_t row) {
  const auto* numbers = std::get_if<NumberColumn>(&column);
  return numbers != nullptr ? std::isnan((*numbers)[row])
                            : std::get<TextColumn>(column)[row].empty();
}

bool HasKey(const RowKey& key) {
  for (const CaseColumn* column : *key.columns) {
    if (IsMissing(*column, key.row)) return false;
  }
  return true;
}

std::size_t HashOf(const CaseColumn& column, std::size_t row) {
  const auto* numbers = std::get_if<NumberColumn>(&column);
  return numbers != nullptr ? std::hash<double>()((*numbers)[row])
                            : std::hash<std::string_view>()(std::get<TextColumn>(column)[row]);
}

struct KeyHash {
  std::size_t operator()(const RowKey& key) const {
    constexpr std::size_t kOdd = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
    std::size_t hash = 0;
    for (const CaseColumn* column : *key.columns) hash = (hash ^ HashOf(*column, key.row)) * kOdd;
    return hash;
  }
};

struct KeyEqual {
  bool operator()(const RowKey& a, const RowKey& b) const {
    for (std::size_t i = 0; i < a.columns->size(); ++i) {
      const CaseColumn& column = *(*a.columns)[i];
      const CaseColumn& other = *(*b.columns)[i];
      const auto* numbers = std::get_if<NumberColumn>(&column);
      const bool isEqual =
          numbers != nullptr
              ? (*numbers)[a.row] == std::get<NumberColumn>(other)[b.row]
              : std::get<TextColumn>(column)[a.row] == std::get<TextColumn>(other)[b.row];
      if (!isEqual) return false;
    }
    return true;
  }
};

using Keys = std::unordered_set<RowKey, KeyHash, KeyEqual>;

}  // namespace

std::optional<std::size_t> FirstRepeatedRow(const KeyColumns& key) {
  Keys keys;
  for (std::size_t row = 0; row < RowCount(key); ++row) {
    const RowKey found{&key, row};
    if (HasKey(found) && !keys.insert(found).second) return row;
  }
  return std::nullopt;
}

std::optional<std::size_t> FirstRowWithoutReference(KeyColumns key, KeyColumns referenced) {
  std::list<CaseColumn> texts;
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (key[i]->index() == referenced[i]->index()) continue;
    const bool hasNumbers = std::holds_alternative<NumberColumn>(*key[i]);
    const CaseColumn*& numbers = hasNumbers ? key[i] : referenced[i];
    constexpr int kWidth = 32;  // longer than the text of any number
    texts.push_back(Converted(numbers, kWidth, std::get<NumberColumn>(*numbers).size()));
    numbers = &texts.back();
  }
  Keys keys;
  for (std::size_t row = 0; row < RowCount(referenced); ++row) {
    const RowKey found{&referenced, row};
    if (HasKey(found)) keys.insert(found);
  }
  for (std::size_t row = 0; row < RowCount(key); ++row) {
    const RowKey found{&key, row};
    if (HasKey(found) && !keys.contains(found)) return row;
  }
  return std::nullopt;
}

}  // namespace sdm_internal
