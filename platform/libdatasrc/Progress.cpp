#include <libdatasrc/Progress.h>

GivenUp::~GivenUp() = default;

const char* GivenUp::what() const noexcept {
  return "given up";
}
