// Dictionaries for tests, given by the names of their variables.
//
//   std::unique_ptr<DataFreeDataSource> source = Dictionary("A B C");
//   source->InsertVariable(1, Var("D"));
//   EXPECT_EQ(Names(*source), "A D B C");

#ifndef TESTS_SUPPORT_DICTIONARY_H_
#define TESTS_SUPPORT_DICTIONARY_H_

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <memory>
#include <string>
#include <vector>

namespace support {

// The identifier assigned to a name in this process, created on first use.
// Threads: any.
LocallyUniqueID Id(const std::string& name);

// The name of an identifier; "1:7" (domain and serial) for an unknown identifier, "null" for null.
// Threads: any.
std::string NameOf(LocallyUniqueID id);

// Returns a variable with that name and with the identifier Id(name).
// Threads: any.
ORVX_Variable Var(const std::string& name, int type = 0);

// Return a copy of the variable with the given label, type or name. The copy keeps the identifier.
ORVX_Variable Labelled(ORVX_Variable variable, const std::string& label);
ORVX_Variable Typed(ORVX_Variable variable, int type);
ORVX_Variable Renamed(ORVX_Variable variable, const std::string& name);

// Returns one variable for each name. Blanks separate the names.
std::vector<ORVX_Variable> Vars(const std::string& names);

// Returns a source without cases and without unsaved changes, whose dictionary has these variables.
std::unique_ptr<DataFreeDataSource> Dictionary(const std::string& names);
std::unique_ptr<DataFreeDataSource> Dictionary(const std::vector<ORVX_Variable>& variables);
// Returns a source with `count` variables, "v0", "v1" and so on.
std::unique_ptr<DataFreeDataSource> ManyVariables(unsigned int count);

// Deletes all variables of `source`, then appends these variables.
void Replace(ORVX_DataSource& source, const std::vector<ORVX_Variable>& variables);

std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source);

// The names that belong to the identifiers of the variables, separated by blanks: a renamed
// variable keeps its old name here.
std::string Names(const ORVX_DataSource& source);
std::string Names(const std::vector<ORVX_Variable>& variables);

// A source that increments `deaths`, borrowed, when it is destroyed.
class CountedSource : public DataFreeDataSource {
 public:
  explicit CountedSource(int& deaths, ORVX_DataSource* parent = nullptr)
      : DataFreeDataSource(parent), deaths_(deaths) {}
  ~CountedSource() override { ++deaths_; }

 private:
  int& deaths_;
};

}  // namespace support

#endif  // TESTS_SUPPORT_DICTIONARY_H_
