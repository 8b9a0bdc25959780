// Tests which objects an error report creates, and that none leaks. This program replaces the
// constructors of the report and of the response with constructors that record their calls.

#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <tests/support/FullMemory.h>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<std::string> steps;

}  // namespace

ReportedErrorMsg::ReportedErrorMsg(LocallyUniqueID& dataSetID, const ErrorText& text)
    : text_(text), dataSetID_(dataSetID) {
  steps.push_back("message made");
}
ReportedErrorMsgResponse::ReportedErrorMsgResponse() {
  steps.push_back("response made");
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Channel : public PackageProxy {
 public:
  short SendMessage(int, VSerializable*) override {
    steps.push_back("sent");
    if (broken) throw std::runtime_error("line is cut");
    return 0;
  }

  bool broken = false;
};

class StepsOfAReport : public testing::Test {
 protected:
  StepsOfAReport() {
    steps.clear();
    support::messageHeap = {};
  }
  ~StepsOfAReport() override {
    EXPECT_EQ(support::messageHeap.freed, support::messageHeap.taken) << "a message is left behind";
  }

  Channel channel;
  InteractiveErrorMonitor monitor{LocallyUniqueID(0, 4), &channel};
};

TEST_F(StepsOfAReport, StartWithAnUnusedResponse) {
  monitor.Report(ErrorText("Disk full", 1));
  EXPECT_THAT(steps, ElementsAre("response made", "message made", "sent"));
}

TEST_F(StepsOfAReport, AreTheSameIfTheChannelThrows) {
  channel.broken = true;
  EXPECT_THROW(monitor.Report(ErrorText("Disk full", 1)), std::runtime_error);
  EXPECT_THAT(steps, ElementsAre("response made", "message made", "sent"));
}

TEST_F(StepsOfAReport, ADroppedWarningHasNoSteps) {
  monitor.DoNotReportWarnings();
  monitor.Report(ErrorText("Disk nearly full", 2));
  EXPECT_THAT(steps, IsEmpty());
}

}  // namespace
