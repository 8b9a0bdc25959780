// sdmsh: runs commands on datasets from a prompt, a pipe or a script.

#include "CommandError.h"
#include "Output.h"
#include "Prompt.h"
#include "Shell.h"

#include <ServerDataManager/serverdatamgr.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <string>
#include <system_error>

namespace {

enum ExitStatus { kGood = 0, kFailed = 1, kWrongUse = 2 };

constexpr const char* kExitStatus =
    "Exit status: 0 all went well; 1 a command of a script or a pipe failed, a caller was left\n"
    "waiting for a lock, or the output was lost; 2 wrong use, or a script that cannot be read.\n"
    "At the prompt, `help` lists the commands.";

int WrongUse(const std::string& text) {
  std::cerr << "sdmsh: " << text << "\n";
  return kWrongUse;
}

// Returns `status`, or kFailed if standard output cannot be written.
int Ended(int status) {
  if (std::cout.flush()) return status;
  std::cerr << "sdmsh: standard output cannot be written\n";
  return kFailed;
}

bool Play(sdmsh::Shell& shell, std::istream* script, const std::string& file, bool json) {
  if (script != nullptr) return sdmsh::PlayInput(shell, *script, file);
  const bool atTerminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1 && !json;
  return atTerminal ? sdmsh::RunPrompt(shell) : sdmsh::PlayInput(shell, std::cin);
}

int Run(std::istream* script, const std::string& file, bool json) {
  sdmsh::Output output(std::cout, std::cerr, sdmsh::LookOfProcess(json));
  sdmsh::CatchInterrupts();
  sdmsh::Shell shell(ServerDataManager::GetInstance(), output);
  const int status = Play(shell, script, file, json) ? kGood : kFailed;
  // The destructor of the shell would join a thread that waits forever for a lock.
  if (shell.IsStuck()) std::_Exit(Ended(kFailed));
  return Ended(status);
}

}  // namespace

int main(int argumentCount, char** arguments) try {
  CLI::App options("The dataset manager at a prompt, or played from a script.", "sdmsh");
  bool json = false;
  std::string file;
  options.add_flag("--json", json, "Print every event as one JSON object per line");
  options.set_version_flag("--version", "sdmsh " SDMSH_VERSION, "Print the version and exit");
  const CLI::Option* const script = options.add_option(
      "FILE", file, "Play this script; without one, read commands from the standard input");
  options.footer(kExitStatus);
  try {
    options.parse(argumentCount, arguments);
  } catch (const CLI::Success& helpOrVersion) {
    options.exit(helpOrVersion);
    return Ended(kGood);
  } catch (const CLI::ParseError& error) {
    return WrongUse(std::string(error.what()) + "\nRun `sdmsh --help` for more information.");
  }
  if (script->count() == 0) return Run(nullptr, "", json);
  std::error_code error;
  if (std::filesystem::is_directory(file, error))
    return WrongUse(file + ": a folder, not a script");
  std::ifstream stream(file);
  if (!stream) return WrongUse(file + ": " + std::strerror(errno));
  return Run(&stream, file, json);
} catch (const std::bad_alloc&) {  // memory ran out outside of a command
  std::cerr << "sdmsh: not enough memory\n";
  return kFailed;
}
