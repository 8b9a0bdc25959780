// Compressed texts for tests.

#ifndef LIBDATASRC_TESTS_COMPRESSED_H_
#define LIBDATASRC_TESTS_COMPRESSED_H_

#include <zlib.h>
#include <zstd.h>

#include <stdexcept>
#include <string>

inline std::string Gzip(const std::string& text) {
  constexpr int kGzip = 16;
  z_stream stream = {};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzip + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::runtime_error("deflateInit2");
  }
  std::string bytes(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<unsigned int>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_out = static_cast<unsigned int>(bytes.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate");
  bytes.resize(stream.total_out);
  deflateEnd(&stream);
  return bytes;
}

// Compresses a text in Zstandard format, with a checksum.
inline std::string Zstd(const std::string& text) {
  std::string bytes(ZSTD_compressBound(text.size()), '\0');
  ZSTD_CCtx* const context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
  bytes.resize(ZSTD_compress2(context, bytes.data(), bytes.size(), text.data(), text.size()));
  ZSTD_freeCCtx(context);
  return bytes;
}

#endif  // LIBDATASRC_TESTS_COMPRESSED_H_
