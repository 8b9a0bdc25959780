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

class Call;

// Runs a command: takes all arguments, then calls Call::End, Reader, Writer or Source, which refuse
// superfluous words, and only then does the work. If the arguments start with DATASET, the shell
// has already taken that argument. Throws CommandError if an argument is wrong or the command
// fails.
using CommandFunction = void(Call& call);

// A row of the table: a command or, without a function, the title of the commands after it.
struct Command {
  const char* name;
  // CAPITALS mark what the user fills in, [] an optional part, | a choice, ... one or more.
  const char* arguments = "";
  const char* help = "";  // one line, no full stop
  CommandFunction* run = nullptr;
  const char* more = "";  // what `help COMMAND` adds
  // Whether the command acquires a lock. Such a command runs on the shell's thread and starts a job
  // that acquires the lock on the caller's thread. Any other command runs on the caller's thread,
  // or on the shell's thread while its caller waits for a lock.
  bool acquiresLock = false;
};

const std::vector<Command>& CommandTable();

// Throws CommandError if no command has this name.
const Command& CommandNamed(const std::string& name);
std::vector<std::string> CommandNames();
// Returns a text such as "move DATASET VARIABLE to POSITION|before VARIABLE".
std::string UsageOf(const Command& command);

// Breaks the text into lines of at most `width` columns; 0 means no limit. Lines after the first
// start with `indent` blanks, which count towards the width. A word that is wider than a line is
// not broken.
std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent);

// The functions of the table, by the files that define them.

// Commands.cpp
CommandFunction Help, Quit;
// DatasetCommands.cpp
CommandFunction AddEmpty, CloneDataset, CloseDataset, HideVariables, ListDatasets, OpenFile,
    SetHandle, SetPassword, SetWindowState, ShowDataset, ShowMirror, ShowVariables;
// FileCommands.cpp
CommandFunction AskWhetherTouched, SaveFile, SetFileName, ShowImport;
// CaseCommands.cpp
CommandFunction AskForBulkMoves, RaiseCaseSequence, ReplaceSource, ShowCases;
// DescribeCommand.cpp
CommandFunction Describe;
// DictionaryCommands.cpp
CommandFunction DeleteVariables, InsertVariable, LabelDataset, LabelValues, LabelVariable,
    MarkUnsaved, MoveVariable, RenameVariable, ReorderVariables, RetypeVariable, SetAttribute,
    SetExtension, SetFileSpec, SetFilter, SetFormat, SetImputation, SetLevel, SetMissingValues,
    SetResponseSet, SetRole, SetTrends, SetVariableSet, SetWeight, SplitFile;
// ValueCommands.cpp
CommandFunction AppendCase, Compute, DeleteCases, SetCaseValue;
// BootstrapCommands.cpp
CommandFunction Bootstrap;
// ObserverCommands.cpp
CommandFunction BindClient, Observe, ReportError, SwitchWarnings, Unobserve, UnwatchRegistry,
    WatchRegistry;
// Locks.cpp
CommandFunction NotifyObservers, ReleaseLocks, ShowLocks, TakeReadLock, TakeWriteLock, TryWriteLock;

}  // namespace sdmsh

#endif  // SDMSH_COMMANDS_H_
