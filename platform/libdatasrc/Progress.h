// Progress: how far a long operation is, and giving it up.
//
//   SaveDelimited(survey, "survey.tsv", {}, [&](std::uint64_t done, std::uint64_t total) {
//     bar.Show(done, total);
//     return !stopRequested;
//   });

#ifndef LIBDATASRC_PROGRESS_H_
#define LIBDATASRC_PROGRESS_H_

#include <ServerDataManager/Export.h>

#include <cstdint>
#include <exception>
#include <functional>

// Called from time to time on the thread of the operation, with the work done and the whole work,
// in units that the operation defines; a total of 0 is unknown. Returning false gives up: the
// operation throws GivenUp and leaves nothing behind. Its own exceptions propagate in the same way.
// An empty function is never called.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// An operation was given up by its caller.
//
// Threads: a plain value.
class SDM_EXPORT GivenUp : public std::exception {
 public:
  GivenUp() = default;
  GivenUp(const GivenUp&) = default;
  GivenUp& operator=(const GivenUp&) = default;
  ~GivenUp() override;
  const char* what() const noexcept override;
};

#endif  // LIBDATASRC_PROGRESS_H_
