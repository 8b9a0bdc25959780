// Values of cases in words.

#include "CaseWords.h"

#include "VariableWords.h"

namespace sdmsh {
namespace {

constexpr unsigned char kDelete = 0x7F;

// U+2400 to U+241F, and U+2421 for the last of them, as UTF-8.
std::string SignOf(unsigned char control) {
  const int sign = control == kDelete ? 0x21 : control;
  return {'\xE2', '\x90', static_cast<char>(0x80 + sign)};
}

std::string OnOneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == kDelete) {
      line += SignOf(byte);
    } else {
      line += c;
    }
  }
  return line;
}

}  // namespace

std::string CaseValueInWords(const CaseValue& value) {
  if (!value) return ".";
  if (const double* const number = std::get_if<double>(&*value)) return NumberInWords(*number);
  return OnOneLine(std::get<std::string>(*value));
}

std::string CasesOf(const std::string& dataset) {
  return "the cases of " + dataset;
}

}  // namespace sdmsh
