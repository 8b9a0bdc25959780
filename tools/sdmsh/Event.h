// Event: what the shell has to say, as records. A printer puts them into words or into JSON;
// commands never print.

#ifndef SDMSH_EVENT_H_
#define SDMSH_EVENT_H_

#include "Change.h"
#include "Holding.h"

#include <client/DictionaryDigest.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sdmsh {

// A line of the script being played, as it stands there.
struct ScriptLine {
  int line;  // from 1
  std::string text;
  std::string role;                // who gives the command
  std::vector<std::string> words;  // the command; empty for a comment or an empty line
};

// A dataset is in the registry.
struct DatasetOpened {
  struct Size {
    int variables;
    long long cases;  // -1 while unknown
  };
  std::string role;
  std::string dataset;
  LocallyUniqueID id;
  std::string file;          // as it was opened; empty for an empty dataset and for a clone
  std::optional<Size> size;  // none for a dataset without a data source
  bool quiet;
  std::string cloneOf = {};  // the dataset whose cases it shares; empty for none
};

// A dataset has left the registry. It lives on while somebody holds or waits for its lock.
struct DatasetClosed {
  std::string role;
  std::string dataset;
  std::vector<Holding> holders;
  std::vector<Holding> waiters;
};

// What the handle on a dataset and the shell tell about it.
struct DatasetFacts {
  std::string dataset;
  LocallyUniqueID id;
  std::string file;
  std::string suppressedFile;
  bool hasDataSource;
  // None where they were not read.
  std::optional<DictionaryFacts> dictionary;
  std::optional<bool> isClone;  // whether the data source shares its cases
  bool hasBootstrap;            // whether there is a bootstrap specification
  unsigned int caseSequence;
  unsigned int readersCount;
  unsigned int writersCount;
  bool windowFront;
  bool windowMinimized;
  bool windowHidden;
  bool hasPassword;
  bool passwordMangled;
  std::vector<Holding> holders;
  std::vector<Holding> waiters;
  std::vector<std::string> observers;  // a role stands there as often as it is told
  std::string client;                  // to whom errors are reported; empty for nobody
};

struct DatasetList {
  std::vector<DatasetFacts> datasets;
};

struct VariableTable {
  std::string dataset;
  std::vector<ORVX_Variable> variables;
  // What they are used for.
  NamedVariable weight = {};
  NamedVariable filter = {};
  Split split = {};
};

struct CaseTable {
  std::string dataset;
  bool hasDataSource;
  int from;                                  // the number of the first row, from 1
  std::vector<ORVX_Variable> variables;      // as many as each row has values
  std::vector<std::vector<DataValue>> rows;  // missing: a NaN, or an empty string
  bool more;                                 // whether cases follow that were not asked for
};

// The dictionary of a dataset, and the one that was kept from its messages alone.
struct MirrorComparison {
  struct Side {
    DictionaryFacts facts;
    std::vector<ORVX_Variable> variables;
    DictionaryDigest digest;
  };
  std::string dataset;
  Side source;
  Side mirror;
};

// Something happened to the lock of a dataset.
struct LockEvent {
  enum class What { Acquired, Waits, LetIn, Released, TryFailed };
  What what;
  std::string role;
  std::string dataset;
  LockMode mode;
  std::vector<Holding> holders = {};  // for Waits and TryFailed: who has the lock
  std::vector<Holding> waiters = {};  // likewise: who waits in front
};

// Roles wait for each other's locks, each for what the next one holds, and the last for the first.
struct Deadlock {
  struct Step {
    std::string role;
    LockMode mode;
    std::string dataset;
    Holding holder;
  };
  std::vector<Step> steps;
};

// Who holds and who waits for the locks of datasets.
struct LockTable {
  struct Row {
    std::string dataset;
    LocallyUniqueID id;
    std::vector<Holding> holders;
    std::vector<Holding> waiters;
  };
  std::vector<Row> rows;
};

// A role begins or ends to observe a dataset.
struct Observing {
  std::string role;
  std::string dataset;
  bool begins;
};

// An observer received a message.
struct Told {
  std::string role;
  std::string dataset;
  Change change;
};

// An observer was passed over, because its own role made the changes.
struct NotTold {
  std::string role;
  std::string dataset;
};

// A role begins or ends to watch the registry.
struct Watching {
  std::string role;
  bool begins;
};

struct DatasetCreated {
  std::string file;  // empty for none of its own
};

struct DatasetDeleted {};

// A role that watches the registry was told of a dataset.
struct RegistryTold {
  std::string role;
  LocallyUniqueID id;
  std::string handle;  // during the notice; empty for one that was just opened or has been closed
  std::variant<DatasetCreated, DatasetDeleted> what;
};

// From now on these variables are hidden in what is opened; none: nothing is.
struct Hiding {
  std::vector<std::string> names;
};

// Whether a file was changed from outside since its dataset took hold of it.
struct FileTouched {
  std::string file;
  bool touched;
};

// A role becomes the client of a dataset; an empty one: it has none any more.
struct ClientBound {
  std::string dataset;
  std::string role;
};

// The client of a dataset received a report.
struct Reported {
  std::string role;
  std::string dataset;
  // As the message says:
  LocallyUniqueID datasetID;
  int severity;
  bool isError;
  std::string text;
};

// A report went to nobody.
struct NotReported {
  std::string dataset;
  std::string role;  // the client, which is told no warnings; empty where there is no client
};

struct BootstrapShown {
  std::string dataset;
  std::optional<SvrBootstrapSpecs> specs;  // none where the dataset has none
};

// A dataset has this bootstrap specification now, or none.
struct BootstrapChanged {
  std::string role;
  std::string dataset;
  std::optional<SvrBootstrapSpecs> specs;
  std::string file = {};  // from which it was read; empty for none
};

// The bootstrap specification of a dataset stands in a file.
struct BootstrapWritten {
  std::string role;
  std::string dataset;
  std::string file;
  std::size_t size;  // in bytes
};

// Whether a file holds a bootstrap specification.
struct BootstrapChecked {
  std::string dataset;
  std::string file;
  std::size_t size;  // of the file, in bytes
  SvrBootstrapSpecsSerializer::Check check;
};

// A command's row of the table.
struct CommandHelp {
  std::string name;
  std::string arguments;
  std::string help;
  std::string more;
};

// All commands by subject.
struct HelpTable {
  struct Subject {
    std::string title;
    std::vector<CommandHelp> commands;
  };
  std::vector<Subject> subjects;
};

// Something went wrong.
struct Failure {
  std::string file;  // the script; empty at the prompt
  int line;          // in it; 0 where no line is at fault
  std::string text;
};

using Event =
    std::variant<ScriptLine, DatasetOpened, DatasetClosed, DatasetFacts, DatasetList, VariableTable,
                 CaseTable, MirrorComparison, LockEvent, Deadlock, LockTable, Observing, Told,
                 NotTold, Watching, RegistryTold, Hiding, FileTouched, ClientBound, Reported,
                 NotReported, BootstrapShown, BootstrapChanged, BootstrapWritten, BootstrapChecked,
                 CommandHelp, HelpTable, Failure>;

}  // namespace sdmsh

#endif  // SDMSH_EVENT_H_
