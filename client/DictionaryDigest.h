// DictionaryDigest: a 128-bit hash of everything in a dictionary that change messages carry.
//
//   if (DigestOf(mirror.Dictionary()) == digestFromTheServer) ...   // the mirror is correct

#ifndef CLIENT_DICTIONARYDIGEST_H_
#define CLIENT_DICTIONARYDIGEST_H_

#include <ServerDataManager/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class ORVX_DataSource;
class ORVX_Variable;

// A plain value. Not cryptographic: it detects errors, not deliberate collisions.
struct SDM_EXPORT DictionaryDigest {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  bool operator==(const DictionaryDigest&) const = default;

  // 32 hexadecimal digits.
  std::string AsText() const;
};

// Included: all variables, in order, weight, filter, split, label, row count, dirty flag, trends
// information, multiple-response sets, variable sets, extension 0, attributes. Two data sources
// have the same digest exactly if these are equal (apart from a collision, 1 in 2^128). As in
// change messages, no label equals an empty label, and an absent extension equals an empty
// extension. The order of sets matters, the order of attributes does not.
//
// Not included, because messages carry them incompletely or not at all: rows per imputation, the
// file name, other extensions, the parent, the cases.
//
// Threads: any that may read the source.
SDM_EXPORT DictionaryDigest DigestOf(const ORVX_DataSource& source);

// Computes the digest of one dictionary repeatedly: caches the hashes of the variables, so that
// unchanged variables cost little.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT DictionaryDigester {
 public:
  DictionaryDigester();
  ~DictionaryDigester();
  DictionaryDigester(const DictionaryDigester&) = delete;
  DictionaryDigester& operator=(const DictionaryDigester&) = delete;

  // The same result as DigestOf. `source` may be another source than in the previous call.
  DictionaryDigest Of(const ORVX_DataSource& source);

 private:
  // A variable and the hash of its bytes.
  struct Known;
  using KnownVariables = std::vector<std::unique_ptr<Known>>;

  static std::unique_ptr<Known> TakeKnown(KnownVariables& known, std::size_t& next,
                                          const ORVX_Variable& variable);

  const ORVX_DataSource* lastSource_ = nullptr;  // only compared by address: may be deleted
  KnownVariables known_;                         // in the order of the last source
};

#endif  // CLIENT_DICTIONARYDIGEST_H_
