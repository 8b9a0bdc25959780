// Writes a dictionary as JSON. Uses the members of a Table Schema where they exist; * marks members
// of our own. A member is left out if it has the value in brackets.
//
//   table             value
//   title             the label of the dataset [none]
//   missingValues     always the array [""], so that words such as NA are read as values
//   weight*, filter*  the name of the numeric column [none]
//   split*            the names of the columns [none]
//   splitSeparate*    true [false]
//   attributes*       of the dataset, as {name: [text, ...], ...} [none]
//   fields            see below, in the order of the columns
//
//   field
//   name              the name of the variable
//   title             the label of the variable [""]
//   type              "number" or "string"
//   decimalChar       of a number, always ".": without it, a reader might guess another mark
//   width*            of a string, in bytes
//   level*            "unknown", "nominal", "ordinal", "interval" or "ratio"
//   categories        value labels, as {"value": number or string, "label": text} [none]; an
//                     infinity is "INF" or "-INF"
//   categoriesOrdered true if there are categories and the level is ordinal
//   missing*          the values declared missing, numbers or strings [none]; missingValues lacks
//                     them, so that opening keeps these values in the cases
//   printFormat*      {"kind": text, "width": number, "decimals": number}; the kind is "plain",
//                     "date", "time" or "datetime" [plain, 0, 0]
//   attributes*       like the attributes of the table [none]

#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/SchemaText.h>
#include <libdatasrc/internal/TableSchema.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <unordered_set>

namespace sdm_internal {

namespace {

// --- JSON ---

struct NotUtf8 {};

std::string Quoted(std::string_view text) {
  if (!IsUtf8(text)) throw NotUtf8();
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) >= 0x20) {
      quoted += c;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned int>(c));
      quoted += escape;
    }
  }
  return quoted += '"';
}

// The elements of an array, or the members of an object.
class JsonList {
 public:
  void Add(const std::string& element) {
    if (!text_.empty()) text_ += ", ";
    text_ += element;
  }
  void Add(std::string_view name, const std::string& value) { Add(Quoted(name) + ": " + value); }

  bool IsEmpty() const { return text_.empty(); }
  std::string Array() const { return "[" + text_ + "]"; }
  std::string Object() const { return "{" + text_ + "}"; }

 private:
  std::string text_;
};

std::string Json(double number) {
  if (std::isinf(number)) return Quoted(ShortestText(number));
  const bool isNegativeZero = number == 0 && std::signbit(number);
  return isNegativeZero ? "-0.0" : ShortestText(number);  // -0 would be read as the integer 0
}
std::string Json(const DataValue& value) {
  const auto* const number = std::get_if<double>(&value);
  return number != nullptr ? Json(*number) : Quoted(std::get<std::string>(value));
}
std::string Json(const std::vector<std::string>& texts) {
  JsonList list;
  for (const std::string& text : texts) list.Add(Quoted(text));
  return list.Array();
}

template <class Attributes>
std::string JsonOfAttributes(const Attributes& attributes) {
  JsonList list;
  for (const auto& [name, values] : attributes) list.Add(name, Json(values));
  return list.Object();
}

// --- the dictionary ---

// Returns the first word for a value that is not an enumerator.
template <class Words, class Enumerator>
std::string_view WordOf(const Words& words, Enumerator value) {
  const auto index = static_cast<std::size_t>(value);
  return words[index < words.size() ? index : 0];
}

// Whether the variable can have the value. A NaN is not a value, but a missing number.
bool IsWritable(const DataValue& value, const ORVX_Variable& variable) {
  const auto* const number = std::get_if<double>(&value);
  return variable.GetType() == 0 ? number != nullptr && !std::isnan(*number) : number == nullptr;
}

void AddValues(const ORVX_Variable& variable, JsonList& field) {
  JsonList categories;
  for (const auto& [value, label] : variable.GetValueLabels()) {
    if (!IsWritable(value, variable)) continue;
    JsonList category;
    category.Add("value", Json(value));
    category.Add("label", Quoted(label));
    categories.Add(category.Object());
  }
  if (!categories.IsEmpty()) {
    field.Add("categories", categories.Array());
    const bool isOrdered = variable.GetMeasurementLevel() == MeasurementLevel::Ordinal;
    if (isOrdered) field.Add("categoriesOrdered", "true");
  }
  JsonList missing;
  for (const DataValue& value : variable.GetMissingValues().values) {
    if (IsWritable(value, variable)) missing.Add(Json(value));
  }
  if (!missing.IsEmpty()) field.Add("missing", missing.Array());
}

std::string JsonOf(const VariableFormat& format) {
  JsonList list;
  list.Add("kind", Quoted(WordOf(kFormatWords, format.kind)));
  list.Add("width", std::to_string(format.width));
  list.Add("decimals", std::to_string(format.decimals));
  return list.Object();
}

std::string JsonOf(const ORVX_Variable& variable) {
  JsonList field;
  field.Add("name", Quoted(variable.GetName()));
  if (!variable.GetLabel().empty()) field.Add("title", Quoted(variable.GetLabel()));
  if (variable.GetType() == 0) {
    field.Add("type", Quoted("number"));
    field.Add("decimalChar", Quoted("."));
  } else {
    field.Add("type", Quoted("string"));
    field.Add("width", std::to_string(variable.GetType()));
  }
  field.Add("level", Quoted(WordOf(kLevelWords, variable.GetMeasurementLevel())));
  AddValues(variable, field);
  const VariableFormat& format = variable.GetFormat();
  if (!(format == VariableFormat())) field.Add("printFormat", JsonOf(format));
  const VariableAttributes& attributes = variable.GetAttributes();
  if (!attributes.empty()) field.Add("attributes", JsonOfAttributes(attributes));
  return field.Object();
}

void CheckNames(const ORVX_DataSource& source) {
  std::unordered_set<std::string> names;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    const std::string& name = source.GetVariable(i).GetName();
    if (name.empty()) {
      throw std::invalid_argument("variable " + std::to_string(i + 1) + " has no name");
    }
    if (!names.insert(name).second) {
      throw std::invalid_argument("several variables have the name \"" + name + "\"");
    }
  }
}

// Writes one line for each member of the table, and for each field.
class SchemaWriter {
 public:
  explicit SchemaWriter(const ORVX_DataSource& source) : source_(source) {}

  std::string Write() {
    if (source_.GetLabel() != nullptr) Add("title", Quoted(source_.GetLabel()));
    Add("missingValues", Json(std::vector<std::string>{""}));
    AddUses();
    const auto& attributes = source_.GetAttributes().All();
    if (!attributes.empty()) Add("attributes", JsonOfAttributes(attributes));
    text_ += " \"fields\": [";
    const char* separator = "\n  ";
    for (int i = 0; i < source_.ColumnCount(); ++i) {
      text_ += separator + Field(i);
      separator = ",\n  ";
    }
    return text_ + "\n ]\n}\n";
  }

 private:
  void Add(const char* name, const std::string& value) {
    text_ += " " + Quoted(name) + ": " + value + ",\n";
  }

  std::string Field(int position) const {
    const ORVX_Variable& variable = source_.GetVariable(position);
    const VariableFormat& format = variable.GetFormat();
    if (format.width < 0 || format.decimals < 0) {
      throw std::invalid_argument("variable " + std::to_string(position + 1) +
                                  " has a format with a negative width or decimals");
    }
    try {
      return JsonOf(variable);
    } catch (const NotUtf8&) {
      throw std::invalid_argument("variable " + std::to_string(position + 1) +
                                  " has a text that is not UTF-8");
    }
  }

  void AddUses() {
    AddUse("weight", source_.GetWeightVarIndex());
    AddUse("filter", source_.GetFilterVarIndex());
    JsonList split;
    for (unsigned int i = 0; i < source_.GetNSplitVars(); ++i) {
      const int position = source_.GetSplitVarIndex(i);
      if (position != -1) split.Add(Quoted(source_.GetVariable(position).GetName()));
    }
    if (split.IsEmpty()) return;
    Add("split", split.Array());
    if (source_.GetSplitqSeparate()) Add("splitSeparate", "true");
  }

  // Leaves out a string variable: opening would reject a string variable as weight or filter.
  void AddUse(const char* name, int position) {
    if (position == -1 || source_.GetVariable(position).GetType() != 0) return;
    Add(name, Quoted(source_.GetVariable(position).GetName()));
  }

  const ORVX_DataSource& source_;
  std::string text_ = "{\n";
};

}  // namespace

std::string SchemaText(const ORVX_DataSource& source) {
  CheckNames(source);
  try {
    return SchemaWriter(source).Write();
  } catch (const NotUtf8&) {
    throw std::invalid_argument("the dataset has a text that is not UTF-8");
  }
}

}  // namespace sdm_internal
