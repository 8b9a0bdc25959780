// FrameChannel: a channel to a client that stores the frames until the test delivers them.
//
// Header-only.

#ifndef TESTS_SUPPORT_FRAMECHANNEL_H_
#define TESTS_SUPPORT_FRAMECHANNEL_H_

#include <client/ChangeStreamReader.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>

#include <deque>
#include <functional>
#include <string>

namespace support {

// Threads: SendMessage on the sending thread; `frames` only while nothing is sent.
class FrameChannel final : public PackageProxy {
 public:
  short SendMessage(int command, VSerializable* message) override {
    ++sends;
    lastCommand = command;
    if (failure) return failure();
    VStream stream;
    message->VSInitSerialization(stream);
    frames.emplace_back(stream.Bytes());
    return 0;
  }

  // Removes the oldest stored frame and applies it to `reader`. A frame must be stored.
  ChangeStreamReader::Outcome Deliver(ChangeStreamReader& reader) {
    const std::string frame = frames.front();
    frames.pop_front();
    return reader.Apply(frame);
  }

  std::deque<std::string> frames;
  int sends = 0;
  int lastCommand = 0;
  // If set, SendMessage calls this function instead of storing the frame, and returns its result.
  std::function<short()> failure;
};

}  // namespace support

#endif  // TESTS_SUPPORT_FRAMECHANNEL_H_
