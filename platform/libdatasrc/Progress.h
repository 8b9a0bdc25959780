// Progress: watches a long operation, and may stop it.
//
//   SaveDelimited(survey, "survey.tsv", {}, [&](std::uint64_t done, std::uint64_t total) {
//     ShowBar(done, total);
//     return !stopRequested;
//   });

#ifndef LIBDATASRC_PROGRESS_H_
#define LIBDATASRC_PROGRESS_H_

#include <ServerDataManager/Export.h>

#include <cstdint>
#include <exception>
#include <functional>

// Called repeatedly, on the thread that called the operation, with the number of bytes done so far
// and the total number of bytes. A `total` of 0 means that the total is unknown, or that there is
// nothing to do. Each operation documents which bytes it counts. If the function returns false, the
// operation throws GivenUp; an exception of the function propagates. In both cases the operation
// creates and changes nothing. An empty function is never called.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// Thrown by an operation whose Progress returned false.
//
// Threads: a plain value; any thread may use its own copy.
class SDM_EXPORT GivenUp : public std::exception {
 public:
  GivenUp() = default;
  GivenUp(const GivenUp&) = default;
  GivenUp& operator=(const GivenUp&) = default;
  ~GivenUp() override;
  const char* what() const noexcept override;
};

#endif  // LIBDATASRC_PROGRESS_H_
