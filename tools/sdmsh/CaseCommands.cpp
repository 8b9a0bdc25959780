// Looking at cases.

#include "Arguments.h"
#include "CaseRows.h"
#include "CaseWords.h"
#include "CommandError.h"
#include "Commands.h"
#include "Shell.h"
#include "Variables.h"

#include <libdatasrc/ORVX_DataSource.h>

#include <new>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace sdmsh {
namespace {

struct Range {
  std::optional<int> from;
  std::optional<int> count;
};

// "from N", "count N", both in either order, or nothing.
Range TakeRange(Arguments& arguments) {
  Range range;
  while (!arguments.AtEnd()) {
    std::vector<const char*> keywords;  // each once
    if (!range.from) keywords.push_back("from");
    if (!range.count) keywords.push_back("count");
    if (keywords.empty()) arguments.End();
    const std::string_view keyword = keywords[arguments.TakeOneOf(keywords)];
    (keyword == "from" ? range.from : range.count) = arguments.TakeNumber("N");
  }
  return range;
}

// False where there is no case of that number, from 1.
bool MoveTo(CaseRows& rows, int number) {
  for (; number > 0; --number) {
    if (!rows.Next()) return false;
  }
  return true;
}

// Fills in all that is said of the cases of `source`. Reads one case more than it keeps.
void Read(const ORVX_DataSource& source, std::optional<int> count, CaseTable& table) {
  table.hasDataSource = true;
  table.variables = VariablesOf(source);
  CaseRows rows(source);
  bool there = MoveTo(rows, table.from);
  for (int kept = 0; there && (!count || kept < *count); ++kept) {
    table.rows.push_back(rows.Values());
    there = rows.Next();
  }
  table.more = there;
}

}  // namespace

void ShowCases(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const Range range = TakeRange(arguments);
  CaseTable table{.dataset = dataset->Name(),
                  .hasDataSource = false,
                  .from = range.from.value_or(1),
                  .variables = {},
                  .rows = {},
                  .more = false};
  try {
    shell.Locks().Read(caller, dataset, [&](SvrDMInputDataSource& reader) {
      if (*reader != nullptr) Read(**reader, range.count, table);
    });
  } catch (const std::bad_alloc&) {
    throw CommandError(NotEnoughMemoryFor(CasesOf(table.dataset)));
  }
  shell.Say(std::move(table));
}

}  // namespace sdmsh
