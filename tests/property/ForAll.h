// ForAll: a property test inside a GoogleTest.
//
//   TEST(Sorting, Keeps) {
//     ForAll(1000, [] { const auto list = *rc::gen::arbitrary<List>(); RC_ASSERT(...); });
//   }

#ifndef TESTS_PROPERTY_FORALL_H_
#define TESTS_PROPERTY_FORALL_H_

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <sstream>
#include <string>
#include <utility>

// Runs `property` with `runs` random cases. A failure is shrunk and reported with the seed that
// reproduces it.
template <class Property>
void ForAll(int runs, Property property) {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  rc::detail::TestMetadata metadata;
  metadata.id = std::string(test.test_suite_name()) + "/" + test.name();
  metadata.description = test.name();
  rc::detail::TestParams params = rc::detail::configuration().testParams;
  params.maxSuccess = runs;

  const auto result = rc::detail::checkTestable(std::move(property), metadata, params);

  if (result.template is<rc::detail::SuccessResult>()) return;
  std::ostringstream report;
  rc::detail::printResultMessage(result, report);
  ADD_FAILURE() << report.str() << "\nTo play it again: RC_PARAMS=\"seed=" << params.seed << "\"";
}

#endif  // TESTS_PROPERTY_FORALL_H_
