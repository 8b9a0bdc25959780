// Compares and hashes UTF-8 by folded code points.

#include <libplatdep/mbstricmp.h>
#include <utf8proc.h>

namespace {

// Iterates over the sort keys of a string: its folded code points, and for each invalid byte a
// number above all code points.
class FoldedText {
 public:
  explicit FoldedText(const char* text) : next_(reinterpret_cast<const utf8proc_uint8_t*>(text)) {}

  // Returns 0 at the end; do not call it again after that.
  utf8proc_int32_t Next() {
    if (given_ < folded_) return folding_[given_++];
    const utf8proc_uint8_t byte = *next_;
    if (byte < 0x80) return NextAscii(byte);
    utf8proc_int32_t codePoint;
    const utf8proc_ssize_t length = utf8proc_iterate(next_, kUpToTheZero, &codePoint);
    if (length <= 0) {
      ++next_;
      return kAboveCodePoints + byte;
    }
    next_ += length;
    return Fold(codePoint);
  }

 private:
  static constexpr utf8proc_ssize_t kUpToTheZero = -1;
  static constexpr utf8proc_int32_t kAboveCodePoints = 0x110000;
  static constexpr utf8proc_ssize_t kLongestFolding = 3;  // in code points

  utf8proc_int32_t NextAscii(utf8proc_uint8_t byte) {
    ++next_;
    return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
  }

  utf8proc_int32_t Fold(utf8proc_int32_t codePoint) {
    int boundary = 0;
    folded_ =
        utf8proc_decompose_char(codePoint, folding_, kLongestFolding, UTF8PROC_CASEFOLD, &boundary);
    given_ = 1;
    return folding_[0];
  }

  const utf8proc_uint8_t* next_;
  utf8proc_int32_t folding_[kLongestFolding];
  utf8proc_ssize_t folded_ = 0;
  utf8proc_ssize_t given_ = 0;
};

}  // namespace

int _ORVXMBstricmp_A(const char* left, const char* right) {
  FoldedText leftText(left);
  FoldedText rightText(right);
  for (;;) {
    const utf8proc_int32_t leftNext = leftText.Next();
    const utf8proc_int32_t rightNext = rightText.Next();
    if (leftNext != rightNext) return leftNext < rightNext ? -1 : 1;
    if (leftNext == 0) return 0;
  }
}

std::uint64_t MBFoldedHash(const char* text) {
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  std::uint64_t hash = 0;
  FoldedText folded(text);
  while (const utf8proc_int32_t next = folded.Next()) {
    hash = (hash ^ static_cast<std::uint64_t>(next)) * kOdd;
    hash ^= hash >> 32;
  }
  return hash * kOdd;
}
