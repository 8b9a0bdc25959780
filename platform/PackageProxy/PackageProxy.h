// PackageProxy: the channel to a client package, as the server side sees it.

#ifndef PACKAGEPROXY_PACKAGEPROXY_H_
#define PACKAGEPROXY_PACKAGEPROXY_H_

#include <ServerDataManager/Export.h>

class VSerializable;

// Implemented by the client communication layer. Never destroyed through this interface.
//
// Threads: as the implementation says. Messages about one dataset come one at a time.
class SDM_EXPORT PackageProxy {
 public:
  // Serialises `message`, which is borrowed for the call and never null, and sends it to the client
  // package under the given command number; 1000 carries an error report. Returns the layer's
  // status, 0 for success. May throw; nothing is known then of what the client has received.
  virtual short SendMessage(int command, VSerializable* message) = 0;

 protected:
  // Not virtual: SendMessage is the first slot.
  ~PackageProxy() = default;
};

#endif  // PACKAGEPROXY_PACKAGEPROXY_H_
