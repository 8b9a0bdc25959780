// The commands that change the values of a dataset.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <libdatasrc/OBS.h>
#include <libdatasrc/Summary.h>
#include <liborvxdemg/DictionaryText.h>
#include <muParser.h>
#include <ServerDataManager/EditCases.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <cmath>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

using DictionaryText::Quoted;

void EditCases(Call& call, const std::function<void(MemoryDataSource&)>& edit) {
  call.Source();  // refuses a dataset without a data source
  ::EditCases(call.Writer(), edit);
}

// The position of case `number`, which counts from 1.
long long RowOf(const MemoryDataSource& source, int number) {
  if (number <= source.RowCount()) return number - 1;
  throw CommandError("there is no case " + std::to_string(number) + ": the dataset has " +
                     DictionaryText::Counted(source.RowCount(), "case"));
}

// For a numeric variable, an empty word is the missing number.
DataValue ValueOrMissing(const ORVX_Variable& variable, const std::string& word) {
  if (word.empty() && variable.GetType() == 0) return kMissingNumber;
  return ValueFor(variable, word);
}

// ---------------------------------------------------------------------------------------------
// Expressions

// Whether the text has an `=` outside a comparison. muParser would treat this `=` as an assignment,
// which changes no value of the dataset.
bool HasAssignment(const std::string& text) {
  for (std::size_t i = text.find('='); i < text.size(); i = text.find('=', i + 1)) {
    const bool isSecond = i > 0 && std::string_view("=<>!").find(text[i - 1]) != std::string::npos;
    if (!isSecond && text.compare(i + 1, 1, "=") != 0) return true;
  }
  return false;
}

// An expression of numeric variables, computed case by case. muParser does not know missing values,
// so a case with a missing operand does not reach the parser.
class Expression {
 public:
  // Borrows the source. Throws CommandError if the text is not an expression of numeric variables
  // of the source.
  Expression(const std::string& text, const MemoryDataSource& source) : source_(source) {
    if (HasAssignment(text)) {
      throw CommandError("`=` within an expression; `==` compares");
    }
    try {
      DefineNames();
      parser_.SetExpr(text);
      FindVariables();
      int results = 0;
      parser_.Eval(results);
      if (results != 1) throw CommandError("a comma outside a function, in " + Quoted(text));
    } catch (const mu::ParserError& error) {
      throw CommandError(error.GetMsg());
    }
  }

  Expression(const Expression&) = delete;  // the parser has addresses of the operands
  Expression& operator=(const Expression&) = delete;

  // The value for a case. Missing if a variable of the expression is missing, or if the result is
  // not a finite number.
  double ValueOf(long long row) {
    for (Operand& operand : operands_) {
      const DataValue value = source_.GetValue(row, operand.position);
      if (Summary::IsMissing(operand.variable, value)) return kMissingNumber;
      operand.number = std::get<double>(value);
    }
    const double result = parser_.Eval();
    return std::isfinite(result) ? result : kMissingNumber;
  }

 private:
  struct Operand {
    int position;
    ORVX_Variable variable;
    double number;  // read by the parser
  };

  // Names may contain letters of every language: in UTF-8, a letter outside ASCII consists of bytes
  // from 0x80 on.
  void DefineNames() {
    parser_.ClearConst();  // constants would hide variables
    std::string characters = "0123456789_.$#@";
    for (char letter = 'a'; letter <= 'z'; ++letter) characters += letter;
    for (char letter = 'A'; letter <= 'Z'; ++letter) characters += letter;
    for (int byte = 0x80; byte <= 0xFF; ++byte) characters += static_cast<char>(byte);
    parser_.DefineNameChars(characters.c_str());
    parser_.DefineFun(
        "floor", +[](double value) { return std::floor(value); });
    parser_.DefineFun(
        "ceil", +[](double value) { return std::ceil(value); });
  }

  void FindVariables() {
    const mu::varmap_type used = parser_.GetUsedVar();
    operands_.reserve(used.size());  // operands must not move: the parser keeps addresses
    for (const auto& [name, unused] : used) {
      const int position = NumberPositionOf(source_, name, "be used in an expression");
      operands_.push_back({position, source_.GetVariable(position), 1});
      parser_.DefineVar(name, &operands_.back().number);
    }
  }

  const MemoryDataSource& source_;
  mu::Parser parser_;
  std::vector<Operand> operands_;
};

std::vector<double> ValuesOf(const std::string& text, const MemoryDataSource& source,
                             Output& output) {
  Expression expression(text, source);
  std::vector<double> values(static_cast<std::size_t>(source.RowCount()));
  ProgressBar bar(output);
  long long row = 0;
  for (double& value : values) {
    if (row % 1024 == 0) bar(static_cast<std::uint64_t>(row), values.size());
    value = expression.ValueOf(row++);
  }
  return values;
}

}  // namespace

void SetCaseValue(Call& call) {
  const std::string name = call.Take("VARIABLE");
  const int number = call.TakeNumber("CASE");
  const std::string value = call.Take("VALUE");
  EditCases(call, [&](MemoryDataSource& source) {
    const int position = PositionOf(source, name);
    const ORVX_Variable& variable = std::as_const(source).GetVariable(position);
    source.SetValue(RowOf(source, number), position, ValueOrMissing(variable, value));
  });
}

void AppendCase(Call& call) {
  const std::vector<std::string> words = call.TakeRest("VALUE");
  EditCases(call, [&](MemoryDataSource& source) {
    const auto count = static_cast<std::size_t>(source.ColumnCount());
    if (words.size() != count) {
      throw CommandError("a case has " + std::to_string(count) + " values, not " +
                         std::to_string(words.size()));
    }
    std::vector<DataValue> values;
    for (int i = 0; const std::string& word : words) {
      values.push_back(ValueOrMissing(std::as_const(source).GetVariable(i++), word));
    }
    source.AppendCase(values);
  });
}

void DeleteCases(Call& call) {
  const int first = call.TakeNumber("NUMBER");
  const int last = call.Accept("to") ? call.TakeNumber("NUMBER") : first;
  EditCases(call, [&](MemoryDataSource& source) {
    if (last < first) throw CommandError("the last case comes before the first");
    source.DeleteCases(RowOf(source, first), RowOf(source, last));
  });
}

void Compute(Call& call) {
  const std::string name = call.Take("NAME");
  call.Expect("=");
  std::string text;
  for (const std::string& word : call.TakeRest("EXPRESSION")) text += word + " ";
  EditCases(call, [&](MemoryDataSource& source) {
    Output& output = call.shell.Out();
    if (FindByName(source, name) < 0) {
      RefuseTakenName(source, name);  // refuses an empty name
      source.InsertVariable(source.ColumnCount(), ORVX_Variable(ORVX_Variable::NextID(), name),
                            ValuesOf(text, source, output));
    } else {
      const int position = NumberPositionOf(source, name, "be computed");
      source.SetColumn(position, ValuesOf(text, source, output));
    }
  });
}

}  // namespace sdmsh
