// ChangeStreamObserver: the server's end of a stream of change frames of one dataset.
//
//   ChangeStreamObserver stream(proxy);
//   dataset.Register(stream);                    // from here on each pass is sent as one frame
//   ...
//   SvrDMInputDataSource reader(id, false);
//   stream.SendSnapshot(reader);                 // the client requested it
//   ...
//   if (auto why = stream.UnregisterIfLost(dataset)) Log(*why);   // not inside a pass

#ifndef CLIENT_SERVER_CHANGESTREAMOBSERVER_H_
#define CLIENT_SERVER_CHANGESTREAMOBSERVER_H_

#include <client/ChangeFrame.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/ThreadSafety.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>

class PackageProxy;
class SvrDMDataset;
class SvrDMInputDataSource;

// A dataset observer, registered with one dataset, that sends the frames for a ChangeStreamReader
// to one client. Passes are numbered from 1 in the order of the notifications. Each frame has a
// digest of the data source itself, so a client with the same digest has the same dictionary as the
// server.
//
// If the dataset has been through a pass before the observer is registered, the first frame has
// only the changes since that pass. The ChangeStreamReader detects this, and the client requests a
// snapshot. The client also requests a snapshot after a change by its own writer: this observer is
// the originator and is not notified, so the mirror lacks the change and does not have the digest
// of the next frame.
//
// If a dataset has several streams, the first stream encodes the pass and computes the digest for
// all of them, unless another observer uses SvrDMWriteableDataSource::PassData. If an observer then
// changes the data source inside the pass, the later streams still send the pass as it was encoded;
// the next pass reports the change.
//
// If sending fails, the stream is lost: nothing more is sent. An observer must not unregister
// inside a pass, so a lost stream stays registered until its owner calls UnregisterIfLost. Until
// then, passes still compare the dictionary for the lost stream.
//
// Threads: OnDataSetChanged runs on the thread of the pass; all other operations may run on any
// thread, but not inside a pass of the dataset. The stream uses the proxy on one thread at a time.
// Unregister the observer before it is destroyed.
class SDM_EXPORT ChangeStreamObserver final : public SvrDMDataSetObserver {
 public:
  // Borrows `proxy` for the lifetime of this observer. Frames are sent with kChangeFrameCommand. A
  // proxy that waits for its client blocks the dataset's writer, so the proxy should fail after a
  // time limit.
  explicit ChangeStreamObserver(PackageProxy& proxy);
  ~ChangeStreamObserver();
  ChangeStreamObserver(const ChangeStreamObserver&) = delete;
  ChangeStreamObserver& operator=(const ChangeStreamObserver&) = delete;

  // Sends the pass as one frame. Never throws: after an exception, or if the proxy returns a status
  // other than 0, the stream is lost.
  void OnDataSetChanged(SvrDMWriteableDataSource const* writer) override;

  // Sends one frame with the whole dictionary and the number of the last pass. The reader's lock
  // excludes passes during the call. After a failure, the stream is lost.
  //
  // Sends the file specification only if it equals the dataset's file name: a pass or SaveDataset
  // that reports a file specification also makes it the file name. For a dataset that is not built
  // on a saved file, a caller may have made the two equal; then only snapshots report it,
  // passes never do.
  //
  // For a dataset that has not been through a notification pass, the next pass reports the whole
  // dictionary again; the client then requests another snapshot.
  void SendSnapshot(const SvrDMInputDataSource& reader);

  bool IsLost() const;

  // If the stream is lost, unregisters it from `dataset` and returns the reason. Returns nothing if
  // the stream is not lost, or if an earlier call has unregistered it. Do not call this function
  // inside a pass; a good place is the main loop of the server.
  std::optional<std::string> UnregisterIfLost(SvrDMDataset& dataset);

 private:
  // Sends a frame that `fill` fills in. After a failure, the stream is lost.
  template <class Fill>
  void Send(Fill fill) noexcept;

  PackageProxy& proxy_;

  sdm_internal::Mutex sending_;  // acquired after the dataset's locks
  std::uint64_t passNumber_ SDM_GUARDED_BY(sending_) = 0;

  std::exception_ptr why_;  // why the stream is lost; set before lost_
  std::atomic<bool> lost_{false};
  std::atomic<bool> unregistered_{false};
};

#endif  // CLIENT_SERVER_CHANGESTREAMOBSERVER_H_
