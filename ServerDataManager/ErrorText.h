// ErrorString and ErrorText: the text of an error or warning, and its severity.
//
//   monitor.Report(ErrorText("The file is full.", ErrorText::kError));
//
// Header-only: the message libraries use both classes without linking this library.

#ifndef SERVERDATAMANAGER_ERRORTEXT_H_
#define SERVERDATAMANAGER_ERRORTEXT_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

// A text in UTF-8, possibly empty.
//
// Threads: a plain value; any thread may use its own copy.
class ErrorString {
 public:
  ErrorString() = default;
  explicit ErrorString(std::string text) : text_(std::move(text)) {}

  const std::string& Text() const { return text_; }

 private:
  std::string text_;
};

// A text with its severity. Severity 1 is an error; every other value, including a negative number,
// is a warning.
//
// Threads: a plain value; any thread may use its own copy.
class ErrorText : public ErrorString {
 public:
  static constexpr int kError = 1;

  // An error with an empty text.
  ErrorText() = default;
  // Throws std::out_of_range for a severity outside -128 to 127.
  ErrorText(std::string text, int severity)
      : ErrorString(std::move(text)), severity_(InRange(severity)) {}

  // In the range -128 to 127.
  int Severity() const { return severity_; }

 private:
  static std::int8_t InRange(int severity) {
    if (severity < INT8_MIN || severity > INT8_MAX) {
      throw std::out_of_range("ErrorText: severity " + std::to_string(severity) +
                              " is not from -128 to 127");
    }
    return static_cast<std::int8_t>(severity);
  }

  std::int8_t severity_ = kError;
};

#endif  // SERVERDATAMANAGER_ERRORTEXT_H_
