// PackageProxy: interface of the channel to a client package, which is a separately compiled client
// of the library.

#ifndef PACKAGEPROXY_PACKAGEPROXY_H_
#define PACKAGEPROXY_PACKAGEPROXY_H_

#include <ServerDataManager/Export.h>

class VSerializable;

// Implemented by the client communication layer. Never deleted through this interface.
//
// Threads: defined by the implementation. Messages about one dataset are sent one at a time,
// because the sender holds the dataset's write lock.
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
