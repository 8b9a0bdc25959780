// Events in words.

#include "BootstrapWords.h"
#include "CaseWords.h"
#include "ChangeWords.h"
#include "DictionaryWords.h"
#include "Interrupt.h"
#include "LockWords.h"
#include "MirrorWords.h"
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

std::string RightAligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, Width(text)), ' ') + text;
}

// ---------------------------------------------------------------------------------------------
// Facts

std::string CasesInWords(long long count) {
  return count < 0 ? "an unknown number of cases" : Counted(count, "case", "cases");
}

std::string WindowInWords(const DatasetFacts& facts) {
  std::vector<std::string> words;
  if (facts.windowFront) words.push_back("in front");
  if (facts.windowMinimized) words.push_back("minimized");
  if (facts.windowHidden) words.push_back("hidden");
  return words.empty() ? "open" : Joined(words);
}

std::string SourceInWords(const DatasetFacts& facts) {
  if (!facts.hasDataSource) return "none";
  if (!facts.dictionary) return "yes, but the lock is not free for reading";
  return facts.isClone.value_or(false) ? "yes, a clone" : "yes";
}

std::string PasswordInWords(const DatasetFacts& facts) {
  if (!facts.hasPassword) return "none";
  return facts.passwordMangled ? "set, mangled" : "set";
}

// " [weight, split 1]"; nothing where the variable is not used.
std::string UsesInBrackets(const VariableTable& table, LocallyUniqueID id) {
  std::vector<std::string> uses;
  if (table.weight.id == id) uses.push_back("weight");
  if (table.filter.id == id) uses.push_back("filter");
  const std::vector<NamedVariable>& split = table.split.variables;
  for (std::size_t i = 0; i < split.size(); ++i) {
    if (split[i].id == id) uses.push_back("split " + std::to_string(i + 1));
  }
  return uses.empty() ? "" : " [" + Joined(uses) + "]";
}

std::size_t Widest(const ComparedRows& rows, std::string ComparedRow::*column) {
  std::size_t width = 0;
  for (const ComparedRow& row : rows) width = std::max(width, Width(row.*column));
  return width;
}

// ---------------------------------------------------------------------------------------------
// Cases

// One column of a table of cases: numbers to the right, strings to the left.
class CaseColumn {
 public:
  CaseColumn(const CaseTable& table, std::size_t index) : table_(table), index_(index) {
    width_ = Width(OnOneLine(table.variables[index].GetName()));
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      GiveUpIfInterrupted();
      width_ = std::max(width_, Width(Text(row)));
    }
  }

  std::string Head() const { return Aligned(OnOneLine(table_.variables[index_].GetName())); }
  std::string Cell(std::size_t row) const { return Aligned(Text(row)); }

 private:
  std::string Text(std::size_t row) const { return CaseValueInWords(table_.rows[row][index_]); }

  std::string Aligned(const std::string& text) const {
    const bool isNumber = table_.variables[index_].GetType() == 0;
    return isNumber ? RightAligned(text, width_) : Padded(text, width_);
  }

  const CaseTable& table_;
  const std::size_t index_;
  std::size_t width_;
};

std::string NoCasesInWords(const CaseTable& table) {
  if (!table.hasDataSource) return table.dataset + " has no data source";
  if (table.from == 1) return table.dataset + " has no cases";
  return table.dataset + " has no cases from " + std::to_string(table.from) + " on";
}

// ---------------------------------------------------------------------------------------------

class WordsPrinter final : public Printer {
 public:
  WordsPrinter(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  void Print(const Event& event) override {
    std::visit([this](const auto& which) { Show(which); }, event);
    out_.flush();
  }

  bool ReachesItsReader() const override { return out_.good(); }

 private:
  // A line that gives a command is marked; comments and empty lines tell the story between.
  void Show(const ScriptLine& line) {
    out_ << (line.words.empty() ? "" : "> ") << line.text << "\n";
  }

  void Show(const DatasetOpened& opened) {
    out_ << opened.dataset << " is open";
    if (opened.size) {
      out_ << ": " << Counted(opened.size->variables, "variable", "variables") << ", "
           << CasesInWords(opened.size->cases)
           << (opened.cloneOf.empty() ? ", from " + opened.file : ", a clone of " + opened.cloneOf);
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
    Fact("identifier", facts.id.ToString());
    Fact("file", OrNone(facts.file) + (kept.empty() ? "" : " (kept aside: " + kept + ")"));
    Fact("data source", SourceInWords(facts));
    if (facts.dictionary) {
      for (const Property& property : PropertiesInWords(*facts.dictionary)) {
        if (property.usual || property.value != "none") Fact(property.name, property.value);
      }
    }
    Fact("case sequence", std::to_string(facts.caseSequence));
    Fact("lock", HeldInWords(facts.holders, facts.waiters));
    Fact("readers", std::to_string(facts.readersCount));
    Fact("writers", std::to_string(facts.writersCount));
    Fact("observers", OrNone(Joined(facts.observers)));
    if (!facts.client.empty()) Fact("client", facts.client);
    if (facts.hasBootstrap) Fact("bootstrap", "set");
    Fact("window", WindowInWords(facts));
    Fact("password", PasswordInWords(facts));
  }

  void Fact(const char* name, const std::string& value) {
    out_ << "  " << Padded(name, 15) << OnOneLine(value) << "\n";
  }

  void Show(const DatasetList& list) {
    if (list.datasets.empty()) out_ << "no dataset is open\n";
    for (const DatasetFacts& facts : list.datasets) {
      out_ << facts.dataset << " (" << facts.id.ToString() << "), file "
           << OrNone(facts.file.empty() ? facts.suppressedFile : facts.file) << ", "
           << HeldInWords(facts.holders, facts.waiters) << "\n";
    }
  }

  void Show(const VariableTable& table) {
    if (table.variables.empty()) out_ << table.dataset << " has no variables\n";
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    for (const ORVX_Variable& variable : table.variables) {
      nameWidth = std::max(nameWidth, Width(OnOneLine(variable.GetName())));
      typeWidth = std::max(typeWidth, TypeInWords(variable.GetType()).size());
    }
    for (std::size_t i = 0; i < table.variables.size(); ++i) {
      const ORVX_Variable& variable = table.variables[i];
      const std::string row = Padded(OnOneLine(variable.GetName()), nameWidth) + "  " +
                              Padded(TypeInWords(variable.GetType()), typeWidth) + "  " +
                              Padded(LevelInWords(variable.GetMeasurementLevel()), 8) + "  " +
                              variable.GetLabel() + UsesInBrackets(table, variable.GetID());
      out_ << std::setw(4) << i + 1 << "  ";
      Line(row);
    }
  }

  void Show(const CaseTable& table) {
    if (table.rows.empty()) {
      out_ << NoCasesInWords(table) << "\n";
      return;
    }
    std::vector<CaseColumn> columns;
    for (std::size_t i = 0; i < table.variables.size(); ++i) columns.emplace_back(table, i);
    const auto number = [&](std::size_t row) {
      return std::to_string(static_cast<std::size_t>(table.from) + row);
    };
    const std::size_t numberWidth = std::max<std::size_t>(4, number(table.rows.size() - 1).size());

    std::string head(numberWidth, ' ');
    for (const CaseColumn& column : columns) head += "  " + column.Head();
    Line(head);
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      GiveUpIfInterrupted();
      std::string line = RightAligned(number(row), numberWidth);
      for (const CaseColumn& column : columns) line += "  " + column.Cell(row);
      Line(line);
    }
    if (table.more) out_ << "more cases follow\n";
  }

  void Show(const MirrorComparison& both) {
    ComparedRows rows = Compared(both);
    rows.insert(rows.begin(), {"", both.dataset, "its mirror", ""});
    const std::size_t nameWidth = Widest(rows, &ComparedRow::name);
    const std::size_t sourceWidth = Widest(rows, &ComparedRow::source);
    const std::size_t mirrorWidth = Widest(rows, &ComparedRow::mirror);
    for (const ComparedRow& row : rows) {
      Line("  " + Padded(row.name, nameWidth) + "  " + Padded(row.source, sourceWidth) + "  " +
           Padded(row.mirror, mirrorWidth) + "  " + row.remark);
    }
  }

  // Without the blanks that fill its last column. Names and labels can have any bytes.
  void Line(const std::string& text) {
    out_ << OnOneLine(text.substr(0, text.find_last_not_of(' ') + 1)) << "\n";
  }

  void Show(const LockEvent& event) { out_ << InWords(event) << "\n"; }

  void Show(const Deadlock& deadlock) { out_ << InWords(deadlock) << "\n"; }

  void Show(const LockTable& table) {
    if (table.rows.empty()) out_ << "no lock is held\n";
    for (const LockTable::Row& row : table.rows) {
      out_ << row.dataset << " (" << row.id.ToString()
           << "): " << HeldInWords(row.holders, row.waiters) << "\n";
    }
  }

  void Show(const Observing& observing) {
    out_ << observing.role << (observing.begins ? " observes " : " no longer observes ")
         << observing.dataset << "\n";
  }

  void Show(const Told& told) {
    out_ << "  " << told.role << " is told: " << OnOneLine(InWords(told.change)) << "\n";
  }

  void Show(const NotTold& notTold) {
    out_ << "  " << notTold.role << " is not told: it made these changes\n";
  }

  void Show(const Watching& watching) {
    out_ << watching.role << (watching.begins ? " watches" : " no longer watches")
         << " the registry\n";
  }

  void Show(const RegistryTold& told) {
    out_ << "  " << told.role << " is told: dataset " << told.id.ToString();
    if (!told.handle.empty()) out_ << " (" << told.handle << ")";
    const auto* const created = std::get_if<DatasetCreated>(&told.what);
    out_ << (created == nullptr ? " is deleted" : " is created, file " + OrNone(created->file))
         << "\n";
  }

  void Show(const Hiding& hiding) {
    out_ << "from now on what is opened hides "
         << (hiding.names.empty() ? "nothing" : Joined(hiding.names)) << "\n";
  }

  void Show(const FileTouched& answer) {
    out_ << answer.file << (answer.touched ? " was" : " was not") << " changed from outside\n";
  }

  void Show(const ClientBound& bound) {
    if (bound.role.empty()) {
      out_ << bound.dataset << " has no client any more\n";
    } else {
      out_ << bound.role << " is the client of " << bound.dataset << "\n";
    }
  }

  void Show(const Reported& reported) {
    out_ << "  " << reported.role << " is reported: " << (reported.isError ? "error" : "warning")
         << " on " << reported.dataset << ": " << Quoted(reported.text) << "\n";
  }

  void Show(const NotReported& notReported) {
    if (notReported.role.empty()) {
      out_ << "  nobody is reported: " << notReported.dataset << " has no client\n";
    } else {
      out_ << "  " << notReported.role << " is not reported: warnings on " << notReported.dataset
           << " are off\n";
    }
  }

  void Show(const BootstrapShown& shown) {
    if (shown.specs) {
      shown.specs->Display(out_);
    } else {
      out_ << shown.dataset << " has no bootstrap specification\n";
    }
  }

  // One setting goes without saying, like that of a property.
  void Show(const BootstrapChanged& changed) {
    if (!changed.specs) {
      out_ << changed.dataset << " has no bootstrap specification any more\n";
    } else if (!changed.file.empty()) {
      out_ << "the bootstrap specification of " << changed.dataset << " is read from "
           << changed.file << "\n";
    }
  }

  void Show(const BootstrapWritten& written) {
    out_ << "the bootstrap specification of " << written.dataset << " is written to "
         << written.file << ": " << Bytes(written.size) << "\n";
  }

  void Show(const BootstrapChecked& checked) {
    const SvrBootstrapSpecsSerializer::Check& check = checked.check;
    out_ << checked.file;
    if (!check.IsWhole()) {
      out_ << " holds no whole bootstrap specification: " << FindingInWords(check) << "\n";
      return;
    }
    const bool native = check.byteOrder == SvrBootstrapSpecsSerializer::Check::ByteOrder::Native;
    out_ << " holds a whole bootstrap specification: " << Bytes(check.size) << " in the "
         << (native ? "byte order of this machine" : "other byte order than this machine's");
    if (check.size < checked.size) {
      out_ << ", and " << Bytes(checked.size - check.size) << " behind it";
    }
    out_ << "\n";
  }

  static std::string Bytes(std::size_t count) {
    return Counted(static_cast<long long>(count), "byte", "bytes");
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
