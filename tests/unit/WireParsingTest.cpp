// What the messages do with bytes that come from the wire, and with texts that are not UTF-8.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "corvalux/grpc/streams.pb.h"
#include "unit/Hex.h"

namespace {

using corvalux::grpc::AnyValue;
using corvalux::grpc::FloatArray;
using corvalux::grpc::IntArray;
using corvalux::grpc::KeyValue;
using corvalux::grpc::Meter;
using corvalux::grpc::String;
using corvalux::grpc::UintArray;
using test::hex;
using test::wire;

const std::string notUtf8 = "\xff\xfe";

/// Serialises a message; keeps what the library says meanwhile on its error log.
struct Serialised {
  explicit Serialised(const google::protobuf::MessageLite& message) {
    testing::internal::CaptureStderr();
    bytes = message.SerializeAsString();
    errors = testing::internal::GetCapturedStderr();
  }
  std::string bytes;
  std::string errors;
};

template <typename T>
bool parses(const std::string& bytes) {
  testing::internal::CaptureStderr();
  const bool parsed = T().ParseFromString(bytes);
  testing::internal::GetCapturedStderr();
  return parsed;
}

TEST(Utf8, InvalidKeyIsReportedSentAndRejectedByTheReceiver) {
  KeyValue entry;
  entry.set_key(notUtf8);
  const Serialised serialised(entry);
  EXPECT_EQ(hex(serialised.bytes), "0a 02 ff fe");
  EXPECT_THAT(serialised.errors, testing::HasSubstr("corvalux.grpc.KeyValue.key"));
  EXPECT_FALSE(parses<KeyValue>(serialised.bytes));
}

TEST(Utf8, InvalidTextIsReportedSentAndRejectedByTheReceiver) {
  String text;
  text.set_data(notUtf8);
  const Serialised serialised(text);
  EXPECT_EQ(hex(serialised.bytes), "0a 02 ff fe");
  EXPECT_THAT(serialised.errors, testing::HasSubstr("corvalux.grpc.String.data"));
  EXPECT_FALSE(parses<String>(serialised.bytes));
}

TEST(Utf8, ValidTextIsNotReported) {
  String text;
  text.set_data("Kanal \xc3\xa4");
  const Serialised serialised(text);
  EXPECT_EQ(serialised.errors, "");
  EXPECT_TRUE(parses<String>(serialised.bytes));
}

TEST(WireParsing, UnknownFieldsAreKeptBehindTheKnownOnes) {
  KeyValue entry;
  ASSERT_TRUE(entry.ParseFromString("\x78\x05\x0a\x01\x61"));  // field 15 before the key
  EXPECT_EQ(entry.key(), "a");
  EXPECT_EQ(wire(entry), "0a 01 61 78 05");
}

TEST(WireParsing, ArraysAcceptElementsSentOneByOne) {
  const std::string twoElements("\x0d\x01\x00\x00\x00\x0d\x02\x00\x00\x00", 10);
  UintArray uints;
  ASSERT_TRUE(uints.ParseFromString(twoElements));
  EXPECT_THAT(uints.values(), testing::ElementsAre(1U, 2U));
  IntArray ints;
  ASSERT_TRUE(ints.ParseFromString(twoElements));
  EXPECT_THAT(ints.values(), testing::ElementsAre(1, 2));
  FloatArray floats;
  ASSERT_TRUE(floats.ParseFromString(twoElements));
  EXPECT_EQ(wire(floats), "0a 08 01 00 00 00 02 00 00 00");
}

TEST(WireParsing, LastMemberOfAnyValueCounts) {
  AnyValue value;
  ASSERT_TRUE(value.ParseFromString(std::string("\x2a\x00\x20\x05", 4)));
  EXPECT_EQ(value.value_case(), AnyValue::kUintValue);
  EXPECT_EQ(value.uint_value(), 5U);
}

TEST(WireParsing, MergeAppendsEntriesAndClearDropsThem) {
  Meter first;
  Meter second;
  first.add_entries()->set_key("a");
  second.add_entries()->set_key("b");
  first.MergeFrom(second);
  EXPECT_EQ(wire(first), "0a 03 0a 01 61 0a 03 0a 01 62");
  first.Clear();
  EXPECT_EQ(wire(first), "");
  EXPECT_TRUE(first.IsInitialized());
}

}  // namespace
