#include "after_the_libraries.h"

namespace {

struct Last {
  ~Last() {
    if (call != nullptr) call();
  }
  void (*call)() = nullptr;
};
Last last;

}  // namespace

void AfterTheLibraries(void (*call)()) {
  last.call = call;
}
