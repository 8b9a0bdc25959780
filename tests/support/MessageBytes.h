// Encoding and decoding of messages, and checks for the rejection of invalid bytes.

#ifndef TESTS_SUPPORT_MESSAGEBYTES_H_
#define TESTS_SUPPORT_MESSAGEBYTES_H_

#include <gtest/gtest.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>

#include <cstddef>
#include <string>
#include <string_view>

inline std::string BytesOf(VSerializable& message) {
  VStream stream;
  EXPECT_TRUE(message.VSInitSerialization(stream));
  return std::string(stream.Bytes());
}

// Decodes all of `bytes` into `message`.
inline void ReadAll(std::string_view bytes, VSerializable& message) {
  VStream stream(bytes);
  EXPECT_TRUE(message.VSInitSerialization(stream));
  stream.ExpectEnd();
}

// Checks that `read`, which decodes a message, throws VStreamError for every truncation of `bytes`.
// The offset in the error must be inside the truncated bytes or at their end.
template <class Read>
void ExpectEveryTruncationRefused(const std::string& bytes, Read read) {
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    try {
      read(std::string_view(bytes).substr(0, length));
      ADD_FAILURE() << "read from " << length << " bytes of " << bytes.size();
    } catch (const VStreamError& error) {
      EXPECT_LE(error.Offset(), length);
    }
  }
}

// Calls `read` with copies of `bytes` in which one byte is changed; each byte is changed in three
// ways. `read` must succeed, or throw VStreamError with an offset inside the bytes or at their end.
template <class Read>
void ExpectChangedBytesReadOrRefused(const std::string& bytes, Read read) {
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      std::string changed = bytes;
      changed[place] = static_cast<char>(changed[place] ^ change);
      try {
        read(std::string_view(changed));
      } catch (const VStreamError& error) {
        EXPECT_LE(error.Offset(), changed.size());
      }
    }
  }
}

#endif  // TESTS_SUPPORT_MESSAGEBYTES_H_
