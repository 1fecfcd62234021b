// The messages' bytes on the wire, which clients depend on.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "corvalux/grpc/streams.pb.h"
#include "unit/Hex.h"

namespace {

using corvalux::grpc::AnyValue;
using corvalux::grpc::FloatArray;
using corvalux::grpc::IntArray;
using corvalux::grpc::KeyValue;
using corvalux::grpc::Meter;
using corvalux::grpc::Notification;
using corvalux::grpc::String;
using corvalux::grpc::UintArray;
using test::wire;

AnyValue floatOf(float number) {
  AnyValue value;
  value.set_float_value(number);
  return value;
}

AnyValue doubleOf(double number) {
  AnyValue value;
  value.set_double_value(number);
  return value;
}

AnyValue intOf(int32_t number) {
  AnyValue value;
  value.set_int_value(number);
  return value;
}

AnyValue uintOf(uint32_t number) {
  AnyValue value;
  value.set_uint_value(number);
  return value;
}

TEST(Wire, EmptyStringIsNothing) { EXPECT_EQ(wire(String()), ""); }

TEST(Wire, TextIsKeyLengthAndBytes) {
  String text;
  text.set_data("on");
  EXPECT_EQ(wire(text), "0a 02 6f 6e");
}

TEST(Wire, EmptyStringInAnyValueIsWritten) {
  AnyValue value;
  value.mutable_string_value();
  EXPECT_EQ(wire(value), "0a 00");
}

TEST(Wire, TextInAnyValueIsNested) {
  AnyValue value;
  value.mutable_string_value()->set_data("on");
  EXPECT_EQ(wire(value), "0a 04 0a 02 6f 6e");
}

TEST(Wire, UnsetAnyValueIsNothing) {
  EXPECT_EQ(AnyValue().value_case(), AnyValue::VALUE_NOT_SET);
  EXPECT_EQ(wire(AnyValue()), "");
}

TEST(Wire, FloatIsFourBytesLittleEndian) {
  EXPECT_EQ(wire(floatOf(0)), "15 00 00 00 00");
  EXPECT_EQ(wire(floatOf(1)), "15 00 00 80 3f");
  EXPECT_EQ(wire(floatOf(-0.0F)), "15 00 00 00 80");
}

TEST(Wire, DoubleIsEightBytesLittleEndian) {
  EXPECT_EQ(wire(doubleOf(0)), "41 00 00 00 00 00 00 00 00");
  EXPECT_EQ(wire(doubleOf(1)), "41 00 00 00 00 00 00 f0 3f");
}

TEST(Wire, IntIsVarintOfSixtyFourBits) {
  EXPECT_EQ(wire(intOf(0)), "18 00");
  EXPECT_EQ(wire(intOf(127)), "18 7f");
  EXPECT_EQ(wire(intOf(128)), "18 80 01");
  EXPECT_EQ(wire(intOf(-1)), "18 ff ff ff ff ff ff ff ff ff 01");
  EXPECT_EQ(wire(intOf(std::numeric_limits<int32_t>::max())), "18 ff ff ff ff 07");
  EXPECT_EQ(wire(intOf(std::numeric_limits<int32_t>::min())), "18 80 80 80 80 f8 ff ff ff ff 01");
}

TEST(Wire, UintIsVarint) {
  EXPECT_EQ(wire(uintOf(0)), "20 00");
  EXPECT_EQ(wire(uintOf(300)), "20 ac 02");
  EXPECT_EQ(wire(uintOf(std::numeric_limits<uint32_t>::max())), "20 ff ff ff ff 0f");
}

TEST(Wire, EmptyArraysAreNothing) {
  EXPECT_EQ(wire(FloatArray()), "");
  EXPECT_EQ(wire(IntArray()), "");
  EXPECT_EQ(wire(UintArray()), "");
}

TEST(Wire, EmptyArraysInAnyValueAreWritten) {
  AnyValue value;
  value.mutable_float_array();
  EXPECT_EQ(wire(value), "2a 00");
  value.mutable_int_array();
  EXPECT_EQ(wire(value), "32 00");
  value.mutable_uint_array();
  EXPECT_EQ(wire(value), "3a 00");
}

TEST(Wire, ArraysArePackedWithFourBytesEach) {
  UintArray uints;
  uints.add_values(1);
  uints.add_values(2);
  EXPECT_EQ(wire(uints), "0a 08 01 00 00 00 02 00 00 00");
  IntArray ints;
  ints.add_values(-2);
  EXPECT_EQ(wire(ints), "0a 04 fe ff ff ff");
  FloatArray floats;
  floats.add_values(1);
  EXPECT_EQ(wire(floats), "0a 04 00 00 80 3f");
}

TEST(Wire, LengthOverOneHundredTwentySevenIsTwoBytes) {
  UintArray array;
  for (int i = 0; i < 32; ++i) array.add_values(0);
  EXPECT_EQ(wire(array).substr(0, 8), "0a 80 01");
  EXPECT_EQ(array.ByteSizeLong(), 3U + 128U);
}

TEST(Wire, ArrayInAnyValueIsNested) {
  AnyValue value;
  value.mutable_uint_array()->add_values(1);
  EXPECT_EQ(wire(value), "3a 06 0a 04 01 00 00 00");
}

TEST(Wire, ScalarReplacesArray) {
  AnyValue value;
  value.mutable_float_array()->add_values(1);
  value.set_uint_value(5);
  EXPECT_FALSE(value.has_float_array());
  EXPECT_EQ(wire(value), "20 05");
}

TEST(Wire, KeyWithoutValue) {
  KeyValue entry;
  entry.set_key("a");
  EXPECT_EQ(wire(entry), "0a 01 61");
}

TEST(Wire, KeyWithUnsetValuePresent) {
  KeyValue entry;
  entry.set_key("a");
  entry.mutable_value();
  EXPECT_EQ(wire(entry), "0a 01 61 12 00");
}

TEST(Wire, EmptyKeyIsNotWritten) {
  KeyValue entry;
  EXPECT_EQ(wire(entry), "");
  entry.mutable_value()->set_uint_value(1);
  EXPECT_EQ(wire(entry), "12 02 20 01");
}

template <typename T>
class WireOfStream : public testing::Test {};

using StreamMessages = testing::Types<Meter, Notification>;
TYPED_TEST_SUITE(WireOfStream, StreamMessages);

TYPED_TEST(WireOfStream, NoEntriesIsNothing) { EXPECT_EQ(wire(TypeParam()), ""); }

TYPED_TEST(WireOfStream, EmptyEntryIsWritten) {
  TypeParam message;
  message.add_entries();
  EXPECT_EQ(wire(message), "0a 00");
}

TYPED_TEST(WireOfStream, EntriesKeepTheirOrder) {
  TypeParam message;
  for (const char* key : {"b", "a", "b"}) message.add_entries()->set_key(key);
  message.mutable_entries(1)->mutable_value()->set_uint_value(7);
  EXPECT_EQ(wire(message), "0a 03 0a 01 62 0a 07 0a 01 61 12 02 20 07 0a 03 0a 01 62");
}

TEST(Wire, TypeNamesAreFullNames) {
  EXPECT_EQ(std::string(String().GetTypeName()), "corvalux.grpc.String");
  EXPECT_EQ(std::string(IntArray().GetTypeName()), "corvalux.grpc.IntArray");
  EXPECT_EQ(std::string(UintArray().GetTypeName()), "corvalux.grpc.UintArray");
  EXPECT_EQ(std::string(FloatArray().GetTypeName()), "corvalux.grpc.FloatArray");
  EXPECT_EQ(std::string(AnyValue().GetTypeName()), "corvalux.grpc.AnyValue");
  EXPECT_EQ(std::string(KeyValue().GetTypeName()), "corvalux.grpc.KeyValue");
  EXPECT_EQ(std::string(Meter().GetTypeName()), "corvalux.grpc.Meter");
  EXPECT_EQ(std::string(Notification().GetTypeName()), "corvalux.grpc.Notification");
}

}  // namespace
