// ImportReport: the layout and the types that were found when a file of delimited text was opened,
// and the reason for each type.
//
//   std::cout << SystemFileDataSource::Open("survey.csv")->Report().Text();

#ifndef LIBDATASRC_IMPORTREPORT_H_
#define LIBDATASRC_IMPORTREPORT_H_

#include <ServerDataManager/Export.h>

#include <cstdint>
#include <string>
#include <vector>

// Threads: a plain value; any thread may use its own copy.
struct SDM_EXPORT ImportReport {
  enum class Type : std::uint8_t {
    Number,
    Boolean,
    Date,
    DateTime,
    Time,  // only if the schema says so
    Text,
  };

  // Why a variable has its type.
  enum class Reason : std::uint8_t {
    NoValues,     // every field is missing
    EveryValue,   // every value has this type
    Schema,       // the schema says so
    OtherValue,   // text: only text allows both Variable::value and all values before it
    LeadingZero,  // text: a number begins with a superfluous zero
    LargeNumber,  // text: a whole number is above 2^53 or below -2^53, where doubles are inexact
  };

  struct Missing {
    // Empty for empty and blank fields. If the schema has the type `number`, "NaN" also stands for
    // "nan" and "NAN".
    std::string word;
    std::uint64_t count = 0;  // the number of cases with this word
  };

  struct Variable {
    std::string name;
    Type type = Type::Number;
    Reason reason = Reason::NoValues;
    // For OtherValue, LeadingZero and LargeNumber, the value that made the column text; otherwise
    // the first value. A blank replaces each control character. A long value is shortened.
    std::string value;
    long line = 0;                 // of the value in the file, from 1; 0 if there is no value
    std::vector<Missing> missing;  // the words that occur, in ascending order
  };

  // English text: a line about the file, then a line about each variable. A blank replaces each
  // control character in a name or a word.
  std::string Text() const;

  // JSON on one line: the delimiter, the decimal mark, the encoding, the rows and the variables.
  // The members always have the same order; docs/usage.md lists them. A line number 0 becomes null.
  // Bytes that are not UTF-8 become U+FFFD. The process may end if memory runs out.
  std::string Json() const;

  char delimiter = ',';
  char decimalMark = '.';
  std::string encoding;             // the name; never empty after opening
  std::uint64_t rows = 0;           // cases
  std::vector<Variable> variables;  // in the order of the file
};

#endif  // LIBDATASRC_IMPORTREPORT_H_
