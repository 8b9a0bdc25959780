// HiddenVariables: hides variables with certain names in every dataset that is added.
//
//   HiddenVariables hidden({"name", "address"});
//   registry.RegisterFilter(&hidden);
//   try {
//     id = registry.Add(std::move(source), file, /*quiet=*/false);
//   } catch (...) {
//     hidden.EndAddition(/*isAdded=*/false);
//     throw;
//   }
//   hidden.EndAddition(/*isAdded=*/true);

#ifndef LIBDATASRC_HIDDENVARIABLES_H_
#define LIBDATASRC_HIDDENVARIABLES_H_

#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <ServerDataManager/Export.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

// A filter hook. For each added source with variables to hide, it returns a FilteredDataSource that
// reads the added source but lacks these variables. The added source keeps the variables and their
// values.
//
// Threads: not safe; one call at a time.
class SDM_EXPORT HiddenVariables final : public ORVX_DataSourceFilterHook {
 public:
  // Names must match exactly, also in case.
  explicit HiddenVariables(std::vector<std::string> names) : names_(std::move(names)) {}

  // Returns `source` itself if it has no variable to hide. The filtered source has the dirty flag
  // of `source`. If memory runs out, throws std::bad_alloc; `source` is then unchanged.
  ORVX_DataSource* FilterDataSource(ORVX_DataSource* source) override;

  // To be called after each addition to the registry. If the addition failed before a dataset owned
  // the filtered source, deletes the filtered source.
  void EndAddition(bool isAdded) noexcept;

 private:
  class SDM_HIDDEN View;

  const std::vector<std::string> names_;
  View* view_ = nullptr;               // the latest filtered source; valid until isAlive_ expires
  std::weak_ptr<const void> isAlive_;  // expires when view_ is deleted, and after each addition
};

#endif  // LIBDATASRC_HIDDENVARIABLES_H_
