// RegistryWatch: the roles that watch the registry, and what they are told of datasets that come
// and go.

#ifndef SDMSH_REGISTRYWATCH_H_
#define SDMSH_REGISTRYWATCH_H_

#include "Event.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

class ServerDataManager;

namespace sdmsh {

// Threads: one at a time; while a role's thread works, the shell waits for it.
class RegistryWatch {
 public:
  // Borrows the registry.
  explicit RegistryWatch(ServerDataManager& registry);
  RegistryWatch(const RegistryWatch&) = delete;
  RegistryWatch& operator=(const RegistryWatch&) = delete;
  // Takes the observers off the registry.
  ~RegistryWatch();

  // A role that watches already moves to the end: it is told last.
  void Begin(const std::string& role);
  // Of a role that watches.
  void End(const std::string& role);
  bool IsWatchedBy(const std::string& role) const { return observers_.contains(role); }

  // What roles were told since the last call, in the order in which they were. Throws
  // std::bad_alloc, once, where there was no memory for some of it.
  std::vector<RegistryTold> TakeTold();
  void ForgetLoss() { lost_ = false; }

 private:
  class RoleObserver;

  ServerDataManager& registry_;
  std::map<std::string, std::unique_ptr<RoleObserver>> observers_;
  std::vector<RegistryTold> told_;
  bool lost_ = false;  // whether some of it is missing
};

}  // namespace sdmsh

#endif  // SDMSH_REGISTRYWATCH_H_
