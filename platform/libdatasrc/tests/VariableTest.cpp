// A variable as a value: shared records, assignment, equality.

#include <gtest/gtest.h>
#include <libdatasrc/ORVX_Variable.h>

#include <functional>
#include <limits>
#include <stdexcept>
#include <type_traits>

namespace {

ORVX_Variable Age() {
  return ORVX_Variable(LocallyUniqueID(1, 7), "age");
}

TEST(Variable, DefaultIsNumericWithoutNameAndIdentifier) {
  const ORVX_Variable variable;

  EXPECT_TRUE(variable.GetID().IsNull());
  EXPECT_EQ(variable.GetName(), "");
  EXPECT_EQ(variable.GetLabel(), "");
  EXPECT_EQ(variable.GetType(), 0);
  EXPECT_TRUE(variable.GetValueLabels().empty());
  EXPECT_EQ(variable.GetMissingValues(), MissingValues());
  EXPECT_EQ(variable.GetFormat(), VariableFormat());
  EXPECT_EQ(variable.GetMeasurementLevel(), MeasurementLevel::Unknown);
  EXPECT_EQ(variable, ORVX_Variable());
}

TEST(Variable, StoresItsConstructorArguments) {
  const ORVX_Variable variable(LocallyUniqueID(1, 7), "city", 12);

  EXPECT_EQ(variable.GetID(), LocallyUniqueID(1, 7));
  EXPECT_EQ(variable.GetName(), "city");
  EXPECT_EQ(variable.GetType(), 12);
}

TEST(Variable, CopiesShareTheRecordUntilOneIsChanged) {
  const ORVX_Variable original = Age();
  ORVX_Variable copy = original;
  ASSERT_EQ(&copy.GetName(), &original.GetName());

  copy.SetName("years");

  EXPECT_EQ(copy.GetName(), "years");
  EXPECT_EQ(original.GetName(), "age");
  EXPECT_EQ(copy.GetID(), original.GetID());
}

TEST(Variable, ChangingTheOriginalDoesNotChangeItsCopies) {
  ORVX_Variable original = Age();
  const ORVX_Variable copy = original;

  original.SetType(4);

  EXPECT_EQ(copy.GetType(), 0);
}

TEST(Variable, ChangingADefaultVariableDoesNotChangeOthers) {
  ORVX_Variable variable;
  variable.SetName("x");

  EXPECT_EQ(ORVX_Variable().GetName(), "");
}

TEST(Variable, IsChangedInPlaceIfUnshared) {
  ORVX_Variable variable = Age();
  const std::string* const name = &variable.GetName();

  variable.SetLabel("Age in years");

  EXPECT_EQ(&variable.GetName(), name);
}

TEST(Variable, MovingMakesACopy) {
  ORVX_Variable original = Age();
  const ORVX_Variable target = std::move(original);

  EXPECT_EQ(original, target);  // NOLINT: a moved-from variable keeps its value
}

TEST(Variable, AssignedToItselfKeepsItsValue) {
  ORVX_Variable variable = Age();
  const ORVX_Variable& same = variable;

  variable = same;

  EXPECT_EQ(variable, Age());
}

TEST(Variable, AcceptsItsOwnFieldAsAnArgument) {
  ORVX_Variable variable = Age();
  const VariableFormat format{VariableFormat::Kind::Time, 12, 4};
  variable.SetFormat(format);
  const ORVX_Variable copy = variable;

  variable.SetFormat(variable.GetFormat());
  variable.SetLabel(variable.GetName());

  EXPECT_EQ(variable.GetFormat(), format);
  EXPECT_EQ(variable.GetLabel(), "age");
  EXPECT_EQ(copy.GetLabel(), "");
}

TEST(Variable, RejectsANegativeTypeAndKeepsTheOldType) {
  ORVX_Variable variable(LocallyUniqueID(1, 1), "x", 3);

  EXPECT_THROW(variable.SetType(-1), std::invalid_argument);
  EXPECT_THROW(ORVX_Variable(LocallyUniqueID(1, 1), "x", -5), std::invalid_argument);
  EXPECT_EQ(variable.GetType(), 3);
}

struct Change {
  const char* field;
  std::function<void(ORVX_Variable&)> apply;
};

void PrintTo(const Change& change, std::ostream* out) {
  *out << change.field;
}

class EveryField : public testing::TestWithParam<Change> {};

TEST_P(EveryField, IsCompared) {
  const ORVX_Variable plain = Age();
  ORVX_Variable changed = Age();
  ORVX_Variable changedAlike = Age();

  GetParam().apply(changed);
  GetParam().apply(changedAlike);

  EXPECT_FALSE(changed == plain);
  EXPECT_TRUE(changed == changedAlike);
}

INSTANTIATE_TEST_SUITE_P(
    Variable, EveryField,
    testing::Values(
        Change{"ID", [](ORVX_Variable& v) { v.SetID(LocallyUniqueID(1, 8)); }},
        Change{"Name", [](ORVX_Variable& v) { v.SetName("Age"); }},
        Change{"Label", [](ORVX_Variable& v) { v.SetLabel("Age in years"); }},
        Change{"Type", [](ORVX_Variable& v) { v.SetType(1); }},
        Change{"FormatKind", [](ORVX_Variable& v) { v.SetFormat({VariableFormat::Kind::Date}); }},
        Change{"FormatWidth",
               [](ORVX_Variable& v) {
                 v.SetFormat({VariableFormat::Kind::Plain, 9});
               }},
        Change{"FormatDecimals",
               [](ORVX_Variable& v) {
                 v.SetFormat({VariableFormat::Kind::Plain, 0, 2});
               }},
        Change{"ValueLabels",
               [](ORVX_Variable& v) {
                 v.SetValueLabels({{99.0, "unknown"}});
               }},
        Change{"MissingValues", [](ORVX_Variable& v) { v.SetMissingValues({{DataValue(99.0)}}); }},
        Change{"MeasurementLevel",
               [](ORVX_Variable& v) { v.SetMeasurementLevel(MeasurementLevel::Ratio); }},
        Change{"Attributes",
               [](ORVX_Variable& v) {
                 v.SetAttributes({{"source", {"census"}}});
               }}),
    [](const auto& each) { return each.param.field; });

TEST(Variable, AMissingValueThatIsANaNEqualsItself) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  ORVX_Variable a = Age();
  ORVX_Variable b = Age();
  a.SetMissingValues({{DataValue(nan), DataValue(1.0)}});
  b.SetMissingValues({{DataValue(nan), DataValue(1.0)}});

  EXPECT_TRUE(a == b);

  b.SetMissingValues({{DataValue(nan), DataValue(2.0)}});
  EXPECT_FALSE(a == b);
}

template <class T>
concept HasInequalityOfItsOwn = requires {
  &T::operator!=;
};
static_assert(!HasInequalityOfItsOwn<ORVX_Variable>);
static_assert(sizeof(ORVX_Variable) == 2 * sizeof(void*));

}  // namespace
