// Followed: a dataset, and three followers of its variables: the library's snapshot, a client's
// mirror and PlainComparison. All three must agree.
//
// Link ServerDataManager_objects: the library does not export the snapshot.

#ifndef TESTS_PROPERTY_FOLLOWED_H_
#define TESTS_PROPERTY_FOLLOWED_H_

#include <client/DictionaryMirror.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/svrdmitem.h>
#include <tests/support/PlainComparison.h>

#include <string>
#include <vector>

class Followed {
 public:
  // The dataset starts without variables.
  Followed() = default;

  ORVX_DataSource& Source() { return *item_.DataSource(); }

  // Gives the dataset a new, empty source.
  void ReplaceSource();
  // Makes the next update a bulk replacement.
  void BulkVarMoves();

  // Updates the followers. Returns all their differences, or "". If the source has duplicate
  // identifiers, set `mirrored` to false to ignore the mirror, which rejects such a source.
  std::string Update(bool mirrored = true);

 private:
  static std::string MessagesThatDiffer(const std::vector<support::Said>& expected,
                                        std::vector<support::Said> queued);
  std::string FlagsThatDiffer(bool wasDirty, const std::vector<support::Said>& queued);
  std::string ViewThatDiffers();
  // Applies the messages to the mirror, then returns its differences from the source.
  std::string MirrorThatDiffers();

  SvrDMItem item_{LocallyUniqueID(0, 7), new DataFreeDataSource, nullptr, 0, "", false};
  sdm_internal::Snapshot snapshot_{item_};
  DictionaryMirror mirror_;
  support::PlainComparison plain_;
};

#endif  // TESTS_PROPERTY_FOLLOWED_H_
