#include <ServerDataManager/Invariant.h>

#include <cstdio>
#include <cstdlib>

namespace sdm_internal {

void InvariantFailed(const char* source, int line, const char* function,
                     const char* expression) noexcept {
  std::fprintf(stderr, "Assertion failed: %s, function %s, source %s, line %d\n", expression,
               function, source, line);
  std::abort();
}

}  // namespace sdm_internal
