// ObsProjector: makes a row of one dictionary into a row of another.
//
//   const ObsProjector projector(parent, derived);
//   while (rows->Next()) projector.Project(parentArea.data(), area);
//
// The rows of a source that another one lays out, a clone's, become rows of its own dictionary by
// ObsProjector(clone, clone).

#ifndef LIBDATASRC_OBSPROJECTOR_H_
#define LIBDATASRC_OBSPROJECTOR_H_

#include <ServerDataManager/Export.h>
#include <vector>

union OBS;
class ORVX_DataSource;

// Variables are the same when their identifiers are; of several with one identifier in the first
// dictionary, the first is meant. Where the type of one differs between the two
// dictionaries, its values are converted: a string becomes the number that its text is, a number
// its shortest decimal text, a string is cut (between characters) or padded to the new width. What
// has no conversion (infinities among it), is a number whose text is too wide, or is a variable
// that the first dictionary does not have, becomes missing: kMissingNumber, or blanks.
//
// Where another dictionary lays the rows of the first source out, that of its RowLayout(), values
// are converted from that to the source's own first, and read as if its own laid the rows out.
//
// Threads: any, once it is built.
class SDM_EXPORT ObsProjector {
 public:
  // From the rows of `from` to rows laid out for the dictionary of `to`, as both are now; neither
  // is kept.
  ObsProjector(const ORVX_DataSource& from, const ORVX_DataSource& to);

  // Cells in a row of `from` and of `to`.
  long GetFromAreaSize() const { return fromAreaSize_; }
  long GetToAreaSize() const { return toAreaSize_; }

  // Reads a row at `from` and writes all cells of a row at `to`; the two do not overlap. Where
  // converting a value throws std::bad_alloc, the row at `to` is half written.
  void Project(const OBS* from, OBS* to) const;

 private:
  // Cells, counted from 0, that go as they are.
  struct Run {
    long from;
    long to;
    long count;
  };
  struct Conversion {
    long from;  // the first cell; -1 for none: missing
    int fromType;
    int middleType;  // in the dictionary of a source whose rows another one lays out
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
