// Messages, their texts and bytes when memory runs out. The tests call every public operation of
// liborvxdemg, liborvxmsgs and libvserial.

#include <libdatasrc/DataFreeDataSource.h>
#include <liborvxdemg/DataSetModifiedMsg.h>
#include <liborvxdemg/DataSetMsgVisitor.h>
#include <liborvxdemg/DeleteVarsMsg.h>
#include <liborvxdemg/DictionaryText.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/ExtensionsMsg.h>
#include <liborvxdemg/FileLabelChangeMsg.h>
#include <liborvxdemg/FileSpecChangeMsg.h>
#include <liborvxdemg/FilterVarMsg.h>
#include <liborvxdemg/ImputationInfoMsg.h>
#include <liborvxdemg/InsertVarsMsg.h>
#include <liborvxdemg/ModifyVarMsg.h>
#include <liborvxdemg/MoveVarsMsg.h>
#include <liborvxdemg/ReadDataSetMsg.h>
#include <liborvxdemg/ResetClientDataMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxdemg/SplitFileMsg.h>
#include <liborvxdemg/TrendsInfoMsg.h>
#include <liborvxdemg/WeightVarMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <libvserial/ForeignProcess.h>
#include <libvserial/VStream.h>
#include <tests/support/FullDictionary.h>
#include <tests/support/FullMemory.h>
#include <tests/support/MessageBytes.h>
#include <tests/support/OutOfMemory.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using support::Changes;
using support::ExpectNoAllocations;
using support::ExpectSafeWithoutMemory;
using support::kLong;
using support::Operation;
using support::Returns;

const LocallyUniqueID kMessageDataset(0, 7);

// The identifier of a variable with a long name.
const LocallyUniqueID kVariable(15, 200'000'000);

const ORVX_DataSource& Full() {
  static const std::unique_ptr<const ORVX_DataSource> source = [] {
    auto full = support::FullDictionary();
    full->MakeVariable(ORVX_Variable(kVariable, kLong), nullptr);
    return full;
  }();
  return *source;
}

std::vector<ORVX_Variable> FullVariables() {
  return support::VariablesOf(Full());
}

template <class Message, class... Arguments>
auto New(const Arguments&... arguments) {
  return [=] { return std::make_unique<Message>(0, kMessageDataset, 3, arguments...); };
}

template <class Message>
std::string TextOf(const std::unique_ptr<Message>& message) {
  return BytesOf(*message);
}

// Adds the operations that every message has: making, copying, encoding, and decoding with `read`.
template <class Make, class Read>
void AddOperations(const std::string& name, Make make, Read read, std::vector<Operation>& all) {
  const auto message = std::shared_ptr(make());
  const std::string bytes = BytesOf(*message);
  const auto text = [](const auto& made) { return TextOf(made); };
  all.push_back(Returns(name, make, text));
  all.push_back(Returns(
      name + "::VSClone", [=] { return std::unique_ptr<VSerializable>(message->VSClone()); },
      text));
  all.push_back(Returns(name + " encoded", [=] {
    VStream stream;
    message->VSInitSerialization(stream);
    return std::string(stream.Bytes());
  }));
  all.push_back(Returns(
      name + " decoded", [=] { return read(bytes); }, text));
}

std::unique_ptr<DataSetMsg> ReadChange(const std::string& bytes) {
  VStream stream(bytes);
  return ReadDataSetMsg(stream);
}

template <class Make>
void AddChange(const std::string& name, Make make, std::vector<Operation>& all) {
  AddOperations(name, make, ReadChange, all);
  const std::shared_ptr<const DataSetMsg> message = make();
  all.push_back(Returns(name + "::ToString", [=] { return message->ToString(); }));
  all.push_back(
      Returns(name + "::ToString with names", [=] { return message->ToString(&Full()); }));
}

TEST(MessageMemory, ChangeMessagesAreMadeCopiedEncodedDecodedAndFormattedOrThrow) {
  ORVX_Variable modified = Full().GetVariable(1);
  modified.SetName(kLong);
  const std::vector<LocallyUniqueID> ids = {support::Id("A"), support::Id("B")};
  const RefCountPtr<ORVX_ExtensionImpl> block(
      new ORVX_ExtensionImpl(0, 1, static_cast<long>(kLong.size()), kLong.data()));
  std::vector<Operation> all;
  AddChange("InsertVarsMsg", New<InsertVarsMsg>(FullVariables(), support::Id("A")), all);
  AddChange("DeleteVarsMsg", New<DeleteVarsMsg>(FullVariables()), all);
  AddChange("MoveVarsMsg", New<MoveVarsMsg>(std::vector<int>{0, 2}, 1), all);
  AddChange("ModifyVarMsg", New<ModifyVarMsg>(modified), all);
  AddChange(
      "ResetUndoMsg", [] { return std::make_unique<ResetUndoMsg>(); }, all);
  AddChange(
      "ImputationInfoMsg", [] { return std::make_unique<ImputationInfoMsg>(); }, all);
  AddChange("FileSpecChangeMsg", New<FileSpecChangeMsg>(kLong.c_str(), true), all);
  AddChange("FileLabelChangeMsg", New<FileLabelChangeMsg>(kLong.c_str()), all);
  AddChange("WeightVarMsg", New<WeightVarMsg>(kVariable), all);
  AddChange("FilterVarMsg", New<FilterVarMsg>(kVariable), all);
  AddChange("TrendsInfoMsg", New<TrendsInfoMsg>(Full().GetTrendsInfo()), all);
  AddChange("SplitFileMsg", New<SplitFileMsg>(2, ids.data(), true), all);
  AddChange("ExtensionsMsg", New<ExtensionsMsg>(block), all);
  AddChange("ResetClientDataMsg", New<ResetClientDataMsg>(944LL), all);
  AddChange("DataSetModifiedMsg", New<DataSetModifiedMsg>(true), all);
  ExpectSafeWithoutMemory(all);
}

template <class Message>
std::unique_ptr<Message> Read(const std::string& bytes) {
  auto message = std::make_unique<Message>();
  VStream stream(bytes);
  message->VSInitSerialization(stream);
  return message;
}

TEST(MessageMemory, ErrorMessagesAreMadeCopiedEncodedAndDecodedOrThrow) {
  const std::string answer("\x26\0\0\0OrvxMessages::ReportedErrorMsgResponse\x01\0\0\0\x01", 47);
  std::vector<Operation> all;
  AddOperations(
      "ErrorMsg", [] { return std::make_unique<ErrorMsg>(2001, kLong); }, Read<ErrorMsg>, all);
  AddOperations(
      "ReportedErrorMsg",
      [] {
        LocallyUniqueID id = kMessageDataset;
        return std::make_unique<ReportedErrorMsg>(id, ErrorText(kLong, 1));
      },
      Read<ReportedErrorMsg>, all);
  AddOperations(
      "ReportedErrorMsgResponse", [=] { return Read<ReportedErrorMsgResponse>(answer); },
      Read<ReportedErrorMsgResponse>, all);
  all.push_back(Changes(
      "SetName", [] { return std::make_unique<ErrorMsg>(); },
      [](auto& message) { message.SetName(kLong.c_str()); },
      [](auto& message) { return std::string(message.Name()); }));
  ExpectSafeWithoutMemory(all);
}

// --- Texts of a dictionary ---

TEST(MessageMemory, FormattingAPartOfADictionaryReturnsTheTextOrThrows) {
  namespace Text = DictionaryText;
  const ORVX_Variable variable = Full().GetVariable(1);
  const std::vector<LocallyUniqueID> ids = {support::Id("A"), kVariable};
  const std::vector<VariableSet> sets = VariableSets(Full(), kMRSets);
  const auto differences = [](const std::vector<Text::Difference>& found) {
    std::string text;
    for (const auto& difference : found) {
      text += difference.what + difference.from + difference.to + "\n";
    }
    return text;
  };
  ExpectSafeWithoutMemory({
      Returns("Quoted", [] { return Text::Quoted(kLong); }),
      Returns("QuotedOrNone", [] { return Text::QuotedOrNone(kLong); }),
      Returns("Joined",
              [] {
                return Text::Joined(std::vector<int>{1, 2}, [](int) { return kLong; });
              }),
      Returns("Counted", [] { return Text::Counted(1'000'000'000'000'000, "case"); }),
      Returns("Number", [] { return Text::Number(-1.0000000000000002e-100); }),
      Returns("Value", [] { return Text::Value(DataValue(-1.0000000000000002e-100)); }),
      Returns("Type", [] { return Text::Type(1000); }),
      Returns("Format",
              [] {
                return Text::Format({VariableFormat::Kind::DateTime, 20, 3});
              }),
      Returns("Attributes",
              [] {
                return Text::Attributes({{"unit", {kLong, "g"}}});
              }),
      Returns(
          "Differences", [=] { return Text::Differences(support::Var("A"), variable); },
          differences),
      Returns("Name", [] { return Text::Name(&Full(), kVariable); }),
      Returns("Names", [=] { return Text::Names(&Full(), ids); }),
      Returns("Split", [=] { return Text::Split(&Full(), ids, true); }),
      Returns("TimeSeries", [] { return Text::TimeSeries(&Full(), *Full().GetTrendsInfo()); }),
      Returns("Sets", [=] { return Text::Sets(&Full(), sets); }),
      Returns("SetSizes", [=] { return Text::SetSizes(sets); }),
      Returns("Bytes", [] { return Text::Bytes("twenty printable bytes"); }),
  });
}

// --- Streams ---

// An encoded text, and the string into which it is decoded.
struct ReadBytes {
  std::string bytes = [] {
    VStream stream;
    std::string text = kLong;
    stream.String(text);
    return std::string(stream.Bytes());
  }();
  std::string value = "before";
};

TEST(MessageMemory, StreamsLeaveTheirArgumentsUnchangedIfTheyThrow) {
  ErrorMsg message(2001, kLong);
  const std::string bytes = BytesOf(message);
  ExpectSafeWithoutMemory({
      Changes(
          "VStream::String", [] { return std::make_unique<ReadBytes>(); },
          [](auto& reading) { VStream(reading.bytes).String(reading.value); },
          [](auto& reading) { return reading.value; }),
      Returns("PeekSignature", [=] { return PeekSignature(VStream(bytes)); }),
      Returns(
          "VStreamError", [] { return VStreamError(7, kLong, kLong); },
          [](const VStreamError& error) { return std::string(error.what()); }),
  });
}

// --- Operations that allocate nothing ---

// Messages have their own allocator: a message may be allocated in one library and freed in
// another, and a program may replace the global allocator.
TEST(MessageMemory, IsNotFromTheGlobalAllocator) {
  support::heap = {};
  support::messageHeap = {};
  delete new ResetUndoMsg();
  EXPECT_EQ(support::heap.taken, 0);
  EXPECT_EQ(support::messageHeap.taken, 1);
  EXPECT_EQ(support::messageHeap.freed, 1);
}

TEST(MessageMemory, IsNotNeededForNumbersAndEmptyMessages) {
  const ORVX_Variable variable = Full().GetVariable(1);
  VStream stream(std::string_view("\1\0\0\0\2\0\0\0\0\0\0\0", 12));
  std::uint32_t number = 0;
  double real = 0;
  ExpectNoAllocations({
      {"an empty InsertVarsMsg", [] { InsertVarsMsg(); }},
      {"an empty DeleteVarsMsg", [] { DeleteVarsMsg(); }},
      {"ModifyVarMsg", [&] { ModifyVarMsg(0, kMessageDataset, 3, variable); }},
      {"an empty ErrorMsg", [] { ErrorMsg(2001, ""); }},
      {"Uint32", [&] { stream.Uint32(number); }},
      {"Double", [&] { stream.Double(real); }},
      {"FormatKind", [] { DictionaryText::FormatKind(VariableFormat::Kind::Date); }},
      {"Level", [] { DictionaryText::Level(MeasurementLevel::Ratio); }},
      {"SetKind", [] { DictionaryText::SetKind(VariableSetImpl::kAnswers); }},
  });
}

}  // namespace
