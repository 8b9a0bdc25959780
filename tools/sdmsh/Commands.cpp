// Defines the table of commands, and implements help.

#include "Commands.h"

#include "Arguments.h"
#include "CommandError.h"
#include "Shell.h"

#include <algorithm>

namespace sdmsh {

constexpr const char* kWaits =
    "If the lock is not free, the caller waits. Until it has the lock it can give no command that "
    "needs a lock, but it can release locks.";

const std::vector<Command>& CommandTable() {
  static const std::vector<Command> table = {
      {"Datasets"},
      {"open",
       "FILE [delimiter comma|tab|semicolon|bar|space] [decimal point|comma] [encoding ENCODING] "
       "as NAME [quiet]",
       "opens a data file as a dataset", OpenFile,
       "The delimiter, the decimal mark and the encoding are found from the file unless they are "
       "given. `import` shows what was found. Registry observers are not notified of a quiet "
       "dataset."},
      {"import", "DATASET", "shows what was found when its data file was opened", ShowImport,
       "For each variable its type, the value that decided it, and the words for missing values."},
      {"save", "DATASET [as FILE] [delimiter comma|tab|semicolon|bar]",
       "saves a dataset as a data file", SaveFile,
       "Needs the write lock. Replaces the file of the dataset and the dictionary beside it, "
       "NAME.schema.json. `as`: the dataset then belongs to FILE."},
      {"add-empty", "NAME [quiet]", "adds a dataset without a data source", AddEmpty,
       "`source` gives it one."},
      {"clone", "DATASET as NAME [quiet]",
       "opens a second dataset over the same cases, with a dictionary of its own", CloneDataset,
       "Needs the write lock. Either of the two may be closed first."},
      {"close", "DATASET", "deletes a dataset from the registry", CloseDataset,
       "It lives on for those who hold or wait for its lock."},
      {"list", "", "lists the datasets", ListDatasets},
      {"show", "DATASET", "shows the properties of a dataset", ShowDataset,
       "In every command, DATASET is a handle name, in upper or lower case, or an identifier such "
       "as 0:3."},
      {"variables", "DATASET", "shows the variables of a dataset", ShowVariables,
       "A caller that holds no lock reads under a lock for the moment."},
      {"cases", "DATASET [from N] [count N]", "shows the cases of a dataset", ShowCases,
       "Cases count from 1. Without `from` and `count`, shows all of them."},
      {"describe", "DATASET [VARIABLE...]", "describes the values of variables", Describe,
       "The number of values and of missing values, the mean, the standard deviation, the minimum, "
       "the quartiles and the maximum; at a terminal also the distribution. The weight says how "
       "often a case counts, the filter which cases are in use, the split how they are grouped. "
       "Without VARIABLE, describes all of them."},
      {"mirror", "DATASET", "compares the dictionary with a mirror made from change messages",
       ShowMirror, "After every notification pass their digests are equal."},
      {"Locks"},
      {"read", "DATASET", "acquires a read lock", TakeReadLock, kWaits,
       /*acquiresLock=*/true},
      {"write", "DATASET", "acquires the write lock", TakeWriteLock, kWaits,
       /*acquiresLock=*/true},
      {"try-write", "DATASET", "acquires the write lock if it is free", TryWriteLock,
       "Beware: after a try that fails, no lock on the dataset is ever released, and its counts "
       "stay off by one.",
       /*acquiresLock=*/true},
      {"release", "[DATASET]", "releases the last lock on a dataset, or all locks", ReleaseLocks,
       "Releasing a write lock notifies observers of what changed. A caller that waits for another "
       "lock can release, too."},
      {"locks", "[DATASET]", "shows who holds and who waits for the locks", ShowLocks},
      {"Observers"},
      {"observe", "DATASET", "notifies the caller of what others change", Observe,
       "A caller that observes twice is notified twice."},
      {"unobserve", "DATASET", "ends `observe`", Unobserve},
      {"tell", "DATASET", "notifies observers of what changed so far and keeps the lock",
       NotifyObservers},
      {"watch", "registry", "notifies the caller of datasets created and deleted", WatchRegistry,
       "A dataset without a data source counts as created once a writer gives it one. Quiet "
       "datasets are left out."},
      {"unwatch", "registry", "ends `watch`", UnwatchRegistry},
      {"Variables (these need the write lock)"},
      {"insert", "DATASET NAME [numeric|string:WIDTH] [before VARIABLE] [label TEXT]",
       "inserts a variable", InsertVariable,
       "Without options, the variable is numeric and goes to the end."},
      {"delete", "DATASET VARIABLE...|cases NUMBER [to NUMBER]", "deletes variables or cases",
       DeleteVariables, "Cases count from 1. A variable called cases is deleted alone."},
      {"move", "DATASET VARIABLE to POSITION|before VARIABLE", "moves a variable", MoveVariable,
       "Positions count from 1."},
      {"reorder", "DATASET VARIABLE...", "moves variables to the front, in bulk", ReorderVariables,
       "Observers get two messages, however many variables move. The other variables follow in "
       "their order."},
      {"rename", "DATASET VARIABLE NAME", "renames a variable", RenameVariable},
      {"label", "DATASET VARIABLE TEXT", "labels a variable", LabelVariable},
      {"retype", "DATASET VARIABLE numeric|string:WIDTH", "changes the type of a variable",
       RetypeVariable},
      {"labels", "DATASET VARIABLE VALUE TEXT ...|off", "labels values of a variable", LabelValues,
       "`off`: removes all labels. An empty TEXT removes the label of a value."},
      {"missing", "DATASET VARIABLE VALUE...|off", "declares values of a variable missing",
       SetMissingValues},
      {"level", "DATASET VARIABLE nominal|ordinal|interval|ratio|unknown",
       "sets the measurement level of a variable", SetLevel},
      {"format", "DATASET VARIABLE plain|date|time|datetime [width NUMBER] [decimals NUMBER]",
       "sets how the values of a variable are displayed", SetFormat},
      {"role", "DATASET VARIABLE input|target|both|weight|group|identifier|off",
       "says what a variable is for in an analysis", SetRole,
       "As the attribute `role` of the variable."},
      {"Values (these need the write lock)"},
      {"set", "DATASET VARIABLE CASE VALUE", "changes one value", SetCaseValue,
       "Cases count from 1. \"\" for a missing value."},
      {"append", "DATASET VALUE...", "appends a case", AppendCase,
       "One VALUE for each variable; \"\" for a missing value."},
      {"compute", "DATASET NAME = EXPRESSION", "computes the values of a variable", Compute,
       "A variable that does not exist yet is inserted at the end. EXPRESSION: numbers, names of "
       "numeric variables, + - * / ^ ( ), comparisons, && || and ?:, and functions such as sqrt, "
       "ln, exp, abs, floor, ceil, rint, min and max. The result is missing if a value in it is "
       "missing, or if it is not a finite number."},
      {"Properties (these need the write lock)"},
      {"weight", "DATASET by VARIABLE|off", "weights the cases", SetWeight},
      {"filter", "DATASET by VARIABLE|off", "names the variable that says which cases are in use",
       SetFilter, "The other cases stay: `source DATASET filtered by VARIABLE` leaves them out."},
      {"split", "DATASET together|separate by VARIABLE...|off", "splits the cases into groups",
       SplitFile, "`together`: one analysis shows all groups. `separate`: each group has its own."},
      {"trends", "DATASET [period NUMBER] [by VARIABLE...]|off", "makes the dataset a time series",
       SetTrends,
       "NUMBER is the cases in a season. The variables say when a case was observed, the year "
       "before the month."},
      {"mrset", "DATASET NAME indicators VALUE|answers [label TEXT] of VARIABLE...|off",
       "defines or removes a multiple-response set", SetResponseSet,
       "VALUE in an indicator variable means that its answer was given; an answer variable holds "
       "the answer."},
      {"varset", "DATASET NAME of VARIABLE...|off", "defines or removes a set of variables",
       SetVariableSet},
      {"title", "DATASET TEXT", "labels the dataset", LabelDataset, "\"\" for no label."},
      {"filespec", "DATASET FILE", "changes the file specification of the data source", SetFileSpec,
       "\"\" for none. If the dataset has a data file, its file name changes, too."},
      {"imputation", "DATASET ROWS|off", "sets the number of rows in one imputation", SetImputation,
       "Observers are notified only of `off`."},
      {"extension", "DATASET TEXT", "stores application-defined text", SetExtension,
       "As the extension of type 0; \"\" for none."},
      {"attribute", "DATASET NAME [VALUE...]", "sets an attribute, or removes it", SetAttribute,
       "Without VALUE, removes it. Attributes under dashboard. are removed when the variables or "
       "the cases in use change."},
      {"dirty", "DATASET on|off", "sets or clears the mark for unsaved changes", MarkUnsaved},
      {"Bootstrapping"},
      {"bootstrap", "DATASET set SETTING VALUE...|display|to FILE|from FILE|check FILE|off",
       "sets, shows, saves, reads or removes a bootstrap specification", Bootstrap,
       "SETTING VALUE: method simple|stratified|residual|wild; strata, dependents, inputs, "
       "predicted or residuals VARIABLE...|none; level PERCENT; interval percentile|bca; samples "
       "NUMBER; user-missing excluded|included; split-ends NUMBER...|none; case-stats VALUE NUMBER "
       "...|none. `set`, `from` and `off` need the write lock. `to` does not replace a file that "
       "holds something else."},
      {"The dataset (these need the write lock)"},
      {"source",
       "DATASET file FILE [delimiter comma|tab|semicolon|bar|space] [decimal point|comma] "
       "[encoding ENCODING]|blank COUNT|dictionary|filtered by VARIABLE|none",
       "replaces the data source", ReplaceSource,
       "`file`: by another data file, see `open`. `blank`: by COUNT cases without values, with the "
       "same dictionary. `dictionary`: by an empty dictionary without cases. `filtered`: by the "
       "cases in which VARIABLE is neither 0 nor missing. `none`: by nothing."},
      {"sequence", "DATASET", "raises the case sequence number by one", RaiseCaseSequence},
      {"bulk", "DATASET", "has the next notification pass replace all variables in bulk",
       AskForBulkMoves, "One message deletes all variables, one inserts all."},
      {"Errors (these need the write lock)"},
      {"client", "DATASET [off]", "makes the caller the client that gets error reports", BindClient,
       "Replaces the client before. `off`: nobody gets them."},
      {"report", "DATASET error|warning TEXT", "reports an error or a warning", ReportError,
       "The client of the dataset gets it as an encoded message."},
      {"warnings", "DATASET on|off",
       "switches the reporting of warnings; errors are always reported", SwitchWarnings},
      {"Settings"},
      {"handle", "DATASET NAME", "changes the handle name of a dataset", SetHandle},
      {"file", "DATASET FILE", "changes the file name of a dataset", SetFileName,
       "\"\" for none. No file is touched."},
      {"window", "DATASET front|minimized|hidden on|off", "sets the state of its window",
       SetWindowState},
      {"password", "DATASET TEXT [mangled]", "sets its password", SetPassword,
       "If a data file is open, the file says whether the password is mangled."},
      {"hide", "NAME...|nothing", "hides variables of these names in datasets opened from now on",
       HideVariables,
       "Shows the registry's filter hook, which puts a source without these variables on top of "
       "each source that is added. The file keeps their values. A source set by `source` shows all "
       "its variables."},
      {"touched", "FILE|DATASET", "says whether another program changed the file",
       AskWhetherTouched,
       "Since the dataset opened it. Looks at the open file: a file put in its place is not seen."},
      {"The shell"},
      {"help", "[COMMAND]", "lists the commands, or explains one", Help},
      {"quit", "", "ends the shell", Quit,
       "The end of the script or the input (ctrl-D) ends it, too."},
  };
  return table;
}

// ---------------------------------------------------------------------------------------------
// Finding a command

std::vector<std::string> CommandNames() {
  std::vector<std::string> names;
  for (const Command& row : CommandTable()) {
    if (row.run != nullptr) names.push_back(row.name);
  }
  return names;
}

const Command& CommandNamed(const std::string& name) {
  for (const Command& row : CommandTable()) {
    if (row.run != nullptr && row.name == name) return row;
  }
  const std::string remark = DidYouMean(name, CommandNames());
  throw CommandError("no command \"" + name + "\"" +
                     (remark.empty() ? "; `help` lists them" : remark));
}

// ---------------------------------------------------------------------------------------------
// Help

namespace {

constexpr std::size_t kNameWidth = 12;

Json HelpInJson(const Command& command) {
  return {{"command", command.name},
          {"arguments", command.arguments},
          {"help", command.help},
          {"more", command.more}};
}

std::string HelpText(const Command& command, std::size_t width) {
  std::string words = Wrapped(UsageOf(command), width, 4);
  words += "\n" + Wrapped(std::string("  ") + command.help, width, 2);
  if (*command.more != '\0') words += "\n" + Wrapped(std::string("  ") + command.more, width, 2);
  return words;
}

std::string HelpTableText(const Output& output) {
  const std::size_t width = output.MaxWidth();
  std::string words;
  for (const Command& row : CommandTable()) {
    if (row.run == nullptr) {
      words += output.Heading(row.name) + "\n";
    } else {
      const std::string name = "  " + Padded(row.name, kNameWidth);
      words += Wrapped(name + row.help, width, name.size()) + "\n";
    }
  }
  return words +
         Wrapped(
             "`help COMMAND` explains one. `@NAME COMMAND` gives a command as another caller, "
             "with a thread of its own. # begins a comment.",
             width, 0);
}

Json HelpTableInJson() {
  Json commands = Json::array();
  const char* subject = "";
  for (const Command& row : CommandTable()) {
    if (row.run == nullptr) {
      subject = row.name;
    } else {
      commands.push_back(HelpInJson(row));
      commands.back()["subject"] = subject;
    }
  }
  return {{"event", "help"}, {"commands", commands}};
}

}  // namespace

std::string UsageOf(const Command& command) {
  return command.name + std::string(*command.arguments == '\0' ? "" : " ") + command.arguments;
}

std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent) {
  if (width == 0) return text;
  std::string wrapped;
  std::size_t column = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t word = std::min(text.find_first_not_of(' ', at), text.size());
    const std::size_t end = std::min(text.find(' ', word), text.size());
    if (column > indent && column + Width(text.substr(at, end - at)) > width) {
      wrapped += "\n" + std::string(indent, ' ');
      column = indent;
      at = word;
    }
    const std::string taken = text.substr(at, end - at);
    wrapped += taken;
    column += Width(taken);
    at = end;
  }
  return wrapped;
}

void Help(Call& call) {
  Output& output = call.shell.Out();
  if (call.AtEnd()) return output.Say([&] { return HelpTableText(output); }, HelpTableInJson);
  const std::string name = call.Take("COMMAND");
  call.End();
  const Command& command = CommandNamed(name);
  output.Say([&] { return HelpText(command, output.MaxWidth()); },
             [&] {
               Json members = {{"event", "help"}};
               members.update(HelpInJson(command));
               return members;
             });
}

void Quit(Call& call) {
  call.End();
  call.shell.Quit();
}

}  // namespace sdmsh
