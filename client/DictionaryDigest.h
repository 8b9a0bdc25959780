// DictionaryDigest: a 128-bit hash of everything in a dictionary that change messages carry.
//
//   if (DigestOf(mirror.Dictionary()) == digestFromTheServer) ...   // the mirror is correct

#ifndef CLIENT_DICTIONARYDIGEST_H_
#define CLIENT_DICTIONARYDIGEST_H_

#include <ServerDataManager/Export.h>

#include <cstdint>
#include <string>

class ORVX_DataSource;

// A plain value. Not cryptographic: it detects errors, not deliberate collisions.
struct SDM_EXPORT DictionaryDigest {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  bool operator==(const DictionaryDigest&) const = default;

  // 32 hexadecimal digits.
  std::string AsText() const;
};

// The digest includes all variables and their order, weight, filter, split, label, row count, dirty
// flag, trends information, multiple-response sets, variable sets, extension 0 and attributes. If
// all of this is equal, the digests are equal; if not, the digests are equal with a probability of
// about 2^-122 (VariableListHash.h). As in change messages, an absent label counts as an empty
// label, and an absent extension counts as an empty extension. The order of sets matters, the order
// of attributes does not.
//
// The digest does not include rows per imputation, the file specification, other extensions, the
// parent and the cases, because messages carry them incompletely or not at all.
//
// The cost depends on the properties and on the variables that changed since the last call, because
// the dictionary caches the hashes of its variables.
//
// Threads: any thread that may read the source.
SDM_EXPORT DictionaryDigest DigestOf(const ORVX_DataSource& source);

#endif  // CLIENT_DICTIONARYDIGEST_H_
