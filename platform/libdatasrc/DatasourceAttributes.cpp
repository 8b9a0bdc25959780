#include <libdatasrc/DatasourceAttributes.h>

#include <libdatasrc/internal/TextFields.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <stdexcept>
#include <utility>

using namespace sdm_internal;

void DatasourceAttributes::Set(const std::string& name, Values values) {
  if (values.empty()) {
    values_.erase(name);
  } else {
    values_[name] = std::move(values);
  }
}

bool DatasourceAttributes::RemoveUnder(std::string_view prefix) {
  return std::erase_if(values_, [&](const auto& attribute) {
           return std::string_view(attribute.first).substr(0, prefix.size()) == prefix;
         }) > 0;
}

std::string DatasourceAttributes::MakeString() const {
  std::string text;
  for (const auto& [name, values] : values_) {
    std::vector<std::string> fields{name};
    fields.insert(fields.end(), values.begin(), values.end());
    AppendLine(fields, text);
  }
  return text;
}

DatasourceAttributes DatasourceAttributes::Read(std::string_view text) {
  DatasourceAttributes attributes;
  std::size_t line = 0;
  for (std::vector<std::string>& fields : ReadLines(text)) {
    ++line;
    Values values(std::make_move_iterator(fields.begin() + 1),
                  std::make_move_iterator(fields.end()));
    if (values.empty()) {
      throw std::invalid_argument("line " + std::to_string(line) + ": attribute \"" + fields[0] +
                                  "\" without a value");
    }
    if (!attributes.values_.emplace(fields[0], std::move(values)).second) {
      throw std::invalid_argument("line " + std::to_string(line) + ": duplicate attribute \"" +
                                  fields[0] + "\"");
    }
  }
  return attributes;
}

bool ClearDashboardInfo(ORVX_DataSource& source) {
  DatasourceAttributes attributes = source.GetAttributes();
  if (!attributes.RemoveUnder("dashboard.")) return false;
  source.SetAttributes(attributes);
  return true;
}
