// DictionaryFacts: what a dictionary says beside its variables, with the names of those that it
// knows only by identifier.

#ifndef SDMSH_DICTIONARYFACTS_H_
#define SDMSH_DICTIONARYFACTS_H_

#include <libdatasrc/VariableSets.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>
#include <vector>

class ORVX_DataSource;
struct ORVX_TrendsInfo;

namespace sdmsh {

struct NamedVariable {
  LocallyUniqueID id;  // null for none
  std::string name;    // empty also where the dictionary has no such variable
};

struct Split {
  std::vector<NamedVariable> variables;  // empty where nothing splits the file
  bool separate = false;
};

struct TimeSeries {
  std::vector<NamedVariable> dateVariables;
  int periodicity = 0;      // 0 for none
  long long firstCase = 0;  // 0 and 0 for all
  long long lastCase = 0;
};

struct NamedSet {
  VariableSetImpl set;
  std::vector<NamedVariable> members;
};

// By the names that variables have in `dictionary`.
NamedVariable Named(const ORVX_DataSource& dictionary, LocallyUniqueID id);
std::vector<NamedVariable> Named(const ORVX_DataSource& dictionary,
                                 const std::vector<LocallyUniqueID>& ids);
TimeSeries Named(const ORVX_DataSource& dictionary, const ORVX_TrendsInfo& trends);
std::vector<NamedSet> Named(const ORVX_DataSource& dictionary,
                            const std::vector<VariableSet>& sets);

}  // namespace sdmsh

#endif  // SDMSH_DICTIONARYFACTS_H_
