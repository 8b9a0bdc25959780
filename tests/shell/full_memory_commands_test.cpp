// Tests that the shell continues if an allocation fails while a command runs or a caller is
// created. This is a separate program because it replaces the global operator new.

#include <Arguments.h>
#include <CommandError.h>
#include <Commands.h>
#include <Output.h>
#include <ServerDataManager/serverdatamgr.h>
#include <Shell.h>
#include <tests/support/FullMemory.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace sdmsh {
namespace {

// Accepts all output and discards it.
class Mute final : public std::streambuf {
  int overflow(int c) override { return c == EOF ? 0 : c; }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

std::vector<std::string> LinesOf(const std::ostringstream& text) {
  std::istringstream lines(text.str());
  std::vector<std::string> found;
  for (std::string line; std::getline(lines, line);) found.push_back(line);
  return found;
}

struct Scene {
  std::string command;             // the command whose allocations fail
  std::string before = "write s";  // the commands before `command`, one per line
};

// At least one scene for each command of CommandTable(). Words that a command stores are so long
// that a string allocates memory for them. "FOLDER" stands for the folder of the test.
const std::vector<Scene>& Scenes() {
  static const std::vector<Scene> scenes = {
      {"open FOLDER/abc.tsv as another_name_that_needs_memory", ""},
      {"open FOLDER/abc.tsv as another_name_that_needs_memory", "hide b"},
      {"add-empty another_name_that_needs_memory", ""},
      {"clone s as another_name_that_needs_memory"},
      {"clone s as another_name_that_needs_memory", "write s\nclone s as t"},
      {"clone s as another_name_that_needs_memory", "hide b\nwrite s"},
      {"close s", ""},
      {"close s"},
      {"list"},
      {"show s"},
      {"variables s", ""},
      {"cases s", ""},
      {"mirror s", ""},
      {"read s", ""},
      {"read s", "@other write s"},
      {"write s", ""},
      {"write s", "@other read s"},
      {"try-write s", ""},
      {"try-write s", "@other write s"},
      {"release s", "read s"},
      {"release", "read s\nread s"},
      {"release s"},
      {"release s",
       "write s\ndelete s a\nrename s b a_long_new_name_for_a_variable\nweight s by c"},
      {"release s", "write s\ndelete s a\n@third read s"},
      {"release t", "add-empty t\nwrite t\nsource t file FOLDER/abc.tsv"},
      {"locks", "read s\n@other write s"},
      {"observe s", ""},
      {"unobserve s", "observe s"},
      // The file belongs to the dataset s already, so t gets a suppressed file name.
      {"release t", "open FOLDER/abc.tsv as t\nwrite t"},
      {"tell s", "write s\ndelete s a\nlabel s b a_long_new_label_for_a_variable"},
      {"watch registry", ""},
      {"unwatch registry", "watch registry"},
      {"insert s a_long_name_of_a_new_variable string:20 before b label a_long_label_of_the_same"},
      {"delete s a c"},
      {"move s c to 1"},
      {"reorder s c b"},
      {"rename s a a_long_new_name_for_a_variable"},
      {"label s a a_long_new_label_for_a_variable"},
      {"retype s a string:30"},
      {"labels s a 1 a_long_label_of_a_value 2 another_long_label_of_a_value"},
      {"missing s a 1 2 3"},
      {"level s a ordinal"},
      {"format s a plain width 8 decimals 2"},
      {"role s a identifier"},
      {"import s", ""},
      {"save s as FOLDER/saved.tsv"},
      {"set s a 1 9"},
      {"append s 7 8 9"},
      {"delete s cases 1"},
      {"compute s a_long_name_of_a_computed_variable = a + b * c"},
      {"set t a 1 9", "write s\nclone s as t\nwrite t"},
      {"describe s", "write s\nsplit s together by b\nlabels s b 2 a_long_label_of_a_value"},
      {"weight s by a"},
      {"filter s by a"},
      {"split s together by a b"},
      {"trends s period 12 by a"},
      {"mrset s a_long_name_of_a_set_of_answers indicators 1 label long_label_of_it of a b"},
      {"varset s a_long_name_of_a_set_of_variables of a b"},
      {"title s a_long_new_label_for_the_dataset"},
      {"filespec s FOLDER/another_file_of_the_dataset.tsv"},
      {"imputation s 2"},
      {"extension s a_long_text_that_means_something_to_somebody"},
      {"attribute s a_long_name_of_an_attribute a_long_value_of_this_attribute another"},
      {"dirty s on"},
      {"bootstrap s set inputs a b"},
      {"bootstrap s display", "write s\nbootstrap s set inputs a b"},
      {"bootstrap s to FOLDER/record", "write s\nbootstrap s set inputs a b"},
      {"bootstrap s from FOLDER/kept",
       "write s\nbootstrap s set inputs a b\n"
       "bootstrap s to FOLDER/kept\nbootstrap s off"},
      {"bootstrap s check FOLDER/kept",
       "write s\nbootstrap s set inputs a b\nbootstrap s to FOLDER/kept"},
      {"bootstrap s off", "write s\nbootstrap s set inputs a b"},
      {"source s file FOLDER/abc.tsv"},
      {"source s blank 3"},
      {"source s dictionary"},
      {"source s filtered by a"},
      {"source s none"},
      {"sequence s"},
      {"bulk s"},
      {"client s"},
      {"report s error a_long_text_of_what_went_wrong_here", "write s\nclient s"},
      {"warnings s off", "write s\nclient s"},
      {"handle s another_name_that_needs_memory", ""},
      {"file s FOLDER/another_file_of_the_dataset.tsv", ""},
      {"window s front on", ""},
      {"password s a_long_password_for_the_dataset", ""},
      {"hide a_long_name_of_a_variable_that_is_hidden b", ""},
      {"touched s", ""},
      {"help", ""},
      {"help open", ""},
      {"quit", ""},
  };
  return scenes;
}

class FullMemoryAtTheShell : public testing::TestWithParam<Scene> {
 protected:
  FullMemoryAtTheShell() {
    std::string name = testing::TempDir() + "sdmsh_memory_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no folder " << name;
    folder_ = name;
    std::ofstream(folder_ / "abc.tsv") << "a\tb\tc\n1\t2\t3\n4\t5\t6\n";
  }
  ~FullMemoryAtTheShell() override { std::filesystem::remove_all(folder_); }

  Line LineOf(std::string text) const {
    for (auto at = text.find("FOLDER"); at != std::string::npos; at = text.find("FOLDER")) {
      text.replace(at, 6, folder_.string());
    }
    Line line = ParseLine(text);
    if (line.caller.empty()) line.caller = Shell::kMainCaller;
    return line;
  }

  void Execute(Shell& shell, const std::string& text) const {
    std::istringstream lines(text);
    for (std::string each; std::getline(lines, each);) {
      const Line line = LineOf(each);
      shell.Execute(line.caller, line.words);
    }
  }

  // Runs the scene: `allocations` allocations of its command succeed; then the next allocation
  // fails (Shortage::Passes) or all later allocations fail (Shortage::Lasts). Then runs another
  // command. Returns whether an allocation failed. Call OneFailsIn with Shortage::Lasts only if it
  // has returned true for the same number with Shortage::Passes.
  bool OneFailsIn(long allocations, support::Shortage shortage) const;

 private:
  std::filesystem::path folder_;
};

bool WasDone(Shell& shell, const Line& line) {
  try {
    shell.Execute(line.caller, line.words);
    return true;
  } catch (const CommandError&) {
    return false;
  } catch (const std::bad_alloc&) {  // memory ran out, or output was lost
    return false;
  }
}

// Shortage::Passes lets one allocation fail, after `allocations` successful allocations. Returns
// whether this failure is still to come. To find out, simulates `allocations` + 1 allocations: one
// of them fails if the failure is still to come.
bool IsToCome(long allocations) {
  for (; allocations >= 0; --allocations) {
    if (!support::OneMoreIsLeft()) return true;
  }
  return false;
}

bool FullMemoryAtTheShell::OneFailsIn(long allocations, support::Shortage shortage) const {
  SCOPED_TRACE((shortage == support::Shortage::Lasts ? "all from " : "only ") +
               std::to_string(allocations));
  const Line line = LineOf(GetParam().command);
  ServerDataManager registry;
  Mute mute;
  std::ostream out(&mute);
  std::ostringstream failures;
  Output output(out, failures);
  Shell shell(registry, output);
  Execute(shell, "open FOLDER/abc.tsv as s\n@window observe s\n@window watch registry");
  Execute(shell, GetParam().before);
  bool failed = false;
  {
    const support::MemoryFor some(allocations, shortage);
    const bool done = WasDone(shell, line);
    // IsToCome works only with Shortage::Passes.
    failed = shortage == support::Shortage::Lasts || !IsToCome(allocations);
    support::EndShortage();
    EXPECT_TRUE(done || failed) << "fails with all the memory in the world";
  }
  Execute(shell, "@another list");
  shell.CloseDown("");
  // A caller that waited for a lock before the command may still wait.
  EXPECT_THAT(LinesOf(failures), testing::Each(testing::HasSubstr(" still waits for ")));
  EXPECT_FALSE(shell.IsStuck());
  return failed;
}

TEST_P(FullMemoryAtTheShell, ShellContinuesAfterAnyAllocationOfACommandFails) {
  long count = 0;
  for (; OneFailsIn(count, support::Shortage::Passes); ++count) ASSERT_FALSE(HasFailure());
  for (long i = 0; i < count; ++i) {
    OneFailsIn(i, support::Shortage::Lasts);
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(Commands, FullMemoryAtTheShell, testing::ValuesIn(Scenes()),
                         [](const auto& scene) {
                           std::string name = scene.param.command;
                           name = name.substr(0, name.find(' ')) + std::to_string(scene.index);
                           std::erase(name, '-');
                           return name;
                         });

TEST(FullMemoryScenes, CoverEveryCommand) {
  for (const Command& command : CommandTable()) {
    if (command.run == nullptr) continue;
    const std::string name = command.name;
    EXPECT_TRUE(std::any_of(Scenes().begin(), Scenes().end(), [&](const Scene& scene) {
      return scene.command.substr(0, scene.command.find(' ')) == name;
    })) << name;
  }
}

TEST(CallerMemory, CallerIsCreatedCompletelyOrNotAtAll) {
  const std::string caller = "a caller with a long name, for which a string needs memory";
  const std::vector<std::string> words = {"list"};
  CommandTable();  // creates the table now, so that the loop does not have to allocate it
  int failures = 0;
  for (bool done = false; !done; failures += done ? 0 : 1) {
    ServerDataManager registry;
    Mute mute;
    std::ostream out(&mute);
    Output output(out, out);
    Shell shell(registry, output);
    {
      const support::MemoryFor some(failures);
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
