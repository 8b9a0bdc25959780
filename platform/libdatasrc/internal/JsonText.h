// A JSON tree whose values have positions in the text.

#ifndef LIBDATASRC_INTERNAL_JSONTEXT_H_
#define LIBDATASRC_INTERNAL_JSONTEXT_H_

#include <libdatasrc/internal/TextPosition.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sdm_internal {

struct JsonValue {
  using Array = std::vector<JsonValue>;
  using Object = std::map<std::string, JsonValue, std::less<>>;

  TextPosition position;  // of the first byte of the value
  std::variant<std::nullptr_t, bool, double, std::string, Array, Object> value;

  // Null if the value has another type.
  template <class T>
  const T* As() const {
    return std::get_if<T>(&value);
  }

  // The member with this name; null if there is none, or if this value is not an object.
  const JsonValue* Member(std::string_view name) const;
};

// Parses one JSON value, nested at most 64 levels deep. If the text is not such a value, is not
// UTF-8, or repeats a key in an object, throws DataFileError with the name `file` and the position.
JsonValue ParseJson(const std::string& file, const std::string& text);

// Whether the text is one JSON value, nested to any depth.
bool IsJson(std::string_view text);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_JSONTEXT_H_
