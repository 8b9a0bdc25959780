// Frames over a stream socket: each frame is preceded by its length, and answered with one byte.
//
// Both programs of this example use this class. The length has 4 bytes, least significant byte
// first.

#ifndef TWO_PROCESSES_SOCKET_H_
#define TWO_PROCESSES_SOCKET_H_

#include <optional>
#include <string>
#include <string_view>

// The client's answer to a frame.
enum class Answer : char {
  Taken = 'k',
  SnapshotWanted = 's',
};

// Owns one end of a connected socket. Sending on a closed connection fails without raising SIGPIPE.
class Socket {
 public:
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Sets the time limit for each wait for the peer. By default there is no limit.
  void GiveUpAfter(int seconds);

  // Returns 0, or errno if the frame could not be sent completely.
  int SendFrame(std::string_view frame);
  // Returns nothing at the end of the stream. Throws std::runtime_error if the stream ends inside a
  // frame, the connection fails, or the time limit passes.
  std::optional<std::string> ReceiveFrame();

  // Returns 0, or errno if the answer could not be sent.
  int SendAnswer(Answer answer);
  // Returns nothing if the connection is closed or broken. Throws std::runtime_error if the answer
  // is invalid or the time limit passes.
  std::optional<Answer> ReceiveAnswer();

 private:
  int SendAll(std::string_view bytes);
  std::string ReceiveUpTo(std::size_t size);

  int descriptor_;
};

#endif  // TWO_PROCESSES_SOCKET_H_
