// SvrBootstrapSpecsSerializer: encodes and decodes a bootstrap specification.
//
//   std::string bytes;
//   SvrBootstrapSpecsSerializer::serializeSpecs(specs, bytes);
//
//   // Check bytes from outside before decoding them.
//   const auto check = SvrBootstrapSpecsSerializer::checkSpecs(bytes);
//   if (!check.IsWhole()) return Complain(check.Problem());
//   SvrBootstrapSpecs copy;
//   SvrBootstrapSpecsSerializer::deserializeSpecs(bytes, copy);
//
// The fields are written without padding, in the byte order of the writing machine:
//
//   bytes  field
//   2      byte-order mark, 1
//   4      format version, 1
//   4      sampling method
//   4+4n   for each of the lists of strata, dependent, input, predicted and residual variables:
//          the number of elements, then the elements
//   4+4n   split ends: the number of elements, then the elements
//   4+12n  case statistics: the number of elements, then for each the double and the integer
//   8      confidence-interval level in percent, a double
//   4      confidence-interval type
//   4      number of samples
//   1      1 if user-missing values are excluded, otherwise 0
//
// The total is 55 bytes if all lists are empty. Doubles are IEEE 754 binary64.

#ifndef SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_
#define SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <ServerDataManager/Export.h>

class SvrBootstrapSpecs;

// Stateless.
// Threads: any; each string and each specification belongs to one thread at a time.
class SDM_EXPORT SvrBootstrapSpecsSerializer {
 public:
  // Appends the encoded `specs` to `output`. Every list must have fewer than 2^32 elements. If
  // serializeSpecs throws std::bad_alloc, `output` is unchanged.
  static void serializeSpecs(const SvrBootstrapSpecs& specs, std::string& output);

  // Decodes the specification at the start of `input`, in either byte order, into `specs`. Only for
  // bytes that serializeSpecs wrote: checks only the version, and reads past the end of a truncated
  // string. Call checkSpecs first for bytes from outside.
  //
  // An empty variable list in `input` leaves the list in `specs` unchanged; split ends and case
  // statistics are appended to those in `specs`. So decode into a new object. Values are not
  // validated. If the version is not 1, `specs` is unchanged and a copy of `input` leaks. If
  // decoding throws std::bad_alloc, `specs` has the fields decoded so far.
  static void deserializeSpecs(const std::string& input, SvrBootstrapSpecs& specs);

  // The result of checkSpecs.
  struct SDM_EXPORT Check {
    enum class Finding {
      Whole,           // complete: deserializeSpecs can decode it
      Truncated,       // the bytes end inside the field at `offset`
      UnknownVersion,  // the version at `offset` is not 1
      ListTooLong,     // the list at `offset` needs more bytes than remain
    };
    enum class ByteOrder { Native, Swapped };

    bool IsWhole() const { return finding == Finding::Whole; }
    // A text such as "not a bootstrap specification: it ends within the field at offset 50"; empty
    // if Whole.
    std::string Problem() const;

    Finding finding;
    ByteOrder byteOrder;  // of the bytes; Native if the byte-order mark is truncated
    std::size_t size;     // of the specification, in bytes; 0 if not Whole
    std::size_t offset;   // where the invalid field starts; if Whole, where the specification ends
  };

  // Checks for a complete specification at the start of `bytes`. Extra bytes after the
  // specification are allowed; compare `size` to detect them. Of the values, checks only the
  // version. Allocates nothing.
  static Check checkSpecs(std::string_view bytes) noexcept;
};

// Reverses the order of the `count` bytes at `bytes`, in place.
SDM_EXPORT void DoSwapBytes(char* bytes, unsigned int count);

#endif  // SERVERDATAMANAGER_SVRBOOTSTRAPSPECSSERIALIZER_H_
