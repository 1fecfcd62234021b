// The schema's bytes on the wire, on which clients depend: what fails when a field's number, type or presence changes.
#include <gtest/gtest.h>

#include <string>

#include "corvalux/grpc/streams.pb.h"
#include "unit/Hex.h"

namespace {

using corvalux::grpc::AnyValue;
using corvalux::grpc::KeyValue;
using corvalux::grpc::Meter;
using corvalux::grpc::Notification;
using corvalux::grpc::String;
using test::wire;

TEST(Wire, EachKindHasItsNumberAndItsType) {
  AnyValue value;
  value.mutable_string_value()->set_data("on");
  EXPECT_EQ(wire(value), "0a 04 0a 02 6f 6e");
  value.set_float_value(1);
  EXPECT_EQ(wire(value), "15 00 00 80 3f");
  value.set_int_value(-1);
  EXPECT_EQ(wire(value), "18 ff ff ff ff ff ff ff ff ff 01");
  value.set_uint_value(300);
  EXPECT_EQ(wire(value), "20 ac 02");
  value.mutable_float_array()->add_values(1);
  EXPECT_EQ(wire(value), "2a 06 0a 04 00 00 80 3f");
  value.mutable_int_array()->add_values(-2);
  EXPECT_EQ(wire(value), "32 06 0a 04 fe ff ff ff");
  for (const uint32_t element : {1U, 2U}) value.mutable_uint_array()->add_values(element);
  EXPECT_EQ(wire(value), "3a 0a 0a 08 01 00 00 00 02 00 00 00") << "not packed";
  value.set_double_value(1);
  EXPECT_EQ(wire(value), "41 00 00 00 00 00 00 f0 3f");
}

TEST(Wire, KindIsWrittenThoughTheValueIsZero) {
  AnyValue value;
  EXPECT_EQ(wire(value), "");
  value.mutable_string_value();
  EXPECT_EQ(wire(value), "0a 00");
  value.set_float_value(0);
  EXPECT_EQ(wire(value), "15 00 00 00 00");
  value.set_int_value(0);
  EXPECT_EQ(wire(value), "18 00");
  value.set_uint_value(0);
  EXPECT_EQ(wire(value), "20 00");
  value.set_double_value(0);
  EXPECT_EQ(wire(value), "41 00 00 00 00 00 00 00 00");
}

TEST(Wire, KeyIsWrittenUnlessEmptyAndAValueWheneverPresent) {
  KeyValue entry;
  entry.set_key("");
  EXPECT_EQ(wire(entry), "");
  entry.mutable_value();
  EXPECT_EQ(wire(entry), "12 00");
  entry.set_key("a");
  EXPECT_EQ(wire(entry), "0a 01 61 12 00");
}

template <typename T>
class WireOf : public testing::Test {};

using StreamMessages = testing::Types<Meter, Notification>;
TYPED_TEST_SUITE(WireOf, StreamMessages);

TYPED_TEST(WireOf, MessageIsItsEntriesInOrder) {
  TypeParam message;
  for (const char* key : {"b", "a", "b"}) message.add_entries()->set_key(key);
  EXPECT_EQ(wire(message), "0a 03 0a 01 62 0a 03 0a 01 61 0a 03 0a 01 62");
}

/// Whether a receiver accepts what was serialised. The library complains on the error output, on both sides.
template <typename T>
bool isAccepted(const T& message) {
  testing::internal::CaptureStderr();
  const bool accepted = T().ParseFromString(message.SerializeAsString());
  testing::internal::GetCapturedStderr();
  return accepted;
}

TEST(Wire, KeysAndTextsThatAreNotUtf8AreRefusedByTheReceiver) {
  KeyValue entry;
  String text;
  entry.set_key("\xc3\xa4");
  text.set_data("\xc3\xa4");
  EXPECT_TRUE(isAccepted(entry));
  EXPECT_TRUE(isAccepted(text));
  entry.set_key("\xff");
  text.set_data("\xff");
  EXPECT_FALSE(isAccepted(entry));
  EXPECT_FALSE(isAccepted(text));
}

}  // namespace
