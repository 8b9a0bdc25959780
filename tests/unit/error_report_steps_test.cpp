// What an error report makes, in which order, and that no storage is left. This program brings its
// own constructors of the two messages and allocator of messages, which the library's calls resolve
// to: they write down that they were called.

#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <libvutility/VUGlobal.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<std::string> steps;
int messagesInStorage = 0;

}  // namespace

ReportedErrorMsg::ReportedErrorMsg(LocallyUniqueID& dataSetID, const ErrorText& text)
    : text_(text), dataSetID_(dataSetID) {
  steps.push_back("message made");
}
ReportedErrorMsgResponse::ReportedErrorMsgResponse() {
  steps.push_back("response made");
}

void* VUGlobal::operator new(std::size_t size) {
  void* const storage = std::malloc(size);
  if (storage == nullptr) throw std::bad_alloc();
  ++messagesInStorage;
  return storage;
}
void VUGlobal::operator delete(void* storage) noexcept {
  if (storage != nullptr) --messagesInStorage;
  std::free(storage);
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
  StepsOfAReport() { steps.clear(); }
  ~StepsOfAReport() override { EXPECT_EQ(messagesInStorage, 0) << "a message is left behind"; }

  Channel channel;
  InteractiveErrorMonitor monitor{LocallyUniqueID(0, 4), &channel};
};

TEST_F(StepsOfAReport, BeginWithAResponseThatNobodyReads) {
  monitor.Report(ErrorText("Disk full", 1));
  EXPECT_THAT(steps, ElementsAre("response made", "message made", "sent"));
}

TEST_F(StepsOfAReport, AreTheSameWhereTheChannelThrows) {
  channel.broken = true;
  EXPECT_THROW(monitor.Report(ErrorText("Disk full", 1)), std::runtime_error);
  EXPECT_THAT(steps, ElementsAre("response made", "message made", "sent"));
}

TEST_F(StepsOfAReport, AreNoneForAWarningThatIsNotReported) {
  monitor.DoNotReportWarnings();
  monitor.Report(ErrorText("Disk nearly full", 2));
  EXPECT_THAT(steps, IsEmpty());
}

}  // namespace
