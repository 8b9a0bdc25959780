// Constants, checks and decoding functions for all tests of change messages.

#ifndef LIBORVXDEMG_TESTS_READMESSAGES_H_
#define LIBORVXDEMG_TESTS_READMESSAGES_H_

#include <gtest/gtest.h>
#include <liborvxdemg/DataSetMsg.h>
#include <liborvxdemg/ReadDataSetMsg.h>
#include <tests/support/MessageBytes.h>

#include <memory>
#include <string>
#include <string_view>

inline constexpr unsigned int kSequence = 12;
inline const LocallyUniqueID kDataset(0, 7);

// The bytes of the leading word 0, the dataset and the case sequence.
inline const std::string kCommonBytes("\0\0\0\0\x70\0\0\0\x0C\0\0\0", 12);

inline void ExpectCommonFields(const DataSetMsg& message) {
  EXPECT_EQ(message.GetLeading(), 0U);
  EXPECT_EQ(message.GetDataSetID(), kDataset);
  EXPECT_EQ(message.GetCaseSequence(), kSequence);
}

// Decodes the only message in `bytes`.
inline std::unique_ptr<DataSetMsg> ReadMessage(std::string_view bytes) {
  VStream stream(bytes);
  std::unique_ptr<DataSetMsg> message = ReadDataSetMsg(stream);
  stream.ExpectEnd();
  return message;
}

// Decodes a message of class `Message` from `bytes`. For any other class, fails the test and
// returns null.
template <class Message>
std::unique_ptr<Message> ReadAs(const std::string& bytes) {
  std::unique_ptr<DataSetMsg> message = ReadMessage(bytes);
  EXPECT_STREQ(message->VSConcreteSignature(), Message::VSignature());
  return std::unique_ptr<Message>(dynamic_cast<Message*>(message.release()));
}

#endif  // LIBORVXDEMG_TESTS_READMESSAGES_H_
