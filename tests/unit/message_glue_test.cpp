// The calls of MessageGlue to the serialisation layer. This program replaces ForeignProcess
// to record its calls.

#include <gtest/gtest.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/ErrorMessageGlue.h>

#include <string>

namespace {

struct Call {
  void* object = nullptr;
  unsigned int version = 0;
  VStream* stream = nullptr;
  void (*vswitch)(void*, VStream&) = nullptr;
  std::string signature;
};
Call lastCall;
bool answer = true;

}  // namespace

bool ForeignProcess(void* object, unsigned int version, VStream& stream,
                    void (*vswitch)(void*, VStream&), const char* signature) {
  lastCall = {object, version, &stream, vswitch, signature};
  return answer;
}

namespace {

class Greeting final : public MessageGlue<Greeting> {
 public:
  static const char* VSignature() { return "Test::Greeting"; }
  static unsigned int Version() { return 7; }
  void Serialize(VStream& stream) { serializedOn = &stream; }

  VStream* serializedOn = nullptr;
};

TEST(MessageGlue, ReturnsTheResultOfTheSerialisationLayer) {
  Greeting greeting;
  VSerializable& asBase = greeting;
  VStream stream;
  for (const bool given : {true, false}) {
    answer = given;
    EXPECT_EQ(asBase.VSInitSerialization(stream), given);
    EXPECT_EQ(greeting.Process(stream), given);
  }
}

TEST(MessageGlue, GivesTheSerialisationLayerTheObjectAndItsDescription) {
  Greeting greeting;
  VStream stream;
  static_cast<VSerializable&>(greeting).VSInitSerialization(stream);
  EXPECT_EQ(lastCall.object, &greeting);
  EXPECT_EQ(lastCall.version, 7U);
  EXPECT_EQ(lastCall.stream, &stream);
  EXPECT_EQ(lastCall.signature, "Test::Greeting");
  EXPECT_EQ(greeting.serializedOn, nullptr);

  lastCall.vswitch(lastCall.object, stream);
  EXPECT_EQ(greeting.serializedOn, &stream);
}

}  // namespace
