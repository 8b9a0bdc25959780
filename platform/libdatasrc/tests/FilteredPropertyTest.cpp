// Filtered sources under random edits of dictionaries and random selections of cases. For example,
// a filtered source has the same rows as its parent if both dictionaries get the same edits.

#include <gtest/gtest.h>
#include <libdatasrc/FilteredDataSource.h>
#include <rapidcheck/gtest.h>

#include "Files.h"

namespace {

// One edit. Apply maps both positions to valid positions.
struct Edit {
  enum Kind { Delete, Move, Retype, Insert };
  Kind kind;
  int position;
  int to;    // the new position of a moved variable
  int type;  // the type of an inserted variable, or the new type of a retyped variable
};

void showValue(const Edit& edit, std::ostream& out) {
  const char* const kinds[] = {"delete ", "move ", "retype ", "insert "};
  out << kinds[edit.kind] << edit.position << " to " << edit.to << " type " << edit.type;
}

rc::Gen<Edit> AnyEdit() {
  const auto position = rc::gen::inRange(0, 6);
  return rc::gen::build<Edit>(
      rc::gen::set(&Edit::kind,
                   rc::gen::element(Edit::Delete, Edit::Move, Edit::Retype, Edit::Insert)),
      rc::gen::set(&Edit::position, position), rc::gen::set(&Edit::to, position),
      rc::gen::set(&Edit::type, rc::gen::element(0, 1, 3, 8, 9, 20)));
}

void Apply(const Edit& edit, ORVX_DataSource& source) {
  const int count = source.ColumnCount();
  if (edit.kind == Edit::Insert) {
    const LocallyUniqueID fresh(2, static_cast<unsigned int>(count));
    source.InsertVariable(edit.position % (count + 1), ORVX_Variable(fresh, "new", edit.type));
    return;
  }
  if (count == 0) return;
  const int position = edit.position % count;
  if (edit.kind == Edit::Retype) {
    source.GetVariable(position).SetType(edit.type);
    return;
  }
  const ORVX_Variable variable = source.GetVariable(position);
  source.DeleteVariables(position, position);
  if (edit.kind == Edit::Move) source.InsertVariable(edit.to % count, variable);
}

std::string AnyFile() {
  const auto value = rc::gen::element<std::string>("", "0", "1", "-2.5", "1e300", " 7 ", "x",
                                                   "m\xC3\xBC\xC3\xBC", "0123456789abcdef", "12 ");
  const auto columns = *rc::gen::inRange(1, 6);
  std::ostringstream text;
  for (int column = 0; column < columns; ++column) text << (column > 0 ? "," : "") << 'c' << column;
  for (int row = *rc::gen::inRange(0, 6); row > 0; --row) {
    text << '\n';
    for (int column = 0; column < columns; ++column) text << (column > 0 ? "," : "") << *value;
  }
  text << '\n';
  return text.str();
}

RC_GTEST_PROP(FilteredDataSource, HasTheSameRowsAsTheFileAfterTheSameEdits, ()) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", AnyFile()));
  const auto edits = *rc::gen::container<std::vector<Edit>>(AnyEdit());
  FilteredDataSource filtered(file.get());
  for (const Edit& edit : edits) Apply(edit, filtered);
  const std::vector<std::string> rows = Rows(filtered);

  for (const Edit& edit : edits) Apply(edit, *file);

  RC_ASSERT(rows == Rows(*file));
}

// One parent passes on the rows of the file unchanged; the other parent is a filtered source. Their
// dictionaries are equal, so filtered sources of both parents must have the same rows.
RC_GTEST_PROP(FilteredDataSource, HasTheSameRowsOnAParentThatPassesOnRowsAsOnAFilteredParent, ()) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", AnyFile()));
  const auto parentEdits = *rc::gen::container<std::vector<Edit>>(AnyEdit());
  const auto edits = *rc::gen::container<std::vector<Edit>>(AnyEdit());
  const auto rowsOn = [&](ORVX_DataSource& parent) {
    FilteredDataSource before(&parent);
    for (const Edit& edit : parentEdits) Apply(edit, parent);
    FilteredDataSource after(&parent);
    for (const Edit& edit : edits) Apply(edit, before);
    for (const Edit& edit : edits) Apply(edit, after);
    std::vector<std::string> rows = Rows(before);
    for (const std::string& row : Rows(after)) rows.push_back(row);
    return rows;
  };
  PassedOn passing(file.get());
  FilteredDataSource layingOut(file.get());

  RC_ASSERT(rowsOn(passing) == rowsOn(layingOut));
}

// Column "n" has the row number; column "use" is the variable that selects rows.
RC_GTEST_PROP(FilteredDataSource, HasExactlyTheSelectedRows, ()) {
  const Folder folder;
  const auto uses = *rc::gen::container<std::vector<std::string>>(
      rc::gen::element<std::string>("0", "1", "-1", "", "0.5"));
  std::string text = "n,use\n";
  std::vector<std::string> expected;
  for (std::size_t row = 0; row < uses.size(); ++row) {
    text += std::to_string(row) + ',' + uses[row] + '\n';
    if (uses[row] != "0" && !uses[row].empty()) expected.push_back(std::to_string(row));
  }
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", text));

  FilteredDataSource filtered(file.get(), file->GetVariable(1).GetID());
  filtered.DeleteVariables(1, 1);

  RC_ASSERT(Rows(filtered) == expected);
}

}  // namespace
