// Tests a process that exits while threads, exit handlers and destructors of static objects still
// use its registry.

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>

namespace {

using testing::EndsWith;
using testing::HasSubstr;

struct Ended {
  int status;  // from pclose
  std::string output;
};

Ended EndOf(const std::string& way) {
  const std::string command = std::string("exec '") + PROCESS_EXIT + "' '" + way + "' 2>&1";
  std::FILE* const program = popen(command.c_str(), "r");
  std::string output;
  std::array<char, 1024> piece{};
  while (const std::size_t read = fread(piece.data(), 1, piece.size(), program)) {
    output.append(piece.data(), read);
  }
  return {pclose(program), output};
}

TEST(ProcessExit, NeitherCrashesNorHangsWhileThreadsUseTheRegistry) {
  constexpr int kTimes = 40;
  int failed = 0;
  std::string output;
  for (int i = 0; i < kTimes; ++i) {
    const Ended ended = EndOf("in use");
    if (ended.status == 0) continue;
    ++failed;
    output = ended.output;
  }
  EXPECT_EQ(failed, 0) << "of " << kTimes << "; the last wrote " << output;
}

TEST(ProcessExit, DestroysTheSourcesOfTheRegistry) {
  const Ended ended = EndOf("called afterwards");

  EXPECT_EQ(ended.status, 0) << ended.output;
  EXPECT_THAT(ended.output, HasSubstr("source destroyed\n"));
}

TEST(ProcessExit, LeavesAnEmptyUsableRegistryAndValidHandles) {
  const Ended ended = EndOf("called afterwards");

  EXPECT_EQ(ended.status, 0) << ended.output;
  EXPECT_THAT(ended.output, EndsWith("source destroyed\nunknown\nheld: survey\nlate: known\n"));
}

TEST(ProcessExit, DoesNotWaitForAThreadThatHoldsTheRegistryLock) {
  const Ended ended = EndOf("lock held");

  EXPECT_EQ(ended.status, 0) << ended.output;
  EXPECT_THAT(ended.output, HasSubstr("source destroyed\n"));
}

}  // namespace
