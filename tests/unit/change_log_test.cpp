// The text of change messages, for logs and users.

#include <client/server/ChangeLog.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <tests/support/Datasets.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using support::Id;
using support::Names;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A dataset with the variables A and B, and a log that has received the first pass.
class ChangeLogs : public testing::Test {
 protected:
  explicit ChangeLogs(ChangeLog::Format format = ChangeLog::Format::Words) : log(format) {
    registry.GetDataSet(id)->Register(log);
    support::WriteNothing(registry, id);
  }

  void WeightByB() {
    support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
      writer->SetWeightVar(writer->FindVarIndex(Id("B")));
    });
  }
  void QueueUnfitMessage() {
    support::Write(registry, id, [this](SvrDMWriteableDataSource& writer) {
      writer.AddNotification(new WeightVarMsg(0, id, writer.GetCaseSequence(), Id("unknown")));
    });
  }

  ServerDataManager registry;
  const LocallyUniqueID id = support::AddDataset(registry, "A B", /*quiet=*/true);
  ChangeLog log;
};

class ChangeLogsInJson : public ChangeLogs {
 protected:
  ChangeLogsInJson() : ChangeLogs(ChangeLog::Format::Json) {}
};

TEST_F(ChangeLogs, HaveOneTextForEachMessageOfTheLastPass) {
  EXPECT_THAT(log.Pass(), Contains(HasSubstr("\"A\"")));
  WeightByB();
  EXPECT_THAT(log.Pass(), ElementsAre(HasSubstr("\"B\"")));
  EXPECT_EQ(log.PassCount(), 2);
  EXPECT_EQ(log.Failure(), "");
}

TEST_F(ChangeLogs, NameTheVariablesOfAMessageAsTheyWereBeforeIt) {
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer->DeleteVariables(1, 1);
    writer->GetVariable(0).SetName("C");
  });
  EXPECT_THAT(log.Pass(), Contains(HasSubstr("\"B\"")));
  EXPECT_THAT(log.Pass(), Contains(HasSubstr("\"A\"")));
  EXPECT_EQ(Names(log.Mirror()), "A");
  EXPECT_EQ(log.Mirror().GetVariable(0).GetName(), "C");
}

TEST_F(ChangeLogsInJson, HaveTheJsonOfEachMessage) {
  WeightByB();
  EXPECT_THAT(log.Pass(), ElementsAre(testing::AllOf(HasSubstr(R"("message":"WeightVarMsg")"),
                                                     HasSubstr(R"("name":"B")"))));
}

TEST_F(ChangeLogs, OmitNullMessages) {
  support::Write(registry, id, [](SvrDMWriteableDataSource& writer) {
    writer.AddNotification(nullptr);
    writer->SetWeightVar(1);
  });
  EXPECT_THAT(log.Pass(), ElementsAre(HasSubstr("\"B\"")));
  EXPECT_EQ(log.Failure(), "");
}

TEST_F(ChangeLogs, KeepTheMirrorAsItWasBeforeAMessageThatDoesNotFit) {
  QueueUnfitMessage();
  EXPECT_THAT(log.Failure(), HasSubstr("WeightVarMsg"));
  WeightByB();
  EXPECT_THAT(log.Pass(), IsEmpty());
  EXPECT_EQ(log.PassCount(), 3);
  EXPECT_TRUE(log.Mirror().GetWeightVariableID().IsNull());
}

}  // namespace
