// SchemaJson: access to the JSON of a table schema, with errors that have a position.

#ifndef LIBDATASRC_INTERNAL_SCHEMAJSON_H_
#define LIBDATASRC_INTERNAL_SCHEMAJSON_H_

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/JsonText.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace sdm_internal {

template <class T>
constexpr const char* kJsonTypeName = nullptr;
template <>
inline constexpr const char* kJsonTypeName<bool> = "true or false";
template <>
inline constexpr const char* kJsonTypeName<double> = "a number";
template <>
inline constexpr const char* kJsonTypeName<std::string> = "a string";
template <>
inline constexpr const char* kJsonTypeName<JsonValue::Array> = "an array";
template <>
inline constexpr const char* kJsonTypeName<JsonValue::Object> = "an object";

// Each function throws DataFileError, with the position, if the JSON is not as required.
class SchemaJson {
 public:
  explicit SchemaJson(std::string file) : file_(std::move(file)) {}

  template <class T>
  const T& Require(const JsonValue& json, const std::string& what) const {
    const T* value = json.As<T>();
    if (value == nullptr) Fail(json, what + " must be " + kJsonTypeName<T>);
    return *value;
  }

  // Null if there is no such member.
  template <class T>
  const T* OptionalMember(const JsonValue& object, const std::string& name) const {
    const JsonValue* member = object.Member(name);
    return member != nullptr ? &Require<T>(*member, "'" + name + "'") : nullptr;
  }

  const JsonValue& RequiredMember(const JsonValue& object, const std::string& name) const {
    const JsonValue* member = object.Member(name);
    if (member == nullptr) Fail(object, "missing member '" + name + "'");
    return *member;
  }
  template <class T>
  const T& RequiredMember(const JsonValue& object, const std::string& name) const {
    return Require<T>(RequiredMember(object, name), "'" + name + "'");
  }

  bool BoolOf(const JsonValue& object, const std::string& name, bool otherwise) const {
    const auto* value = OptionalMember<bool>(object, name);
    return value != nullptr ? *value : otherwise;
  }

  // A whole number from `least` to the largest int.
  int WholeNumber(const JsonValue& json, const std::string& what, int least) const {
    const double number = Require<double>(json, what);
    if (number < least || number > std::numeric_limits<int>::max() ||
        std::trunc(number) != number) {
      Fail(json, what + " must be a whole number from " + std::to_string(least));
    }
    return static_cast<int>(number);
  }

  // The index in `words` of a JSON string.
  std::size_t OneOf(const JsonValue& json, const std::string& what,
                    std::span<const std::string_view> words) const {
    const auto& text = Require<std::string>(json, what);
    std::string list;
    std::size_t i = 0;
    for (const std::string_view word : words) {
      if (text == word) return i;
      list += (i++ > 0 ? ", " : "") + std::string(word);
    }
    Fail(json, "'" + text + "' is not one of: " + list);
  }

  [[noreturn]] void Fail(const JsonValue& json, const std::string& text) const {
    throw DataFileError(file_, json.position.line, json.position.column, text);
  }

 private:
  std::string file_;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SCHEMAJSON_H_
