// InteractiveErrorMonitor: which reports are sent to the client, and how.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "virtual_slot.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const LocallyUniqueID kReportedDataset(0, 4);

class RecordingErrorProxy : public PackageProxy {
 public:
  short SendMessage(int command, VSerializable* message) override {
    commands.push_back(command);
    sent.emplace_back(dynamic_cast<ReportedErrorMsg*>(message->VSClone()));
    return status;
  }

  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const auto& message : sent) texts.push_back(message->GetText().Text());
    return texts;
  }

  short status = 0;
  std::vector<int> commands;
  std::vector<std::unique_ptr<ReportedErrorMsg>> sent;
};

class BrokenProxy : public PackageProxy {
 public:
  short SendMessage(int, VSerializable*) override { throw std::runtime_error("line is cut"); }
};

TEST(InteractiveErrorMonitor, SendsTextSeverityAndDatasetUnderCommandOneThousand) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  monitor.Report(ErrorText("Disk full", 1));
  ASSERT_THAT(proxy.commands, ElementsAre(1000));
  EXPECT_EQ(proxy.sent[0]->GetText().Text(), "Disk full");
  EXPECT_EQ(proxy.sent[0]->GetText().Severity(), 1);
  EXPECT_EQ(proxy.sent[0]->GetDataSetID(), kReportedDataset);
}

TEST(InteractiveErrorMonitor, ReportsWarningsByDefault) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  EXPECT_TRUE(monitor.GetReportWarnings());
  monitor.Report(ErrorText("zero", 0));
  monitor.Report(ErrorText("two", 2));
  EXPECT_THAT(proxy.Texts(), ElementsAre("zero", "two"));
}

TEST(InteractiveErrorMonitor, DropsOnlyWarningsIfWarningsAreSwitchedOff) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  monitor.DoNotReportWarnings();
  EXPECT_FALSE(monitor.GetReportWarnings());
  monitor.Report(ErrorText("warning", 2));
  monitor.Report(ErrorText("error", 1));
  EXPECT_THAT(proxy.Texts(), ElementsAre("error"));
}

TEST(InteractiveErrorMonitor, ReportsWarningsAgainIfTheyAreSwitchedOn) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  monitor.DoNotReportWarnings();
  monitor.ReportWarnings();
  EXPECT_TRUE(monitor.GetReportWarnings());
  monitor.Report(ErrorText("warning", 2));
  EXPECT_THAT(proxy.Texts(), ElementsAre("warning"));
}

TEST(InteractiveErrorMonitor, TreatsANegativeSeverityAsAWarning) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  monitor.DoNotReportWarnings();
  monitor.Report(ErrorText("negative", -1));
  EXPECT_THAT(proxy.sent, IsEmpty());
}

TEST(InteractiveErrorMonitor, TreatsEverySeverityButOneAsAWarning) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  monitor.DoNotReportWarnings();
  for (int severity = -128; severity <= 127; ++severity) {
    monitor.Report(ErrorText(std::to_string(severity), severity));
  }
  EXPECT_THAT(proxy.Texts(), ElementsAre("1"));
}

TEST(InteractiveErrorMonitor, DropsEverythingWithoutAProxy) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  LocallyUniqueID id = kReportedDataset;
  monitor.InitializeErrorMonitor(id, nullptr);
  EXPECT_NO_THROW(monitor.Report(ErrorText("error", 1)));
  EXPECT_NO_THROW(monitor.Report(ErrorText("warning", 2)));
  EXPECT_NO_THROW(monitor.Report(ErrorText("negative", -1)));
  EXPECT_THAT(proxy.sent, IsEmpty());
}

TEST(InteractiveErrorMonitor, KeepsItsFlagWhenInitializedAgain) {
  RecordingErrorProxy before;
  RecordingErrorProxy after;
  InteractiveErrorMonitor monitor(kReportedDataset, &before);
  monitor.DoNotReportWarnings();
  LocallyUniqueID other(0, 9);
  monitor.InitializeErrorMonitor(other, &after);
  EXPECT_FALSE(monitor.GetReportWarnings());
  monitor.Report(ErrorText("warning", 3));
  monitor.Report(ErrorText("error", 1));
  EXPECT_THAT(before.sent, IsEmpty());
  ASSERT_THAT(after.Texts(), ElementsAre("error"));
  EXPECT_EQ(after.sent[0]->GetDataSetID(), other);
}

TEST(InteractiveErrorMonitor, CopiesTheIdentifierWhenInitialized) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(LocallyUniqueID(), nullptr);
  LocallyUniqueID id = kReportedDataset;
  monitor.InitializeErrorMonitor(id, &proxy);
  id = LocallyUniqueID(0, 8);
  monitor.Report(ErrorText("error", 1));
  ASSERT_EQ(proxy.sent.size(), 1U);
  EXPECT_EQ(proxy.sent[0]->GetDataSetID(), kReportedDataset);
}

TEST(InteractiveErrorMonitor, IgnoresTheProxysStatus) {
  RecordingErrorProxy proxy;
  proxy.status = -1;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  EXPECT_NO_THROW(monitor.Report(ErrorText("first", 1)));
  EXPECT_NO_THROW(monitor.Report(ErrorText("second", 1)));
  EXPECT_THAT(proxy.Texts(), ElementsAre("first", "second"));
}

TEST(InteractiveErrorMonitor, PropagatesExceptionsOfTheProxy) {
  BrokenProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  EXPECT_THROW(monitor.Report(ErrorText("error", 1)), std::runtime_error);
}

TEST(InteractiveErrorMonitor, KeepsItsFlagAfterAnExceptionAndReportsThroughANewProxy) {
  BrokenProxy broken;
  RecordingErrorProxy whole;
  InteractiveErrorMonitor monitor(kReportedDataset, &broken);
  monitor.DoNotReportWarnings();
  EXPECT_THROW(monitor.Report(ErrorText("lost", 1)), std::runtime_error);
  EXPECT_NO_THROW(monitor.Report(ErrorText("warning", 2)));
  LocallyUniqueID id = kReportedDataset;
  monitor.InitializeErrorMonitor(id, &whole);
  monitor.Report(ErrorText("warning", 2));
  monitor.Report(ErrorText("error", 1));
  EXPECT_THAT(whole.Texts(), ElementsAre("error"));
}

TEST(InteractiveErrorMonitor, StillReportsWarningsAfterAFailedSend) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  proxy.status = -1;
  monitor.Report(ErrorText("first", 2));
  EXPECT_TRUE(monitor.GetReportWarnings());
  BrokenProxy broken;
  LocallyUniqueID id = kReportedDataset;
  monitor.InitializeErrorMonitor(id, &broken);
  EXPECT_THROW(monitor.Report(ErrorText("second", 2)), std::runtime_error);
  EXPECT_TRUE(monitor.GetReportWarnings());
  monitor.InitializeErrorMonitor(id, &proxy);
  monitor.Report(ErrorText("third", 2));
  EXPECT_THAT(proxy.Texts(), ElementsAre("first", "third"));
}

TEST(InteractiveErrorMonitor, AlsoReportsThroughTheBaseClass) {
  RecordingErrorProxy proxy;
  InteractiveErrorMonitor monitor(kReportedDataset, &proxy);
  ErrorMonitor& sink = monitor;
  sink.Report(ErrorText("error", 1));
  EXPECT_THAT(proxy.Texts(), ElementsAre("error"));
}

TEST(ErrorMonitor, ReportIsTheSlotAfterTheDestructors) {
  EXPECT_EQ(VirtualSlot(&ErrorMonitor::Report), 2);
}

TEST(PackageProxy, SendMessageIsTheFirstSlotAndThereIsNoPublicDestructor) {
  EXPECT_EQ(VirtualSlot(&PackageProxy::SendMessage), 0);
  EXPECT_FALSE(std::is_destructible_v<PackageProxy>);
}

}  // namespace
