// Commands: the table of the shell's commands.
//
// To add a command, write its function in the file of its subject, name it below, and add a row to
// the table in Commands.cpp. Everything else (finding it, help, completion, what is said of wrong
// use) comes from the table.

#ifndef SDMSH_COMMANDS_H_
#define SDMSH_COMMANDS_H_

#include <cstddef>
#include <string>
#include <vector>

namespace sdmsh {

class Arguments;
class Caller;
class Shell;

// Carries a command out for the caller. Takes all its arguments, then does what it has to. Throws
// CommandError where it cannot.
using CommandFunction = void(Shell& shell, Caller& caller, Arguments& arguments);

struct Command {
  const char* name;
  // CAPITALS stand for what the user fills in, [] for what may be left out, | for a choice, ... for
  // one or more.
  const char* arguments;
  const char* help;  // one line, no full stop
  CommandFunction* run;
  const char* more = "";  // what `help COMMAND` adds
};

struct CommandSubject {
  const char* title;
  std::vector<Command> commands;
};

const std::vector<CommandSubject>& CommandTable();

// Throws CommandError where there is none of that name.
const Command& CommandNamed(const std::string& name);
std::vector<std::string> CommandNames();
// "move DATASET VARIABLE to POSITION|before VARIABLE"
std::string UsageOf(const Command& command);

// The text in lines of at most `width` columns, 0 for no limit, each but the first behind `indent`
// blanks, which count. A word that is longer has a line of its own.
std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent);

// By file.
CommandFunction AddEmpty, CloneDataset, CloseDataset, ListDatasets, OpenFile, ShowDataset,
    ShowMirror, ShowVariables;                                                       // Dataset
CommandFunction ShowCases;                                                           // Case
CommandFunction ReleaseLocks, ShowLocks, TakeReadLock, TakeWriteLock, TryWriteLock;  // Locks.cpp
CommandFunction Observe, TellObservers, Unobserve;                                   // Observer
CommandFunction AskWhetherTouched, HideVariables, UnwatchRegistry, WatchRegistry;    // Registry
CommandFunction BindClient, ReportError, SwitchWarnings;                             // Error
CommandFunction DeleteVariables, InsertVariable, LabelVariable, MoveVariable, RenameVariable,
    ReorderVariables, RetypeVariable;  // Dictionary
CommandFunction LabelDataset, MarkUnsaved, SetAttribute, SetExtension, SetFileSpec, SetFilter,
    SetImputation, SetResponseSet, SetTrends, SetVariableSet, SetWeight, SplitFile;  // Property
CommandFunction Bootstrap;                                                           // Bootstrap
CommandFunction AskForBulkMoves, RaiseCaseSequence, ReplaceSource;                   // Writer
CommandFunction SetFileName, SetHandle, SetPassword, SetWindowState;                 // Setting
CommandFunction Help, Quit;                                                          // Commands.cpp

}  // namespace sdmsh

#endif  // SDMSH_COMMANDS_H_
