// Tests a change stream while several threads write and others send snapshots of the same dataset.

#include <client/ChangeStreamReader.h>
#include <client/server/ChangeStreamObserver.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <PackageProxy/PackageProxy.h>
#include <tests/support/Datasets.h>

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using Outcome = ChangeStreamReader::Outcome;

constexpr int kStreamWriters = 2;
constexpr int kWrites = 100;
constexpr int kSenders = 2;
constexpr int kSnapshots = 50;

// A channel that detects concurrent calls.
class BusyChannel final : public PackageProxy {
 public:
  short SendMessage(int, VSerializable* message) override {
    if (inside.fetch_add(1) != 0) overlapped = true;
    VStream stream;
    message->VSInitSerialization(stream);
    frames.emplace_back(stream.Bytes());
    inside.fetch_sub(1);
    return fails ? short{32} : short{0};
  }

  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  bool fails = false;
  // Has no lock, so that the thread sanitizer detects concurrent calls.
  std::vector<std::string> frames;
};

class ChangeStreamThreads : public testing::Test {
 protected:
  ChangeStreamThreads() { SvrDMDataset(registry, id).Register(stream); }
  ~ChangeStreamThreads() override { SvrDMDataset(registry, id).Unregister(stream); }

  void WriteOften() {
    for (int i = 0; i < kWrites; ++i) {
      SvrDMWriteableDataSource writer(registry, id, /*tryOnly=*/false, nullptr);
      writer->MakeVariable(ORVX_Variable(ORVX_Variable::NextID(), "new"), nullptr);
      writer->SetLabel(std::to_string(i).c_str());
      writer.IncrementCaseSequence();
    }
  }
  void SendSnapshots() {
    for (int i = 0; i < kSnapshots; ++i) {
      const SvrDMInputDataSource reader(registry, id, /*tryOnly=*/false);
      stream.SendSnapshot(reader);
    }
  }

  // Runs all writers and senders on threads of their own, and `beside` on this thread at the same
  // time.
  template <class Beside>
  void Together(Beside beside) {
    std::latch start(kStreamWriters + kSenders + 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < kStreamWriters; ++i) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        WriteOften();
      });
    }
    for (int i = 0; i < kSenders; ++i) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        SendSnapshots();
      });
    }
    start.arrive_and_wait();
    beside();
    for (std::thread& thread : threads) thread.join();
  }

  ServerDataManager registry;
  LocallyUniqueID id = support::AddDataset(registry, "A B", /*quiet=*/true);
  BusyChannel channel;
  ChangeStreamObserver stream{channel};
};

// The first pass inserts all variables. A reader that has these variables from a snapshot would
// reject the first pass, so the test makes this pass before any thread sends a snapshot.
TEST_F(ChangeStreamThreads, FramesAreSentOneAtATimeInAnOrderThatAReaderAccepts) {
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) { writer->SetLabel("first"); });

  Together([] {});

  EXPECT_FALSE(channel.overlapped);
  EXPECT_EQ(channel.frames.size(), 1U + kStreamWriters * kWrites + kSenders * kSnapshots);
  ChangeStreamReader reader(id);
  for (const std::string& frame : channel.frames) {
    ASSERT_EQ(reader.Apply(frame), Outcome::Applied) << reader.SnapshotReason();
  }
  EXPECT_EQ(reader.PassNumber(), 1U + kStreamWriters * kWrites);
  EXPECT_EQ(reader.CaseSequence(), unsigned{kStreamWriters * kWrites});
}

TEST_F(ChangeStreamThreads, ALostStreamIsUnregisteredWhileOthersWrite) {
  SvrDMDataset dataset(registry, id);
  int reports = 0;
  channel.fails = true;
  Together([&] {
    while (!stream.UnregisterIfLost(dataset)) std::this_thread::yield();
    ++reports;
    if (stream.UnregisterIfLost(dataset)) ++reports;
  });
  EXPECT_EQ(reports, 1);
  EXPECT_TRUE(stream.IsLost());
  const std::size_t sent = channel.frames.size();
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) { writer->SetLabel("last"); });
  EXPECT_EQ(channel.frames.size(), sent);
}

}  // namespace
