// DictionaryDigest: 128 bits that stand for everything about a dictionary that change messages
// carry.
//
//   if (DigestOf(mirror.Dictionary()) == digestFromTheServer) ...   // the mirror is right

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

// A plain value. Guards against mistakes, not against somebody who wants two dictionaries to have
// one digest.
struct SDM_EXPORT DictionaryDigest {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  bool operator==(const DictionaryDigest&) const = default;

  // 32 hexadecimal digits.
  std::string AsText() const;
};

// Covered: the variables in order and in full, weight, filter, split, label, row count, dirty flag,
// trends information, multiple-response sets, variable sets, extension 0, attributes. Two data
// sources have one digest exactly when these are equal (but for an accident of 1 in 2^128), where
// equal means what it means for change messages: no label is an empty one, an absent extension an
// empty one, the order of attributes does not matter, that of sets does.
//
// Not covered, as messages carry it only in part or not at all: rows per imputation, the name of
// the file, extensions of other types, the parent, the cases.
//
// Threads: any that may read the source.
SDM_EXPORT DictionaryDigest DigestOf(const ORVX_DataSource& source);

// Takes the digest of one dictionary again and again, at the cost of what has changed and little
// for every variable that has not. Remembers the variables of the last time.
//
// Threads: not safe; one thread at a time.
class SDM_EXPORT DictionaryDigester {
 public:
  DictionaryDigester();
  ~DictionaryDigester();
  DictionaryDigester(const DictionaryDigester&) = delete;
  DictionaryDigester& operator=(const DictionaryDigester&) = delete;

  // The same as DigestOf. `source` need not be that of the last time.
  DictionaryDigest Of(const ORVX_DataSource& source);

 private:
  // A variable and the hash of its bytes.
  struct Known;
  using KnownVariables = std::vector<std::unique_ptr<Known>>;

  static std::unique_ptr<Known> TakeKnown(KnownVariables& known, std::size_t& next,
                                          const ORVX_Variable& variable);

  const ORVX_DataSource* lastSource_ = nullptr;  // compared by address only: may be gone
  KnownVariables known_;                         // in the order of that source
};

#endif  // CLIENT_DICTIONARYDIGEST_H_
