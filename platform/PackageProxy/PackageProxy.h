// PackageProxy: interface of the channel to a client package, which is a separately compiled client
// of the library.

#ifndef PACKAGEPROXY_PACKAGEPROXY_H_
#define PACKAGEPROXY_PACKAGEPROXY_H_

#include <ServerDataManager/Export.h>

class VSerializable;

// Implemented by the client communication layer. Never deleted through this interface.
//
// Threads: defined by the implementation. The sender of an error report or a pass holds the write
// lock of the dataset, so these messages about one dataset are sent one at a time. The sender of a
// snapshot holds only a read lock. So if several streams (ChangeStreamObserver) use one proxy, they
// may send snapshots of one dataset at the same time.
class SDM_EXPORT PackageProxy {
 public:
  // Serialises `message`, which is borrowed for the call and never null, and sends it to the client
  // package with the given command number; 1000 is an error report. Returns a status, 0 for
  // success. If the call throws, the client may or may not have received the message.
  virtual short SendMessage(int command, VSerializable* message) = 0;

 protected:
  // Not virtual, so that SendMessage is the first slot of the virtual table.
  ~PackageProxy() = default;
};

#endif  // PACKAGEPROXY_PACKAGEPROXY_H_
