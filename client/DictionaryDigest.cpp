// The digest of a dictionary hashes two things: the hash of the list of variables, which the data
// source caches, and the encoded property messages.

#include <client/DictionaryDigest.h>

#include <client/DictionaryMessages.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/VariableListHash.h>

#include <xxhash.h>

#include <string_view>

namespace {

XXH128_hash_t HashOf(std::string_view bytes) {
  return XXH3_128bits(bytes.data(), bytes.size());
}

VariableHash HashOf(const ORVX_Variable& variable) {
  VStream bytes;
  ModifyVarMsg(0, LocallyUniqueID(), 0, variable).VSInitSerialization(bytes);
  const XXH128_hash_t hash = HashOf(bytes.Bytes());
  return {hash.high64, hash.low64};
}

// A template, because another libdatasrc may not have Source::HashOfVariables
// (docs/replacing-the-platform.md).
template <class Source>
VariableListHash HashOfVariables(const Source& source) {
  if constexpr (requires { source.HashOfVariables(HashOf); }) {
    return source.HashOfVariables(HashOf);
  } else {
    VariableListHash hash;
    for (int i = 0; i < source.ColumnCount(); ++i) hash.Append(HashOf(source.GetVariable(i)));
    return hash;
  }
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

DictionaryDigest DigestOf(const ORVX_DataSource& source) {
  const VariableListHash variables = HashOfVariables(source);
  VStream bytes;
  for (std::uint64_t number : {variables.Count(), variables.First(), variables.Second()}) {
    bytes.Uint64(number);
  }
  for (const auto& message : PropertyMessages(source, LocallyUniqueID(), 0)) {
    message->VSInitSerialization(bytes);
  }
  const XXH128_hash_t hash = HashOf(bytes.Bytes());
  return {hash.high64, hash.low64};
}
