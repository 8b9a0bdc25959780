// The commands that show cases, replace the data source, raise the case sequence number, and
// request a bulk replacement.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <libdatasrc/BlankCases.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

struct Range {
  int from = 1;
  std::optional<int> count;  // empty for all
};

// Takes "from N" and "count N" in either order. Each of them is optional.
Range TakeRange(Arguments& arguments) {
  Range range;
  std::vector<const char*> keywords = {"from", "count"};  // not taken yet
  while (!arguments.AtEnd() && !keywords.empty()) {
    const std::string_view keyword = keywords[arguments.TakeOneOf(keywords)];
    if (keyword == "from") range.from = arguments.TakeNumber("N");
    if (keyword == "count") range.count = arguments.TakeNumber("N");
    std::erase(keywords, keyword);
  }
  return range;
}

// Prints cases in parts while it reads them, because a whole dataset may not fit into memory.
class CasePrinter {
 public:
  static constexpr long long kCasesInPart = 200;

  // `source` may be null.
  CasePrinter(Output& output, std::string dataset, const ORVX_DataSource* source)
      : output_(output), dataset_(std::move(dataset)) {
    if (source == nullptr) return;
    variables_ = VariablesOf(*source);
    cases_.emplace(*source);
  }

  void Print(const Range& range) {
    long long next = range.from;  // the number of the next case to print, from 1
    bool more = true;
    for (long long number = 0; more && number < next; ++number) more = Next();
    if (!more) return PrintNone(next);
    const long long end = range.count ? next + *range.count : std::numeric_limits<long long>::max();
    Table table(Columns());
    while (more && next < end && output_.ReachesItsReader()) {
      const long long first = next;
      Json rows = Json::array();
      for (; more && next < std::min(end, first + kCasesInPart); more = Next()) {
        Add(next++, table, rows);
      }
      output_.Print(output_.IsJson() ? Event(first, std::move(rows), more)
                                     : table.TakeText(output_) + "\n");
    }
    if (more && !output_.IsJson()) output_.Print("more cases follow\n");
  }

 private:
  bool Next() {
    GiveUpIfInterrupted();
    return cases_ && cases_->Next();
  }

  std::vector<Table::Column> Columns() const {
    std::vector<Table::Column> columns = {{.head = "", .right = true, .width = 4}};
    for (const ORVX_Variable& variable : variables_) {
      columns.push_back({.head = variable.GetName(), .right = variable.GetType() == 0});
    }
    return columns;
  }

  // Adds the current case to `rows` if the output is JSON, otherwise to `table`.
  void Add(long long number, Table& table, Json& rows) const {
    if (output_.IsJson()) {
      Json row = Json::array();
      for (const DataValue& value : cases_->Values()) row.push_back(ValueInJson(value));
      return rows.push_back(std::move(row));
    }
    std::vector<std::string> row = {std::to_string(number)};
    for (std::size_t i = 0; const DataValue& value : cases_->Values()) {
      row.push_back(ValueText(variables_[i++], value));
    }
    table.Add(std::move(row));
  }

  void PrintNone(long long from) {
    if (output_.IsJson()) return output_.Print(Event(from, Json::array(), false));
    const std::string where = from == 1 ? "" : " from " + std::to_string(from) + " on";
    output_.Print(dataset_ + (cases_ ? " has no cases" + where : " has no data source") + "\n");
  }

  std::string Event(long long from, Json rows, bool more) const {
    Json names = Json::array();
    for (const ORVX_Variable& variable : variables_) names.push_back(variable.GetName());
    return Output::JsonText({{"event", "cases"},
                             {"dataset", dataset_},
                             {"hasDataSource", cases_.has_value()},
                             {"from", from},
                             {"variables", names},
                             {"rows", std::move(rows)},
                             {"more", more}});
  }

  Output& output_;
  const std::string dataset_;
  std::vector<ORVX_Variable> variables_;
  std::optional<CaseReader> cases_;  // empty without a data source
};

}  // namespace

void ShowCases(Call& call) {
  const Range range = TakeRange(call);
  const SvrDMInputDataSource& reader = call.Reader();
  CasePrinter(call.shell.Out(), call.dataset->Name(), *reader).Print(range);
}

void ReplaceSource(Call& call) {
  enum { kFile, kBlank, kDictionary, kFiltered, kNone };
  const std::size_t kind = call.TakeOneOf({"file", "blank", "dictionary", "filtered", "none"});
  const std::string file = kind == kFile ? call.TakeFile() : "";
  const ImportOptions options = kind == kFile ? call.TakeImportOptions() : ImportOptions();
  const int caseCount = kind == kBlank ? call.TakeNumber("COUNT") : 0;
  if (kind == kFiltered) call.Expect("by");
  const std::string selector = kind == kFiltered ? call.Take("VARIABLE") : "";
  SvrDMWriteableDataSource& writer = call.Writer();
  std::unique_ptr<ORVX_DataSource> source;
  if (kind == kFile) {
    auto data = call.OpenDataFile(file, options);
    call.dataset->SetDelimiter(file, data->Report().delimiter);
    source = std::move(data);
  }
  if (kind == kBlank) {
    if (*writer == nullptr) throw CommandError(call.dataset->Name() + " has no dictionary to keep");
    source = std::make_unique<BlankCases>(**writer, caseCount, GiveUpIfInterrupted);
  }
  if (kind == kDictionary) source = std::make_unique<DataFreeDataSource>();
  if (kind == kFiltered) {
    ORVX_DataSource& present = call.Source();
    const int position = NumberPositionOf(present, selector, "select cases");
    const LocallyUniqueID selectorID = present.GetVariable(position).GetID();
    source = std::make_unique<FilteredDataSource>(&present, selectorID);
    source->SetDirty(present.IsDirty());  // FilteredDataSource does not copy the dirty flag
  }
  writer.SetDataSet(std::move(source));
}

void RaiseCaseSequence(Call& call) {
  call.Writer().IncrementCaseSequence();
}

void AskForBulkMoves(Call& call) {
  call.Writer().BulkVarMoves();
}

}  // namespace sdmsh
