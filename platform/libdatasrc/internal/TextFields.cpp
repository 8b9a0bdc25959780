#include <libdatasrc/internal/TextFields.h>

#include <stdexcept>

namespace sdm_internal {

namespace {

void AppendEscaped(const std::string& field, std::string& text) {
  for (const char c : field) {
    switch (c) {
      case '\t':
        text += "\\t";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      case '\\':
        text += "\\\\";
        break;
      default:
        text += c;
    }
  }
}

[[noreturn]] void ThrowAtLine(std::size_t line, const std::string& what) {
  throw std::invalid_argument("line " + std::to_string(line) + ": " + what);
}

char Unescaped(char c, std::size_t line) {
  switch (c) {
    case 't':
      return '\t';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case '\\':
      return '\\';
    default:
      ThrowAtLine(line, std::string("unknown escape \\") + c);
  }
}

std::vector<std::string> FieldsOf(std::string_view line, std::size_t number) {
  std::vector<std::string> fields(1);
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\t') {
      fields.emplace_back();
    } else if (line[i] != '\\') {
      fields.back() += line[i];
    } else if (++i < line.size()) {
      fields.back() += Unescaped(line[i], number);
    } else {
      ThrowAtLine(number, "backslash at the end of a line");
    }
  }
  return fields;
}

}  // namespace

void AppendLine(const std::vector<std::string>& fields, std::string& text) {
  const char* separator = "";
  for (const std::string& field : fields) {
    text += separator;
    AppendEscaped(field, text);
    separator = "\t";
  }
  text += '\n';
}

std::vector<std::vector<std::string>> ReadLines(std::string_view text) {
  std::vector<std::vector<std::string>> lines;
  while (!text.empty()) {
    const std::size_t number = lines.size() + 1;
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) ThrowAtLine(number, "no line feed at the end");
    lines.push_back(FieldsOf(text.substr(0, end), number));
    text.remove_prefix(end + 1);
  }
  return lines;
}

}  // namespace sdm_internal
