// ServerDataManagerObserver: what other parts of the back end implement to hear of datasets
// appearing and disappearing.

#ifndef SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_
#define SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>

// The registry borrows an observer from Register to Unregister.
//
// A dataset may be told as created by a notification pass: that thread holds the dataset's write
// lock, so an observer takes no handle that locks it. It may register and unregister observers of
// datasets, of the created one for instance, to follow every dataset; not on a dataset whose
// observers call the registry while another thread releases a writer on it, where the two would
// wait for each other for ever. It does not delete a dataset from inside every notice of that
// dataset's deletion, which would never end.
//
// Threads: called on the thread that adds, announces or deletes the dataset, with the registry lock
// held. An observer may call the registry on that thread, also to register, unregister, delete or
// clear: a notice under way skips observers that have left, and whoever is registered meanwhile,
// at the address of one that left too, hears from the next notice on. It must not wait for another
// thread that needs the registry.
class SDM_EXPORT ServerDataManagerObserver {
 public:
  virtual ~ServerDataManagerObserver() = default;

  // A dataset is registered and has a data source. `fileName` is borrowed for the call; empty for a
  // dataset without a saved file or whose file name another dataset bears. An exception passes on
  // to whoever added the dataset, which stays registered. A dataset that got its first data source
  // from a writer, and was deleted while that writer was at work, is told as created only then:
  // after its deletion.
  virtual void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) = 0;

  // A dataset is about to leave the registry, in which it is still found. Also called for a dataset
  // that was never announced as created, because it never had a data source. An exception passes on
  // to whoever deleted the dataset, which stays registered.
  virtual void DataSetDeleted(const LocallyUniqueID& id) = 0;
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_
