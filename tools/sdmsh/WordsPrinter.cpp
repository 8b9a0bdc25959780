// Events in words.

#include "DictionaryWords.h"
#include "LockWords.h"
#include "OpenDataset.h"
#include "Printer.h"
#include "VariableWords.h"
#include "Words.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <string>

namespace sdmsh {
namespace {

// Letters rather than bytes, so that columns of UTF-8 text line up.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](unsigned char byte) { return (byte & 0xC0) != 0x80; }));
}

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(width - std::min(width, Width(text)), ' ');
}

// ---------------------------------------------------------------------------------------------
// Changes

std::string VariablesInWords(const std::vector<ORVX_Variable>& variables) {
  std::vector<std::string> names;
  for (const ORVX_Variable& variable : variables) names.push_back(Quoted(variable.GetName()));
  if (names.empty()) return "no variable";
  return (names.size() == 1 ? "variable " : "variables ") + Joined(names);
}

struct ChangeInWords {
  std::string operator()(const VariablesInserted& inserted) const {
    const std::string where =
        inserted.anchor.IsNull() ? " at the end" : " before " + Quoted(inserted.anchorName);
    std::string words = VariablesInWords(inserted.variables) + " inserted" + where;
    if (inserted.variables.size() == 1) {
      words += " (" + TypeInWords(inserted.variables.front().GetType()) + ")";
    }
    return words;
  }

  std::string operator()(const VariablesDeleted& deleted) const {
    return VariablesInWords(deleted.variables) + " deleted";
  }

  // People count from 1.
  std::string operator()(const VariablesMoved& moved) const {
    std::vector<std::string> names;
    std::vector<std::string> positions;
    for (const std::string& name : moved.names) names.push_back(Quoted(name));
    for (const int position : moved.positions) positions.push_back(std::to_string(position + 1));
    const bool one = positions.size() == 1;
    return (one ? "variable " : "variables ") + Joined(names) + " moved from position" +
           (one ? " " : "s ") + Joined(positions) + " to " + std::to_string(moved.target + 1);
  }

  std::string operator()(const VariableModified& modified) const {
    std::string words = "variable " + Quoted(modified.before.GetName()) + " changed:";
    const char* separator = " ";
    for (const Difference& difference : Differences(modified.before, modified.after)) {
      words +=
          separator + std::string(difference.what) + " " + difference.from + " -> " + difference.to;
      separator = "; ";
    }
    return words;
  }

  std::string operator()(const UndoReset&) const {
    return "the data source was replaced: nothing before can be undone";
  }

  std::string operator()(const ImputationChanged& imputation) const {
    if (imputation.rowsPerImputation == 0) return "no longer a multiple imputation";
    return Counted(imputation.rowsPerImputation, "row", "rows") + " per imputation from now on";
  }

  std::string operator()(const FileSpecChanged& changed) const {
    if (changed.fileSpec.empty()) return "no longer saved in a file";
    return "saved in the file " + Quoted(changed.fileSpec) + " from now on";
  }

  std::string operator()(const LabelChanged& changed) const {
    if (changed.label.empty()) return "the dataset is no longer labelled";
    return "the dataset is labelled " + Quoted(changed.label) + " from now on";
  }

  std::string operator()(const WeightChanged& weight) const {
    if (weight.variable.id.IsNull()) return "no longer weighted";
    return "weighted by " + VariableInWords(weight.variable) + " from now on";
  }

  std::string operator()(const FilterChanged& filter) const {
    if (filter.variable.id.IsNull()) return "no longer filtered";
    return "filtered by " + VariableInWords(filter.variable) + " from now on";
  }

  std::string operator()(const TrendsChanged& changed) const {
    const std::string words = TimeSeriesInWords(changed.trends);
    return words == "none" ? "no longer a time series" : "a time series from now on: " + words;
  }

  std::string operator()(const SplitChanged& changed) const {
    if (changed.split.variables.empty()) return "no longer split";
    return "split by " + SplitInWords(changed.split);
  }

  std::string operator()(const SetsChanged& changed) const {
    const std::string words = " changed: " + SetsInWords(changed.sets);
    switch (changed.form) {
      case SetsChanged::Form::VariableSets:
        return "variable sets" + words;
      case SetsChanged::Form::ResponseSets:
        return "multiple-response sets" + words;
      case SetsChanged::Form::ResponseSetsExtended:
        return "multiple-response sets, in extended form," + words;
    }
    return "sets" + words;
  }

  std::string operator()(const AttributesChanged& changed) const {
    return "attributes changed: " + AttributesInWords(changed.attributes.All());
  }

  std::string operator()(const ExtensionChanged& changed) const {
    return "extension of type " + std::to_string(changed.block->GetType()) +
           " changed: " + Counted(changed.block->GetLength(), "byte", "bytes");
  }

  std::string operator()(const ClientDataReset& reset) const {
    const std::string rows =
        reset.rowCount < 0 ? "an unknown number of rows" : Counted(reset.rowCount, "row", "rows");
    return "clients drop their cases: " + rows + " now";
  }

  std::string operator()(const ModifiedChanged& changed) const {
    return changed.modified ? "there are unsaved changes now" : "there are no unsaved changes now";
  }
};

// ---------------------------------------------------------------------------------------------
// Facts

std::string WindowInWords(const DatasetFacts& facts) {
  std::vector<std::string> words;
  if (facts.windowFront) words.push_back("in front");
  if (facts.windowMinimized) words.push_back("minimized");
  if (facts.windowHidden) words.push_back("hidden");
  return words.empty() ? "open" : Joined(words);
}

std::string PasswordInWords(const DatasetFacts& facts) {
  if (!facts.hasPassword) return "none";
  return facts.passwordMangled ? "set, mangled" : "set";
}

std::string HeldInWords(const DatasetFacts& facts) {
  std::string words = facts.holders.empty() ? "free" : "held by " + HoldersInWords(facts.holders);
  if (!facts.waiters.empty()) words += "; waiting: " + WaitersInWords(facts.waiters);
  return words;
}

// ---------------------------------------------------------------------------------------------

class WordsPrinter final : public Printer {
 public:
  WordsPrinter(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  void Print(const Event& event) override {
    std::visit([this](const auto& which) { Show(which); }, event);
    out_.flush();
  }

 private:
  // A line that gives a command is marked; comments and empty lines tell the story between.
  void Show(const ScriptLine& line) {
    out_ << (line.words.empty() ? "" : "> ") << line.text << "\n";
  }

  void Show(const DatasetOpened& opened) {
    out_ << opened.dataset << " is open";
    if (opened.size) {
      out_ << ": " << Counted(opened.size->variables, "variable", "variables") << ", "
           << Counted(opened.size->cases, "case", "cases") << ", from " << opened.file;
    } else {
      out_ << ", without a data source";
    }
    out_ << (opened.quiet ? " (quiet)" : "") << "\n";
  }

  void Show(const DatasetClosed& closed) {
    out_ << closed.dataset << " is closed";
    if (!closed.holders.empty()) {
      out_ << "; it lives on while held by " << HoldersInWords(closed.holders);
    }
    if (!closed.waiters.empty()) out_ << "; waiting: " << WaitersInWords(closed.waiters);
    out_ << "\n";
  }

  void Show(const DatasetFacts& facts) {
    const std::string& kept = facts.suppressedFile;
    out_ << facts.dataset << "\n";
    Fact("identifier", InWords(facts.id));
    Fact("file", OrNone(facts.file) + (kept.empty() ? "" : " (kept aside: " + kept + ")"));
    Fact("data source", facts.hasDataSource ? "yes" : "none");
    Fact("case sequence", std::to_string(facts.caseSequence));
    Fact("lock", HeldInWords(facts));
    Fact("readers", std::to_string(facts.readersCount));
    Fact("writers", std::to_string(facts.writersCount));
    Fact("observers", OrNone(Joined(facts.observers)));
    Fact("window", WindowInWords(facts));
    Fact("password", PasswordInWords(facts));
  }

  void Fact(const char* name, const std::string& value) {
    out_ << "  " << Padded(name, 15) << value << "\n";
  }

  void Show(const DatasetList& list) {
    if (list.datasets.empty()) out_ << "no dataset is open\n";
    for (const DatasetFacts& facts : list.datasets) {
      out_ << facts.dataset << " (" << InWords(facts.id) << "), file "
           << OrNone(facts.file.empty() ? facts.suppressedFile : facts.file) << ", "
           << HeldInWords(facts) << "\n";
    }
  }

  void Show(const VariableTable& table) {
    if (table.variables.empty()) out_ << table.dataset << " has no variables\n";
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    for (const ORVX_Variable& variable : table.variables) {
      nameWidth = std::max(nameWidth, Width(variable.GetName()));
      typeWidth = std::max(typeWidth, TypeInWords(variable.GetType()).size());
    }
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
      const ORVX_Variable& variable = table.variables[i];
      std::string row = Padded(variable.GetName(), nameWidth) + "  " +
                        Padded(TypeInWords(variable.GetType()), typeWidth) + "  " +
                        Padded(LevelInWords(variable.GetMeasurementLevel()), 7) + "  " +
                        variable.GetLabel();
      row.erase(row.find_last_not_of(' ') + 1);
      out_ << std::setw(4) << i + 1 << "  " << row << "\n";
    }
  }

  void Show(const LockEvent& event) {
    const std::string lock = LockInWords(event.mode, event.dataset);
    out_ << event.role;
    switch (event.what) {
      case LockEvent::What::Taken:
        out_ << " takes " << lock;
        break;
      case LockEvent::What::Waits:
        out_ << " waits for " << lock << InTheWay(event.holders, event.waiters);
        break;
      case LockEvent::What::LetIn:
        out_ << " gets " << lock;
        break;
      case LockEvent::What::Released:
        out_ << " releases " << lock;
        break;
      case LockEvent::What::TryFailed:
        out_ << " does not get " << lock << InTheWay(event.holders, event.waiters)
             << "; from here on no lock on " << event.dataset << " is ever released";
        break;
    }
    out_ << "\n";
  }

  void Show(const Observing& observing) {
    out_ << observing.role << (observing.begins ? " observes " : " no longer observes ")
         << observing.dataset << "\n";
  }

  void Show(const Told& told) {
    out_ << "  " << told.role << " is told: " << std::visit(ChangeInWords(), told.change.what)
         << "\n";
  }

  void Show(const NotTold& notTold) {
    out_ << "  " << notTold.role << " is not told: it made these changes\n";
  }

  void Show(const CommandHelp& command) {
    out_ << command.name << (command.arguments.empty() ? "" : " ") << command.arguments << "\n"
         << "  " << command.help << "\n";
    if (!command.more.empty()) out_ << "  " << command.more << "\n";
  }

  void Show(const HelpTable& table) {
    for (const HelpTable::Subject& subject : table.subjects) {
      out_ << subject.title << "\n";
      for (const CommandHelp& command : subject.commands) {
        out_ << "  " << Padded(command.name, 12) << command.help << "\n";
      }
    }
    out_ << "@ROLE in front gives the command to a caller of that name, with a thread of its own.\n"
            "`help COMMAND` tells the arguments of a command. # begins a comment.\n";
  }

  void Show(const Failure& failure) {
    out_.flush();
    if (failure.file.empty()) {
      err_ << "error: ";
    } else {
      err_ << failure.file << ":";
      if (failure.line > 0) err_ << failure.line << ":";
      err_ << " ";
    }
    err_ << failure.text << std::endl;
  }

  std::ostream& out_;
  std::ostream& err_;
};

}  // namespace

std::unique_ptr<Printer> MakeWordsPrinter(std::ostream& out, std::ostream& err) {
  return std::make_unique<WordsPrinter>(out, err);
}

}  // namespace sdmsh
