// Command: a row of the shell's table of commands.
//
// To add a command, write its function in the file of its subject, declare it in Commands.h and add
// a row to CommandTable.cpp. Everything else (finding it, help, what is said of wrong use) comes
// from the table.

#ifndef SDMSH_COMMAND_H_
#define SDMSH_COMMAND_H_

#include <string_view>
#include <vector>

namespace sdmsh {

class Arguments;
class Caller;
class Shell;

struct Command {
  const char* name;
  // CAPITALS stand for what the user fills in, [] for what may be left out, | for a choice, ... for
  // one or more.
  const char* arguments;
  const char* help;  // one line, no full stop
  // Carries the command out for the caller. Takes all its arguments, then does what it has to.
  // Throws CommandError where it cannot.
  void (*run)(Shell& shell, Caller& caller, Arguments& arguments);
  const char* more = "";  // what `help COMMAND` adds
};

struct CommandSubject {
  const char* title;
  std::vector<Command> commands;
};

const std::vector<CommandSubject>& CommandTable();

// Null where there is none of that name.
const Command* FindCommand(std::string_view name);

}  // namespace sdmsh

#endif  // SDMSH_COMMAND_H_
