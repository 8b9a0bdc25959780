// DatasourceAttributes: named texts that users and programs attach to a dataset.
//
//   DatasourceAttributes attributes = source.GetAttributes();
//   attributes.Set("source", {"national survey", "1996"});
//   source.SetAttributes(attributes);

#ifndef LIBDATASRC_DATASOURCEATTRIBUTES_H_
#define LIBDATASRC_DATASOURCEATTRIBUTES_H_

#include <ServerDataManager/Export.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class ORVX_DataSource;

// A value; each name has one text, or several. Names are told apart exactly, and there is no order
// among them.
//
// Threads: one object at a time on one thread, or only read.
class SDM_EXPORT DatasourceAttributes {
 public:
  using Values = std::vector<std::string>;

  bool operator==(const DatasourceAttributes&) const = default;

  bool IsEmpty() const { return values_.empty(); }
  const std::map<std::string, Values>& All() const { return values_; }

  // Replaces what the name had; no values remove it.
  void Set(const std::string& name, Values values);

  // Removes the names that begin with `prefix` and returns whether there were any.
  bool RemoveUnder(std::string_view prefix);

  // All attributes as text, by name: a line for each with the name and its values between tabs.
  // Empty for none.
  std::string MakeString() const;

  // What MakeString made into text; the lines may come in any order. Throws std::invalid_argument,
  // which names the line and what is wrong there, for any other text.
  static DatasourceAttributes Read(std::string_view text);

 private:
  std::map<std::string, Values> values_;  // none without values
};

// Removes what describes how a dashboard showed the dataset: the attributes under "dashboard.".
// Returns whether there were any.
SDM_EXPORT bool ClearDashboardInfo(ORVX_DataSource& source);

#endif  // LIBDATASRC_DATASOURCEATTRIBUTES_H_
