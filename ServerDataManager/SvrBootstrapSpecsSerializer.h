// SvrBootstrapSpecsSerializer: a bootstrap specification as a flat string of bytes, and back.
//
//   std::string bytes;
//   SvrBootstrapSpecsSerializer::serializeSpecs(specs, bytes);
//
//   // Bytes that come from outside are looked at before they are read.
//   const auto check = SvrBootstrapSpecsSerializer::checkSpecs(bytes);
//   if (!check.IsWhole()) return Complain(check.finding, check.offset);
//   SvrBootstrapSpecs copy;
//   SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, copy);
//
// The fields follow one another without padding, in the byte order of the machine that writes:
//
//   bytes  field
//   2      byte-order mark, 1
//   4      format version, 1
//   4      sampling method
//   4+4n   each of the lists of strata, dependent, input, predicted and residual variables: its
//          size, then its elements
//   4+4n   split ends: their number, then each
//   4+12n  case statistics: their number, then of each the double and the number
//   8      confidence-interval level in percent, a double
//   4      confidence-interval type
//   4      number of samples
//   1      0 or 1: user-missing values are excluded
//
// 55 bytes where all lists are empty. Doubles are IEEE 754 binary64.

#ifndef SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_
#define SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <ServerDataManager/Export.h>

class SvrBootstrapSpecs;

// Stateless. Threads: any; each string and each record belongs to one thread at a time.
class SDM_EXPORT SvrBootstrapSpecsSerializer {
 public:
  // Appends the bytes of `specs` to `output`, which is not cleared first. A list has fewer than
  // 2^32 elements. Where memory runs out, throws std::bad_alloc and leaves `output` as it was.
  static void serializeSpecs(const SvrBootstrapSpecs& specs, std::string& output);

  // Reads the specification at the start of `input`, in either byte order, into `specs`. Only for
  // bytes that serializeSpecs wrote: nothing is checked, and a string that ends too early is read
  // past its end. Ask checkSpecs first about bytes that come from outside.
  //
  // An empty list of variables in the bytes leaves the record's as it is; split ends and case
  // statistics are appended to the record's. A fresh record therefore equals the one written.
  // Values are stored as they are read. Another version than 1 leaves the record as it is, and
  // memory of the size of `input` is then never released. Where memory runs out, throws
  // std::bad_alloc, and the record has the fields read until then.
  static void deserializeSpecs(const std::string& input, SvrBootstrapSpecs& specs);

  // What checkSpecs finds.
  struct Check {
    enum class Finding {
      Whole,           // a whole specification, which deserializeSpecs can read
      Truncated,       // the bytes end before the field at `offset` does
      UnknownVersion,  // the version at `offset` is another than 1
      ListTooLong,     // the number at `offset` says more elements than there are bytes for
    };
    enum class ByteOrder { Native, Swapped };

    bool IsWhole() const { return finding == Finding::Whole; }

    Finding finding;
    ByteOrder byteOrder;  // of a machine like this one, or the other; Native where the mark is cut
    std::size_t size;     // the bytes that the specification takes; 0 unless whole
    std::size_t offset;   // of the field that is wrong; where the specification ends when whole
  };

  // Tells whether a whole specification stands at the start of `bytes`. Bytes behind it are no
  // fault: compare `size`. Values other than the version are not judged, as in reading. Allocates
  // nothing, whatever the bytes claim.
  static Check checkSpecs(std::string_view bytes) noexcept;
};

// Reverses the order of the `count` bytes at `bytes`, in place.
SDM_EXPORT void DoSwapBytes(char* bytes, unsigned int count);

#endif  // SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_
