// RegistryWatch: the roles that watch the registry, each with an observer of datasets that come and
// go.

#ifndef SDMSH_REGISTRYWATCH_H_
#define SDMSH_REGISTRYWATCH_H_

#include "Output.h"

#include <map>
#include <memory>
#include <string>

class ServerDataManager;

namespace sdmsh {

// Threads: one at a time; while a role's thread works, the shell waits for it.
class RegistryWatch {
 public:
  // Borrows both. The output gets a notice for each notification.
  RegistryWatch(ServerDataManager& registry, Output& output);
  RegistryWatch(const RegistryWatch&) = delete;
  RegistryWatch& operator=(const RegistryWatch&) = delete;
  // Unregisters the observers.
  ~RegistryWatch();

  // A role that watches already moves to the end: it is notified last.
  void Begin(const std::string& role);
  // For a role that watches.
  void End(const std::string& role);
  bool IsWatchedBy(const std::string& role) const { return observers_.contains(role); }

 private:
  class RoleObserver;

  ServerDataManager& registry_;
  Output& output_;
  std::map<std::string, std::unique_ptr<RoleObserver>> observers_;
};

}  // namespace sdmsh

#endif  // SDMSH_REGISTRYWATCH_H_
