// Error reports to a client in another process. The error monitor of a dataset sends reports from
// this process through a socket. The client decodes them and answers with their content.

#include <gtest/gtest.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <libvserial/ForeignProcess.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMDataset.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <tests/support/Dictionary.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <string>
#include <system_error>

using support::Dictionary;

namespace {

using namespace std::string_literals;

// ---------------------------------------------------------------------------------------------
// The connection: a socket that keeps message boundaries

void Send(int socket, const std::string& bytes) {
  if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != -1) return;
  throw std::system_error(errno, std::generic_category(), "the client");
}

// Receives the next message. Returns an empty text if the other end is closed.
std::string Receive(int socket) {
  char first = 0;
  const ssize_t size = recv(socket, &first, 1, MSG_PEEK | MSG_TRUNC);
  std::string bytes(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
  if (!bytes.empty() && recv(socket, bytes.data(), bytes.size(), 0) != size) return "";
  return bytes;
}

// Sends the command number and the serialised message.
class SocketProxy : public PackageProxy {
 public:
  explicit SocketProxy(int socket) : socket_(socket) {}

  short SendMessage(int command, VSerializable* message) override {
    VStream stream;
    std::int32_t number = command;
    stream.Int32(number);
    message->VSInitSerialization(stream);
    Send(socket_, std::string(stream.Bytes()));
    return 0;
  }

 private:
  const int socket_;
};

// ---------------------------------------------------------------------------------------------
// The client

// Decodes a report and formats it as one line that ends with the text of the report.
std::string Understood(const std::string& bytes) {
  VStream stream(bytes);
  std::int32_t command = 0;
  stream.Int32(command);
  const std::string signature = PeekSignature(stream);
  ReportedErrorMsg report;
  report.VSInitSerialization(stream);
  stream.ExpectEnd();
  return std::to_string(command) + " " + signature + " " + report.GetDataSetID().ToString() + " " +
         std::to_string(report.GetText().Severity()) + " " + report.GetText().Text();
}

[[noreturn]] void PlayClient(int socket) {
  int status = 0;
  for (std::string bytes = Receive(socket); !bytes.empty(); bytes = Receive(socket)) {
    try {
      Send(socket, Understood(bytes));
    } catch (const std::exception& error) {
      Send(socket, "refused: "s + error.what());
      status = 1;
    }
  }
  _exit(status);
}

// Runs a client process during the lifetime of this object.
class Client {
 public:
  Client() {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    ours_ = ends[0];
    process_ = fork();
    if (process_ == 0) {
      close(ours_);
      PlayClient(ends[1]);
    }
    close(ends[1]);
  }
  ~Client() {
    close(ours_);
    if (process_ == -1) return;
    EXPECT_EQ(WaitForItsEnd(), 0);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  int Socket() const { return ours_; }

  // Waits for the next answer of the client and returns it.
  std::string NextAnswer() const { return Receive(ours_); }

  void Kill() {
    kill(process_, SIGKILL);
    EXPECT_EQ(WaitForItsEnd(), -1);
    process_ = -1;
  }

 private:
  // Waits for the end of the client. Returns its exit status; -1 if it did not exit normally.
  int WaitForItsEnd() const {
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  int ours_ = -1;
  pid_t process_ = -1;
};

// ---------------------------------------------------------------------------------------------

class ReportToAnotherProcess : public testing::Test {
 protected:
  // The start of the client's answer to a report.
  std::string Beginning(int severity) const {
    return "1000 OrvxMessages::ReportedErrorMsg 3:69 " + std::to_string(severity) + " ";
  }

  ServerDataManager registry_;
  const LocallyUniqueID id_ = [this] {
    registry_.Add(*Dictionary("A").release(), "survey", /*quiet=*/true, LocallyUniqueID(3, 69), 0);
    return LocallyUniqueID(3, 69);
  }();
  SvrDMDataset dataset_{registry_, id_};
  InteractiveErrorMonitor& monitor_ = dataset_.GetErrorMonitor();
};

TEST_F(ReportToAnotherProcess, ArrivesWithTextSeverityAndIdentifier) {
  const Client client;
  SocketProxy proxy(client.Socket());
  dataset_.InitializeErrorMonitor(&proxy);

  monitor_.Report(ErrorText("No room left for Größe.", ErrorText::kError));
  EXPECT_EQ(client.NextAnswer(), Beginning(1) + "No room left for Größe.");

  monitor_.Report(ErrorText("Weights below zero count as zero.", -128));
  EXPECT_EQ(client.NextAnswer(), Beginning(-128) + "Weights below zero count as zero.");
}

TEST_F(ReportToAnotherProcess, ArrivesWithAnyBytesAndLength) {
  const Client client;
  SocketProxy proxy(client.Socket());
  dataset_.InitializeErrorMonitor(&proxy);

  for (const std::string& text : {""s, "\0in\0between"s, "\xFF\xC0"s, std::string(50'000, 'x')}) {
    monitor_.Report(ErrorText(text, 2));
    EXPECT_EQ(client.NextAnswer(), Beginning(2) + text);
  }
}

TEST_F(ReportToAnotherProcess, ArrivesInOrderWithoutDroppedWarnings) {
  const Client client;
  SocketProxy proxy(client.Socket());
  dataset_.InitializeErrorMonitor(&proxy);

  monitor_.DoNotReportWarnings();
  monitor_.Report(ErrorText("a warning kept back", 2));
  monitor_.Report(ErrorText("first", ErrorText::kError));
  monitor_.ReportWarnings();
  monitor_.Report(ErrorText("second", 2));

  EXPECT_EQ(client.NextAnswer(), Beginning(1) + "first");
  EXPECT_EQ(client.NextAnswer(), Beginning(2) + "second");
}

TEST_F(ReportToAnotherProcess, IsRejectedWithAnotherVersion) {
  ReportedErrorMsg report;
  VStream stream;
  std::int32_t command = 1000;
  stream.Int32(command);
  report.VSInitSerialization(stream);
  std::string bytes(stream.Bytes());
  bytes[4 + 34] = '\x02';
  std::string answer;
  {
    Client client;
    Send(client.Socket(), bytes);
    answer = client.NextAnswer();
    client.Kill();
  }

  EXPECT_EQ(answer,
            "refused: at byte 38: expected version 1 of \"OrvxMessages::ReportedErrorMsg\", "
            "found version 2");
}

TEST_F(ReportToAnotherProcess, ToAnExitedProcessThrowsAndTheNextClientReceivesReports) {
  Client lost;
  SocketProxy line(lost.Socket());
  dataset_.InitializeErrorMonitor(&line);
  lost.Kill();

  EXPECT_THROW(monitor_.Report(ErrorText("into the void", ErrorText::kError)), std::system_error);

  const Client next;
  SocketProxy proxy(next.Socket());
  dataset_.InitializeErrorMonitor(&proxy);
  monitor_.Report(ErrorText("heard", ErrorText::kError));
  EXPECT_EQ(next.NextAnswer(), Beginning(1) + "heard");
}

}  // namespace
