// Tests the example two_processes, a server and a client. In some tests the example runs to its
// end; in others, its client is killed after a pass, or a process dies inside a frame.

#include <client/DictionaryDigest.h>
#include <client/server/ChangeStreamObserver.h>
#include <examples/two_processes/Socket.h>
#include <libvserial/VSerializable.h>
#include <PackageProxy/PackageProxy.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <tests/support/Datasets.h>
#include <tests/support/MessageBytes.h>
#include <tests/unit/saved_files.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr int kPasses = 5;

struct Played {
  int status;
  std::vector<std::string> lines;

  // Returns the lines that start with `beginning`, in order and without `beginning`.
  std::vector<std::string> Behind(const std::string& beginning) const {
    std::vector<std::string> found;
    for (const std::string& line : lines) {
      if (line.rfind(beginning, 0) == 0) found.push_back(line.substr(beginning.size()));
    }
    return found;
  }
};

Played PlayedWith(int status, const std::string& out) {
  Played played{WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}};
  std::ifstream file(out);
  for (std::string line; std::getline(file, line);) played.lines.push_back(line);
  return played;
}

Played Play(const std::string& arguments, const std::string& program = TWO_PROCESSES) {
  const TemporaryFolder folder;
  const std::string out = folder.Path("out");
  const std::string command = "'" + program + "' " + arguments + " </dev/null >'" + out + "' 2>&1";
  return PlayedWith(std::system(command.c_str()), out);
}

Played PlaySurvey(const std::string& more = "") {
  return Play(std::string("'") + SURVEY + "' " + more);
}

// Returns the digests from the texts "1 <digest>", "2 <digest>" and so on.
std::vector<std::string> DigestsOf(const std::vector<std::string>& passes) {
  std::vector<std::string> digests;
  for (const std::string& pass : passes) {
    const std::string number = std::to_string(digests.size() + 1) + " ";
    EXPECT_EQ(pass.substr(0, number.size()), number);
    digests.push_back(pass.substr(number.size()));
  }
  return digests;
}

std::ptrdiff_t DigestsBeforeTheLoss(const Played& played) {
  const auto lost = std::find_if(played.lines.begin(), played.lines.end(), [](const auto& line) {
    return line.rfind("server: the client is lost", 0) == 0;
  });
  return std::count_if(played.lines.begin(), lost,
                       [](const auto& line) { return line.rfind("server: digest ", 0) == 0; });
}

TEST(TwoProcesses, PrintTheSameDigestAfterEveryPass) {
  const Played played = PlaySurvey();
  EXPECT_EQ(played.status, 0);
  const std::vector<std::string> server = played.Behind("server: digest ");
  EXPECT_THAT(server, SizeIs(kPasses));
  EXPECT_EQ(DigestsOf(played.Behind("client: pass ")), server);
  EXPECT_EQ(played.Behind("server: the client is lost"), std::vector<std::string>());
}

TEST(TwoProcesses, ALateClientRequestsOneSnapshot) {
  EXPECT_THAT(PlaySurvey().Behind("client: requests a snapshot"), SizeIs(1));
}

TEST(TwoProcesses, TheClientPrintsTheServersDictionary) {
  const Played played = PlaySurvey();
  EXPECT_THAT(played.Behind("client: \""),
              ElementsAre("National election study\", 944 cases, weight popul, filter -, "
                          "not saved"));
  EXPECT_THAT(played.Behind("client: 10 "), ElementsAre("vote       Expected vote"));
  EXPECT_THAT(played.Behind("client:  5 "), ElementsAre("ageGroup   Age in groups of ten years"));
}

TEST(TwoProcesses, AKilledClientIsReportedOnceAndTheServerContinues) {
  const std::vector<std::string> digests = PlaySurvey().Behind("server: digest ");
  for (int passes = 0; passes < kPasses; ++passes) {
    const Played played = PlaySurvey(std::to_string(passes));
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.Behind("client: pass "), SizeIs(passes));
    EXPECT_THAT(played.Behind("server: the client is lost"), SizeIs(1)) << passes << " passes";
    EXPECT_EQ(played.Behind("server: digest "), digests) << passes << " passes";
    EXPECT_THAT(played.lines.back(), "server: 7 writes made");
    // The loss is reported after the digest of the last pass that the client received.
    EXPECT_EQ(DigestsBeforeTheLoss(played), passes);
  }
}

TEST(TwoProcesses, AnInvalidNumberOfPassesIsAnError) {
  for (const char* wrong : {"-1", "5", "two", "''"}) {
    const Played played = PlaySurvey(wrong);
    EXPECT_EQ(played.status, 2) << wrong;
    ASSERT_THAT(played.lines, SizeIs(1)) << wrong;
    EXPECT_THAT(played.lines[0], HasSubstr("0 to 4"));
  }
}

TEST(TwoProcesses, AnInvalidFileIsAnError) {
  const Played played = Play("/no/such/file.tsv");
  EXPECT_EQ(played.status, 1);
  ASSERT_THAT(played.lines, SizeIs(1));
  EXPECT_THAT(played.lines[0], HasSubstr("/no/such/file.tsv"));
}

// --- other clients ---

// Runs the example's server with a shell script as the client. The standard input of the script is
// the socket. If the server runs for a minute, it is killed, and the status is 137.
Played PlayWithClient(const std::string& script, int secondsToWait) {
  const TemporaryFolder folder;
  const std::string server = folder.Path("server");
  std::filesystem::copy_file(TWO_PROCESSES, server);
  std::ofstream(server + "_client") << "#!/bin/sh\n" << script << '\n';
  std::filesystem::permissions(server + "_client", std::filesystem::perms::owner_all);
  std::ofstream(folder.Path("run")) << "TWO_PROCESSES_WAIT=" << secondsToWait
                                    << " exec timeout -s KILL 60 '" << server << "' \"$@\"\n";
  return Play("'" + folder.Path("run") + "' '" + SURVEY + "'", "/bin/sh");
}

void ExpectError(const Played& played, const std::string& error) {
  EXPECT_EQ(played.status, 1);
  EXPECT_EQ(played.Behind("two_processes: "), std::vector<std::string>{error});
}

TEST(TwoProcesses, AStoppedClientIsAnError) {
  const Played played = PlayWithClient("kill -STOP $$", /*secondsToWait=*/1);

  ExpectError(played, "the client did not answer in time");
  EXPECT_THAT(played.Behind("server: digest "), SizeIs(0));
}

TEST(TwoProcesses, AClientStoppedAfterItsLastAnswerIsAnError) {
  const Played played = PlayWithClient("printf kkkkk >&0; kill -STOP $$", /*secondsToWait=*/3);

  ExpectError(played, "the client did not exit in time");
  EXPECT_THAT(played.Behind("server: digest "), SizeIs(kPasses));
}

TEST(TwoProcesses, AClientThatDoesNotExitIsAnError) {
  ExpectError(PlayWithClient("exec </dev/null; kill -STOP $$", /*secondsToWait=*/3),
              "the client did not exit in time");
}

TEST(TwoProcesses, AnInvalidAnswerIsAnError) {
  const Played played = PlayWithClient("printf kx >&0; exec cat >/dev/null", /*secondsToWait=*/30);

  ExpectError(played, "invalid answer from the client: byte 120");
  EXPECT_THAT(played.Behind("server: digest "), SizeIs(1));
}

TEST(TwoProcesses, ARejectedSnapshotIsAnError) {
  ExpectError(PlayWithClient("printf ss >&0; exec cat >/dev/null", /*secondsToWait=*/30),
              "the client rejected its snapshot");
}

TEST(TwoProcesses, AnInvalidTimeLimitIsAnError) {
  for (const char* wrong : {"0", "-1", "x", "1s", "100000", "''"}) {
    const Played played =
        Play(std::string("-c \"TWO_PROCESSES_WAIT=") + wrong + " '" + TWO_PROCESSES + "' x.csv\"",
             "/bin/sh");
    EXPECT_EQ(played.status, 2) << wrong;
    EXPECT_THAT(played.lines, ElementsAre(HasSubstr("TWO_PROCESSES_WAIT"))) << wrong;
  }
}

// The client exits after it has read the first `bytes` bytes of the first frame. The server has
// already sent this frame, so the next write detects the loss.
TEST(TwoProcesses, AClientThatExitsInsideAFrameIsReportedOnce) {
  const std::vector<std::string> digests = PlaySurvey().Behind("server: digest ");
  for (const char* bytes : {"2", "4", "100"}) {
    const Played played =
        PlayWithClient(std::string("exec head -c ") + bytes + " >/dev/null", /*secondsToWait=*/30);

    EXPECT_EQ(played.status, 0);
    EXPECT_EQ(played.Behind("server: digest "), digests) << bytes << " bytes";
    EXPECT_THAT(played.Behind("server: the client is lost"), SizeIs(1)) << bytes << " bytes";
    EXPECT_EQ(DigestsBeforeTheLoss(played), 1) << bytes << " bytes";
    EXPECT_EQ(played.lines.back(), "server: 7 writes made");
  }
}

// --- inside a frame ---

// A socket pair. Both ends close on exec.
struct Connection {
  Connection() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0); }

  int ends[2];  // the end of the server, then the end of the client
};

class ForkedProcess {
 public:
  explicit ForkedProcess(const std::function<void()>& act) : process_(fork()) {
    if (process_ != 0) return;
    act();
    _exit(0);
  }
  ~ForkedProcess() { Wait(); }
  ForkedProcess(const ForkedProcess&) = delete;
  ForkedProcess& operator=(const ForkedProcess&) = delete;

  // Waits for the end of the process. Returns the status from waitpid.
  int Wait() {
    if (!ended_) waitpid(process_, &ended_.emplace(), 0);
    return *ended_;
  }

 private:
  const pid_t process_;
  std::optional<int> ended_;
};

// The example's client. Its server is this process or a process forked from this process.
class ClientProgram {
 public:
  explicit ClientProgram(LocallyUniqueID dataset) {
    server_->GiveUpAfter(/*seconds=*/30);
    const Socket clientsEnd(connection_.ends[1]);
    std::string name = TWO_PROCESSES_CLIENT;
    std::string word = std::to_string(dataset.Word());
    char* const arguments[] = {name.data(), word.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, connection_.ends[1], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_.c_str(), O_WRONLY | O_CREAT,
                                     S_IRUSR | S_IWUSR);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&process_, name.c_str(), &actions, nullptr, arguments, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
  }
  ClientProgram(const ClientProgram&) = delete;
  ClientProgram& operator=(const ClientProgram&) = delete;

  Socket& ServersEnd() { return *server_; }
  int ServersDescriptor() const { return connection_.ends[0]; }

  // Closes this process's end of the connection.
  void LetGo() { server_.reset(); }

  // Closes the connection and waits for the program to exit. Call it once.
  Played End() {
    LetGo();
    int status = 0;
    waitpid(process_, &status, 0);
    return PlayedWith(status, out_);
  }

 private:
  const TemporaryFolder folder_;
  const std::string out_ = folder_.Path("out");
  const Connection connection_;
  std::unique_ptr<Socket> server_ = std::make_unique<Socket>(connection_.ends[0]);
  pid_t process_ = -1;
};

// Sends frames and records the client's last answer.
class Channel final : public PackageProxy {
 public:
  explicit Channel(Socket& socket) : socket_(socket) {}

  short SendMessage(int, VSerializable* message) override {
    const int error = socket_.SendFrame(BytesOf(*message));
    answer = error == 0 ? socket_.ReceiveAnswer() : std::nullopt;
    return static_cast<short>(error);
  }

  std::optional<Answer> answer;

 private:
  Socket& socket_;
};

// Sends `wholeFrames` complete frames, then half a frame, and kills the process that sends.
class DyingChannel final : public PackageProxy {
 public:
  DyingChannel(ClientProgram& client, int wholeFrames)
      : whole_(client.ServersEnd()), descriptor_(client.ServersDescriptor()), left_(wholeFrames) {}

  short SendMessage(int command, VSerializable* message) override {
    if (left_-- > 0) return whole_.SendMessage(command, message);
    const std::string frame = BytesOf(*message);
    std::string part;
    for (int i = 0; i < 4; ++i) part += static_cast<char>(frame.size() >> 8 * i & 0xFF);
    part += frame.substr(0, frame.size() / 2);
    send(descriptor_, part.data(), part.size(), MSG_NOSIGNAL);
    raise(SIGKILL);
    return 0;
  }

 private:
  Channel whole_;
  const int descriptor_;
  int left_;
};

class MidFrame : public testing::Test {
 protected:
  void Label(const std::string& label) {
    support::Write(registry_, id_,
                   [&](auto& writer) { writer.GetDataSource()->SetLabel(label.c_str()); });
  }
  std::string Digest() const {
    const SvrDMInputDataSource reader(registry_, id_, /*tryOnly=*/false);
    return DigestOf(**reader).AsText();
  }

  mutable ServerDataManager registry_;
  const LocallyUniqueID id_ = support::AddDataset(registry_, "A B C");
  SvrDMDataset dataset_{registry_, id_};
};

// The frame is larger than the socket buffer, so the writer that sends it waits for the client.
TEST_F(MidFrame, AClientThatDiesIsLostAndANewClientGetsASnapshot) {
  const std::string large(8 << 20, 'x');
  {
    const Connection connection;
    auto clientsEnd = std::make_unique<Socket>(connection.ends[1]);
    Socket serversEnd(connection.ends[0]);
    serversEnd.GiveUpAfter(/*seconds=*/30);
    ForkedProcess client([&] {
      char part[1000];
      const ssize_t size = recv(connection.ends[1], part, sizeof(part), MSG_WAITALL);
      _exit(size == sizeof(part) ? 0 : 1);
    });
    clientsEnd.reset();
    Channel channel(serversEnd);
    ChangeStreamObserver stream(channel);
    dataset_.Register(stream);

    Label(large);

    EXPECT_EQ(client.Wait(), 0);
    EXPECT_TRUE(stream.IsLost());
    const std::optional<std::string> why = stream.UnregisterIfLost(dataset_);
    ASSERT_TRUE(why);
    EXPECT_THAT(*why, HasSubstr("the channel returned status "));
  }

  ClientProgram client(id_);
  Channel channel(client.ServersEnd());
  ChangeStreamObserver stream(channel);
  dataset_.Register(stream);
  std::vector<std::string> passes;

  Label("after the loss");
  EXPECT_EQ(channel.answer, Answer::SnapshotWanted);
  stream.SendSnapshot(SvrDMInputDataSource(registry_, id_, /*tryOnly=*/false));
  EXPECT_EQ(channel.answer, Answer::Taken);
  passes.push_back("1 " + Digest());
  Label("at last");
  EXPECT_EQ(channel.answer, Answer::Taken);
  passes.push_back("2 " + Digest());
  dataset_.Unregister(stream);

  const Played played = client.End();
  EXPECT_EQ(played.status, 0);
  EXPECT_EQ(played.Behind("client: pass "), passes);
  EXPECT_THAT(played.Behind("client: requests a snapshot"), SizeIs(1));
  EXPECT_THAT(played.Behind("client: \"at last\", 0 cases"), SizeIs(1));
}

// The server is a fork of this process. This process makes the same writes as the server, so it
// knows the digests.
TEST_F(MidFrame, AServerThatDiesLeavesTheClientWithTheLastCompletePass) {
  ClientProgram client(id_);
  ForkedProcess server([&] {
    DyingChannel channel(client, /*wholeFrames=*/2);
    ChangeStreamObserver stream(channel);
    dataset_.Register(stream);
    Label("first");
    Label("second");
    Label("third");
  });
  client.LetGo();
  const int status = server.Wait();
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);

  std::vector<std::string> passes;
  Label("first");
  passes.push_back("1 " + Digest());
  Label("second");
  passes.push_back("2 " + Digest());

  const Played played = client.End();
  EXPECT_EQ(played.status, 1);
  EXPECT_THAT(played.Behind("client: the stream ended inside a frame"), SizeIs(1));
  EXPECT_EQ(played.Behind("client: pass "), passes);
  EXPECT_THAT(played.Behind("client: requests a snapshot"), SizeIs(0));
  EXPECT_THAT(played.Behind("client: \"second\", 0 cases"), SizeIs(1));
}

}  // namespace
