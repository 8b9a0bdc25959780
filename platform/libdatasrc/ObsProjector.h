// ObsProjector: converts a row of one dictionary to a row of another.
//
//   const ObsProjector projector(parent, derived);
//   while (rows->Next()) projector.Project(parentArea.data(), area);
//
// ObsProjector(clone, clone) converts the rows of a clone, which have the layout of another
// dictionary, to the clone's own dictionary.

#ifndef LIBDATASRC_OBSPROJECTOR_H_
#define LIBDATASRC_OBSPROJECTOR_H_

#include <ServerDataManager/Export.h>
#include <vector>

union OBS;
class ORVX_DataSource;

// Variables are matched by identifier; if several variables of `from` share an identifier, the
// first is used. If the types differ, values are converted: a string to the number that it spells,
// a number to its shortest decimal text, a string to the new width by cutting (between characters)
// or padding. A value becomes missing (kMissingNumber, or blanks) if `from` or its RowLayout()
// lacks the variable, or if the value cannot be converted: a string that is not a number, an
// infinite number, or a number whose text is too wide.
//
// If the RowLayout() of `from` is another source, values are first converted from that source's
// dictionary to the dictionary of `from`.
//
// Threads: any; immutable.
class SDM_EXPORT ObsProjector {
 public:
  // Converts rows of `from` to rows for the dictionary of `to`, with both dictionaries as they are
  // now. Keeps no reference to either.
  ObsProjector(const ORVX_DataSource& from, const ORVX_DataSource& to);

  // Cells in a row of `from` and of `to`.
  long GetFromAreaSize() const { return fromAreaSize_; }
  long GetToAreaSize() const { return toAreaSize_; }

  // Reads a row at `from` and writes all cells of a row at `to`; the rows must not overlap. `from`
  // may be null if GetFromAreaSize() is 0, and `to` if GetToAreaSize() is 0. If a conversion throws
  // std::bad_alloc, the row at `to` is half written.
  void Project(const OBS* from, OBS* to) const;

 private:
  // Adjacent cells that are copied unchanged; offsets from 0.
  struct Run {
    long from;
    long to;
    long count;
  };
  struct Conversion {
    long from;       // the first cell to read; -1: writes a missing value
    int fromType;    // of the value in the row that is read
    int middleType;  // of the variable in the dictionary of the source `from`
    long to;
    int toType;
  };

  void Add(const Conversion& value);
  void AddRun(const Run& run);
  static void Convert(const Conversion& conversion, const OBS* from, OBS* to);

  std::vector<Run> runs_;
  std::vector<Conversion> conversions_;
  long fromAreaSize_;
  long toAreaSize_;
};

#endif  // LIBDATASRC_OBSPROJECTOR_H_
