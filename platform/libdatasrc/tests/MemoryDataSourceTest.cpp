// Cases in memory: reading, editing, and sharing of columns.

#include <gtest/gtest.h>
#include <libdatasrc/CaseReader.h>
#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/MemoryDataSource.h>
#include <rapidcheck/gtest.h>

#include <functional>
#include <limits>
#include <utility>

#include "Files.h"
#include "Variables.h"

namespace {

// Returns a source with two variables and three cases.
std::unique_ptr<MemoryDataSource> Towns() {
  auto towns = std::make_unique<MemoryDataSource>();
  towns->InsertVariable(0, Variable("town", 6), {"Graz", "Ulm", ""});
  towns->InsertVariable(1, Variable("people"), {298, 128, kMissingNumber});
  return towns;
}

using Texts = std::vector<std::string>;
const Texts kTowns = {"[Graz    ] 298", "[Ulm     ] 128", "[        ] ."};

template <class Exception>
void ExpectThrows(const std::function<void()>& call, const std::string& text) {
  try {
    call();
    FAIL() << "no exception, but expected " << text;
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.what(), text);
  }
}

TEST(MemoryDataSource, IsEmptyAndCleanAtFirst) {
  const MemoryDataSource source;
  EXPECT_EQ(source.ColumnCount(), 0);
  EXPECT_EQ(source.RowCount(), 0);
  EXPECT_FALSE(source.IsDirty());
  EXPECT_EQ(Rows(source), Texts());
}

TEST(MemoryDataSource, IsBuiltFromColumns) {
  const auto towns = Towns();
  EXPECT_EQ(towns->RowCount(), 3);
  EXPECT_EQ(Rows(*towns), kTowns);
}

TEST(MemoryDataSource, IsBuiltFromCases) {
  MemoryDataSource towns;
  towns.MakeVariable(Variable("town", 6), nullptr);
  towns.MakeVariable(Variable("people"), nullptr);
  towns.AppendCase({"Graz", 298.0});
  towns.InsertCases(1, std::vector<std::vector<DataValue>>{{"Ulm", 128.0}, {"", kMissingNumber}});
  EXPECT_EQ(Rows(towns), kTowns);
}

// Iterators read variables and cases in groups. Some of these counts do not fill the last group.
TEST(MemoryDataSource, ReadsEveryValueWithAnyNumberOfVariablesAndCases) {
  for (int variables = 1; variables <= 20; ++variables) {
    for (const int cases : {0, 1, 2, 15, 16, 17, 33, 79, 80, 81, 100}) {
      MemoryDataSource source;
      std::vector<std::string> expected(static_cast<std::size_t>(cases));
      for (int i = 0; i < variables; ++i) {
        const bool isText = i == 3;
        std::vector<double> numbers;
        std::vector<std::string> texts;
        for (std::size_t row = 0; row < expected.size(); ++row) {
          const int number = 1000 * i + static_cast<int>(row);
          numbers.push_back(number);
          texts.push_back(std::to_string(number));
          const std::string padding(8 - texts.back().size(), ' ');
          expected[row] += i > 0 ? " " : "";
          expected[row] += isText ? "[" + texts.back() + padding + "]" : texts.back();
        }
        source.InsertVariable(i, Variable("v" + std::to_string(i), isText ? 8 : 0),
                              isText ? ColumnValues(texts) : ColumnValues(numbers));
      }
      EXPECT_EQ(Rows(source), expected) << variables << " and " << cases;
    }
  }
}

TEST(MemoryDataSource, TakesTheNumberOfCasesFromTheFirstValues) {
  MemoryDataSource source;
  source.MakeVariable(Variable("none"), nullptr);
  source.MakeVariable(Variable("some", 2), nullptr);
  source.SetColumn(1, {"a", "b"});
  EXPECT_EQ(Rows(source), (Texts{". [a       ]", ". [b       ]"}));
  source.InsertVariable(0, Variable("more"), {1, 2});
  EXPECT_EQ(Rows(source), (Texts{"1 . [a       ]", "2 . [b       ]"}));
}

TEST(MemoryDataSource, DropsOldColumnsWhenAColumnDeterminesTheNumberOfCases) {
  const auto towns = Towns();
  towns->DeleteCases(0, 2);
  EXPECT_EQ(Rows(*towns), Texts());
  towns->SetColumn(1, {7});
  EXPECT_EQ(Rows(*towns), (Texts{"[        ] 7"}));
}

TEST(MemoryDataSource, SetsValues) {
  const auto towns = Towns();
  towns->SetValue(0, 0, "Wels");
  towns->SetValue(1, 0, "Linz");
  towns->SetValue(2, 0, "Steyr ");
  towns->SetValue(0, 1, kMissingNumber);
  towns->SetValue(1, 1, kInfinity);
  towns->SetValue(2, 1, -0.5);
  EXPECT_EQ(Rows(*towns), (Texts{"[Wels    ] .", "[Linz    ] inf", "[Steyr   ] -0.5"}));
  towns->SetValue(0, 0, "");
  EXPECT_EQ(towns->GetValue(0, 0), DataValue(""));
  EXPECT_EQ(towns->GetValue(2, 0), DataValue("Steyr"));
  EXPECT_EQ(towns->GetValue(2, 1), DataValue(-0.5));
  EXPECT_FALSE(towns->IsDirty());
}

TEST(MemoryDataSource, SetsColumnsAndCases) {
  const auto towns = Towns();
  towns->SetColumn(1, {1, 2, 3});
  towns->SetCase(1, std::vector<DataValue>{"Wels", 9.0});
  EXPECT_EQ(Rows(*towns), (Texts{"[Graz    ] 1", "[Wels    ] 9", "[        ] 3"}));
}

TEST(MemoryDataSource, InsertsAndDeletesCases) {
  const auto towns = Towns();
  towns->InsertMissingCases(1, 2);
  towns->InsertCases(0, std::vector<std::vector<DataValue>>{{"Wels", 62.0}});
  EXPECT_EQ(Rows(*towns), (Texts{"[Wels    ] 62", kTowns[0], "[        ] .", "[        ] .",
                                 kTowns[1], kTowns[2]}));
  towns->DeleteCases(2, 3);
  towns->DeleteCases(0, 0);
  towns->DeleteCases(1, 0);
  towns->DeleteCases(3, 2);
  EXPECT_EQ(Rows(*towns), kTowns);
}

TEST(MemoryDataSource, KeepsValuesOfAVariableThatIsMovedOrRenamed) {
  const auto towns = Towns();
  const ORVX_Variable people = towns->GetVariable(1);
  towns->DeleteVariables(1, 1);
  towns->DeleteCases(0, 0);
  towns->AppendCase({"Wels"});
  towns->InsertVariable(0, people);
  towns->GetVariable(1).SetName("city");
  EXPECT_EQ(Rows(*towns), (Texts{"128 [Ulm     ]", ". [        ]", ". [Wels    ]"}));
}

TEST(MemoryDataSource, DropsTheValuesOfDeletedVariablesOnRequest) {
  const auto towns = Towns();
  const ORVX_Variable people = towns->GetVariable(1);
  towns->DeleteVariables(1, 1);
  towns->DropUnusedValues();
  towns->InsertVariable(1, people);
  EXPECT_EQ(Rows(*towns), (Texts{"[Graz    ] .", "[Ulm     ] .", "[        ] ."}));
}

TEST(MemoryDataSource, RetypeConvertsTheStoredValues) {
  const auto source = Towns();
  source->InsertVariable(2, Variable("code", 8), {"007", "x", "1.50"});
  for (const int type : {2, 8}) source->Retype(0, type);
  for (const int type : {0, 8}) source->Retype(2, type);
  source->Retype(1, 3);
  EXPECT_EQ(Rows(*source),
            (Texts{"[Gr      ] [298     ] [7       ]", "[Ul      ] [128     ] [        ]",
                   "[        ] [        ] [1.5     ]"}));
}

TEST(MemoryDataSource, ChangingATypeConvertsValuesAsReadAndKeepsTheStoredValues) {
  const auto source = Towns();
  source->GetVariable(0).SetType(2);
  source->GetVariable(1).SetType(3);
  EXPECT_EQ(Rows(*source),
            (Texts{"[Gr      ] [298     ]", "[Ul      ] [128     ]", "[        ] [        ]"}));
  EXPECT_EQ(source->GetValue(0, 0), DataValue("Gr"));
  EXPECT_EQ(source->GetValue(0, 1), DataValue("298"));
  source->GetVariable(0).SetType(6);
  source->GetVariable(1).SetType(0);
  EXPECT_EQ(Rows(*source), kTowns);
}

TEST(MemoryDataSource, ConvertsTheColumnWhenAValueOfTheNewKindIsSet) {
  const auto source = Towns();
  source->InsertVariable(2, Variable("code", 8), {"007", "x", "1.50"});
  source->GetVariable(1).SetType(8);
  source->SetValue(2, 1, "many");
  source->GetVariable(2).SetType(0);
  source->SetValue(1, 2, 5.0);
  EXPECT_EQ(Rows(*source), (Texts{"[Graz    ] [298     ] 7", "[Ulm     ] [128     ] 5",
                                  "[        ] [many    ] 1.5"}));
}

TEST(MemoryDataSource, RejectsValuesThatDoNotFit) {
  const auto towns = Towns();
  const auto rejected = [&](const std::function<void(MemoryDataSource&)>& edit) {
    return [&towns, edit] { edit(*towns); };
  };
  const std::string tooLong = "a string of 7 bytes, but variable \"town\" has a width of 6 bytes";
  ExpectThrows<std::length_error>(rejected([](auto& s) { s.SetValue(0, 0, "Leoben!"); }),
                                  "SetValue: " + tooLong);
  ExpectThrows<std::length_error>(rejected([](auto& s) {
                                    s.AppendCase({"Leoben!", 1.0});
                                  }),
                                  "AppendCase: " + tooLong);
  ExpectThrows<std::length_error>(rejected([](auto& s) {
                                    s.SetColumn(0, {"a", "Leoben!", "b"});
                                  }),
                                  "SetColumn: " + tooLong);
  ExpectThrows<std::invalid_argument>(rejected([](auto& s) { s.SetValue(0, 1, "Graz"); }),
                                      "SetValue: a string, but variable \"people\" is numeric");
  ExpectThrows<std::invalid_argument>(rejected([](auto& s) {
                                        s.SetColumn(0, {1, 2, 3});
                                      }),
                                      "SetColumn: a number, but variable \"town\" is a string");
  ExpectThrows<std::invalid_argument>(rejected([](auto& s) { s.SetColumn(1, {1}); }),
                                      "SetColumn: 1 values, but 3 cases");
  ExpectThrows<std::invalid_argument>(rejected([](auto& s) { s.AppendCase({"Wels"}); }),
                                      "AppendCase: 1 values, but 2 variables");
  ExpectThrows<std::invalid_argument>(rejected([](auto& s) {
                                        s.InsertVariable(0, s.GetVariable(0), {1, 2, 3});
                                      }),
                                      "InsertVariable: the dictionary already has the identifier " +
                                          towns->GetVariable(0).GetID().ToString());
  EXPECT_EQ(Rows(*towns), kTowns);
}

TEST(MemoryDataSource, RejectsPositionsOutsideTheCases) {
  const auto towns = Towns();
  ExpectThrows<std::out_of_range>([&] { towns->SetValue(3, 1, 1.0); }, "SetValue: case 3 of 3");
  ExpectThrows<std::out_of_range>([&] { towns->SetValue(-1, 1, 1.0); }, "SetValue: case -1 of 3");
  EXPECT_THROW(towns->SetValue(0, 2, 1.0), std::out_of_range);
  EXPECT_THROW(towns->GetValue(3, 1), std::out_of_range);
  EXPECT_THROW(towns->GetValue(0, -1), std::out_of_range);
  EXPECT_THROW(towns->SetCase(3, std::vector<DataValue>{"", 1.0}), std::out_of_range);
  EXPECT_THROW(towns->SetColumn(2, {1, 2, 3}), std::out_of_range);
  EXPECT_THROW(towns->Retype(2, 1), std::out_of_range);
  EXPECT_THROW(towns->Retype(1, -1), std::invalid_argument);
  EXPECT_THROW(towns->InsertVariable(3, Variable("x"), {1, 2, 3}), std::out_of_range);
  EXPECT_THROW(towns->InsertMissingCases(4, 1), std::out_of_range);
  EXPECT_THROW(towns->InsertMissingCases(0, -1), std::length_error);
  EXPECT_THROW(towns->InsertMissingCases(0, std::numeric_limits<long long>::max()),
               std::length_error);
  EXPECT_THROW(towns->InsertCases(-1, {}), std::out_of_range);
  EXPECT_THROW(towns->DeleteCases(-1, 0), std::out_of_range);
  EXPECT_THROW(towns->DeleteCases(0, 3), std::out_of_range);
  EXPECT_THROW(towns->DeleteCases(2, 0), std::out_of_range);
  EXPECT_EQ(Rows(*towns), kTowns);

  MemoryDataSource none;
  EXPECT_THROW(none.InsertVariable(1, Variable("x"), {1, 2}), std::out_of_range);
  EXPECT_EQ(none.RowCount(), 0);
}

TEST(MemoryDataSource, RejectsWholeCasesWhileVariablesShareAnIdentifier) {
  const auto towns = Towns();
  towns->InsertVariable(2, towns->GetVariable(1));
  EXPECT_THROW(towns->AppendCase({"Wels", 1.0, 2.0}), std::logic_error);
  towns->SetValue(0, 2, 5.0);
  EXPECT_EQ(Rows(*towns).front(), "[Graz    ] 5 5");
}

TEST(MemoryDataSource, LeavesRunningIteratorsWithTheOldValues) {
  const auto towns = Towns();
  std::vector<OBS> area(2);
  const std::unique_ptr<ObsIterator> rows(towns->MakeIterator(area.data()));
  ASSERT_TRUE(rows->Next());
  towns->SetValue(1, 0, "Wels");
  towns->SetColumn(1, {1, 2, 3});
  towns->DeleteCases(2, 2);
  towns->Retype(1, 5);
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(std::string(area[0].text, 4), "Ulm ");
  EXPECT_EQ(area[1].number, 128);
  EXPECT_TRUE(rows->Next());
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(Rows(*towns), (Texts{"[Graz    ] [1       ]", "[Wels    ] [2       ]"}));
}

TEST(MemoryDataSource, CopiesAreIndependent) {
  const auto towns = Towns();
  towns->SetLabel("Towns");
  towns->SetDirty(true);
  const auto copy = MemoryDataSource::CopyOf(*towns);
  towns->SetValue(0, 0, "Wels");
  copy->SetValue(0, 1, 1.0);
  copy->DeleteCases(1, 2);
  EXPECT_EQ(Rows(*towns), (Texts{"[Wels    ] 298", kTowns[1], kTowns[2]}));
  EXPECT_EQ(Rows(*copy), (Texts{"[Graz    ] 1"}));
  EXPECT_STREQ(copy->GetLabel(), "Towns");
  EXPECT_FALSE(copy->IsDirty());
}

TEST(MemoryDataSource, CopiesTheCasesOfAnySource) {
  const auto towns = Towns();
  towns->InsertVariable(2, Variable("use"), {0, 1, 1});
  FilteredDataSource selected(towns.get(), towns->GetVariable(2).GetID());
  selected.DeleteVariables(2, 2);
  selected.GetVariable(1).SetType(4);
  PassedOn passing(&selected);
  passing.GetVariable(1).SetType(0);
  const auto copy = MemoryDataSource::CopyOf(passing);
  towns->SetColumn(0, {"", "", ""});
  EXPECT_EQ(Rows(*copy), (Texts{kTowns[1], kTowns[2]}));
  EXPECT_EQ(copy->GetVariable(1), passing.GetVariable(1));
}

TEST(MemoryDataSource, CopiesTheValuesThatASourceReadsFromThePassedOnRows) {
  const auto towns = Towns();
  const ORVX_Variable people = towns->GetVariable(1);
  PassedOn same(towns.get());
  EXPECT_EQ(Rows(*MemoryDataSource::CopyOf(same)), Rows(*towns));

  towns->DeleteVariables(1, 1);  // removes the values from the rows, not from memory
  PassedOn other(towns.get());
  other.InsertVariable(1, people);
  EXPECT_EQ(Rows(*MemoryDataSource::CopyOf(other)).front(), "[Graz    ] .");
}

TEST(MemoryDataSource, KeepsTheFirstValuesOfASharedIdentifierInACopy) {
  const auto towns = Towns();
  PassedOn passing(towns.get());
  passing.InsertVariable(2, passing.GetVariable(0));
  EXPECT_EQ(Rows(*MemoryDataSource::CopyOf(passing)).front(), "[Graz    ] 298 [Graz    ]");
}

TEST(MemoryDataSource, EditsTheCasesOfAnOpenedFile) {
  const Folder folder;
  const auto file = SystemFileDataSource::Open(folder.Write("data.csv", "a,b\n1,x\n2,yy\n"));
  file->SetValue(0, 1, "zz");
  file->AppendCase({3.0, "w"});
  file->DeleteCases(1, 1);
  EXPECT_EQ(Rows(*file), (Texts{"1 [zz      ]", "3 [w       ]"}));
}

TEST(MemoryDataSource, KeepsTheLastStringsAfterManySets) {
  const auto towns = Towns();
  const auto width = 1000;
  towns->Retype(0, width);
  for (int i = 0; i < 1000; ++i) {
    const auto length = static_cast<std::size_t>(i % width);
    towns->SetValue(i % 3, 0, std::string(length, static_cast<char>('a' + i % 26)));
  }
  for (const int i : {997, 998, 999}) {
    EXPECT_EQ(towns->GetValue(i % 3, 0),
              DataValue(std::string(static_cast<std::size_t>(i), static_cast<char>('a' + i % 26))));
  }
}

// --- Random edits, compared with plain vectors ---

struct CaseEdit {
  enum Kind { Value, Column, Case, Insert, InsertMissing, Delete, NewVariable, DeleteVariable };
  Kind kind;
  std::size_t row;
  std::size_t position;
  int count;
  std::vector<double> numbers;  // new values are made from these numbers in turn
};

void showValue(const CaseEdit& edit, std::ostream& out) {
  out << "kind " << edit.kind << " row " << edit.row << " position " << edit.position << " count "
      << edit.count;
}

rc::Gen<CaseEdit> AnyCaseEdit() {
  const auto small = rc::gen::inRange(0, 8);
  const auto index = rc::gen::inRange<std::size_t>(0, 8);
  return rc::gen::build<CaseEdit>(
      rc::gen::set(&CaseEdit::kind,
                   rc::gen::element(CaseEdit::Value, CaseEdit::Column, CaseEdit::Case,
                                    CaseEdit::Insert, CaseEdit::InsertMissing, CaseEdit::Delete,
                                    CaseEdit::NewVariable, CaseEdit::DeleteVariable)),
      rc::gen::set(&CaseEdit::row, index), rc::gen::set(&CaseEdit::position, index),
      rc::gen::set(&CaseEdit::count, small),
      rc::gen::set(&CaseEdit::numbers,
                   rc::gen::container<std::vector<double>>(
                       64, rc::gen::map(small, [](int i) { return static_cast<double>(i); }))));
}

// The expected types and cases.
struct CaseModel {
  std::vector<int> types;
  std::vector<std::vector<DataValue>> cases;
};

DataValue ValueFor(int type, double number) {
  if (type == 0) return number;
  return std::string(static_cast<std::size_t>(number), 'x');
}

std::string ValuesText(const std::vector<DataValue>& values) {
  std::ostringstream text;
  for (const DataValue& value : values) {
    std::visit([&](const auto& either) { text << either << '|'; }, value);
  }
  return text.str();
}

// A source and its model, which get the same edits. Apply maps each position to a valid position.
class Both {
 public:
  MemoryDataSource source;
  CaseModel model;

  void Apply(const CaseEdit& edit) {
    numbers_ = edit.numbers;
    const std::size_t row = edit.row % (model.cases.size() + 1);
    const auto index = static_cast<long long>(row);
    const bool isCase = row < model.cases.size();
    const bool hasVariables = !model.types.empty();
    const std::size_t position = hasVariables ? edit.position % model.types.size() : 0;
    const auto place = model.cases.begin() + static_cast<std::ptrdiff_t>(row);
    switch (edit.kind) {
      case CaseEdit::Value:
        if (!isCase || !hasVariables) return;
        model.cases[row][position] = Next(position);
        return source.SetValue(index, static_cast<int>(position), model.cases[row][position]);
      case CaseEdit::Column:
        if (hasVariables && !model.cases.empty()) SetColumn(position);
        return;
      case CaseEdit::Case:
        if (!isCase) return;
        model.cases[row] = NextCase();
        return source.SetCase(index, model.cases[row]);
      case CaseEdit::Insert: {
        std::vector<std::vector<DataValue>> cases;
        for (int i = 0; i < edit.count % 3; ++i) cases.push_back(NextCase());
        model.cases.insert(place, cases.begin(), cases.end());
        return source.InsertCases(index, cases);
      }
      case CaseEdit::InsertMissing: {
        std::vector<DataValue> missing;
        for (const int type : model.types) {
          missing.push_back(type == 0 ? DataValue(kMissingNumber) : DataValue(""));
        }
        model.cases.insert(place, static_cast<std::size_t>(edit.count), missing);
        return source.InsertMissingCases(index, edit.count);
      }
      case CaseEdit::Delete: {
        const std::size_t count =
            std::min(static_cast<std::size_t>(edit.count), model.cases.size() - row);
        model.cases.erase(place, place + static_cast<std::ptrdiff_t>(count));
        return source.DeleteCases(index, index + static_cast<long long>(count) - 1);
      }
      case CaseEdit::NewVariable:
        if (model.types.size() < 6) InsertVariable(edit.position % 2 == 0 ? 0 : 8);
        return;
      case CaseEdit::DeleteVariable:
        if (!hasVariables) return;
        model.types.erase(model.types.begin() + static_cast<std::ptrdiff_t>(position));
        for (auto& values : model.cases) {
          values.erase(values.begin() + static_cast<std::ptrdiff_t>(position));
        }
        source.DeleteVariables(static_cast<int>(position), static_cast<int>(position));
        return;
    }
  }

  std::vector<std::string> Expected() const {
    std::vector<std::string> rows;
    for (const auto& values : model.cases) rows.push_back(ValuesText(values));
    return rows;
  }

 private:
  DataValue Next(std::size_t position) {
    next_ = (next_ + 1) % numbers_.size();
    return ValueFor(model.types[position], numbers_[next_]);
  }
  std::vector<DataValue> NextCase() {
    std::vector<DataValue> values;
    for (std::size_t i = 0; i < model.types.size(); ++i) values.push_back(Next(i));
    return values;
  }

  template <class Values, class T>
  ColumnValues ColumnOf(std::size_t position) {
    Values values;
    for (auto& row : model.cases) values.push_back(std::get<T>(row[position]));
    return values;
  }
  ColumnValues ColumnOf(std::size_t position) {
    if (model.types[position] == 0) return ColumnOf<std::vector<double>, double>(position);
    return ColumnOf<std::vector<std::string>, std::string>(position);
  }
  void SetColumn(std::size_t position) {
    for (auto& row : model.cases) row[position] = Next(position);
    source.SetColumn(static_cast<int>(position), ColumnOf(position));
  }
  void InsertVariable(int type) {
    model.types.insert(model.types.begin(), type);
    for (auto& row : model.cases) row.insert(row.begin(), Next(0));
    source.InsertVariable(0, Variable("new", type), ColumnOf(0));
  }

  std::vector<double> numbers_;
  std::size_t next_ = 0;
};

std::vector<std::string> TextsOf(const ORVX_DataSource& source) {
  std::vector<std::string> rows;
  for (CaseReader cases(source); cases.Next();) rows.push_back(ValuesText(cases.Values()));
  return rows;
}

// Copies the source after every second edit; later edits must not change the copies.
RC_GTEST_PROP(MemoryDataSource, HasTheCasesOfAPlainTableAfterTheSameEdits, ()) {
  Both both;
  std::vector<std::pair<std::unique_ptr<MemoryDataSource>, std::vector<std::string>>> copies;
  const auto edits = *rc::gen::container<std::vector<CaseEdit>>(AnyCaseEdit());
  for (std::size_t i = 0; i < edits.size(); ++i) {
    both.Apply(edits[i]);
    RC_ASSERT(TextsOf(both.source) == both.Expected());
    if (i % 2 == 0) copies.emplace_back(MemoryDataSource::CopyOf(both.source), both.Expected());
  }
  for (const auto& [copy, expected] : copies) RC_ASSERT(TextsOf(*copy) == expected);
}

}  // namespace
