// A server and a client in two processes. The server writes to a dataset, the client mirrors its
// dictionary from change frames, and both print the digest after every pass.
//
//   two_processes examples/data/survey.tsv              the client runs to the end
//   two_processes examples/data/survey.tsv 3            the client is killed after three passes
//
// The client joins after two writes, so it cannot apply its first frame and requests a snapshot.
//
// The server waits at most 30 seconds for the client, or the number of seconds in the environment
// variable TWO_PROCESSES_WAIT. If the client takes longer, or answers with an unknown byte, the
// server kills it and exits with status 1.

#include "Socket.h"

#include <client/server/ChangeStreamObserver.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

// --- the client process and the channel to it ---

class ClientProcess final : public PackageProxy {
 public:
  // Starts `program` with one end of a socket pair as its standard input. `seconds` limits each
  // wait for the process.
  ClientProcess(const std::string& program, LocallyUniqueID dataset, int seconds);
  // Kills the process if it is still running.
  ~ClientProcess();

  short SendMessage(int command, VSerializable* message) override;
  std::optional<Answer> ReceiveAnswer() { return socket_->ReceiveAnswer(); }
  void Kill();
  // Ends the stream and waits for the process to exit. Throws if the process does not exit in time.
  void End();

 private:
  std::unique_ptr<Socket> socket_;
  const int seconds_;
  pid_t process_ = -1;
};

ClientProcess::ClientProcess(const std::string& program, LocallyUniqueID dataset, int seconds)
    : seconds_(seconds) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::runtime_error("cannot create a socket pair");
  }
  socket_ = std::make_unique<Socket>(ends[0]);
  socket_->GiveUpAfter(seconds);
  const Socket clientsEnd(ends[1]);

  std::string word = std::to_string(dataset.Word());
  std::string name = program;
  char* const arguments[] = {name.data(), word.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
  const int error = posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + program);
}

ClientProcess::~ClientProcess() {
  Kill();
  waitpid(process_, nullptr, 0);
}

short ClientProcess::SendMessage(int, VSerializable* message) {
  VStream bytes;
  if (!message->VSInitSerialization(bytes)) return -1;
  return static_cast<short>(socket_->SendFrame(bytes.Bytes()));
}

// Returns when the process has ended. The destructor reaps it.
void ClientProcess::Kill() {
  kill(process_, SIGKILL);
  siginfo_t gone;
  waitid(P_PID, static_cast<id_t>(process_), &gone, WEXITED | WNOWAIT);
}

void ClientProcess::End() {
  socket_.reset();
  const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
  if (descriptor == -1) throw std::runtime_error("cannot wait for the client to exit");
  pollfd end = {descriptor, POLLIN, 0};
  const int ended = poll(&end, 1, seconds_ * 1000);
  close(descriptor);

  if (ended != 1) throw std::runtime_error("the client did not exit in time");
}

// --- the writes ---

int Position(const ORVX_DataSource& source, const std::string& name) {
  for (int i = 0; i < source.ColumnCount(); ++i) {
    if (source.GetVariable(i).GetName() == name) return i;
  }
  throw std::runtime_error("no variable " + name);
}

void SetLabel(ORVX_DataSource& source) {
  source.SetLabel("National election study");
}

void InsertVariable(ORVX_DataSource& source) {
  ORVX_Variable group(ORVX_Variable::NextID(), "ageGroup");
  group.SetLabel("Age in groups of ten years");
  source.InsertVariable(Position(source, "age") + 1, group);
}

void RenameVariable(ORVX_DataSource& source) {
  source.GetVariable(Position(source, "selfLR")).SetName("leftRight");
}

void WeightAndFilter(ORVX_DataSource& source) {
  source.SetWeightVar(Position(source, "popul"));
  source.SetFilterVar(Position(source, "vote"));
}

void SplitAndGroup(ORVX_DataSource& source) {
  const int split[] = {Position(source, "educ")};
  source.SetSplit(1, split, /*separate=*/true);
  VariableSetImpl parties;
  parties.name = "parties";
  for (const char* name : {"PID", "ClinLR", "DoleLR"}) {
    parties.members.push_back(source.GetVariable(Position(source, name)).GetID());
  }
  source.SetVariableSets({parties});
}

void DeleteOneAndMoveOne(ORVX_DataSource& source) {
  const int news = Position(source, "TVnews");
  source.DeleteVariables(news, news);
  const int income = Position(source, "income");
  const ORVX_Variable moved = source.GetVariable(income);
  source.DeleteVariables(income, income);
  source.InsertVariable(0, moved);
}

// Deleting the weight variable also removes the weight, so the weight is set again.
void SortByName(ORVX_DataSource& source) {
  std::vector<ORVX_Variable> variables;
  for (int i = 0; i < source.ColumnCount(); ++i) variables.push_back(source.GetVariable(i));
  std::sort(variables.begin(), variables.end(),
            [](const auto& a, const auto& b) { return a.GetName() < b.GetName(); });
  source.DeleteVariables(0, source.ColumnCount() - 1);
  for (const ORVX_Variable& variable : variables) source.MakeVariable(variable, nullptr);
  source.SetWeightVar(Position(source, "popul"));
}

struct Write {
  const char* what;
  void (*make)(ORVX_DataSource& source);
  bool inBulk = false;
};

constexpr Write kWrites[] = {
    {"set a label", SetLabel},
    {"insert a variable", InsertVariable},
    // The client joins here.
    {"rename a variable", RenameVariable},
    {"set weight and filter", WeightAndFilter},
    {"set a split and a variable set", SplitAndGroup},
    {"delete a variable, move another to the front", DeleteOneAndMoveOne},
    {"sort all variables by name", SortByName, /*inBulk=*/true},
};
constexpr int kWritesBeforeTheClient = 2;

// --- the server ---

// Registered from the start: without an observer, the first two writes would cause no pass. Then
// the client's first frame would have the whole dictionary, and the client would request no
// snapshot.
struct Log : SvrDMDataSetObserver {
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override {
    std::printf("server: %zu message(s)\n", writer->GetNotifications().size());
  }
};

class Server {
 public:
  Server(const std::string& dataFile, int secondsForTheClient)
      : secondsForTheClient_(secondsForTheClient),
        dataset_(ServerDataManager::GetInstance().Add(SystemFileDataSource::Open(dataFile),
                                                      dataFile, /*quiet=*/false)) {
    dataset_.Register(log_);
  }
  ~Server() {
    dataset_.Unregister(log_);
    if (stream_) dataset_.Unregister(*stream_);
  }

  void Make(const Write& write);
  void StartClient(const std::string& program);
  void KillClient() { client_->Kill(); }
  void EndClient() { client_->End(); }

 private:
  void WaitForClient();
  DictionaryDigest Digest() const;

  const int secondsForTheClient_;
  Log log_;
  SvrDMDataset dataset_;
  // stream_ borrows client_, so stream_ is declared last and destroyed first.
  std::unique_ptr<ClientProcess> client_;
  std::unique_ptr<ChangeStreamObserver> stream_;
};

void Server::Make(const Write& write) {
  std::printf("server: %s\n", write.what);
  std::fflush(stdout);  // before the client prints to the same standard output
  {
    SvrDMWriteableDataSource writer(dataset_.GetDataSetID(), /*tryOnly=*/false, nullptr);
    write.make(**writer);
    if (write.inBulk) writer.BulkVarMoves();
    writer.IncrementCaseSequence();
  }  // releasing the writer sends the frame
  if (stream_ == nullptr) return;
  WaitForClient();
  // The pass is over, so a lost stream may be unregistered.
  if (const auto why = stream_->UnregisterIfLost(dataset_)) {
    std::printf("server: the client is lost, %s\n", why->c_str());
  }
  std::printf("server: digest %s\n", Digest().AsText().c_str());
}

// Waits until the client has applied the frame or the requested snapshot, or has exited.
void Server::WaitForClient() {
  if (stream_->IsLost() || client_->ReceiveAnswer() != Answer::SnapshotWanted) return;
  {
    const SvrDMInputDataSource reader(dataset_.GetDataSetID(), /*tryOnly=*/false);
    stream_->SendSnapshot(reader);
  }
  if (!stream_->IsLost() && client_->ReceiveAnswer() == Answer::SnapshotWanted) {
    throw std::runtime_error("the client rejected its snapshot");
  }
}

DictionaryDigest Server::Digest() const {
  const SvrDMInputDataSource reader(dataset_.GetDataSetID(), /*tryOnly=*/false);
  return DigestOf(**reader);
}

void Server::StartClient(const std::string& program) {
  client_ = std::make_unique<ClientProcess>(program, dataset_.GetDataSetID(), secondsForTheClient_);
  stream_ = std::make_unique<ChangeStreamObserver>(*client_);
  dataset_.Register(*stream_);
}

std::string ClientProgram() {
  return std::filesystem::read_symlink("/proc/self/exe").string() + "_client";
}

// Kills the client after `passesOfTheClient` passes; never if `passesOfTheClient` is empty.
void Run(const std::string& dataFile, std::optional<int> passesOfTheClient,
         int secondsForTheClient) {
  Server server(dataFile, secondsForTheClient);
  int writes = 0;
  for (const Write& write : kWrites) {
    if (writes == kWritesBeforeTheClient) server.StartClient(ClientProgram());
    if (passesOfTheClient && writes == kWritesBeforeTheClient + *passesOfTheClient) {
      server.KillClient();
    }
    server.Make(write);
    ++writes;
  }
  std::printf("server: %d writes made\n", writes);
  std::fflush(stdout);
  server.EndClient();
}

constexpr int kPassesOfTheClient = static_cast<int>(std::size(kWrites)) - kWritesBeforeTheClient;

// Parses a number from `least` to `most`; returns nullopt for any other text.
std::optional<int> NumberIn(std::string_view text, int least, int most) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < least || number > most) return std::nullopt;
  return number;
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<int> passes =
      argc == 3 ? NumberIn(argv[2], 0, kPassesOfTheClient - 1) : std::nullopt;
  if (argc < 2 || argc > 3 || (argc == 3 && !passes)) {
    std::fprintf(stderr, "usage: %s DATA_FILE [PASSES_UNTIL_THE_CLIENT_IS_KILLED: 0 to %d]\n",
                 argv[0], kPassesOfTheClient - 1);
    return 2;
  }
  const char* const wait = std::getenv("TWO_PROCESSES_WAIT");
  const std::optional<int> seconds = NumberIn(wait != nullptr ? wait : "30", 1, 999);
  if (!seconds) {
    std::fprintf(stderr, "%s: TWO_PROCESSES_WAIT must be 1 to 999 seconds\n", argv[0]);
    return 2;
  }
  try {
    Run(argv[1], passes, *seconds);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "two_processes: %s\n", error.what());
    return 1;
  }
}
