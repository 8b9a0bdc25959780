// sdmsh: the dataset manager at a prompt, or played from a script.

#include "Interrupt.h"
#include "Output.h"
#include "Play.h"
#include "Shell.h"

#include <ServerDataManager/serverdatamgr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>

namespace {

enum ExitStatus { kGood = 0, kCommandFailed = 1, kWrongUse = 2 };

constexpr const char* kUsage =
    "usage: sdmsh [--json] [FILE]\n"
    "  FILE     play this script; without one, read commands from the standard input\n"
    "  --json   print every event as one JSON object per line\n"
    "  --help   print this\n"
    "Exit status: 0 all went well; 1 a command failed, a role was left waiting, or the\n"
    "             output was lost; 2 wrong use, or a script that cannot be read.\n"
    "At the prompt, `help` lists the commands.\n";

struct Options {
  bool json = false;
  bool help = false;
  std::optional<std::string> script;
};

// Nothing where the arguments are wrong.
std::optional<Options> ParseOptions(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--json") {
      options.json = true;
    } else if (argument == "--help") {
      options.help = true;
    } else if (argument.starts_with('-') || argument.empty() || options.script) {
      return std::nullopt;
    } else {
      options.script = argument;
    }
  }
  return options;
}

int WrongUse(const std::string& text) {
  std::cerr << "sdmsh: " << text << "\n";
  return kWrongUse;
}

// The status to exit with, which is another where the output was lost.
int Ended(int status) {
  if (std::cout.flush()) return status;
  std::cerr << "sdmsh: standard output cannot be written\n";
  return kCommandFailed;
}

bool Run(sdmsh::Shell& shell, const Options& options, std::istream& input) {
  if (options.script) return sdmsh::PlayScript(shell, input, *options.script);
  const bool atTerminal = isatty(STDIN_FILENO) == 1 && !options.json;
  return sdmsh::RunPrompt(shell, input, atTerminal ? &std::cout : nullptr);
}

int Run(const Options& options, std::istream& input) {
  sdmsh::Output output(std::cout, std::cerr, sdmsh::LookOfProcess(options.json));
  sdmsh::CatchInterrupts();
  sdmsh::Shell shell(ServerDataManager::GetInstance(), output);
  const int status = Run(shell, options, input) ? kGood : kCommandFailed;
  // A thread that waits for a lock for ever cannot be joined.
  if (shell.IsStuck()) std::_Exit(Ended(kCommandFailed));
  return Ended(status);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::optional<Options> options = ParseOptions(argumentCount, arguments);
  if (!options) {
    std::cerr << kUsage;
    return kWrongUse;
  }
  if (options->help) {
    std::cout << kUsage;
    return Ended(kGood);
  }
  if (!options->script) return Run(*options, std::cin);
  if (std::filesystem::is_directory(*options->script)) {
    return WrongUse(*options->script + ": a folder, not a script");
  }
  std::ifstream script(*options->script);
  if (!script) return WrongUse(*options->script + ": " + std::strerror(errno));
  return Run(*options, script);
}
