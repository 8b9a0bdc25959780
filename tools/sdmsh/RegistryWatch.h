// RegistryWatch: the callers that watch the registry, each with a registry observer.

#ifndef SDMSH_REGISTRYWATCH_H_
#define SDMSH_REGISTRYWATCH_H_

#include "Output.h"

#include <map>
#include <memory>
#include <string>

class ServerDataManager;

namespace sdmsh {

// Threads: one at a time; the shell waits while a caller's thread works.
class RegistryWatch {
 public:
  // Borrows the registry and the output, and adds a notice to the output for each call of an
  // observer.
  RegistryWatch(ServerDataManager& registry, Output& output);
  RegistryWatch(const RegistryWatch&) = delete;
  RegistryWatch& operator=(const RegistryWatch&) = delete;
  // Unregisters the observers.
  ~RegistryWatch();

  // Registers the caller's observer. If the caller watches already, its observer moves to the end
  // and is notified last.
  void Begin(const std::string& role);
  // Unregisters the caller's observer. The caller must be watching.
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
