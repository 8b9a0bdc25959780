// SvrDMObserverView: the snapshot of a dataset, which is the dictionary that observers were last
// notified of. Comparing it with the data source yields the change messages.

#ifndef SERVERDATAMANAGER_OBSERVERVIEW_H_
#define SERVERDATAMANAGER_OBSERVERVIEW_H_

#include <ServerDataManager/Export.h>

#include <memory>

class SvrDMItem;

// Each item has a view as a member. The view is initially empty; Update compares it with the data
// source.
//
// Threads: the thread that holds the item's write lock; for Update, it also holds the item's
// notification mutex.
class SDM_EXPORT SvrDMObserverView {
 public:
  // Borrows the item, which owns this view. The first Update reports the whole dictionary.
  explicit SvrDMObserverView(SvrDMItem& item);
  ~SvrDMObserverView();
  SvrDMObserverView(const SvrDMObserverView&) = delete;
  SvrDMObserverView& operator=(const SvrDMObserverView&) = delete;

  // With true, the next Update does not compare the variable lists but queues two messages: the
  // first deletes all variables of the view, the second inserts all variables of the data source.
  // That Update then resets the value to false.
  void SetBulkVarMoves(bool bulk);

  // Compares the view with the item's data source (an empty source if the item has none). Queues
  // messages for the differences on the item, in the order of the comparison, and applies each
  // change to the view. A changed variable definition makes the data source dirty.
  //
  // An exception from the data source or from a message propagates; with the bundled platform, it
  // is always std::bad_alloc. Queued messages stay queued, the view has the changes that they
  // describe, and the next Update continues from there. Stops the process if a variable of the view
  // still differs after its change was applied.
  void Update();

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

#endif  // SERVERDATAMANAGER_OBSERVERVIEW_H_
