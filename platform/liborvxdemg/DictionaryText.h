// DictionaryText: variables and properties of a dictionary in plain English, as
// DataSetMsg::ToString and the shell write them.
//
// Names and texts are quoted but not escaped. An absent value is written as "none".

#ifndef LIBORVXDEMG_DICTIONARYTEXT_H_
#define LIBORVXDEMG_DICTIONARYTEXT_H_

#include <libdatasrc/ORVX_TrendsInfo.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatasrc/VariableSets.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class ORVX_DataSource;

// The functions that return `const char*` return string literals.
//
// Threads: any thread that may read the arguments.
namespace DictionaryText {

SDM_EXPORT std::string Quoted(std::string_view text);
SDM_EXPORT std::string QuotedOrNone(std::string_view text);

// Joins the texts of the elements of a list with `separator`; "none" for an empty list.
template <class List, class Text>
std::string Joined(const List& list, Text text, const char* separator = ", ") {
  std::string joined;
  for (const auto& element : list) joined += (joined.empty() ? "" : separator) + text(element);
  return joined.empty() ? "none" : joined;
}

// For example "1 case" or "944 cases".
SDM_EXPORT std::string Counted(long long number, const char* noun);

// The shortest decimal text that parses back to this number; "NaN" for a missing number. Has no
// exponent for 0, and for magnitudes from 0.0001 to below 10^15.
SDM_EXPORT std::string Number(double number);
// The number, or the string in quotes.
SDM_EXPORT std::string Value(const DataValue& value);

// For example "numeric" or "string of 8 bytes".
SDM_EXPORT std::string Type(int type);
// For example "plain"; "unknown" for an unknown enumerator.
SDM_EXPORT const char* FormatKind(VariableFormat::Kind kind);
// For example "plain, width 8, decimals 2".
SDM_EXPORT std::string Format(const VariableFormat& format);
// For example "nominal".
SDM_EXPORT const char* Level(MeasurementLevel level);

// For example: source = "form" "page 2", year = "1996"
SDM_EXPORT std::string Attributes(const VariableAttributes& attributes);

// One property in which two definitions of a variable differ.
struct Difference {
  const char* what;  // for example "label"
  std::string from;
  std::string to;
};

// Returns the properties that differ, except the identifier, in the order of the accessors of
// ORVX_Variable.
SDM_EXPORT std::vector<Difference> Differences(const ORVX_Variable& before,
                                               const ORVX_Variable& after);

// In the functions below, `dictionary` is borrowed for the call. If it is null, they write
// identifiers instead of names.

// Name returns the name of the variable, for example "popul", with the quotation marks. For an
// identifier that the dictionary does not have, returns the text `1:7 (no such variable)`; for the
// null identifier, the text `none`.
SDM_EXPORT std::string Name(const ORVX_DataSource* dictionary, LocallyUniqueID id);
SDM_EXPORT std::string Names(const ORVX_DataSource* dictionary,
                             const std::vector<LocallyUniqueID>& ids);

// For example: "vote", "educ" (separately)
SDM_EXPORT std::string Split(const ORVX_DataSource* dictionary,
                             const std::vector<LocallyUniqueID>& ids, bool separate);

// For example: by "year", "month", period 12
SDM_EXPORT std::string TimeSeries(const ORVX_DataSource* dictionary, const ORVX_TrendsInfo& trends);

// For example "indicators".
SDM_EXPORT const char* SetKind(std::int32_t kind);
// For example: "name" "label": indicators "a", "b", selected value "1"; "next": "c"
SDM_EXPORT std::string Sets(const ORVX_DataSource* dictionary,
                            const std::vector<VariableSet>& sets);
// For example: "news" (3 variables), "issues" (1 variable)
SDM_EXPORT std::string SetSizes(const std::vector<VariableSet>& sets);

// The bytes in quotes if they are UTF-8 without ASCII control characters, at most 60 bytes long;
// otherwise their number, such as "944 bytes". For no bytes, the text `none`.
SDM_EXPORT std::string Bytes(std::string_view bytes);

}  // namespace DictionaryText

#endif  // LIBORVXDEMG_DICTIONARYTEXT_H_
