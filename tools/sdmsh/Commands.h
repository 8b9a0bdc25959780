// The functions behind the commands, by subject; their rows are in CommandTable.cpp.

#ifndef SDMSH_COMMANDS_H_
#define SDMSH_COMMANDS_H_

namespace sdmsh {

class Arguments;
class Caller;
class Shell;

// DatasetCommands.cpp
void OpenFile(Shell& shell, Caller& caller, Arguments& arguments);
void AddEmpty(Shell& shell, Caller& caller, Arguments& arguments);
void CloneDataset(Shell& shell, Caller& caller, Arguments& arguments);
void CloseDataset(Shell& shell, Caller& caller, Arguments& arguments);
void ListDatasets(Shell& shell, Caller& caller, Arguments& arguments);
void ShowDataset(Shell& shell, Caller& caller, Arguments& arguments);
void ShowVariables(Shell& shell, Caller& caller, Arguments& arguments);
void ShowMirror(Shell& shell, Caller& caller, Arguments& arguments);

// CaseCommands.cpp
void ShowCases(Shell& shell, Caller& caller, Arguments& arguments);

// LockCommands.cpp
void TakeReadLock(Shell& shell, Caller& caller, Arguments& arguments);
void TakeWriteLock(Shell& shell, Caller& caller, Arguments& arguments);
void TryWriteLock(Shell& shell, Caller& caller, Arguments& arguments);
void ReleaseLocks(Shell& shell, Caller& caller, Arguments& arguments);
void ShowLocks(Shell& shell, Caller& caller, Arguments& arguments);

// ObserverCommands.cpp
void Observe(Shell& shell, Caller& caller, Arguments& arguments);
void Unobserve(Shell& shell, Caller& caller, Arguments& arguments);
void TellObservers(Shell& shell, Caller& caller, Arguments& arguments);

// RegistryCommands.cpp
void WatchRegistry(Shell& shell, Caller& caller, Arguments& arguments);
void UnwatchRegistry(Shell& shell, Caller& caller, Arguments& arguments);
void HideVariables(Shell& shell, Caller& caller, Arguments& arguments);
void AskWhetherTouched(Shell& shell, Caller& caller, Arguments& arguments);

// ErrorCommands.cpp
void BindClient(Shell& shell, Caller& caller, Arguments& arguments);
void ReportError(Shell& shell, Caller& caller, Arguments& arguments);
void SwitchWarnings(Shell& shell, Caller& caller, Arguments& arguments);

// DictionaryCommands.cpp
void InsertVariable(Shell& shell, Caller& caller, Arguments& arguments);
void DeleteVariables(Shell& shell, Caller& caller, Arguments& arguments);
void MoveVariable(Shell& shell, Caller& caller, Arguments& arguments);
void ReorderVariables(Shell& shell, Caller& caller, Arguments& arguments);
void RenameVariable(Shell& shell, Caller& caller, Arguments& arguments);
void LabelVariable(Shell& shell, Caller& caller, Arguments& arguments);
void RetypeVariable(Shell& shell, Caller& caller, Arguments& arguments);

// PropertyCommands.cpp
void SetWeight(Shell& shell, Caller& caller, Arguments& arguments);
void SetFilter(Shell& shell, Caller& caller, Arguments& arguments);
void SplitFile(Shell& shell, Caller& caller, Arguments& arguments);
void SetTrends(Shell& shell, Caller& caller, Arguments& arguments);
void SetResponseSet(Shell& shell, Caller& caller, Arguments& arguments);
void SetVariableSet(Shell& shell, Caller& caller, Arguments& arguments);
void LabelDataset(Shell& shell, Caller& caller, Arguments& arguments);
void SetFileSpec(Shell& shell, Caller& caller, Arguments& arguments);
void SetImputation(Shell& shell, Caller& caller, Arguments& arguments);
void SetExtension(Shell& shell, Caller& caller, Arguments& arguments);
void SetAttribute(Shell& shell, Caller& caller, Arguments& arguments);
void MarkUnsaved(Shell& shell, Caller& caller, Arguments& arguments);

// BootstrapCommands.cpp
void Bootstrap(Shell& shell, Caller& caller, Arguments& arguments);

// WriterCommands.cpp
void ReplaceSource(Shell& shell, Caller& caller, Arguments& arguments);
void RaiseCaseSequence(Shell& shell, Caller& caller, Arguments& arguments);
void AskForBulkMoves(Shell& shell, Caller& caller, Arguments& arguments);

// SettingCommands.cpp
void SetHandle(Shell& shell, Caller& caller, Arguments& arguments);
void SetFileName(Shell& shell, Caller& caller, Arguments& arguments);
void SetWindowState(Shell& shell, Caller& caller, Arguments& arguments);
void SetPassword(Shell& shell, Caller& caller, Arguments& arguments);

// ShellCommands.cpp
void Help(Shell& shell, Caller& caller, Arguments& arguments);
void Quit(Shell& shell, Caller& caller, Arguments& arguments);

}  // namespace sdmsh

#endif  // SDMSH_COMMANDS_H_
