// DictionaryFacts: what a dictionary says beside its variables, with the names of those that it
// knows only by identifier.

#ifndef SDMSH_DICTIONARYFACTS_H_
#define SDMSH_DICTIONARYFACTS_H_

#include <libdatasrc/DatasourceAttributes.h>
#include <libdatasrc/ORVX_ExtensionImpl.h>
#include <libdatasrc/VariableSets.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/RefCountPtr.h>

#include <string>
#include <vector>

class ORVX_DataSource;
struct ORVX_TrendsInfo;

namespace sdmsh {

// The bytes of an extension; never null here.
using Block = RefCountPtr<ORVX_ExtensionImpl>;

struct NamedVariable {
  LocallyUniqueID id;  // null for none
  std::string name;    // empty also where the dictionary has no such variable
};

struct Split {
  std::vector<NamedVariable> variables;  // empty where nothing splits the file
  bool separate = false;
};

struct TimeSeries {
  std::vector<NamedVariable> timeVariables;
  int seasonalPeriod = 0;  // 0 for none
};

struct NamedSet {
  VariableSetImpl set;
  std::vector<NamedVariable> members;
};

struct DictionaryFacts {
  int variableCount;
  long long rowCount;  // -1 while unknown
  std::string label;
  std::string fileSpec;
  long long rowsPerImputation;  // 0 for no multiple imputation
  NamedVariable weight;
  NamedVariable filter;
  Split split;
  TimeSeries trends;
  std::vector<NamedSet> responseSets;
  std::vector<NamedSet> variableSets;
  Block extension;  // of type 0
  DatasourceAttributes attributes;
  bool modified;  // whether there are unsaved changes
};

DictionaryFacts DictionaryFactsOf(const ORVX_DataSource& dictionary);

// By the names that variables have in `dictionary`.
NamedVariable Named(const ORVX_DataSource& dictionary, LocallyUniqueID id);
std::vector<NamedVariable> Named(const ORVX_DataSource& dictionary,
                                 const std::vector<LocallyUniqueID>& ids);
TimeSeries Named(const ORVX_DataSource& dictionary, const ORVX_TrendsInfo& trends);
std::vector<NamedSet> Named(const ORVX_DataSource& dictionary,
                            const std::vector<VariableSet>& sets);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYFACTS_H_
