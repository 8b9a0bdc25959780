// The commands that show cases, and that replace the data source of a dataset.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryJson.h"
#include "Interrupt.h"
#include "Shell.h"
#include "Sources.h"
#include "Variables.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <liborvxdemg/DictionaryText.h>

#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

// ---------------------------------------------------------------------------------------------
// Showing cases

struct Range {
  std::optional<int> from;
  std::optional<int> count;
};

// Takes "from N", "count N", both in either order, or nothing.
Range TakeRange(Arguments& arguments) {
  Range range;
  while (!arguments.AtEnd() && !(range.from && range.count)) {
    std::vector<const char*> keywords;  // those that were not taken yet
    if (!range.from) keywords.push_back("from");
    if (!range.count) keywords.push_back("count");
    const std::string_view keyword = keywords[arguments.TakeOneOf(keywords)];
    (keyword == "from" ? range.from : range.count) = arguments.TakeNumber("N");
  }
  return range;
}

// Prints cases in parts while it reads them, because a whole dataset may not fit into memory.
class CasePrinter {
 public:
  static constexpr long long kCasesInPart = 200;

  // `source` may be null.
  CasePrinter(Output& output, const ORVX_DataSource* source, std::string dataset, Range range)
      : output_(output),
        source_(source),
        dataset_(std::move(dataset)),
        next_(range.from.value_or(1)),
        left_(range.count) {
    if (source != nullptr) variables_ = VariablesOf(*source);
  }

  void Print() {
    if (source_ == nullptr) return PrintNone(dataset_ + " has no data source");
    CaseRows rows(*source_);
    for (long long number = 0; number < next_; ++number) {
      if (!rows.Next()) return PrintNone(dataset_ + " has no cases" + FromHere());
    }
    Table table(Columns());
    bool more = true;
    while (more && left_ != 0 && output_.ReachesItsReader()) more = PrintPart(rows, table);
    if (more && !output_.IsJson()) output_.Print("more cases follow\n");
  }

 private:
  std::string FromHere() const {
    return next_ == 1 ? "" : " from " + std::to_string(next_) + " on";
  }

  std::vector<Table::Column> Columns() const {
    std::vector<Table::Column> columns = {{.head = "", .right = true, .width = 4}};
    for (const ORVX_Variable& variable : variables_) {
      columns.push_back({.head = variable.GetName(), .right = variable.GetType() == 0});
    }
    return columns;
  }

  // Prints a part that starts with the current row. Leaves `rows` at the row after the part, and
  // returns false if there is none.
  bool PrintPart(CaseRows& rows, Table& table) {
    const long long first = next_;
    Json json = Json::array();
    bool more = true;
    for (; more && left_ != 0 && next_ < first + kCasesInPart; more = rows.Next()) {
      Add(rows.Values(), table, json);
      ++next_;
      if (left_) --*left_;
    }
    output_.Print(output_.IsJson() ? Event(first, std::move(json), more)
                                   : table.TakeText(output_) + "\n");
    return more;
  }

  void Add(const std::vector<DataValue>& values, Table& table, Json& json) const {
    if (output_.IsJson()) return json.push_back(Row(values));
    std::vector<std::string> row = {std::to_string(next_)};
    for (const DataValue& value : values) {
      const double* const number = std::get_if<double>(&value);
      row.push_back(number != nullptr ? DictionaryText::Number(*number)
                                      : std::get<std::string>(value));
    }
    table.Add(std::move(row));
  }

  static Json Row(const std::vector<DataValue>& values) {
    Json row = Json::array();
    for (const DataValue& value : values) {
      const double* const number = std::get_if<double>(&value);
      row.push_back(number != nullptr ? NumberInJson(*number) : Json(std::get<std::string>(value)));
    }
    return row;
  }

  void PrintNone(const std::string& words) {
    output_.Print(output_.IsJson() ? Event(next_, Json::array(), false) : words + "\n");
  }

  std::string Event(long long from, Json rows, bool more) const {
    Json names = Json::array();
    for (const ORVX_Variable& variable : variables_) names.push_back(variable.GetName());
    return Output::JsonText({{"event", "cases"},
                             {"dataset", dataset_},
                             {"hasDataSource", source_ != nullptr},
                             {"from", from},
                             {"variables", names},
                             {"rows", std::move(rows)},
                             {"more", more}});
  }

  Output& output_;
  const ORVX_DataSource* const source_;
  const std::string dataset_;
  std::vector<ORVX_Variable> variables_;
  long long next_;           // the number of the next case to print, from 1
  std::optional<int> left_;  // how many more cases to print; empty to print all
};

// ---------------------------------------------------------------------------------------------
// Replacing the data source

std::unique_ptr<ORVX_DataSource> BlankCasesOf(const OpenDataset& dataset,
                                              const ORVX_DataSource* source, int count) {
  if (source == nullptr) throw CommandError(dataset.Name() + " has no dictionary to keep");
  return std::make_unique<BlankCases>(*source, count);
}

// Returns a filtered source with `source` as its parent. Does not take ownership of `source`.
std::unique_ptr<ORVX_DataSource> CasesSelectedBy(const std::string& name, ORVX_DataSource& source) {
  const ORVX_Variable& selector =
      source.GetVariable(NumberPositionOf(source, name, "selects cases"));
  auto selected = std::make_unique<FilteredDataSource>(&source, selector.GetID());
  selected->SetDirty(source.IsDirty());  // the dirty flag is not part of the dictionary
  return selected;
}

}  // namespace

Action ShowCases(Call& call) {
  const Range range = TakeRange(call);
  return ReadWork([=, &call](SvrDMInputDataSource& reader) {
    CasePrinter(call.shell.Out(), *reader, call.dataset->Name(), range).Print();
  });
}

Action ReplaceSource(Call& call) {
  enum { kFile, kBlank, kDictionary, kFiltered, kNone };
  const std::size_t kind = call.TakeOneOf({"file", "blank", "dictionary", "filtered", "none"});
  const std::string file = kind == kFile ? call.TakeFile() : "";
  const int caseCount = kind == kBlank ? call.TakeNumber("COUNT") : 0;
  if (kind == kFiltered) call.Expect("by");
  const std::string selector = kind == kFiltered ? call.Take("VARIABLE") : "";
  return [=, &call](SvrDMWriteableDataSource& writer) {
    std::unique_ptr<ORVX_DataSource> source;
    if (kind == kFile) source = SystemFileDataSource::Open(file, GiveUpIfInterrupted);
    if (kind == kBlank) source = BlankCasesOf(*call.dataset, *writer, caseCount);
    if (kind == kDictionary) source = std::make_unique<DataFreeDataSource>();
    if (kind == kFiltered) source = CasesSelectedBy(selector, SourceOf(writer, *call.dataset));
    writer.SetDataSet(std::move(source));
  };
}

Action RaiseCaseSequence(Call&) {
  return [](SvrDMWriteableDataSource& writer) { writer.IncrementCaseSequence(); };
}

Action AskForBulkMoves(Call&) {
  return [](SvrDMWriteableDataSource& writer) { writer.BulkVarMoves(); };
}

}  // namespace sdmsh
