// ServerDataManagerObserver: interface of registry observers, which are notified of datasets
// created and deleted.

#ifndef SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_
#define SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <string>

// The registry borrows an observer from Register to Unregister.
//
// An observer must not create a handle that locks a dataset: the calling thread holds the registry
// lock and, in a creation notice from a notification pass, the write lock of the created dataset.
// The observer may register and unregister dataset observers, even on the created dataset. But if
// the observers of a dataset call the registry, registering on that dataset may deadlock while
// another thread releases a writer of the dataset. If DataSetDeleted deletes a dataset in every
// call, it recurses without end: each deletion calls DataSetDeleted before it removes the dataset.
//
// Threads: called on the thread that adds or deletes the dataset or runs its notification pass,
// with the registry lock held. An observer may call the registry on that thread, even to register,
// unregister, delete or clear. A notice in progress skips unregistered observers; an observer that
// is registered during a notice is first called in the next notice, even if it reuses the address
// of an unregistered observer. An observer must not wait for another thread that needs the
// registry.
class SDM_EXPORT ServerDataManagerObserver {
 public:
  virtual ~ServerDataManagerObserver() = default;

  // The dataset now has a data source. `fileName` is borrowed for the call; empty if the dataset
  // has no saved file, or its file name was suppressed. An exception propagates to the caller of
  // Add, or from a notification pass to the caller of Notify; the dataset stays registered. In a
  // pass at the release of a writer, an exception ends the process. If a dataset gets its first
  // data source from a writer and is deleted before that writer is released, its creation notice
  // comes after its deletion notice; the dataset is then no longer registered.
  virtual void DataSetCreated(const LocallyUniqueID& id, const std::string& fileName) = 0;

  // The dataset is about to be removed, but is still registered. Also called for a dataset that
  // never had a data source and therefore had no creation notice. An exception propagates to the
  // caller that deletes the dataset, which stays registered.
  virtual void DataSetDeleted(const LocallyUniqueID& id) = 0;
};

#endif  // SERVERDATAMANAGER_SERVERDATAMANAGEROBSERVER_H_
