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

// Each name has one or more texts. Names are case-sensitive; their order has no meaning.
//
// Threads: several threads may read an object, or one thread may change it.
class SDM_EXPORT DatasourceAttributes {
 public:
  using Values = std::vector<std::string>;

  bool operator==(const DatasourceAttributes&) const = default;

  bool IsEmpty() const { return values_.empty(); }
  const std::map<std::string, Values>& All() const { return values_; }

  // Replaces the values of the attribute `name`. Removes the attribute if `values` is empty.
  void Set(const std::string& name, Values values);

  // Removes the attributes whose names begin with `prefix`. Returns whether there were any.
  bool RemoveUnder(std::string_view prefix);

  // All attributes as text, sorted by name: one line each, with the name and its values separated
  // by tabs. A tab, line feed, carriage return or backslash in a name or a value is written as \t,
  // \n, \r or \\. Empty if there are no attributes.
  std::string MakeString() const;

  // Parses the text that MakeString writes; lines may be in any order. For any other text, throws
  // std::invalid_argument with the line and the reason.
  static DatasourceAttributes Read(std::string_view text);

 private:
  std::map<std::string, Values> values_;  // every name has at least one value
};

// Removes the dashboard settings: the attributes whose names begin with "dashboard.". Returns
// whether there were any.
SDM_EXPORT bool ClearDashboardInfo(ORVX_DataSource& source);

#endif  // LIBDATASRC_DATASOURCEATTRIBUTES_H_
