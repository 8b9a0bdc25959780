// Printer: shows events, in words or as JSON.

#ifndef SDMSH_PRINTER_H_
#define SDMSH_PRINTER_H_

#include "Event.h"

#include <iosfwd>
#include <memory>

namespace sdmsh {

// Threads: the shell's.
class Printer {
 public:
  virtual ~Printer() = default;
  virtual void Print(const Event& event) = 0;
  // False as soon as something could not be written: a disk is full, a pipe is closed.
  virtual bool ReachesItsReader() const { return true; }
};

// For people: lines of words on `out`, failures on `err`. Borrows both.
std::unique_ptr<Printer> MakeWordsPrinter(std::ostream& out, std::ostream& err);

// For programs: one JSON object per line on `out`, failures too. Each has a member "event" that
// says which; docs/usage.md lists them. Borrows `out`.
std::unique_ptr<Printer> MakeJsonPrinter(std::ostream& out);

}  // namespace sdmsh

#endif  // SDMSH_PRINTER_H_
