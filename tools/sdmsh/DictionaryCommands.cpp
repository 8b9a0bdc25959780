// Editing the variables of a dataset.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"
#include "Writing.h"

#include <libdatasrc/ORVX_DataSource.h>

#include <charconv>
#include <optional>
#include <vector>

namespace sdmsh {
namespace {

constexpr int kWidestString = 1'000'000;

// ---------------------------------------------------------------------------------------------
// Types

std::optional<int> ParseWidth(std::string_view text) {
  int width = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), width);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (width < 1 || width > kWidestString) return std::nullopt;
  return width;
}

// 0 or the width of a string. `alternatives` completes what is said where no type stands there.
int TakeType(Arguments& arguments, const char* alternatives = "") {
  if (arguments.Accept("numeric")) return 0;
  const std::string expected =
      "numeric or string:WIDTH (1 to " + std::to_string(kWidestString) + ")" + alternatives;
  const std::string word = arguments.Peek(expected);
  constexpr std::string_view kString = "string:";
  const auto width =
      word.starts_with(kString) ? ParseWidth(word.substr(kString.size())) : std::nullopt;
  if (!width) arguments.Wrong(expected);
  arguments.Take("");
  return *width;
}

// ---------------------------------------------------------------------------------------------
// Moving

// Weight, filter and split. A variable that leaves its place is dropped from them; this puts it
// back.
class Uses {
 public:
  explicit Uses(const ORVX_DataSource& source)
      : weight_(source.GetWeightVariableID()),
        filter_(source.GetFilterVariableID()),
        separate_(source.GetSplitqSeparate()) {
    for (unsigned int i = 0; i < source.GetNSplitVars(); ++i) {
      split_.push_back(source.GetSplitVarID(i));
    }
  }

  void SetIn(ORVX_DataSource& source) const {
    source.SetWeightVar(Position(source, weight_));
    source.SetFilterVar(Position(source, filter_));
    std::vector<int> positions;
    for (const LocallyUniqueID id : split_) positions.push_back(Position(source, id));
    source.SetSplit(static_cast<unsigned int>(positions.size()), positions.data(), separate_);
  }

 private:
  static int Position(const ORVX_DataSource& source, LocallyUniqueID id) {
    return id.IsNull() ? -1 : source.FindVarIndex(id);
  }

  LocallyUniqueID weight_;
  LocallyUniqueID filter_;
  std::vector<LocallyUniqueID> split_;
  bool separate_;
};

void MoveTo(ORVX_DataSource& source, int from, int to) {
  const Uses uses(source);
  const ORVX_Variable variable = source.GetVariable(from);
  source.DeleteVariables(from, from);
  source.InsertVariable(to, variable);
  uses.SetIn(source);
}

}  // namespace

void InsertVariable(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("NAME");
  int type = 0;
  std::string label;
  std::optional<std::string> before;
  while (!arguments.AtEnd()) {
    if (arguments.Accept("before")) {
      before = arguments.Take("VARIABLE");
    } else if (arguments.Accept("label")) {
      label = arguments.Take("TEXT");
    } else {
      type = TakeType(arguments, ", before VARIABLE or label TEXT");
    }
  }

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    RefuseTakenName(source, name);
    const int position = before ? PositionOf(source, *before) : source.ColumnCount();
    ORVX_Variable variable(ORVX_Variable::NextID(), name, type);
    variable.SetLabel(label);
    source.InsertVariable(position, variable);
  });
}

void DeleteVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::vector<std::string> names = arguments.TakeRest("VARIABLE");

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    PositionsOf(source, names);  // refuses before anything has changed
    for (const std::string& name : names) {
      const int position = PositionOf(source, name);
      source.DeleteVariables(position, position);
    }
  });
}

void MoveVariable(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("VARIABLE");
  const bool toPosition = arguments.TakeOneOf({"to", "before"}) == 0;
  const int position = toPosition ? arguments.TakeNumber("POSITION") : 0;
  const std::string before = toPosition ? "" : arguments.Take("VARIABLE");
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    const int from = PositionOf(source, name);
    int to = position - 1;
    if (!toPosition) {
      to = PositionOf(source, before);
      if (from < to) --to;  // the list is one shorter while the variable is on its way
    }
    if (to >= source.ColumnCount()) {
      throw CommandError("there are only " + std::to_string(source.ColumnCount()) + " positions");
    }
    MoveTo(source, from, to);
  });
}

void ReorderVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::vector<std::string> names = arguments.TakeRest("VARIABLE");

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    PositionsOf(source, names);  // refuses before anything has changed
    for (std::size_t to = 0; to < names.size(); ++to) {
      MoveTo(source, PositionOf(source, names[to]), static_cast<int>(to));
    }
  });
  Write(caller, *dataset, [](SvrDMWriteableDataSource& writer) { writer.BulkVarMoves(); });
}

void RenameVariable(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("VARIABLE");
  const std::string newName = arguments.Take("NAME");
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    const int position = PositionOf(source, name);
    RefuseTakenName(source, newName);
    source.GetVariable(position).SetName(newName);
  });
}

void LabelVariable(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("VARIABLE");
  const std::string label = arguments.Take("TEXT");
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.GetVariable(PositionOf(source, name)).SetLabel(label);
  });
}

void RetypeVariable(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("VARIABLE");
  const int type = TakeType(arguments);
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.GetVariable(PositionOf(source, name)).SetType(type);
  });
}

}  // namespace sdmsh
