// The digest of a dictionary is the hash of its encoded property messages and of the cached hashes
// of its encoded variables, which are many and rarely change.

#include <client/DictionaryDigest.h>

#include <client/DictionaryMessages.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <libvserial/VStream.h>

#include <xxhash.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace {

DictionaryDigest HashOf(std::string_view bytes) {
  const XXH128_hash_t hash = XXH3_128bits(bytes.data(), bytes.size());
  return {hash.high64, hash.low64};
}

DictionaryDigest HashOf(const ORVX_Variable& variable) {
  VStream bytes;
  ModifyVarMsg(0, LocallyUniqueID(), 0, variable).VSInitSerialization(bytes);
  return HashOf(bytes.Bytes());
}

void AppendHexadecimal(std::uint64_t number, std::string& text) {
  for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[number >> shift & 0xF];
}

}  // namespace

std::string DictionaryDigest::AsText() const {
  std::string text;
  AppendHexadecimal(high, text);
  AppendHexadecimal(low, text);
  return text;
}

struct DictionaryDigester::Known {
  ORVX_Variable variable;
  DictionaryDigest hash;
};

DictionaryDigester::DictionaryDigester() = default;
DictionaryDigester::~DictionaryDigester() = default;

// Takes the cached variable that equals `variable` from the next few entries, and skips the entries
// before it. Returns null if there is none. So an insertion, deletion or move costs a few
// comparisons, and reordering costs the hashes of the moved variables.
std::unique_ptr<DictionaryDigester::Known> DictionaryDigester::TakeKnown(
    KnownVariables& known, std::size_t& next, const ORVX_Variable& variable) {
  constexpr std::size_t kFarthest = 16;
  const std::size_t end = std::min(known.size(), next + kFarthest);
  for (std::size_t i = next; i < end; ++i) {
    if (!(known[i]->variable == variable)) continue;
    next = i + 1;
    return std::move(known[i]);
  }
  return nullptr;
}

DictionaryDigest DictionaryDigester::Of(const ORVX_DataSource& source) {
  // Equal variables of two sources are two objects. Comparing them in each call costs more than
  // hashing them once, so the cache starts again for another source.
  if (&source != lastSource_) known_.clear();
  lastSource_ = &source;

  const int count = source.ColumnCount();
  KnownVariables before = std::exchange(known_, {});
  known_.reserve(static_cast<std::size_t>(count));
  std::size_t next = 0;
  for (int position = 0; position < count; ++position) {
    const ORVX_Variable& variable = source.GetVariable(position);
    std::unique_ptr<Known> known = TakeKnown(before, next, variable);
    if (known == nullptr) known.reset(new Known{variable, HashOf(variable)});
    known_.push_back(std::move(known));
  }

  VStream bytes;
  auto written = static_cast<std::uint32_t>(count);
  bytes.Uint32(written);
  for (const std::unique_ptr<Known>& known : known_) {
    bytes.Uint64(known->hash.high);
    bytes.Uint64(known->hash.low);
  }
  for (const auto& message : PropertyMessages(source, LocallyUniqueID(), 0)) {
    message->VSInitSerialization(bytes);
  }
  return HashOf(bytes.Bytes());
}

DictionaryDigest DigestOf(const ORVX_DataSource& source) {
  return DictionaryDigester().Of(source);
}
