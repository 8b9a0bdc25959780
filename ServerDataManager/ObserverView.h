// SvrDMObserverView: a dataset's dictionary as its observers were last told about it. Comparing it
// with the data source yields the change messages.

#ifndef SERVERDATAMANAGER_OBSERVERVIEW_H_
#define SERVERDATAMANAGER_OBSERVERVIEW_H_

#include <ServerDataManager/Export.h>

#include <memory>

class SvrDMItem;

// Member of an item: built empty with it, compared in each notification pass, gone with it. Neither
// copied nor assigned.
//
// Threads: not safe; Update and SetBulkVarMoves run on the thread that holds the item's write lock,
// Update with its notification mutex held as well.
class SDM_EXPORT SvrDMObserverView {
 public:
  // Borrows the item, which owns this view. Nothing has been told yet, so the first Update reports
  // the whole dictionary.
  explicit SvrDMObserverView(SvrDMItem& item);
  ~SvrDMObserverView();
  SvrDMObserverView(const SvrDMObserverView&) = delete;
  SvrDMObserverView& operator=(const SvrDMObserverView&) = delete;

  // With true, the next Update replaces the whole variable list by two messages, one that deletes
  // all and one that inserts all, instead of comparing it. That Update clears the request.
  void SetBulkVarMoves(bool bulk);

  // Queues on the item one message for each difference between the view and the item's data source
  // (an empty one where the item has none), in the order of the comparison, and makes the same
  // changes to the view. A changed definition of a variable makes the data source dirty.
  //
  // An exception from the data source or from a message (only memory running out, with ours) passes
  // on. What was queued stays queued, the view has exactly the changes that it describes, and the
  // next Update goes on from there. Stops the process where the view does not follow a change made
  // to it.
  void Update();

 private:
  struct Data;
  class Comparison;
  std::unique_ptr<Data> data_;
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEW_H_
