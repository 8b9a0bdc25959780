// ChangeStreamObserver: the server's end of a stream of change frames about one dataset.
//
//   ChangeStreamObserver stream(proxy);
//   dataset.Register(stream);                    // from here on each pass is sent as one frame
//   ...
//   SvrDMInputDataSource reader(id, false);
//   stream.SendSnapshot(reader);                 // the client asked for it
//   ...
//   if (auto why = stream.TakeOffIfLost(dataset)) Log(*why);   // between two handles

#ifndef CLIENT_SERVER_CHANGESTREAMOBSERVER_H_
#define CLIENT_SERVER_CHANGESTREAMOBSERVER_H_

#include <client/ChangeFrame.h>
#include <client/DictionaryDigest.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <string>

class PackageProxy;
class SvrDMDataset;
class SvrDMInputDataSource;

// Registered with one dataset, like any observer, it sends to one client what ChangeStreamReader
// reads there. Passes are counted from 1 in the order in which this observer is told of them. Each
// frame carries a digest taken of the data source itself, so a client that has the same digest has
// what the server has, however it came to it.
//
// A client that registers with a dataset already in use is told of changes against what others were
// told before, which its reader finds out with the first frame: it asks for a snapshot and goes on.
// The same happens after a pass that its own writer caused (this observer being the writer's
// originator, it is not told): the digest differs with the next pass.
//
// When sending fails, the stream is lost: nothing more is sent. An observer must not leave from
// inside a pass, so it stays registered, and costs the writers nothing more than the comparison,
// until its owner takes it off at the next safe moment.
//
// Threads: the observer's operation as passes come; the others any, but not from inside a pass of
// the dataset. Frames are sent one at a time, so the proxy is used by one thread at a time. The
// owner unregisters before it deletes.
class SDM_EXPORT ChangeStreamObserver final : public SvrDMDataSetObserver {
 public:
  // Borrows `proxy` for its life. Frames go out under kChangeFrameCommand. A proxy that waits for
  // its client lets the dataset's writer wait, so it should give up (fail) in time.
  explicit ChangeStreamObserver(PackageProxy& proxy);
  ~ChangeStreamObserver();
  ChangeStreamObserver(const ChangeStreamObserver&) = delete;
  ChangeStreamObserver& operator=(const ChangeStreamObserver&) = delete;

  // Sends the pass as one frame. Never throws: what is thrown, by the proxy or otherwise, and a
  // status other than 0, lose the stream.
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override;

  // Sends one frame with all that messages say about the dataset, and the number of the last pass:
  // the reader's lock keeps passes away meanwhile. A failure loses the stream, as in a pass.
  //
  // Not beside a thread that sets the dataset's file name.
  //
  // A dataset whose changes nobody was told yet, because it was just added, tells everything with
  // the next pass once more; the client then asks again.
  void SendSnapshot(const SvrDMInputDataSource& reader);

  bool IsLost() const;

  // The safe moment: call it where the caller holds no handle that is being released, in a server's
  // loop before it takes the next, for instance. Where the stream is lost, unregisters it from
  // `dataset` and returns why it was lost, in words; the next call, and that for a stream that is
  // not lost, returns nothing.
  std::optional<std::string> TakeOffIfLost(SvrDMDataset& dataset);

 private:
  // Lets `fill` make a frame, and sends it; a failure loses the stream.
  template <class Fill>
  void Send(Fill fill) noexcept;

  PackageProxy& proxy_;

  // under sending_, which is taken below the dataset's locks
  std::mutex sending_;
  std::uint64_t passNumber_ = 0;
  DictionaryDigester digester_;

  std::exception_ptr why_;  // set before lost_, once
  std::atomic<bool> lost_{false};
  std::atomic<bool> takenOff_{false};
};

#endif  // CLIENT_SERVER_CHANGESTREAMOBSERVER_H_
