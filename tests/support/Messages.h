// Expected change messages in tests.
//
//   EXPECT_MESSAGES(writer.GetNotifications(), Deleted("B C"), Inserted("D").Before("E"));
//
// A failure prints the expected and the queued messages side by side.

#ifndef TESTS_SUPPORT_MESSAGES_H_
#define TESTS_SUPPORT_MESSAGES_H_

#include <gtest/gtest.h>
#include <libdatasrc/ORVX_TrendsInfo.h>
#include <libdatasrc/ORVX_Variable.h>
#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace support {

// The content of a message, without dataset and case sequence, as comparable data. The comment of
// each kind lists the fields that messages of this kind use.
struct Said {
  enum class Kind {
    Null,        // a null pointer in the queue
    Other,       // a message of a test's own class
    Insert,      // variables, anchor
    Delete,      // variables
    Move,        // positions, target
    Modify,      // variables, with one element
    ResetUndo,   // nothing
    Imputation,  // number
    FileSpec,    // text, flag
    Label,       // text
    Weight,      // ids, with one element
    Filter,      // ids, with one element
    Trends,      // trends
    Split,       // ids, flag
    Extension,   // type, version, text (the bytes)
    RowCount,    // number (of rows); the message also resets the client's case data
    Dirty,       // flag
  };

  Kind kind = Kind::Null;
  std::vector<ORVX_Variable> variables;
  LocallyUniqueID anchor;
  std::vector<int> positions;
  int target = 0;
  std::vector<LocallyUniqueID> ids = {};
  bool flag = false;
  std::string text = {};
  long long number = 0;
  ORVX_TrendsInfo trends = {};
  int type = 0;
  int version = 0;

  bool operator==(const Said&) const = default;
};

// `message` may be null.
Said WhatIsSaidBy(const DataSetMsg* message);
std::vector<Said> WhatIsSaidBy(const std::vector<DataSetMsg*>& queue);

// Whether the message changes the list of variables.
bool IsAboutVariables(const Said& said);

// Formats a message as one line, such as "insert D before B".
std::string AsText(const Said& said);
std::string AsText(const DataSetMsg* message);
// Formats a variable: the name that belongs to its identifier (see NameOf), then the differences
// from a new numeric variable with that name.
std::string AsText(const ORVX_Variable& variable);

// Formats both lists side by side, with a mark at each different line.
std::string SideBySide(const std::string& leftTitle, const std::vector<std::string>& left,
                       const std::string& rightTitle, const std::vector<std::string>& right);

// Lets RapidCheck and GoogleTest print messages.
std::ostream& operator<<(std::ostream& stream, const Said& said);

// --- Expected messages ---

// One expected message. Variables are compared by identifier, extensions by type. With
// `definitionsToo`, variables are also compared by definition, and extensions by version and bytes.
struct Expected {
  Said said;
  bool definitionsToo = false;
};

// Inserted("D E").Before("B") is one message with two variables. AtEnd() is for a message without
// an anchor.
class Inserted {
 public:
  explicit Inserted(const std::string& names);
  explicit Inserted(const ORVX_Variable& variable);
  Expected Before(const std::string& name) const;
  Expected AtEnd() const;

 private:
  Expected With(LocallyUniqueID anchor) const;

  std::vector<ORVX_Variable> variables_;
  bool definitionsToo_;
};

// Moved(2).To(0) is one message with one position.
class Moved {
 public:
  explicit Moved(int position) : position_(position) {}
  Expected To(int target) const;

 private:
  int position_;
};

Expected Deleted(const std::string& names);  // one message; "" for an empty list
Expected Deleted(const std::vector<ORVX_Variable>& variables);
Expected Modified(const std::string& name);
Expected Modified(const ORVX_Variable& variable);
Expected ResetUndo();
Expected Imputation(long long rows);
Expected FileSpec(const std::string& fileSpec);  // with `flag` set
Expected Label(const std::string& label);
Expected Weight(const std::string& name);
Expected NoWeight();
Expected Filter(const std::string& name);
Expected NoFilter();
Expected Trends(const ORVX_TrendsInfo& trends);
Expected Extension(int type);
Expected Extension(int type, const std::string& bytes);  // with version 1
Expected RowCount(long long rows);                       // also resets the client's case data
Expected Dirty(bool dirty);

// Split("A B"), or Split("A B").Separate(); Split("") for no split.
class Split {
 public:
  explicit Split(const std::string& names);
  operator Expected() const;
  Expected Separate() const;

 private:
  std::vector<LocallyUniqueID> ids_;
};

Expected NullMessage();

testing::AssertionResult AreSaid(const std::vector<Said>& said,
                                 const std::vector<Expected>& expected);

template <class... Expectations>
testing::AssertionResult HasMessages(const std::vector<DataSetMsg*>& queue,
                                     const Expectations&... expected) {
  return AreSaid(WhatIsSaidBy(queue), {expected...});
}
template <class... Expectations>
testing::AssertionResult HasMessages(const std::vector<Said>& said,
                                     const Expectations&... expected) {
  return AreSaid(said, {expected...});
}

std::vector<Said> OnlyAboutVariables(std::vector<Said> said);

template <class Queue, class... Expectations>
testing::AssertionResult HasVariableMessages(const Queue& queue, const Expectations&... expected) {
  if constexpr (std::is_same_v<Queue, std::vector<Said>>) {
    return AreSaid(OnlyAboutVariables(queue), {expected...});
  } else {
    return AreSaid(OnlyAboutVariables(WhatIsSaidBy(queue)), {expected...});
  }
}

// --- A message that a test can watch ---

// A message that increments `deaths`, borrowed, when the message is deleted.
class CountedMessage : public DataSetMsg {
 public:
  explicit CountedMessage(int& deaths) : deaths_(deaths) {}
  ~CountedMessage() override { ++deaths_; }

  VSerializable* VSClone() const override { return new CountedMessage(deaths_); }
  bool VSInitSerialization(VStream&) override { return false; }
  const char* VSConcreteSignature() const override { return "Test::CountedMessage"; }
  void Accept(DataSetMsgVisitor&) const override {}

 private:
  int& deaths_;
};

}  // namespace support

// Arguments: a queue or a list of Said, then the expected messages. Expects exactly these messages,
// in this order.
#define EXPECT_MESSAGES(...) EXPECT_TRUE(::support::HasMessages(__VA_ARGS__))

// Like EXPECT_MESSAGES, but ignores messages that do not change the list of variables.
#define EXPECT_VARIABLE_MESSAGES(...) EXPECT_TRUE(::support::HasVariableMessages(__VA_ARGS__))

#endif  // TESTS_SUPPORT_MESSAGES_H_
