// SvrDMDataSetObserver: interface of dataset observers, which are notified of changes to one
// dataset.
//
//   class Editor : public SvrDMDataSetObserver, DataSetMsgVisitor {
//     void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
//       for (DataSetMsg* message : writer->GetNotifications()) {
//         if (message != nullptr) message->Accept(*this);
//       }
//     }
//     ...
//   };

#ifndef SERVERDATAMANAGER_SVRDMDATASETOBSERVER_H_
#define SERVERDATAMANAGER_SVRDMDATASETOBSERVER_H_

#include <ServerDataManager/Export.h>

class SvrDMWriteableDataSource;

// The library borrows an observer from Register to Unregister and never deletes it.
class SDM_EXPORT SvrDMDataSetObserver {
 public:
  // Called when a notification pass has messages to deliver. `writer` gives access to the queued
  // messages, in order (GetNotifications; an entry is null if a writer queued null), and to the
  // data source; the messages and the source are borrowed for the call. Must not throw: an
  // exception ends the process if a writer is being destroyed. Must not register or unregister
  // observers of this dataset, or create a handle that locks the dataset: each of these calls
  // deadlocks.
  //
  // May lock other datasets, but only in one order for the whole program: for example, only
  // datasets with a higher identifier. An observer of dataset A that writes dataset B, and an
  // observer of B that writes A, deadlock, even on one thread.
  //
  // Threads: called on the thread that runs the notification pass, which holds the dataset's write
  // lock and its notification mutex.
  //
  // Must stay the first virtual function: other binaries implement this slot.
  virtual void OnDataSetChanged(SvrDMWriteableDataSource const* writer) = 0;

 protected:
  // Not virtual, so that the vtable has no slot for it: observers are not deleted through this
  // interface.
  ~SvrDMDataSetObserver() = default;
};

#endif  // SERVERDATAMANAGER_SVRDMDATASETOBSERVER_H_
