// Builds the tree from the parse events of nlohmann-json. An event carries no position, so the
// parser reads the text through an iterator that counts the bytes.

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
  position.Advance(std::string_view(text).substr(0, offset));
  return position;
}

[[noreturn]] void Fail(const std::string& file, TextPosition where, const std::string& text) {
  throw DataFileError(file, where.line, where.column, text);
}

// Counts in `*read` the bytes that are read; copies share the counter.
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

// Shortens an error text of the parser: "... at line 1, column 2: ... - invalid literal" becomes
// "not JSON: invalid literal".
std::string ReasonText(const std::string& what) {
  const std::size_t dash = what.find(" - ");
  return dash == std::string::npos ? "not JSON" : "not JSON: " + what.substr(dash + 3);
}

class TreeBuilder : public nlohmann::json_sax<json> {
 public:
  TreeBuilder(const std::string& file, const std::string& text) : file_(file), text_(text) {}

  std::size_t read = 0;  // bytes of the text that the parser has read
  JsonValue root;

  bool null() override { return Store(nullptr); }
  bool boolean(bool value) override { return Store(value); }
  bool number_integer(number_integer_t value) override { return Store(static_cast<double>(value)); }
  bool number_unsigned(number_unsigned_t value) override {
    return Store(static_cast<double>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return Store(value); }
  bool string(string_t& value) override { return Store(std::move(value)); }
  bool binary(binary_t&) override { return false; }  // JSON text has no binary values
  bool start_array(std::size_t) override { return Open(JsonValue::Array()); }
  bool start_object(std::size_t) override { return Open(JsonValue::Object()); }
  bool end_array() override { return Close(); }
  bool end_object() override { return Close(); }

  bool key(string_t& name) override {
    auto& members = std::get<JsonValue::Object>(open_.back()->value);
    const TextPosition position = AdvanceToToken();
    const auto [member, isNew] = members.try_emplace(name);
    if (!isNew) Fail(file_, position, "'" + name + "' is a duplicate key");
    member_ = &member->second;
    tokenEnd_ = read;
    return true;
  }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception& error) override {
    Fail(file_, PositionAt(text_, std::min(position > 0 ? position - 1 : 0, text_.size())),
         ReasonText(error.what()));
  }

 private:
  // Advances to the start of the current token. After a number, tokenEnd_ is one byte too far,
  // because the library has read the next byte. This byte never begins a token whose start is
  // needed: it is one of the bytes skipped here, or a closing bracket.
  TextPosition AdvanceToToken() {
    const std::size_t start =
        std::min(text_.find_first_not_of(" \t\r\n,:", tokenEnd_), text_.size());
    position_.Advance(std::string_view(text_).substr(passed_, start - passed_));
    passed_ = start;
    return position_;
  }

  template <class T>
  bool Store(T value) {
    NextValue()->value = std::move(value);
    tokenEnd_ = read;
    return true;
  }

  template <class Container>
  bool Open(Container container) {
    JsonValue* const value = NextValue();
    if (open_.size() == kMaxDepth) Fail(file_, value->position, "nested too deeply");
    value->value = std::move(container);
    open_.push_back(value);
    tokenEnd_ = read;
    return true;
  }

  bool Close() {
    open_.pop_back();
    tokenEnd_ = read;
    return true;
  }

  // Returns the destination of the next value: a new element, or the member whose key was read
  // last. A new element may move the other elements of its array. The array is the innermost open
  // container, so none of its elements is open, and the pointers in open_ stay valid.
  JsonValue* NextValue() {
    JsonValue* value = &root;
    if (!open_.empty()) {
      auto* array = std::get_if<JsonValue::Array>(&open_.back()->value);
      value = array != nullptr ? &array->emplace_back() : member_;
    }
    value->position = AdvanceToToken();
    return value;
  }

  const std::string& file_;
  const std::string& text_;
  std::vector<JsonValue*> open_;  // the open containers, outermost first
  JsonValue* member_ = nullptr;   // in the innermost open object: the destination of the next value
  std::size_t tokenEnd_ = 0;      // the end of the previous token
  std::size_t passed_ = 0;        // the offset of the byte at `position_`
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

bool IsJson(std::string_view text) {
  return json::accept(text.begin(), text.end());
}

}  // namespace sdm_internal
