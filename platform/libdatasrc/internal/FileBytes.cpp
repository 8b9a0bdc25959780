#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/FileBytes.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace sdm_internal {

namespace {

constexpr std::size_t kChunkSize = std::size_t{64} << 10;

class PlainBytes : public FileBytes {
 public:
  explicit PlainBytes(RegularFile file) : FileBytes(std::move(file)) {}

 private:
  std::size_t Fill(char* to, std::size_t size) override { return file_.Read(to, size); }
};

class CompressedBytes : public FileBytes {
 protected:
  explicit CompressedBytes(RegularFile file) : FileBytes(std::move(file)), chunk_(kChunkSize) {}

  // Reads the next chunk in place of the current chunk, which must be completely decompressed.
  // Empty at the end of the file.
  std::string_view NextChunk() { return {chunk_.data(), file_.Read(chunk_.data(), chunk_.size())}; }

  // `unread` bytes of the chunk come after the error.
  void FailAt(std::size_t unread, const std::string& format, const std::string& reason) {
    Fail("damaged " + format + " data before byte " + std::to_string(file_.BytesRead() - unread) +
         ": " + reason);
  }
  void FailAtEnd(const std::string& format) {
    Fail(format + " data cut off after " + std::to_string(file_.BytesRead()) + " bytes");
  }

 private:
  std::vector<char> chunk_;
};

// Allocation for zlib, which reports a null pointer as Z_MEM_ERROR.
void* Allocate(void*, unsigned int count, unsigned int size) {
  return ::operator new (std::size_t{count} * size, std::nothrow);
}
void Free(void*, void* memory) {
  ::operator delete(memory);
}

// Reads the members of a gzip file (RFC 1952), one after another, as one text.
class GzipBytes : public CompressedBytes {
 public:
  explicit GzipBytes(RegularFile file) : CompressedBytes(std::move(file)) {
    constexpr int kOnlyGzip = 16;
    stream_.zalloc = Allocate;
    stream_.zfree = Free;
    if (inflateInit2(&stream_, kOnlyGzip + MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~GzipBytes() override { inflateEnd(&stream_); }

 private:
  std::size_t Fill(char* to, std::size_t size) override {
    const std::size_t most = std::min<std::size_t>(size, std::numeric_limits<unsigned int>::max());
    stream_.next_out = reinterpret_cast<Bytef*>(to);
    stream_.avail_out = static_cast<unsigned int>(most);
    while (stream_.avail_out > 0 && HasInput()) Inflate();
    return most - stream_.avail_out;
  }

  bool HasInput() {
    if (HasFailed()) return false;
    if (stream_.avail_in > 0) return true;
    const std::string_view chunk = NextChunk();
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(chunk.data()));
    stream_.avail_in = static_cast<unsigned int>(chunk.size());
    if (chunk.empty() && isInside_) FailAtEnd("gzip");
    return !chunk.empty();
  }

  void Inflate() {
    if (!isInside_) inflateReset(&stream_);
    const int result = inflate(&stream_, Z_NO_FLUSH);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    isInside_ = result != Z_STREAM_END;
    if (result == Z_OK || result == Z_STREAM_END) return;
    FailAt(stream_.avail_in, "gzip", stream_.msg != nullptr ? stream_.msg : "not gzip");
  }

  z_stream stream_ = {};
  bool isInside_ = true;  // false: at the end of a member
};

class ZstdBytes : public CompressedBytes {
 public:
  explicit ZstdBytes(RegularFile file)
      : CompressedBytes(std::move(file)), context_(ZSTD_createDCtx()) {
    if (context_ == nullptr) throw std::bad_alloc();
  }

 private:
  std::size_t Fill(char* to, std::size_t size) override {
    ZSTD_outBuffer output = {to, size, 0};
    while (output.pos < output.size && !HasFailed()) {
      const std::size_t before = output.pos;
      const bool atEnd = input_.pos == input_.size && !HasNextChunk();
      if (atEnd && missing_ == 0) break;
      Decompress(output);
      if (atEnd && output.pos == before && missing_ != 0 && !HasFailed()) FailAtEnd("Zstandard");
    }
    return output.pos;
  }

  bool HasNextChunk() {
    const std::string_view chunk = NextChunk();
    input_ = {chunk.data(), chunk.size(), 0};
    return !chunk.empty();
  }

  // Without input, writes output that the context still holds.
  void Decompress(ZSTD_outBuffer& output) {
    missing_ = ZSTD_decompressStream(context_.get(), &output, &input_);
    if (ZSTD_isError(missing_) == 0) return;
    if (ZSTD_getErrorCode(missing_) == ZSTD_error_memory_allocation) throw std::bad_alloc();
    FailAt(input_.size - input_.pos, "Zstandard", ZSTD_getErrorName(missing_));
  }

  struct FreeContext {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
  };
  std::unique_ptr<ZSTD_DCtx, FreeContext> context_;
  ZSTD_inBuffer input_ = {nullptr, 0, 0};
  std::size_t missing_ = 1;  // 0: the current Zstandard frame is fully decompressed
};

// Whether `start` begins a Zstandard frame or a skippable frame (RFC 8878). Some compressors write
// a skippable frame first.
bool IsZstd(std::string_view start) {
  if (start.starts_with("\x28\xB5\x2F\xFD")) return true;
  return start.size() >= 4 && (start[0] & 0xF0) == 0x50 && start.substr(1, 3) == "\x2A\x4D\x18";
}

}  // namespace

std::unique_ptr<FileBytes> FileBytes::Of(RegularFile file) {
  std::array<char, 4> bytes;
  const std::string_view start(bytes.data(), file.Peek(bytes.data(), bytes.size()));
  if (start.starts_with("\x1F\x8B")) return std::make_unique<GzipBytes>(std::move(file));
  if (IsZstd(start)) return std::make_unique<ZstdBytes>(std::move(file));
  return std::make_unique<PlainBytes>(std::move(file));
}

std::size_t FileBytes::Read(char* to, std::size_t size) {
  std::size_t filled = start_.copy(to, size);
  start_.erase(0, filled);
  if (filled < size && !HasFailed()) filled += Fill(to + filled, size - filled);
  if (filled == 0 && HasFailed()) throw DataFileError(file_.Path(), failure_);
  return filled;
}

const std::string& FileBytes::Peek(std::size_t size) {
  start_.resize(size);
  start_.resize(Fill(start_.data(), size));
  if (start_.empty() && HasFailed()) throw DataFileError(file_.Path(), failure_);
  return start_;
}

}  // namespace sdm_internal
