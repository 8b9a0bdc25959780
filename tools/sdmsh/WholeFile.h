// Whole files as strings of bytes.

#ifndef SDMSH_WHOLEFILE_H_
#define SDMSH_WHOLEFILE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace sdmsh {

// What goes wrong is said with the name of the file and the reason, as CommandError.
//
// Threads: any.

inline constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;

// Refuses what is no regular file, without waiting for it, and a file longer than kMaxFileBytes.
std::string ReadWholeFile(const std::string& path);

// Afterwards the file has these bytes; where this throws, it is as it was. A file that is there
// keeps its permissions, and links to its name lead to it still. Refuses one that may not be
// written, and what is there and no regular file.
void WriteWholeFile(const std::string& path, std::string_view bytes);

}  // namespace sdmsh

#endif  // SDMSH_WHOLEFILE_H_
