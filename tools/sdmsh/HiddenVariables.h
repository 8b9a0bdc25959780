// HiddenVariables: hides variables of certain names from everybody, by a filter hook that puts a
// source without them on top of each that is added to the registry.

#ifndef SDMSH_HIDDENVARIABLES_H_
#define SDMSH_HIDDENVARIABLES_H_

#include <libdatasrc/ORVX_DataSourceFilterHook.h>

#include <string>
#include <vector>

namespace sdmsh {

// Threads: one at a time.
class HiddenVariables final : public ORVX_DataSourceFilterHook {
 public:
  explicit HiddenVariables(std::vector<std::string> names) : names_(std::move(names)) {}

  // A source that has `source` as its parent, its dictionary without the variables, and its cases;
  // `source` itself where it has none of these variables.
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override;

 private:
  const std::vector<std::string> names_;
};

}  // namespace sdmsh

#endif  // SDMSH_HIDDENVARIABLES_H_
