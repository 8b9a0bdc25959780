// A dictionary in which everything that digests include has a value other than the default.
//
// Header-only.

#ifndef TESTS_SUPPORT_FULLDICTIONARY_H_
#define TESTS_SUPPORT_FULLDICTIONARY_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <tests/support/Dictionary.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace support {

class SourceWithRows : public DataFreeDataSource {
 public:
  long long RowCount() const override { return rows; }
  long long rows = 0;
};

inline void SetSplit(ORVX_DataSource& source, const std::vector<int>& indices, bool separate) {
  source.SetSplit(static_cast<unsigned int>(indices.size()), indices.data(), separate);
}

inline void SetExtension(ORVX_DataSource& source, int type, int version, const std::string& bytes) {
  source.SetExtension(ORVX_DataSource::Extension(RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, version, static_cast<long>(bytes.size()), bytes.data()))));
}

inline void SetAttribute(ORVX_DataSource& source, const std::string& name,
                         const std::vector<std::string>& values) {
  DatasourceAttributes attributes = source.GetAttributes();
  attributes.Set(name, values);
  source.SetAttributes(attributes);
}

// Attributes with these names and the value "value".
inline DatasourceAttributes Attributes(std::initializer_list<std::string> names) {
  DatasourceAttributes attributes;
  for (const std::string& name : names) attributes.Set(name, {"value"});
  return attributes;
}

inline VariableSetImpl SetOf(const std::string& name, const std::string& members) {
  VariableSetImpl set;
  set.name = name;
  set.label = "label of " + name;
  set.selectedValue = std::string(1, '1');
  for (const ORVX_Variable& member : Vars(members)) set.members.push_back(member.GetID());
  return set;
}

// A dictionary with variables A to D. Every field of B and every property that digests include is
// set.
inline std::unique_ptr<SourceWithRows> FullDictionary() {
  auto source = std::make_unique<SourceWithRows>();
  Replace(*source, Vars("A B C D"));
  ORVX_Variable& variable = source->GetVariable(1);
  variable.SetLabel("label of B");
  variable.SetType(12);
  variable.SetFormat({VariableFormat::Kind::Plain, 12, 0});
  variable.SetValueLabels({{1.0, "one"}, {"x", "a text"}});
  variable.SetMissingValues({{9.0, "none"}});
  variable.SetMeasurementLevel(MeasurementLevel::Nominal);
  variable.SetAttributes({{"unit", {"kg", "g"}}});
  source->rows = 7;
  source->SetWeightVar(0);
  source->SetFilterVar(0);
  SetSplit(*source, {2, 3}, true);
  source->SetLabel("label");
  source->SetDirty(true);
  *source->GetTrendsInfo() = {{Id("A")}, 12};
  source->SetMRSets({SetOf("m", "A B"), SetOf("n", "C")});
  source->SetVariableSets({SetOf("s", "A B")});
  SetExtension(*source, 0, 1, "bytes");
  SetAttribute(*source, "a", {"1", "2"});
  SetAttribute(*source, "b", {"3"});
  return source;
}

}  // namespace support

#endif  // TESTS_SUPPORT_FULLDICTIONARY_H_
