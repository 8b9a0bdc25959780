// ErrorString and ErrorText: the text of an error or warning, and how serious it is.
//
//   monitor.Report(ErrorText("The file is full.", ErrorText::kError));
//
// Header-only: the message libraries use both without linking this one.

#ifndef SERVERDATAMANAGER_ERRORTEXT_H_
#define SERVERDATAMANAGER_ERRORTEXT_H_

#include <cstdint>
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

// A text with its severity. Severity 1 is an error; every other value, negative ones included,
// counts as a warning.
//
// Threads: a plain value; any thread may use its own copy.
class ErrorText : public ErrorString {
 public:
  static constexpr std::int8_t kError = 1;

  // An empty error.
  ErrorText() = default;
  ErrorText(std::string text, std::int8_t severity)
      : ErrorString(std::move(text)), severity_(severity) {}

  // -128 to 127.
  int Severity() const { return severity_; }

 private:
  std::int8_t severity_ = kError;
};

#endif  // SERVERDATAMANAGER_ERRORTEXT_H_
