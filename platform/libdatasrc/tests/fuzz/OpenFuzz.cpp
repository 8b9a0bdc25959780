// Fuzz target: opens and reads a data file and its schema. Fails if opening and reading take more
// memory than the limit, which depends on the size of the input.
//
// The input is the schema, a record separator (0x1E) and the data file. Without a separator, or
// with nothing before it, there is no schema.

#include <libdatasrc/tests/Files.h>
#include <sanitizer/allocator_interface.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace {

constexpr char kSeparator = '\x1E';
constexpr std::size_t kBytesAtStart = std::size_t{32} << 20;  // for buffers of fixed size
constexpr std::size_t kBytesPerByte = 500;

std::size_t allocated = 0;  // bytes allocated for the current input, including freed bytes

void Count(const volatile void*, std::size_t size) {
  allocated += size;
}
void Ignore(const volatile void*) {}

// Reports the input to the fuzzer as a failure unless `isTrue`.
void Demand(bool isTrue, const std::string& otherwise) {
  if (isTrue) return;
  std::cerr << otherwise << '\n';
  std::abort();
}

void WriteFiles(const Folder& folder, std::string_view input) {
  const std::size_t cut = input.find(kSeparator);
  const std::string_view schema = input.substr(0, cut == input.npos ? 0 : cut);
  const std::string_view text = cut == input.npos ? input : input.substr(cut + 1);
  std::filesystem::remove(folder.Path("data.schema.json"));
  if (!schema.empty()) folder.Write("data.schema.json", schema);
  folder.Write("data.csv", text);
}

void CountRows(const ORVX_DataSource& source) {
  std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> iterator(source.MakeIterator(area.data()));
  long long rows = 0;
  while (iterator->Next()) ++rows;
  Demand(rows == source.RowCount(), "the source counts other rows than it has");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  __sanitizer_install_malloc_and_free_hooks(Count, Ignore);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  WriteFiles(folder, {reinterpret_cast<const char*>(data), size});
  allocated = 0;
  try {
    CountRows(*SystemFileDataSource::Open(folder.Path("data.csv")));
  } catch (const DataFileError&) {
  }
  Demand(allocated <= kBytesAtStart + kBytesPerByte * size,
         std::to_string(allocated) + " bytes allocated for " + std::to_string(size));
  return 0;
}
