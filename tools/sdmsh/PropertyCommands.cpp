// Changing what a dictionary says beside its variables.

#include "Arguments.h"
#include "CommandError.h"
#include "Commands.h"
#include "DictionaryFacts.h"
#include "Shell.h"
#include "Variables.h"
#include "Words.h"
#include "Writing.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/ExtensionTypes.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace sdmsh {
namespace {

// "by VARIABLE" or "off".
std::optional<std::string> TakeUse(Arguments& arguments) {
  if (arguments.TakeOneOf({"by", "off"}) == 1) return std::nullopt;
  return arguments.Take("VARIABLE");
}

// -1 for none. `does`: see NumberPositionOf.
int PositionOrNone(const ORVX_DataSource& source, const std::optional<std::string>& name,
                   const std::string& does) {
  return name ? NumberPositionOf(source, *name, does) : -1;
}

std::vector<LocallyUniqueID> IdentifiersOf(const ORVX_DataSource& source,
                                           const std::vector<std::string>& names) {
  std::vector<LocallyUniqueID> ids;
  for (const int position : PositionsOf(source, names)) {
    ids.push_back(source.GetVariable(position).GetID());
  }
  return ids;
}

// The sets with `set` in place of the one of its name, or at the end; without that one where `set`
// has no members.
std::vector<VariableSetImpl> With(VariableSetImpl set, std::vector<VariableSetImpl> sets) {
  const auto found = std::find_if(sets.begin(), sets.end(), [&](const VariableSetImpl& other) {
    return other.name == set.name;
  });
  if (set.members.empty()) {
    if (found == sets.end()) throw CommandError("there is no set " + Quoted(set.name));
    sets.erase(found);
  } else if (found != sets.end()) {
    *found = std::move(set);
  } else {
    sets.push_back(std::move(set));
  }
  return sets;
}

}  // namespace

void SetWeight(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::optional<std::string> name = TakeUse(arguments);
  arguments.End();
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.SetWeightVar(PositionOrNone(source, name, "weights cases"));
  });
}

void SetFilter(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::optional<std::string> name = TakeUse(arguments);
  arguments.End();
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.SetFilterVar(PositionOrNone(source, name, "selects cases"));
  });
}

void SplitFile(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  enum { kTogether, kSeparate, kOff };
  const std::size_t how = arguments.TakeOneOf({"together", "separate", "off"});
  std::vector<std::string> names;
  if (how != kOff) {
    arguments.Expect("by");
    names = arguments.TakeRest("VARIABLE");
  }
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    const std::vector<int> positions = PositionsOf(source, names);
    source.SetSplit(static_cast<unsigned int>(positions.size()), positions.data(),
                    how == kSeparate);
  });
}

void SetTrends(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  ORVX_TrendsInfo trends;
  std::vector<std::string> names;
  enum { kPeriod, kBy };
  if (!arguments.Accept("off")) {
    do {
      const std::size_t what = arguments.TakeOneOf({"period", "by"});
      if (what == kPeriod) trends.seasonalPeriod = arguments.TakeNumber("NUMBER");
      if (what == kBy) names = arguments.TakeRest("VARIABLE");
    } while (!arguments.AtEnd());
  }
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    trends.timeVariables = IdentifiersOf(source, names);
    *source.GetTrendsInfo() = trends;
  });
}

void SetResponseSet(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  VariableSetImpl set;
  set.name = arguments.Take("NAME");
  std::vector<std::string> names;
  enum { kIndicators, kAnswers, kOff };
  const std::size_t kind = arguments.TakeOneOf({"indicators", "answers", "off"});
  if (kind != kOff) {
    set.kind = kind == kIndicators ? VariableSetImpl::kIndicators : VariableSetImpl::kAnswers;
    if (kind == kIndicators) set.selectedValue = arguments.Take("VALUE");
    if (arguments.Accept("label")) set.label = arguments.Take("TEXT");
    arguments.Expect("of");
    names = arguments.TakeRest("VARIABLE");
  }
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    set.members = IdentifiersOf(source, names);
    source.SetMRSets(With(set, source.GetMRSets()));
  });
}

void SetVariableSet(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  VariableSetImpl set;
  set.name = arguments.Take("NAME");
  std::vector<std::string> names;
  if (arguments.TakeOneOf({"of", "off"}) == 0) names = arguments.TakeRest("VARIABLE");
  arguments.End();

  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    set.members = IdentifiersOf(source, names);
    source.SetVariableSets(With(set, source.GetVariableSets()));
  });
}

void LabelDataset(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string label = arguments.Take("TEXT");
  arguments.End();
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.SetLabel(label.empty() ? nullptr : label.c_str());
  });
}

void SetFileSpec(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string fileSpec = arguments.Take("FILE");
  arguments.End();
  EditSource(caller, *dataset,
             [&](ORVX_DataSource& source) { source.SetFileSpec(fileSpec.c_str()); });
}

void SetImputation(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const int rows = arguments.Accept("off") ? 0 : arguments.TakeNumber("\"off\" or ROWS");
  arguments.End();
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) { source.RowsPerImputation(rows); });
}

void SetExtension(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string text = arguments.Take("TEXT");
  arguments.End();
  const Block block = DEMessages::TextBlock(DEMessages::kOwnExtension, text);
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    source.SetExtension(ORVX_DataSource::Extension(block));
  });
}

void SetAttribute(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const std::string name = arguments.Take("NAME");
  std::vector<std::string> values;
  if (!arguments.AtEnd()) values = arguments.TakeRest("VALUE");
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) {
    DatasourceAttributes attributes = source.GetAttributes();
    attributes.Set(name, values);
    source.SetAttributes(attributes);
  });
}

void MarkUnsaved(Shell& shell, Caller& caller, Arguments& arguments) {
  const DatasetPtr dataset = shell.Find(caller, arguments.Take("DATASET"));
  const bool unsaved = arguments.TakeOnOff();
  arguments.End();
  EditSource(caller, *dataset, [&](ORVX_DataSource& source) { source.SetDirty(unsaved); });
}

}  // namespace sdmsh
