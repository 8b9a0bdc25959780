// Makes each allocation of internal functions fail in turn. Also checks that reading a compressed
// file takes memory only for buffers.

#include <gtest/gtest.h>
#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/FileText.h>
#include <libdatasrc/internal/TableSchema.h>
#include <tests/support/FullMemory.h>
#include <tests/support/OutOfMemory.h>

#include <string>
#include <vector>

#include "Compressed.h"
#include "Files.h"

namespace {

using namespace sdm_internal;
using support::ExpectNoAllocations;
using support::ExpectSafeWithoutMemory;
using support::Returns;

std::string TextOf(const std::string& path, const std::string& encoding = {}) {
  FileText text(path, encoding);
  std::string all;
  std::vector<char> block(1000);
  while (const std::size_t size = text.Read(block.data(), block.size())) {
    all.append(block.data(), size);
  }
  return all;
}

TEST(InternalMemoryFault, WhileReadingTextLeaksNothing) {
  const Folder folder;
  const std::string text = std::string(2000, 'x') + "\n";
  const std::string plain = folder.Write("plain.csv", text);
  const std::string gzip = folder.Write("gzip.csv", Gzip(text));
  const std::string zstd = folder.Write("zstd.csv", Zstd(text));
  ExpectSafeWithoutMemory({
      Returns("plain", [&] { return TextOf(plain); }),
      Returns("gzip", [&] { return TextOf(gzip); }),
      Returns("Zstandard", [&] { return TextOf(zstd); }),
      Returns("windows-1252", [&] { return TextOf(plain, "windows-1252"); }),
  });
}

TEST(InternalMemoryFault, WhileReadingASchemaLeaksNothing) {
  const Folder folder;
  folder.Write("data.schema.json", R"({
      "title": "a title that is longer than the small-string buffer",
      "missingValues": [{"value": "-9", "label": "refused"}],
      "fields": [
        {"name": "a", "type": "date", "format": "%d/%m/%Y", "role": "target"},
        {"name": "b", "type": "string", "constraints": {"pattern": "(a|b)+", "enum": ["a", "b"]}},
        {"name": "c", "type": "integer", "categories": [{"value": 1, "label": "one"}]}],
      "primaryKey": "b", "uniqueKeys": [["a", "b"]],
      "foreignKeys": [{"fields": "c", "reference": {"resource": "", "fields": "c"}}],
      "weight": "c", "split": ["a"]})");
  const std::string data = folder.Write("data.csv", "a,b,c\n1/2/2003,a,-9\n,b,5\n");
  const auto read = [&] {
    BlockSettings settings;
    settings.threads = 1;
    const DataFile file = ReadDataFile(data, ImportOptions(), {}, settings);
    return file.label.value() + std::to_string(file.weight);
  };
  ExpectSafeWithoutMemory({
      Returns("ReadSchemaOf", [&] { return *ReadSchemaOf(data)->fields[2].categories[0].label; }),
      Returns("ReadDataFile", read),
  });
}

TEST(InternalMemoryFault, WhileFormattingADateLeaksNothing) {
  ExpectSafeWithoutMemory(
      {Returns("DateTimeText", [] { return DateTimeText(1709210700.123456); })});
}

TEST(InternalMemoryFault, DoesNotAffectParsingAValue) {
  ExpectNoAllocations({
      {"ParseDate", [] { ParseDate("2024-02-29"); }},
      {"ParseTime", [] { ParseTime("13:45:00.123456789"); }},
      {"ParseDateTime", [] { ParseDateTime("2024-02-29T13:45:00.25+01:00"); }},
      {"ParseBoolean", [] { ParseBoolean("True"); }},
  });
}

TEST(InternalMemory, ReadingACompressedFileTakesMemoryOnlyForBuffers) {
  const Folder folder;
  const std::string zeroes(std::size_t{16} << 20, '\0');
  std::vector<char> block(1000);
  for (const std::string& bytes : {Gzip(zeroes), Zstd(zeroes)}) {
    const std::string path = folder.Write("data.csv", bytes);
    const std::size_t before = support::heap.bytes;
    FileText text(path);
    while (text.Read(block.data(), block.size()) > 0) continue;

    EXPECT_LT(support::heap.bytes - before, std::size_t{256} << 10);
  }
}

}  // namespace
