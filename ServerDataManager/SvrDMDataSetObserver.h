// SvrDMDataSetObserver: what a client implements to hear of changes to one dataset.
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

// The library borrows an observer from Register to Unregister; the client deletes it afterwards.
class SDM_EXPORT SvrDMDataSetObserver {
 public:
  // A writer of the dataset is being released and something changed. `writer` gives the queued
  // messages, in order (GetNotifications; null where a writer queued null), and the data source;
  // both are borrowed for the call. Must not throw (the process ends), must not register or
  // unregister observers of this dataset and must not take a handle that locks it (both wait for
  // ever).
  //
  // May take handles on other datasets, and with that comes a rule for the whole program: datasets
  // have an order, by identifier for instance, and an observer takes only those behind its own.
  // An observer of A that writes B while one of B writes A waits for ever, on one thread already.
  //
  // Threads: called on the thread that releases the writer, which holds the dataset's write lock
  // and its notification mutex.
  //
  // The first virtual function: clients in other binaries are called through this slot.
  virtual void OnDataSetChanged(SvrDMWriteableDataSource const* writer) = 0;

 protected:
  // Not virtual, so that it takes no slot: nobody deletes an observer through this interface.
  ~SvrDMDataSetObserver() = default;
};

#endif  // SERVERDATAMANAGER_SVRDMDATASETOBSERVER_H_
