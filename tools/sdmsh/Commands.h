// Commands: the table of the shell's commands.
//
// To add a command, write its function in the file of its subject, declare it below, and add a row
// to the table in Commands.cpp. Lookup, help, completion and usage errors all use the table.

#ifndef SDMSH_COMMANDS_H_
#define SDMSH_COMMANDS_H_

#include <cstddef>
#include <string>
#include <vector>

namespace sdmsh {

class Arguments;
class Caller;
class Shell;

// Runs a command for the caller. Takes all its arguments before it changes anything. Throws
// CommandError if it fails.
using CommandFunction = void(Shell& shell, Caller& caller, Arguments& arguments);

struct Command {
  const char* name;
  // CAPITALS mark what the user fills in, [] an optional part, | a choice, ... one or more.
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

// Throws CommandError if no command has this name.
const Command& CommandNamed(const std::string& name);
std::vector<std::string> CommandNames();
// "move DATASET VARIABLE to POSITION|before VARIABLE"
std::string UsageOf(const Command& command);

// Breaks the text into lines of at most `width` columns; 0 means no limit. Lines after the first
// start with `indent` blanks, which count towards the width. A word that does not fit into a line
// gets a line of its own.
std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent);

// The functions of the table. The comments name the files that define them.
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
