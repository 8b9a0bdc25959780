#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/SchemaFieldReader.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace sdm_internal {

namespace {

using Type = FieldRules::Type;

struct TypeName {
  std::string_view name;
  Type type;
};
constexpr std::array<TypeName, 16> kTypes = {{{"any", Type::Any},
                                              {"string", Type::String},
                                              {"number", Type::Number},
                                              {"integer", Type::Integer},
                                              {"boolean", Type::Boolean},
                                              {"date", Type::Date},
                                              {"time", Type::Time},
                                              {"datetime", Type::DateTime},
                                              {"year", Type::Year},
                                              {"yearmonth", Type::String},
                                              {"duration", Type::String},
                                              {"geopoint", Type::String},
                                              {"geojson", Type::String},
                                              {"object", Type::String},
                                              {"array", Type::String},
                                              {"list", Type::String}}};

// The form of text that a type and a format require: a pattern, JSON that begins with `jsonStart`,
// or any text.
struct Form {
  std::string_view type;
  std::string_view format;
  const char* pattern = nullptr;
  char jsonStart = '\0';
};
constexpr std::array<Form, 16> kForms = {
    {{"string", "default"},
     {"string", "email", "[^@\\s]+@[^@\\s]+"},
     {"string", "uri", R"([A-Za-z][A-Za-z0-9+.\-]*:[^\s<>"{}|\\\^`]*)"},
     {"string", "uuid", "[0-9A-Fa-f]{8}-([0-9A-Fa-f]{4}-){3}[0-9A-Fa-f]{12}"},
     {"string", "binary", "([A-Za-z0-9+/]{4})*([A-Za-z0-9+/]{2}==|[A-Za-z0-9+/]{3}=)?"},
     {"yearmonth", "default", "-?[0-9]{4,}-(0[1-9]|1[0-2])"},
     {"duration", "default",
      R"(-?P(([0-9]+[YMWD])+(T([0-9]+(\.[0-9]+)?[HMS])+)?|T([0-9]+(\.[0-9]+)?[HMS])+))"},
     {"geopoint", "default", R"(-?[0-9]+(\.[0-9]+)?, ?-?[0-9]+(\.[0-9]+)?)"},
     {"geopoint", "array", nullptr, '['},
     {"geopoint", "object", nullptr, '{'},
     {"geojson", "default", nullptr, '{'},
     {"geojson", "topojson", nullptr, '{'},
     {"object", "default", nullptr, '{'},
     {"array", "default", nullptr, '['},
     {"list", "default"},
     {"any", "default"}}};

std::optional<std::string> OptionalLabel(const SchemaJson& json, const JsonValue& object) {
  const auto* label = json.OptionalMember<std::string>(object, "label");
  return label != nullptr ? std::optional(*label) : std::nullopt;
}

bool HasMinimum(Type type) {
  return type != Type::Any && type != Type::String && type != Type::Boolean;
}

class FieldReader {
 public:
  FieldReader(const SchemaJson& json, const JsonValue& object) : json_(json), object_(object) {
    json_.Require<JsonValue::Object>(object, "a field");
    field_.name = json_.RequiredMember<std::string>(object, "name");
    field_.position = object.Member("name")->position;
  }

  SchemaField Read(const SchemaMissingValues& ofTable) {
    if (const auto* title = json_.OptionalMember<std::string>(object_, "title")) {
      field_.label = *title;
    }
    ReadType();
    ReadFormat();
    ReadNumberForm();
    ReadBooleanForm();
    ReadItemType();
    ReadMissing(ReadMissingValues(json_, object_, ofTable));
    ReadCategories();
    if (const JsonValue* constraints = object_.Member("constraints")) ReadConstraints(*constraints);
    ReadVariable();
    return std::move(field_);
  }

 private:
  // --- type and format ---

  void ReadType() {
    const auto* name = json_.OptionalMember<std::string>(object_, "type");
    if (name == nullptr) return;
    const auto* const found = std::find_if(
        kTypes.begin(), kTypes.end(), [&](const TypeName& type) { return type.name == *name; });
    if (found == kTypes.end()) {
      json_.Fail(*object_.Member("type"), "'" + *name + "' is not a field type");
    }
    typeName_ = *name;
    Rules().type = found->type;
  }

  void ReadFormat() {
    const auto* member = json_.OptionalMember<std::string>(object_, "format");
    const std::string format = member != nullptr ? *member : "default";
    const bool isTemporal =
        Rules().type == Type::Date || Rules().type == Type::Time || Rules().type == Type::DateTime;
    if (isTemporal && format != "default") return ReadDatePattern(format);
    for (const Form& form : kForms) {
      if (form.type == typeName_ && form.format == format) return SetForm(form);
    }
    if (format == "default") return;
    json_.Fail(*object_.Member("format"),
               "the format '" + format + "' of type " + typeName_ + " is not supported");
  }

  void SetForm(const Form& form) {
    if (form.pattern == nullptr && form.jsonStart == '\0') return;
    TextForm& rule = Rules().form.emplace();
    rule.rule = (form.format == "default" ? "type " : "format ") +
                std::string(form.format == "default" ? form.type : form.format);
    if (form.pattern != nullptr) rule.pattern.emplace(form.pattern);
    rule.jsonStart = form.jsonStart;
  }

  void ReadDatePattern(const std::string& pattern) {
    const char* const directives = Rules().type == Type::Date   ? "YymdBbj"
                                   : Rules().type == Type::Time ? "HIpMSf"
                                                                : "YymdBbjHIpMSfz";
    try {
      CheckDatePattern(pattern, directives);
    } catch (const std::invalid_argument& error) {
      json_.Fail(*object_.Member("format"), "the format '" + pattern + "' of type " + typeName_ +
                                                " is not supported: " + error.what());
    }
    Rules().datePattern = pattern;
  }

  void ReadNumberForm() {
    const bool isNumber = Rules().type == Type::Number;
    const bool isInteger = Rules().type == Type::Integer;
    if (const std::string* mark = Mark("decimalChar", isNumber)) Rules().decimalMark = *mark;
    if (const std::string* mark = Mark("groupChar", isNumber || isInteger)) {
      Rules().groupMark = *mark;
    }
    if (Rules().groupMark == Rules().decimalMark.value_or(".") && isNumber) {
      json_.Fail(*object_.Member("groupChar"), "'groupChar' is the decimal mark");
    }
    if (const auto* isBare = json_.OptionalMember<bool>(object_, "bareNumber")) {
      RequireType("bareNumber", isNumber || isInteger);
      Rules().isBareNumber = *isBare;
    }
  }

  const std::string* Mark(const std::string& name, bool isAllowed) const {
    const auto* mark = json_.OptionalMember<std::string>(object_, name);
    if (mark == nullptr) return nullptr;
    RequireType(name, isAllowed);
    const bool isUsable = CharacterCount(*mark) == 1 &&
                          mark->find_first_of("0123456789+-eE\"\n") == std::string::npos;
    if (!isUsable) {
      json_.Fail(*object_.Member(name), "'" + name + "' must be one character, not of a number");
    }
    return mark;
  }

  void ReadBooleanForm() {
    ReadTexts("trueValues", Rules().trueValues);
    ReadTexts("falseValues", Rules().falseValues);
    if (!Rules().trueValues && !Rules().falseValues) return;
    for (const std::string& text :
         Rules().falseValues.value_or(TextSet{"false", "False", "FALSE", "0"})) {
      if (Rules().Parse(text) != 0) json_.Fail(object_, "'" + text + "' is both true and false");
    }
  }

  void ReadTexts(const std::string& name, std::optional<TextSet>& texts) {
    const auto* values = json_.OptionalMember<JsonValue::Array>(object_, name);
    if (values == nullptr) return;
    RequireType(name, Rules().type == Type::Boolean);
    texts.emplace();
    for (const JsonValue& each : *values) {
      texts->insert(json_.Require<std::string>(each, "a value of '" + name + "'"));
    }
  }

  void ReadItemType() const {
    const auto* type = json_.OptionalMember<std::string>(object_, "itemType");
    if (type == nullptr || *type == "string") return;
    json_.Fail(*object_.Member("itemType"), "items of type '" + *type + "' are not supported");
  }

  void RequireType(const std::string& member, bool isAllowed) const {
    if (isAllowed) return;
    json_.Fail(*object_.Member(member), "type " + typeName_ + " has no '" + member + "'");
  }

  // --- missing values and categories ---

  void ReadMissing(const SchemaMissingValues& missing) {
    field_.missingValues = missing.texts;
    if (missing.labelled.empty()) return;
    const auto texts = std::make_shared<MissingTexts>(*missing.texts);
    std::vector<std::string> labels;
    for (const SchemaCategory& each : missing.labelled) {
      const auto& text = std::get<std::string>(each.value);
      const std::optional<DataValue> value = ValueOf(text);
      if (value) {
        field_.missing.push_back({*value, each.label, each.position});
      } else {
        texts->insert(text);
        labels.push_back(text + "=" + each.label.value_or(""));
      }
    }
    field_.missingValues = texts;
    if (!labels.empty()) field_.attributes["missingValues"] = std::move(labels);
  }

  // The value of a text in this column. Nothing for a blank text, for NaN, for a text that does not
  // have the type of the column, and if the type is `any`.
  std::optional<DataValue> ValueOf(const std::string& text) const {
    if (Trimmed(text).empty() || Rules().type == Type::Any) return std::nullopt;
    if (Rules().type == Type::String) return text;
    const std::optional<double> number = Rules().Parse(text);
    return number && !std::isnan(*number) ? std::optional<DataValue>(*number) : std::nullopt;
  }

  void ReadCategories() {
    field_.categoriesOrdered = json_.BoolOf(object_, "categoriesOrdered", false);
    const auto* categories = json_.OptionalMember<JsonValue::Array>(object_, "categories");
    if (categories == nullptr) return;
    for (const JsonValue& each : *categories) field_.categories.push_back(CategoryOf(each));
  }

  // `json` is a value, or an object with `value` and optionally `label`.
  SchemaCategory CategoryOf(const JsonValue& json) const {
    SchemaCategory category;
    const JsonValue* value = &json;
    if (json.As<JsonValue::Object>() != nullptr) {
      value = json.Member("value");
      if (value == nullptr) json_.Fail(json, "category without a value");
      category.label = OptionalLabel(json_, json);
    }
    category.position = value->position;
    category.value = NumberOrText(*value, "the value of a category");
    return category;
  }

  DataValue NumberOrText(const JsonValue& json, const std::string& what) const {
    if (const auto* number = json.As<double>()) return *number;
    if (const auto* text = json.As<std::string>()) return *text;
    json_.Fail(json, what + " must be a number or a string");
  }

  // --- constraints ---

  void ReadConstraints(const JsonValue& constraints) {
    for (const auto& [name, value] : json_.Require<JsonValue::Object>(constraints, "'constraints'"))
      ReadConstraint(name, value);
  }

  void ReadConstraint(const std::string& name, const JsonValue& value) {
    FieldRules& rules = Rules();
    if (name == "required") {
      rules.isRequired = json_.Require<bool>(value, "'required'");
    } else if (name == "unique") {
      json_.Require<bool>(value, "'unique'");  // TableSchema.cpp reads it, with the keys
    } else if (name == "enum") {
      ReadEnum(value);
    } else if (name == "minimum") {
      rules.minimum = Limit(name, value);
    } else if (name == "maximum") {
      rules.maximum = Limit(name, value);
    } else if (name == "exclusiveMinimum") {
      rules.exclusiveMinimum = Limit(name, value);
    } else if (name == "exclusiveMaximum") {
      rules.exclusiveMaximum = Limit(name, value);
    } else if (name == "minLength") {
      rules.minLength = Length(name, value);
    } else if (name == "maxLength") {
      rules.maxLength = Length(name, value);
    } else if (name == "pattern") {
      ReadPattern(value);
    } else {
      json_.Fail(value, "the constraint '" + name + "' is not supported");
    }
  }

  void AllowConstraint(const std::string& name, const JsonValue& value, bool isAllowed) const {
    if (!isAllowed) json_.Fail(value, "type " + typeName_ + " has no constraint '" + name + "'");
  }

  double Limit(const std::string& name, const JsonValue& value) const {
    AllowConstraint(name, value, HasMinimum(Rules().type));
    return NumberOf(value, "'" + name + "'");
  }

  // The number that a JSON value stands for in a numeric column: a number, true or false, or a
  // string, which is parsed like a field of a data file with decimal points.
  double NumberOf(const JsonValue& value, const std::string& what) const {
    if (const auto* isTrue = value.As<bool>(); isTrue != nullptr && Rules().type == Type::Boolean) {
      return *isTrue ? 1 : 0;
    }
    const bool isPlain =
        Rules().type == Type::Number || Rules().type == Type::Integer || Rules().type == Type::Year;
    if (const auto* number = value.As<double>(); number != nullptr && isPlain) return *number;
    const auto* text = value.As<std::string>();
    const auto number = text != nullptr ? Rules().Parse(*text) : std::nullopt;
    if (!number || std::isnan(*number)) json_.Fail(value, what + " must be " + Rules().TypeName());
    return *number;
  }

  std::size_t Length(const std::string& name, const JsonValue& value) const {
    AllowConstraint(name, value, typeName_ == "string");
    return static_cast<std::size_t>(json_.WholeNumber(value, "'" + name + "'", 0));
  }

  void ReadPattern(const JsonValue& value) {
    AllowConstraint("pattern", value, typeName_ == "string");
    const auto& pattern = json_.Require<std::string>(value, "'pattern'");
    try {
      Rules().pattern = TextForm{"pattern " + pattern, TextPattern(pattern)};
    } catch (const std::invalid_argument& error) {
      json_.Fail(value, "the pattern '" + pattern + "' is not supported: " + error.what());
    }
  }

  void ReadEnum(const JsonValue& values) {
    AllowConstraint("enum", values, Rules().type != Type::Any);
    Rules().hasEnum = true;
    for (const JsonValue& each : json_.Require<JsonValue::Array>(values, "'enum'")) {
      if (Rules().IsNumeric()) {
        Rules().numbers.insert(NumberOf(each, "a value of 'enum'"));
      } else {
        Rules().texts.insert(json_.Require<std::string>(each, "a value of 'enum'"));
      }
    }
  }

  // --- members of the variable ---

  void ReadVariable() {
    if (const JsonValue* width = object_.Member("width")) {
      RequireType("width", Rules().type == Type::String);
      field_.width = json_.WholeNumber(*width, "'width'", 1);
    }
    if (const JsonValue* level = object_.Member("level")) {
      field_.level = static_cast<MeasurementLevel>(json_.OneOf(*level, "'level'", kLevelWords));
    }
    if (const JsonValue* format = object_.Member("printFormat")) field_.format = FormatOf(*format);
    if (const auto* missing = json_.OptionalMember<JsonValue::Array>(object_, "missing")) {
      for (const JsonValue& each : *missing) {
        field_.missing.push_back({NumberOrText(each, "a value of 'missing'"), {}, each.position});
      }
    }
    field_.attributes.merge(
        ReadAttributes(json_, object_, {"description", "rdfType", "example", "role"}));
  }

  VariableFormat FormatOf(const JsonValue& json) const {
    json_.Require<JsonValue::Object>(json, "'printFormat'");
    VariableFormat format;
    if (const JsonValue* kind = json.Member("kind")) {
      format.kind = static_cast<VariableFormat::Kind>(json_.OneOf(*kind, "'kind'", kFormatWords));
    }
    if (const JsonValue* width = json.Member("width")) {
      format.width = json_.WholeNumber(*width, "'width'", 0);
    }
    if (const JsonValue* decimals = json.Member("decimals")) {
      format.decimals = json_.WholeNumber(*decimals, "'decimals'", 0);
    }
    return format;
  }

  FieldRules& Rules() { return field_.rules; }
  const FieldRules& Rules() const { return field_.rules; }

  const SchemaJson& json_;
  const JsonValue& object_;
  std::string typeName_ = "any";
  SchemaField field_;
};

std::string ExampleText(const SchemaJson& json, const JsonValue& value) {
  if (const auto* number = value.As<double>()) return ShortestText(*number);
  if (const auto* isTrue = value.As<bool>()) return *isTrue ? "true" : "false";
  return json.Require<std::string>(value, "'example'");
}

}  // namespace

SchemaMissingValues ReadMissingValues(const SchemaJson& json, const JsonValue& object,
                                      const SchemaMissingValues& otherwise) {
  const auto* values = json.OptionalMember<JsonValue::Array>(object, "missingValues");
  if (values == nullptr) return otherwise;
  const auto texts = std::make_shared<MissingTexts>();
  SchemaMissingValues missing;
  for (const JsonValue& each : *values) {
    if (each.As<JsonValue::Object>() == nullptr) {
      texts->insert(json.Require<std::string>(each, "a missing value"));
      continue;
    }
    const auto& text = json.RequiredMember<std::string>(each, "value");
    missing.labelled.push_back({text, OptionalLabel(json, each), each.position});
  }
  missing.texts = texts;
  return missing;
}

VariableAttributes ReadAttributes(const SchemaJson& json, const JsonValue& object,
                                  const std::vector<std::string>& members) {
  VariableAttributes attributes;
  if (const auto* own = json.OptionalMember<JsonValue::Object>(object, "attributes")) {
    for (const auto& [name, value] : *own) {
      std::vector<std::string>& texts = attributes[name];
      if (const auto* list = value.As<JsonValue::Array>()) {
        for (const JsonValue& each : *list) {
          texts.push_back(json.Require<std::string>(each, "a value of an attribute"));
        }
      } else {
        texts.push_back(json.Require<std::string>(value, "an attribute"));
      }
    }
  }
  for (const std::string& member : members) {
    const JsonValue* value = object.Member(member);
    if (value == nullptr) continue;
    attributes[member] = {member == "example"
                              ? ExampleText(json, *value)
                              : json.Require<std::string>(*value, "'" + member + "'")};
  }
  return attributes;
}

SchemaField ReadSchemaField(const SchemaJson& json, const JsonValue& object,
                            const SchemaMissingValues& missing) {
  return FieldReader(json, object).Read(missing);
}

}  // namespace sdm_internal
