// Editing the variables of a dataset.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Writing.h"

#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace sdmsh {
namespace {

constexpr int kWidestString = 32767;

// ---------------------------------------------------------------------------------------------
// Finding

const ORVX_Variable& At(const ORVX_DataSource& source, int position) {
  return source.GetVariable(position);
}

// -1 where there is none of that name.
int FindByName(const ORVX_DataSource& source, const std::string& name) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    if (At(source, position).GetName() == name) return position;
  }
  return -1;
}

int PositionOf(const ORVX_DataSource& source, const std::string& name) {
  const int position = FindByName(source, name);
  if (position < 0) throw CommandError("there is no variable \"" + name + "\"");
  return position;
}

void RefuseTakenName(const ORVX_DataSource& source, const std::string& name) {
  if (name.empty()) throw CommandError("a variable cannot have an empty name");
  if (FindByName(source, name) >= 0) {
    throw CommandError("there is a variable \"" + name + "\" already");
  }
}

// Each name once, each that of a variable.
void RefuseUnknownOrRepeated(const ORVX_DataSource& source, const std::vector<std::string>& names) {
  for (auto name = names.begin(); name != names.end(); ++name) {
    PositionOf(source, *name);
    if (std::find(names.begin(), name, *name) != name) {
      throw CommandError("variable \"" + *name + "\" is named twice");
    }
  }
}

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

void SetTypeAndFormats(ORVX_Variable& variable, int type) {
  const VariableFormat format = type == 0 ? VariableFormat() : VariableFormat{'A', type, 0};
  variable.SetType(type);
  variable.SetPrintFormat(format);
  variable.SetWriteFormat(format);
}

// ---------------------------------------------------------------------------------------------
// Moving

void MoveTo(ORVX_DataSource& source, int from, int to) {
  const ORVX_Variable variable = At(source, from);
  source.DeleteVariables(from, from);
  source.InsertVariable(to, variable);
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
    ORVX_Variable variable(ORVX_Variable::NextID(), name);
    variable.SetLabel(label);
    SetTypeAndFormats(variable, type);
    source.InsertVariable(position, variable);
  });
}

void DeleteVariables(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::vector<std::string> names = arguments.TakeRest("VARIABLE");

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    RefuseUnknownOrRepeated(source, names);
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
    RefuseUnknownOrRepeated(source, names);
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
    SetTypeAndFormats(source.GetVariable(PositionOf(source, name)), type);
  });
}

}  // namespace sdmsh
