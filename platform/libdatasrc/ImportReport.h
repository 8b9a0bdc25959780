// ImportReport: what was decided about a file of delimited text when it was opened, and why.

#ifndef LIBDATASRC_IMPORTREPORT_H_
#define LIBDATASRC_IMPORTREPORT_H_

#include <ServerDataManager/Export.h>

#include <cstdint>
#include <string>
#include <vector>

// Threads: a plain value.
struct SDM_EXPORT ImportReport {
  enum class Type : std::uint8_t {
    Number,
    Boolean,
    Date,
    DateTime,
    Time,
    Text
  };  // Time: by schema

  // Why a variable has its type.
  enum class Reason : std::uint8_t {
    NoValues,     // every field is missing
    EveryValue,   // every value has this type
    Schema,       // the schema says so
    OtherValue,   // text: a value is not like the values before it, or is of no other type
    LeadingZero,  // text: a number begins with a superfluous zero
    LargeNumber,  // text: a whole number is above 2^53, so that a double may not hold it
  };

  struct Missing {
    std::string word;  // empty for empty and blank fields
    std::uint64_t count = 0;
  };

  struct Variable {
    std::string name;
    Type type = Type::Number;
    Reason reason = Reason::NoValues;
    // The first value that decided: the first value of the column, or the one that made it text.
    // Shortened if long. Line 0: none.
    std::string value;
    long line = 0;
    std::vector<Missing> missing;  // the words that occur, in ascending order
  };

  // A line about the file, and a line about each variable. In names, a blank replaces each control
  // character.
  std::string Text() const;

  char delimiter = ',';
  char decimalMark = '.';
  std::string encoding;
  std::uint64_t rows = 0;
  std::vector<Variable> variables;  // in the order of the file
};

#endif  // LIBDATASRC_IMPORTREPORT_H_
