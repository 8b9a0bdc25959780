// The client: mirrors the dictionary from the frames on its standard input. Links only the client
// library.

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include <client/ChangeFrame.h>
#include <client/ChangeStreamReader.h>
#include <libdatasrc/ORVX_DataSource.h>

namespace {

bool Receive(std::string& frame) {
  std::uint64_t size = 0;
  if (std::fread(&size, sizeof size, 1, stdin) != 1) return false;
  frame.resize(size);
  return std::fread(frame.data(), 1, size, stdin) == size;
}

}  // namespace

int main() {
  std::optional<ChangeStreamReader> reader;
  for (std::string frame; Receive(frame);) {
    if (!reader) reader.emplace(ReadChangeFrame(frame).dataset);
    if (reader->Apply(frame) != ChangeStreamReader::Outcome::Applied) return 1;
    const ORVX_DataSource& dictionary = reader->Dictionary();
    std::printf("pass %d:", static_cast<int>(reader->PassNumber()));
    for (int i = 0; i < dictionary.ColumnCount(); ++i) {
      std::printf(" %s", dictionary.GetVariable(i).GetName().c_str());
    }
    std::printf("\n");
  }
}
