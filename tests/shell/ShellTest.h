// ShellTest: a fixture that runs shell commands in this process and returns the output.

#ifndef TESTS_SHELL_SHELLTEST_H_
#define TESTS_SHELL_SHELLTEST_H_

#include <Output.h>
#include <Prompt.h>
#include <Shell.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ServerDataManager/serverdatamgr.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace sdmsh {

// Each test has its own registry and folder. The folder contains abc.tsv, with the numeric
// variables a, b and c, and two cases.
class ShellTest : public testing::Test {
 protected:
  ShellTest() { SetUpFolder(); }
  ~ShellTest() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& file) const { return (folder_ / file).string(); }

  std::string WriteFile(const std::string& file, const std::string& content) const {
    std::ofstream(folder_ / file, std::ios::binary) << content;
    return Path(file);
  }

  // Open returns the command "open .../abc.tsv as NAME"; IsOpen returns the output of this command.
  std::string Open(const std::string& name) const {
    return "open " + Path("abc.tsv") + " as " + name + "\n";
  }
  std::string IsOpen(const std::string& name) const {
    return name + " is open: 3 variables, 2 cases, from " + Path("abc.tsv") + "\n";
  }

  // Runs the commands in a new shell. Returns the output, including error messages.
  std::string AtPrompt(const std::string& commands) {
    std::istringstream input(commands);
    std::ostringstream out;
    Output output(out, out);
    Shell shell(registry_, output);
    good_ = PlayInput(shell, input);
    return out.str();
  }

  // Like AtPrompt, but returns lines of JSON.
  std::string InJson(const std::string& commands) {
    std::istringstream input(commands);
    std::ostringstream out;
    Output output(out, out, {.json = true});
    Shell shell(registry_, output);
    good_ = PlayInput(shell, input);
    return out.str();
  }

  // Like AtPrompt, but runs the commands as a script with the name test.sdm.
  std::string InScript(const std::string& commands) {
    std::istringstream script(commands);
    std::ostringstream out;
    Output output(out, out);
    Shell shell(registry_, output);
    good_ = PlayInput(shell, script, "test.sdm");
    return out.str();
  }

  // Opens abc.tsv as survey, acquires its write lock for `main`, and runs the commands. Returns
  // only the output of the commands.
  std::string Writing(const std::string& commands) {
    const std::string taken = "main acquires the write lock on survey\n";
    const std::string text = AtPrompt(Open("survey") + "write survey\n" + commands);
    EXPECT_THAT(text, testing::StartsWith("survey is open: "));
    const std::string rest = text.substr(std::min(text.find('\n') + 1, text.size()));
    EXPECT_THAT(rest, testing::StartsWith(taken));
    return rest.substr(std::min(taken.size(), rest.size()));
  }

  static constexpr const char* kReleased = "main releases the write lock on survey\n";

  // Whether the last shell run succeeded.
  bool WentWell() const { return good_; }

  ServerDataManager& Registry() { return registry_; }

 private:
  void SetUpFolder() {
    std::string name = testing::TempDir() + "sdmshXXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    folder_ = name;
    WriteFile("abc.tsv", "a\tb\tc\n1\t2\t3\n4\t5\t6\n");
  }

  std::filesystem::path folder_;
  ServerDataManager registry_;
  bool good_ = false;
};

}  // namespace sdmsh

#endif  // TESTS_SHELL_SHELLTEST_H_
