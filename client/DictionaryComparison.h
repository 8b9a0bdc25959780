// DictionaryComparison: the properties of a dictionary in plain English, and where a mirror differs
// from its data source.
//
//   for (const auto& line : DictionaryComparison::Compare(source, mirror.Dictionary())) {
//     if (line.Differs()) log << line.what << ": " << line.source << ", " << line.mirror << "\n";
//   }

#ifndef CLIENT_DICTIONARYCOMPARISON_H_
#define CLIENT_DICTIONARYCOMPARISON_H_

#include <ServerDataManager/Export.h>

#include <string>
#include <vector>

class ORVX_DataSource;

// Texts are as in liborvxdemg/DictionaryText.h.
//
// Threads: any thread that may read the dictionaries.
namespace DictionaryComparison {

struct Property {
  const char* name;     // for example "weight"
  std::string value;    // for example "popul", with quotation marks; the word none if absent
  bool isUsual = true;  // false if most dictionaries do not have the property
  bool isSent = true;   // whether messages carry every change of the property
};

// All properties of the dictionary, always in the same order.
SDM_EXPORT std::vector<Property> PropertiesOf(const ORVX_DataSource& dictionary);

// A property, a variable or a part of a variable's definition, as text from both dictionaries.
struct Line {
  std::string what;  // such as weight; or "age" label, for the label of the variable age
  std::string source;
  std::string mirror;
  bool isSent = true;  // as in Property

  bool Differs() const { return source != mirror; }
};

// Returns a line for each property, except unusual properties that both dictionaries lack. Then
// returns a line for each variable that only one dictionary has, with the texts "present" and
// "missing"; for each difference between the definitions of a variable; and for the order, if both
// dictionaries have the same variables in a different order.
SDM_EXPORT std::vector<Line> Compare(const ORVX_DataSource& source, const ORVX_DataSource& mirror);

}  // namespace DictionaryComparison

#endif  // CLIENT_DICTIONARYCOMPARISON_H_
