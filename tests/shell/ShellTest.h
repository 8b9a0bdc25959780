// What the tests of the shell have in common: commands in, words or JSON out, in this process.

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

// Each test has a registry and a folder of its own. In the folder, abc.tsv has the numeric
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

  // "open .../abc.tsv as NAME" and what the shell says to it.
  std::string Open(const std::string& name) const {
    return "open " + Path("abc.tsv") + " as " + name + "\n";
  }
  std::string IsOpen(const std::string& name) const {
    return name + " is open: 3 variables, 2 cases, from " + Path("abc.tsv") + "\n";
  }

  // Everything that the shell says at the prompt, failures in their place between the rest. Each
  // starts with no dataset open.
  std::string AtPrompt(const std::string& commands) {
    std::istringstream input(commands);
    std::ostringstream out;
    Output output(out, out);
    Shell shell(registry_, output);
    good_ = PlayInput(shell, input);
    return out.str();
  }

  // The same as lines of JSON.
  std::string InJson(const std::string& commands) {
    std::istringstream input(commands);
    std::ostringstream out;
    Output output(out, out, {.json = true});
    Shell shell(registry_, output);
    good_ = PlayInput(shell, input);
    return out.str();
  }

  // AtPrompt for a script of the name test.sdm.
  std::string InScript(const std::string& commands) {
    std::istringstream script(commands);
    std::ostringstream out;
    Output output(out, out);
    Shell shell(registry_, output);
    good_ = PlayScript(shell, script, "test.sdm");
    return out.str();
  }

  // What AtPrompt gives for the commands after abc.tsv was opened as survey and `main` has its
  // write lock, without what is said to these two.
  std::string Writing(const std::string& commands) {
    const std::string taken = "main takes the write lock on survey\n";
    const std::string text = AtPrompt(Open("survey") + "write survey\n" + commands);
    EXPECT_THAT(text, testing::StartsWith("survey is open: "));
    const std::string rest = text.substr(std::min(text.find('\n') + 1, text.size()));
    EXPECT_THAT(rest, testing::StartsWith(taken));
    return rest.substr(std::min(taken.size(), rest.size()));
  }

  static constexpr const char* kReleased = "main releases the write lock on survey\n";

  // What the last of them returned.
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
