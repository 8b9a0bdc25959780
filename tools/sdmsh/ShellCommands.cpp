// Help, and the end.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"

namespace sdmsh {
namespace {

CommandHelp HelpOn(const Command& command) {
  return {command.name, command.arguments, command.help, command.more};
}

}  // namespace

void Help(Shell& shell, Caller&, Arguments& arguments) {
  if (!arguments.AtEnd()) {
    const std::string name = arguments.Take("COMMAND");
    arguments.End();
    const Command* const command = FindCommand(name);
    if (command == nullptr) throw CommandError("no command \"" + name + "\"; `help` lists them");
    shell.Say(HelpOn(*command));
    return;
  }
  HelpTable table;
  for (const CommandSubject& subject : CommandTable()) {
    HelpTable::Subject& rows = table.subjects.emplace_back(HelpTable::Subject{subject.title, {}});
    for (const Command& command : subject.commands) rows.commands.push_back(HelpOn(command));
  }
  shell.Say(std::move(table));
}

void Quit(Shell& shell, Caller&, Arguments& arguments) {
  arguments.End();
  shell.Quit();
}

}  // namespace sdmsh
