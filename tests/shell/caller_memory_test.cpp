// Tests of creating a caller if memory runs out. This is a separate program because it replaces the
// global operator new.

#include <Commands.h>
#include <Output.h>
#include <ServerDataManager/serverdatamgr.h>
#include <Shell.h>
#include <tests/support/FullMemory.h>

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace sdmsh {
namespace {

using support::MemoryFor;

// Accepts all output and discards it.
class Mute final : public std::streambuf {
  int overflow(int c) override { return c == EOF ? 0 : c; }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

TEST(CallerMemory, CallerIsCreatedCompletelyOrNotAtAll) {
  const std::string caller = "a caller with a long name, for which a string needs memory";
  const std::vector<std::string> words = {"list"};
  CommandTable();  // the first call creates the table, which must not fail here
  int failures = 0;
  for (bool done = false; !done; failures += done ? 0 : 1) {
    ServerDataManager registry;
    Mute mute;
    std::ostream out(&mute);
    Output output(out, out);
    Shell shell(registry, output);
    {
      const MemoryFor some(failures);
      try {
        shell.Execute(caller, words);
        done = true;
      } catch (const std::exception&) {  // std::bad_alloc or a CommandError
      }
    }
    EXPECT_TRUE(shell.CloseDown(""));
    EXPECT_FALSE(shell.IsStuck());
  }
  EXPECT_GT(failures, 3);
}

}  // namespace
}  // namespace sdmsh
