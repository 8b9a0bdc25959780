// Dictionary: the mapping of names and identifiers.

#include <tests/support/Dictionary.h>

#include <ServerDataManager/ThreadSafety.h>

#include <map>
#include <sstream>
#include <utility>

namespace support {

namespace {

// Maps names to identifiers and identifiers to names, for the whole process.
struct Register {
  sdm_internal::Mutex mutex;
  std::map<std::string, LocallyUniqueID> ids SDM_GUARDED_BY(mutex);
  std::map<LocallyUniqueID, std::string> names SDM_GUARDED_BY(mutex);
};

Register& TheRegister() {
  static Register theRegister;
  return theRegister;
}

}  // namespace

LocallyUniqueID Id(const std::string& name) {
  Register& known = TheRegister();
  const sdm_internal::MutexLock held(known.mutex);
  const auto found = known.ids.find(name);
  if (found != known.ids.end()) return found->second;
  const LocallyUniqueID id = ORVX_Variable::NextID();
  known.ids.emplace(name, id);
  known.names.emplace(id, name);
  return id;
}

std::string NameOf(LocallyUniqueID id) {
  if (id.IsNull()) return "null";
  Register& known = TheRegister();
  const sdm_internal::MutexLock held(known.mutex);
  const auto found = known.names.find(id);
  if (found != known.names.end()) return found->second;
  return id.ToString();
}

ORVX_Variable Var(const std::string& name, int type) {
  return ORVX_Variable(Id(name), name, type);
}

ORVX_Variable Labelled(ORVX_Variable variable, const std::string& label) {
  variable.SetLabel(label);
  return variable;
}

ORVX_Variable Typed(ORVX_Variable variable, int type) {
  variable.SetType(type);
  return variable;
}

ORVX_Variable Renamed(ORVX_Variable variable, const std::string& name) {
  variable.SetName(name);
  return variable;
}

std::vector<ORVX_Variable> Vars(const std::string& names) {
  std::vector<ORVX_Variable> variables;
  std::istringstream words(names);
  for (std::string name; words >> name;) variables.push_back(Var(name));
  return variables;
}

std::unique_ptr<DataFreeDataSource> Dictionary(const std::string& names) {
  return Dictionary(Vars(names));
}

std::unique_ptr<DataFreeDataSource> Dictionary(const std::vector<ORVX_Variable>& variables) {
  auto source = std::make_unique<DataFreeDataSource>();
  Replace(*source, variables);
  return source;
}

std::unique_ptr<DataFreeDataSource> ManyVariables(unsigned int count) {
  auto source = std::make_unique<DataFreeDataSource>();
  for (unsigned int i = 0; i < count; ++i) {
    source->MakeVariable(ORVX_Variable(LocallyUniqueID(2, i), "v" + std::to_string(i)), nullptr);
  }
  return source;
}

void Replace(ORVX_DataSource& source, const std::vector<ORVX_Variable>& variables) {
  source.DeleteVariables(0, source.ColumnCount() - 1);
  for (const ORVX_Variable& variable : variables) source.MakeVariable(variable, nullptr);
}

std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source) {
  std::vector<ORVX_Variable> variables;
  for (int i = 0; i < source.ColumnCount(); ++i) variables.push_back(source.GetVariable(i));
  return variables;
}

std::string Names(const ORVX_DataSource& source) {
  return Names(VariablesOf(source));
}

std::string Names(const std::vector<ORVX_Variable>& variables) {
  std::string names;
  for (const ORVX_Variable& variable : variables) {
    if (!names.empty()) names += ' ';
    names += NameOf(variable.GetID());
  }
  return names;
}

}  // namespace support
