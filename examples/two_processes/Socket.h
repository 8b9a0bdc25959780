// Frames over a stream socket: a length in front of each, and one byte back for each.
//
// Both programs of this example use it. Numbers stand least significant byte first.

#ifndef TWO_PROCESSES_SOCKET_H_
#define TWO_PROCESSES_SOCKET_H_

#include <optional>
#include <string>
#include <string_view>

// What a client answers to a frame.
enum class Answer : char {
  Taken = 'k',
  SnapshotWanted = 's',
};

// Owns one end of a connected socket. Writing to a client that is gone is an error like any other,
// no signal.
class Socket {
 public:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Sets for how long the peer may neither take nor send a byte while we wait for it. Without it
  // there is no limit.
  void GiveUpAfter(int seconds);

  // 0, or errno where the other end did not take it all.
  int SendFrame(std::string_view frame);
  // Nothing at the end of the stream. Throws std::runtime_error where that comes in the middle of a
  // frame, or the connection fails.
  std::optional<std::string> ReceiveFrame();

  int SendAnswer(Answer answer);
  // Nothing at the end of the stream. Throws std::runtime_error where no answer comes in time, or a
  // byte that is no answer.
  std::optional<Answer> ReceiveAnswer();

 private:
  int SendAll(std::string_view bytes);
  std::string ReceiveUpTo(std::size_t size);

  int descriptor_;
};

#endif  // TWO_PROCESSES_SOCKET_H_
