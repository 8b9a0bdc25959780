// The table of commands.

#include "Command.h"
#include "Commands.h"

namespace sdmsh {

const std::vector<CommandSubject>& CommandTable() {
  static const std::vector<CommandSubject> table = {
      {"Datasets",
       {
           {"open", "FILE as NAME [quiet]", "opens a data file as a dataset", OpenFile,
            "A quiet dataset is announced to no observer of the registry."},
           {"add-empty", "NAME [quiet]", "adds a dataset without a data source", AddEmpty,
            "`source` gives it one."},
           {"clone", "DATASET as NAME [quiet]",
            "opens a second dataset over the same cases, with a dictionary of its own",
            CloneDataset, "For the caller that holds the write lock. Either may be closed first."},
           {"close", "DATASET", "deletes a dataset from the registry", CloseDataset,
            "It lives on for those who hold or wait for its lock."},
           {"list", "", "lists the datasets", ListDatasets},
           {"show", "DATASET", "shows what is known of a dataset", ShowDataset,
            "DATASET is always a handle name, without regard to case, or an identifier such as "
            "0:3."},
           {"variables", "DATASET", "shows the variables of a dataset", ShowVariables,
            "Reads for the moment where the caller holds no lock."},
           {"cases", "DATASET [from N] [count N]", "shows the cases of a dataset", ShowCases,
            "The first is number 1; all of them unless said otherwise. A missing number is a dot."},
           {"mirror", "DATASET", "shows the dictionary beside a mirror kept from messages alone",
            ShowMirror,
            "Their digests are equal when the mirror has everything that messages carry: after "
            "every pass."},
       }},
      {"Locks",
       {
           {"read", "DATASET", "acquires a read lock", TakeReadLock,
            "Where it is not free, the caller waits: until then it gives no command that needs a "
            "lock, but it may release."},
           {"write", "DATASET", "acquires the write lock", TakeWriteLock,
            "Where it is not free, the caller waits: until then it gives no command that needs a "
            "lock, but it may release."},
           {"try-write", "DATASET", "acquires the write lock if it is free", TryWriteLock,
            "Beware: a try that fails marks the dataset for good. No lock on it is released any "
            "more, and its counts stay off by one."},
           {"release", "[DATASET]", "releases the last lock on a dataset, or all locks",
            ReleaseLocks,
            "Observers of a dataset that was written are notified of what changed. A caller that "
            "waits for another lock may release as well."},
           {"locks", "[DATASET]", "shows who holds and who waits for the locks", ShowLocks},
       }},
      {"Observers",
       {
           {"observe", "DATASET", "tells the caller what others change", Observe,
            "Whoever observes twice is told twice."},
           {"unobserve", "DATASET", "ends that", Unobserve},
           {"tell", "DATASET", "tells observers what changed so far, without letting go",
            TellObservers},
           {"watch", "registry", "tells the caller of datasets that come and go", WatchRegistry,
            "Of a dataset without a data source once a writer has given it one; of a quiet one "
            "never."},
           {"unwatch", "registry", "ends that", UnwatchRegistry},
       }},
      {"Variables, for the caller that holds the write lock",
       {
           {"insert", "DATASET NAME [numeric|string:WIDTH] [before VARIABLE] [label TEXT]",
            "inserts a variable", InsertVariable,
            "At the end, and numeric, unless said otherwise."},
           {"delete", "DATASET VARIABLE...", "deletes variables", DeleteVariables},
           {"move", "DATASET VARIABLE to POSITION|before VARIABLE", "moves a variable",
            MoveVariable, "Positions count from 1."},
           {"reorder", "DATASET VARIABLE...", "brings variables to the front, in bulk",
            ReorderVariables,
            "Observers are told in two messages, however many variables move. Those not named "
            "follow in their order."},
           {"rename", "DATASET VARIABLE NAME", "renames a variable", RenameVariable},
           {"label", "DATASET VARIABLE TEXT", "labels a variable", LabelVariable},
           {"retype", "DATASET VARIABLE numeric|string:WIDTH", "changes the type of a variable",
            RetypeVariable},
       }},
      {"Properties, for the caller that holds the write lock",
       {
           {"weight", "DATASET by VARIABLE|off", "weights the cases", SetWeight},
           {"filter", "DATASET by VARIABLE|off", "says which cases are in use", SetFilter,
            "That is all it does: `source DATASET filtered by VARIABLE` leaves the others out."},
           {"split", "DATASET together|separate by VARIABLE...|off", "splits the cases into groups",
            SplitFile,
            "One analysis shows all groups together, or each group has an analysis of its own."},
           {"trends", "DATASET [period NUMBER] [by VARIABLE...]|off",
            "makes the dataset a time series", SetTrends,
            "NUMBER cases make a season. The variables say when a case was observed, the year "
            "before the month."},
           {"mrset", "DATASET NAME indicators VALUE|answers [label TEXT] of VARIABLE...|off",
            "defines or removes a multiple-response set", SetResponseSet,
            "VALUE in an indicator says that its answer was given; an answer variable holds the "
            "answer."},
           {"varset", "DATASET NAME of VARIABLE...|off", "defines or removes a set of variables",
            SetVariableSet},
           {"title", "DATASET TEXT", "labels the dataset", LabelDataset, "\"\" for no label."},
           {"filespec", "DATASET FILE", "gives the data source another file specification",
            SetFileSpec,
            "\"\" for none. A dataset that rests on a data file takes it for its file name as "
            "well."},
           {"imputation", "DATASET ROWS|off", "says how many rows make up one imputation",
            SetImputation, "Only the end of an imputation is told."},
           {"extension", "DATASET TEXT", "attaches a text that means something to somebody else",
            SetExtension, "It becomes the extension of type 0; \"\" for none."},
           {"attribute", "DATASET NAME [VALUE...]", "sets an attribute, or removes it",
            SetAttribute,
            "Those under dashboard. go when the variables or the cases in use change."},
           {"dirty", "DATASET on|off", "says whether there are unsaved changes", MarkUnsaved},
       }},
      {"Bootstrapping",
       {
           {"bootstrap", "DATASET set SETTING VALUE...|display|to FILE|from FILE|check FILE|off",
            "sets, shows or removes the bootstrap specification, or keeps it in a file", Bootstrap,
            "SETTING VALUE: method simple|stratified|residual|wild; strata, dependents, inputs, "
            "predicted or residuals VARIABLE...|none; level PERCENT; interval percentile|bca; "
            "samples NUMBER; user-missing excluded|included; split-ends NUMBER...|none; case-stats "
            "VALUE NUMBER ...|none. `set`, `from` and `off` need the write lock. `to` replaces no "
            "file that holds something else."},
       }},
      {"The dataset, for the caller that holds the write lock",
       {
           {"source", "DATASET file FILE|blank COUNT|dictionary|filtered by VARIABLE|none",
            "replaces the data source", ReplaceSource,
            "By another data file, by as many cases without values and the same dictionary, by an "
            "empty dictionary without cases, by those of the present cases in which a number is "
            "neither 0 nor missing, or by nothing."},
           {"sequence", "DATASET", "raises the case sequence number by one", RaiseCaseSequence},
           {"bulk", "DATASET", "has the next pass report the variables as a whole", AskForBulkMoves,
            "One message deletes them all, one inserts them all."},
       }},
      {"Errors, for the caller that holds the write lock",
       {
           {"client", "DATASET [off]", "sends what is reported on a dataset to the caller",
            BindClient, "In place of the client that it had. `off`: to nobody."},
           {"report", "DATASET error|warning TEXT", "reports an error or a warning", ReportError,
            "Goes to the client of the dataset as a message, in the bytes in which it travels."},
           {"warnings", "DATASET on|off", "says whether warnings are reported; errors always are",
            SwitchWarnings},
       }},
      {"Settings, for any caller",
       {
           {"handle", "DATASET NAME", "gives a dataset another handle name", SetHandle},
           {"file", "DATASET FILE", "gives a dataset another file name", SetFileName,
            "\"\" for none. No file is touched."},
           {"window", "DATASET front|minimized|hidden on|off", "sets a mark of its window",
            SetWindowState},
           {"password", "DATASET TEXT [mangled]", "sets its password", SetPassword,
            "Where a data file is open, the file says whether it is mangled."},
           {"hide", "NAME...|nothing", "hides variables of these names in whatever is opened next",
            HideVariables,
            "From everyone: a demonstration of the registry's filter hook, which puts a source "
            "without them on top of each that is added. Their values stay in the file. What "
            "`source` puts in place is not added, and shows all its variables."},
           {"touched", "FILE|DATASET", "tells whether its file was changed from outside",
            AskWhetherTouched,
            "Since its dataset took hold of it. Asks the open file: one put in its place is not "
            "seen."},
       }},
      {"The shell",
       {
           {"help", "[COMMAND]", "lists the commands, or explains one", Help},
           {"quit", "", "ends the shell", Quit, "So does the end of the script or of the input."},
       }},
  };
  return table;
}

const Command* FindCommand(std::string_view name) {
  for (const CommandSubject& subject : CommandTable()) {
    for (const Command& command : subject.commands) {
      if (command.name == name) return &command;
    }
  }
  return nullptr;
}

}  // namespace sdmsh
