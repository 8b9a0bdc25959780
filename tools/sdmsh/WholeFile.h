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

// Whether something has that name, be it no file; links are followed.
bool IsThere(const std::string& path);

// Afterwards the file has these bytes; where this throws, it is as it was. Refuses a file that may
// not be written, what is there and no regular file, and more than kMaxFileBytes.
//
// The bytes are written to a new file in the folder, for which one must be allowed to make files
// there, and that takes the place of the present one. It has the permissions of the present one,
// but belongs to whoever writes it; other names of that (hard links) keep the bytes from before.
// Symbolic links stay and are followed, also to a file that is not there yet.
void WriteWholeFile(const std::string& path, std::string_view bytes);

}  // namespace sdmsh

#endif  // SDMSH_WHOLEFILE_H_
