#include <iconv.h>
#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/FileText.h>
#include <libdatasrc/internal/TextPosition.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace sdm_internal {

namespace {

constexpr std::size_t kReadSize = std::size_t{64} << 10;

struct Mark {
  std::string_view bytes;
  const char* encoding;
};
constexpr std::size_t kLongestMark = 4;
// UTF-32LE comes first: its mark begins with the mark of UTF-16LE.
constexpr std::array<Mark, 5> kMarks = {{{{"\xFF\xFE\0\0", 4}, "UTF-32LE"},
                                         {{"\0\0\xFE\xFF", 4}, "UTF-32BE"},
                                         {"\xFF\xFE", "UTF-16LE"},
                                         {"\xFE\xFF", "UTF-16BE"},
                                         {"\xEF\xBB\xBF", "UTF-8"}}};

std::string EncodingByMark(std::string_view start) {
  for (const Mark& mark : kMarks) {
    if (start.starts_with(mark.bytes)) return mark.encoding;
  }
  return "UTF-8";
}

// "utf_8" becomes "UTF8". Empty if `name` has characters that no encoding name has, such as
// slashes: iconv reads the text after a slash as options.
std::string Simplified(const std::string& name) {
  std::string simple;
  for (const char c : name) {
    if (c >= 'a' && c <= 'z') {
      simple += static_cast<char>(c - 'a' + 'A');
    } else if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
      simple += c;
    } else if (c != '-' && c != '_' && c != '.' && c != ':') {
      return {};
    }
  }
  return simple;
}

// The encoding for `name`. If the name is empty, "UTF-16" or "UTF-32", the byte-order mark decides.
// Without a mark, an empty name gives UTF-8. Throws DataFileError if the name is "UTF-16" or
// "UTF-32" and the text does not begin with a mark of this family.
std::string FindEncoding(const std::string& path, const std::string& name, std::string_view start) {
  if (name.empty()) return EncodingByMark(start);
  const std::string simple = Simplified(name);
  if (simple == "UTF8") return "UTF-8";
  if (simple != "UTF16" && simple != "UTF32") return name;
  const std::string encoding = EncodingByMark(start);
  if (Simplified(encoding).starts_with(simple)) return encoding;
  throw DataFileError(
      path, name + " without a byte-order mark; name " + name + "LE or " + name + "BE instead");
}

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

// Also tries the name without punctuation: iconv knows "LATIN1", but not "latin-1".
iconv_t OpenConverter(const std::string& path, const std::string& encoding) {
  const std::string simple = Simplified(encoding);
  iconv_t converter = kNoConverter;
  for (const std::string& name : {encoding, simple}) {
    if (simple.empty() || converter != kNoConverter) break;
    converter = iconv_open("UTF-8", name.c_str());
    if (converter == kNoConverter && errno == ENOMEM) throw std::bad_alloc();
  }
  if (converter == kNoConverter) throw DataFileError(path, "unknown encoding '" + encoding + "'");
  return converter;
}

}  // namespace

class FileText::Decoder {
 public:
  Decoder(FileBytes& bytes, const std::string& path, const std::string& encoding)
      : bytes_(bytes),
        path_(path),
        encoding_(encoding),
        converter_(OpenConverter(path, encoding)) {}
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  ~Decoder() { iconv_close(converter_); }

  std::size_t Read(char* to, std::size_t size) {
    std::size_t written = 0;
    while (written == 0 && !isComplete_) {
      if (needsInput_) ReadMore();
      written = Decode(to, size);
    }
    position_.Advance(std::string_view(to, written));
    return written;
  }

 private:
  // Moves the bytes that are not decoded yet, the start of a character, to the start of chunk_.
  // Reads more bytes of the file after them.
  void ReadMore() {
    std::memmove(chunk_.data(), chunk_.data() + begin_, end_ - begin_);
    end_ -= std::exchange(begin_, 0);
    const std::size_t got = bytes_.Read(chunk_.data() + end_, chunk_.size() - end_);
    atEnd_ = got == 0;
    if (atEnd_ && end_ > 0) Fail("the file ends inside a character");
    end_ += got;
  }

  // Returns the number of bytes written; 0 if more input is needed or the text has ended.
  std::size_t Decode(char* to, std::size_t size) {
    char* in = chunk_.data() + begin_;
    std::size_t inLeft = end_ - begin_;
    char* out = to;
    std::size_t outLeft = size;
    // At the end, a null input makes the converter write a character that it still holds.
    const std::size_t result = iconv(converter_, atEnd_ ? nullptr : &in, &inLeft, &out, &outLeft);
    const int error = result == static_cast<std::size_t>(-1) ? errno : 0;
    begin_ = end_ - inLeft;
    isComplete_ = atEnd_ && error == 0;
    needsInput_ = error == 0 || error == EINVAL;
    if (out == to && !needsInput_) Fail("not " + encoding_);
    return static_cast<std::size_t>(out - to);
  }

  [[noreturn]] void Fail(const std::string& text) const {
    throw DataFileError(path_, position_.line, position_.column, text);
  }

  FileBytes& bytes_;
  std::string path_;
  std::string encoding_;
  std::vector<char> chunk_ = std::vector<char>(kReadSize);
  std::size_t begin_ = 0;  // of the bytes that are not decoded yet
  std::size_t end_ = 0;
  bool needsInput_ = true;
  bool atEnd_ = false;  // of the input
  bool isComplete_ = false;
  TextPosition position_;  // in the decoded text
  iconv_t converter_;      // must be last: it would leak if a later member threw
};

FileText::FileText(const std::string& path, const std::string& encoding)
    : bytes_(FileBytes::Of(RegularFile(path))),
      encoding_(FindEncoding(path, encoding, bytes_->Peek(kLongestMark))) {
  if (encoding_ != "UTF-8") decoder_ = std::make_unique<Decoder>(*bytes_, path, encoding_);
}

FileText::FileText(FileText&&) noexcept = default;
FileText::~FileText() = default;

std::size_t FileText::Read(char* to, std::size_t size) {
  return decoder_ ? decoder_->Read(to, size) : bytes_->Read(to, size);
}

}  // namespace sdm_internal
