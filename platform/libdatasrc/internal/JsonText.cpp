// Builds the tree from the events of nlohmann-json, which do not tell where in the text they
// happen: the iterator that the library reads through does.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/JsonText.h>
#include <libdatasrc/internal/Utf8.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

namespace sdm_internal {

namespace {

using nlohmann::json;

constexpr std::size_t kMaxDepth = 64;

TextPosition PositionAt(const std::string& text, std::size_t offset) {
  TextPosition position;
  position.Pass(std::string_view(text).substr(0, offset));
  return position;
}

[[noreturn]] void Fail(const std::string& file, TextPosition where, const std::string& text) {
  throw DataFileError(file, where.line, where.column, text);
}

// Counts the bytes read through it in `*read`, also when it is copied.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, std::size_t* read) : at_(at), read_(read) {}

  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    ++at_;
    ++*read_;
    return *this;
  }
  CountingIterator operator++(int) {
    const CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  std::size_t* read_;
};

// What is wrong, without the library's own words about itself and the place: text after "- ".
std::string Reason(const std::string& what) {
  const std::size_t dash = what.find(" - ");
  return dash == std::string::npos ? "not JSON" : "not JSON: " + what.substr(dash + 3);
}

class TreeBuilder : public nlohmann::json_sax<json> {
 public:
  TreeBuilder(const std::string& file, const std::string& text) : file_(file), text_(text) {}

  std::size_t read = 0;  // bytes of the text that the library has read
  JsonValue root;

  bool null() override { return Take(nullptr); }
  bool boolean(bool value) override { return Take(value); }
  bool number_integer(number_integer_t value) override { return Take(static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) override {
    return Take(static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return Take(value); }
  bool string(string_t& value) override { return Take(std::move(value)); }
  bool binary(binary_t&) override { return false; }  // no JSON text has any
  bool start_array(std::size_t) override { return Open(JsonValue::Array()); }
  bool start_object(std::size_t) override { return Open(JsonValue::Object()); }
  bool end_array() override { return Close(); }
  bool end_object() override { return Close(); }

  bool key(string_t& name) override {
    auto& members = std::get<JsonValue::Object>(open_.back()->value);
    const TextPosition place = PassToToken();
    const auto [member, isNew] = members.try_emplace(name);
    if (!isNew) Fail(file_, place, "'" + name + "' stands twice");
    member_ = &member->second;
    tokenEnd_ = read;
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception& error) override {
    Fail(file_, PositionAt(text_, std::min(position > 0 ? position - 1 : 0, text_.size())),
         Reason(error.what()));
  }

 private:
  // Goes on to where the token at hand begins. Behind a number the library has read one byte more,
  // but that is one of those skipped here, or else closes an array or an object.
  TextPosition PassToToken() {
    const std::size_t start =
        std::min(text_.find_first_not_of(" \t\r\n,:", tokenEnd_), text_.size());
    position_.Pass(std::string_view(text_).substr(passed_, start - passed_));
    passed_ = start;
    return position_;
  }

  template <class T>
  bool Take(T value) {
    Place()->value = std::move(value);
    tokenEnd_ = read;
    return true;
  }

  template <class Container>
  bool Open(Container container) {
    JsonValue* const place = Place();
    if (open_.size() == kMaxDepth) Fail(file_, place->place, "nested too deeply");
    place->value = std::move(container);
    open_.push_back(place);
    tokenEnd_ = read;
    return true;
  }

  bool Close() {
    open_.pop_back();
    tokenEnd_ = read;
    return true;
  }

  // Where the next value goes: a new element, or the member whose key was read last. A container
  // does not grow while it is not the innermost open one, so pointers to those stay good.
  JsonValue* Place() {
    JsonValue* place = &root;
    if (!open_.empty()) {
      auto* array = std::get_if<JsonValue::Array>(&open_.back()->value);
      place = array != nullptr ? &array->emplace_back() : member_;
    }
    place->place = PassToToken();
    return place;
  }

  const std::string& file_;
  const std::string& text_;
  std::vector<JsonValue*> open_;  // from the root in
  JsonValue* member_ = nullptr;   // of the innermost open object, waiting for its value
  std::size_t tokenEnd_ = 0;      // of the token before
  std::size_t passed_ = 0;        // `position_` is the place of this byte
  TextPosition position_;
};

void CheckUtf8(const std::string& file, const std::string& text) {
  Utf8Checker utf8;
  std::size_t character = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const bool wasInside = utf8.IsInside();
    if (!wasInside) character = i;
    if (i < text.size() ? utf8.Accepts(text[i]) : !wasInside) continue;
    Fail(file, PositionAt(text, character), "not UTF-8");
  }
}

}  // namespace

const JsonValue* JsonValue::Member(std::string_view name) const {
  const Object* members = As<Object>();
  if (members == nullptr) return nullptr;
  const auto found = members->find(name);
  return found == members->end() ? nullptr : &found->second;
}

JsonValue ParseJson(const std::string& file, const std::string& text) {
  CheckUtf8(file, text);
  TreeBuilder builder(file, text);
  json::sax_parse(CountingIterator(text.data(), &builder.read),
                  CountingIterator(text.data() + text.size(), &builder.read), &builder);
  return std::move(builder.root);
}

}  // namespace sdm_internal
