#include <libdatasrc/DataFileError.h>
#include <ServerDataManager/BootstrapFile.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string_view>
#include <system_error>

namespace {

using Serializer = SvrBootstrapSpecsSerializer;

constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{16} << 20;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw DataFileError(path, reason);
}

std::string TextOfError(int number) {
  return std::generic_category().message(number);
}

void RefuseZeroByte(const std::string& path) {
  if (path.find('\0') != std::string::npos) Refuse(path, "zero byte in the name");
}

void RefuseLong(const std::string& path, std::uintmax_t bytes) {
  if (bytes <= kMaxFileBytes) return;
  Refuse(path, "longer than " + std::to_string(kMaxFileBytes) + " bytes");
}

// Opens only regular files, because opening another kind of file, such as a pipe, may block.
std::string ReadFile(const std::string& path) {
  RefuseZeroByte(path);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (error) Refuse(path, error.message());
  if (is_directory(status)) Refuse(path, TextOfError(EISDIR));
  if (!is_regular_file(status)) Refuse(path, "not a regular file");
  RefuseLong(path, std::filesystem::file_size(path, error));
  std::ifstream file(path, std::ios::binary);
  if (!file) Refuse(path, TextOfError(errno));
  try {
    return {std::istreambuf_iterator<char>(file), {}};
  } catch (const std::ios_base::failure& failure) {
    Refuse(path, failure.code().message());
  }
}

// Creates a file in `folder` and sets `path` to its path. Returns null and sets errno on failure.
std::FILE* CreateFile(const std::filesystem::path& folder, std::filesystem::path& path) {
  static std::atomic<unsigned int> next{0};
  std::FILE* file = nullptr;
  do {
    path =
        folder / ("bootstrap." + std::to_string(getpid()) + "-" + std::to_string(next++) + ".new");
    file = std::fopen(path.c_str(), "wbx");
  } while (file == nullptr && errno == EEXIST);
  return file;
}

// Returns 0 or, on failure, errno. Closes the file.
int WriteAndClose(std::FILE* file, std::string_view bytes) {
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const int failure = isWritten ? 0 : errno;
  const bool isClosed = std::fclose(file) == 0;
  return isClosed || !isWritten ? failure : errno;
}

void WriteFile(const std::string& path, std::string_view bytes) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) Refuse(path, error.message());
  std::filesystem::path part;
  std::FILE* const file = CreateFile(target.parent_path(), part);
  if (file == nullptr) Refuse(path, TextOfError(errno));
  std::error_code ignored;
  error.assign(WriteAndClose(file, bytes), std::generic_category());
  if (!error) {
    const std::filesystem::file_status present = std::filesystem::status(target, ignored);
    if (exists(present)) std::filesystem::permissions(part, present.permissions(), ignored);
    std::filesystem::rename(part, target, error);
  }
  if (!error) return;
  std::filesystem::remove(part, ignored);
  Refuse(path, error.message());
}

void RefuseOtherContent(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return;
  const std::string bytes = ReadFile(path);
  if (bytes.empty() || Serializer::checkSpecs(bytes).IsWhole()) return;
  Refuse(path, "not a bootstrap specification, and not replaced");
}

}  // namespace

std::size_t BootstrapFile::Save(const SvrBootstrapSpecs& specs, const std::string& path) {
  RefuseZeroByte(path);
  std::string bytes;
  Serializer::serializeSpecs(specs, bytes);
  RefuseLong(path, bytes.size());
  RefuseOtherContent(path);
  WriteFile(path, bytes);
  return bytes.size();
}

std::unique_ptr<SvrBootstrapSpecs> BootstrapFile::Load(const std::string& path) {
  const std::string bytes = ReadFile(path);
  const Serializer::Check check = Serializer::checkSpecs(bytes);
  if (!check.IsWhole()) Refuse(path, check.Problem());
  if (check.size < bytes.size()) {
    const std::size_t count = bytes.size() - check.size;
    Refuse(path, std::to_string(count) + (count == 1 ? " byte" : " bytes") +
                     " after the bootstrap specification, which ends at offset " +
                     std::to_string(check.offset));
  }
  auto specs = std::make_unique<SvrBootstrapSpecs>();
  Serializer::deserializeSpecs(bytes, *specs);
  return specs;
}

BootstrapFile::Checked BootstrapFile::Check(const std::string& path) {
  const std::string bytes = ReadFile(path);
  return {Serializer::checkSpecs(bytes), bytes.size()};
}
