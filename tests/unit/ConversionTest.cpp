// One host list, one message: kinds, order, bytes.
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "unit/ConversionFixture.h"
#include "unit/Hex.h"

namespace {

using corvalux::grpc::AnyValue;
using corvalux::grpc::Notification;
using testing::ElementsAre;

class Conversion : public test::ConversionFixture {};

TEST_F(Conversion, EmptyListAppendsNothing) {
  EXPECT_EQ(Fill({}), 0);
  EXPECT_EQ(meter.entries_size(), 0);
}

TEST_F(Conversion, HostCodesAreTheHostsOwnNumbering) {
  const int32_t codes[] = {KEY_VALUE_UINT,       KEY_VALUE_INT,       KEY_VALUE_FLOAT,       KEY_VALUE_TEXT,
                           KEY_VALUE_UINT_ARRAY, KEY_VALUE_INT_ARRAY, KEY_VALUE_FLOAT_ARRAY, KEY_VALUE_DOUBLE};
  EXPECT_THAT(codes, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(Conversion, CodeZeroBecomesUint) {
  Fill({{"k", 0xFFFFFFFFU}});
  EXPECT_EQ(Value().value_case(), AnyValue::kUintValue);
  EXPECT_EQ(Value().uint_value(), 0xFFFFFFFFU);
}

TEST_F(Conversion, CodeOneBecomesInt) {
  Fill({{"k", -1}});
  EXPECT_EQ(Value().value_case(), AnyValue::kIntValue);
  EXPECT_EQ(Value().int_value(), -1);
}

TEST_F(Conversion, CodeTwoBecomesFloat) {
  Fill({{"k", -12.5F}});
  EXPECT_EQ(Value().value_case(), AnyValue::kFloatValue);
  EXPECT_EQ(Value().float_value(), -12.5F);
}

TEST_F(Conversion, CodeThreeBecomesText) {
  Fill({{"k", std::string("on air")}});
  EXPECT_EQ(Value().value_case(), AnyValue::kStringValue);
  EXPECT_EQ(Value().string_value().data(), "on air");
}

TEST_F(Conversion, CodeFourBecomesUintArray) {
  Fill({{"k", std::vector<uint32_t>{1, 0xFFFFFFFF}}});
  EXPECT_EQ(Value().value_case(), AnyValue::kUintArray);
  EXPECT_THAT(Value().uint_array().values(), ElementsAre(1U, 0xFFFFFFFFU));
}

TEST_F(Conversion, CodeFiveBecomesIntArray) {
  Fill({{"k", std::vector<int32_t>{-1, 2}}});
  EXPECT_EQ(Value().value_case(), AnyValue::kIntArray);
  EXPECT_THAT(Value().int_array().values(), ElementsAre(-1, 2));
}

TEST_F(Conversion, CodeSixBecomesFloatArray) {
  Fill({{"k", std::vector<float>{-0.5F, 2}}});
  EXPECT_EQ(Value().value_case(), AnyValue::kFloatArray);
  EXPECT_THAT(Value().float_array().values(), ElementsAre(-0.5F, 2.0F));
}

TEST_F(Conversion, CodeSevenBecomesDouble) {
  Fill({{"k", 0.1}});
  EXPECT_EQ(Value().value_case(), AnyValue::kDoubleValue);
  EXPECT_EQ(Value().double_value(), 0.1);
}

TEST_F(Conversion, UnknownCodesGiveAPresentValueWithoutKind) {
  EXPECT_EQ(Fill({{"newer", sim::UnknownKind{8, 42}}, {"negative", sim::UnknownKind{-1, 42}}}), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(Entry(i).has_value());
    EXPECT_EQ(Value(i).value_case(), AnyValue::VALUE_NOT_SET);
  }
  EXPECT_EQ(Entry(0).key(), "newer");
  EXPECT_EQ(Entry(1).key(), "negative");
}

TEST_F(Conversion, EmptyArraysKeepTheirKind) {
  Fill({{"u", std::vector<uint32_t>{}}, {"i", std::vector<int32_t>{}}, {"f", std::vector<float>{}}});
  EXPECT_EQ(test::wire(Value(0)), "3a 00");
  EXPECT_EQ(test::wire(Value(1)), "32 00");
  EXPECT_EQ(test::wire(Value(2)), "2a 00");
}

TEST_F(Conversion, EmptyTextAndEmptyKeyAreWrittenAsSuch) {
  Fill({{"", std::string()}});
  EXPECT_EQ(Entry(0).key(), "");
  EXPECT_EQ(test::wire(Entry(0)), "12 02 0a 00");
}

TEST_F(Conversion, TextAndKeyEndAtTheirNul) {
  Fill({{std::string("ke\0y", 4), std::string("te\0xt", 5)}});
  EXPECT_EQ(Entry(0).key(), "ke");
  EXPECT_EQ(Value().string_value().data(), "te");
}

TEST_F(Conversion, LongKeysAndTextsAreTakenWhole) {
  const std::string key(5000, 'k');
  const std::string text(70000, 't');
  Fill({{key, text}});
  EXPECT_EQ(Entry(0).key(), key);
  EXPECT_EQ(Value().string_value().data(), text);
}

TEST_F(Conversion, EntriesKeepTheHostsOrder) {
  EXPECT_EQ(Fill({{"c", 1U}, {"a", 2U}, {"b", 3U}}), 3);
  EXPECT_EQ(test::wire(meter), "0a 07 0a 01 63 12 02 20 01 0a 07 0a 01 61 12 02 20 02 0a 07 0a 01 62 12 02 20 03");
}

TEST_F(Conversion, DuplicateKeysGiveSeparateEntries) {
  EXPECT_EQ(Fill({{"a", 1U}, {"a", 2}}), 2);
  EXPECT_EQ(Entry(0).key(), "a");
  EXPECT_EQ(Entry(1).key(), "a");
  EXPECT_EQ(Value(0).uint_value(), 1U);
  EXPECT_EQ(Value(1).int_value(), 2);
}

TEST_F(Conversion, FloatsAreCopiedBitForBit) {
  const auto signalling = std::bit_cast<float>(0x7FA00001U);
  Fill({{"scalar", signalling}, {"array", std::vector<float>{signalling, -0.0F}}});
  EXPECT_EQ(test::wire(Value(0)), "15 01 00 a0 7f");
  EXPECT_EQ(test::wire(Value(1)), "2a 0a 0a 08 01 00 a0 7f 00 00 00 80");
}

TEST_F(Conversion, DoublesAreCopiedBitForBit) {
  Fill({{"k", std::bit_cast<double>(0x7FF4000000000001U)}});
  EXPECT_EQ(test::wire(Value()), "41 01 00 00 00 00 00 f4 7f");
}

TEST_F(Conversion, BytesThatAreNotUtf8AreTakenAsTheyCome) {
  Fill({{"\xff", std::string("\xfe")}});
  EXPECT_EQ(Entry(0).key(), "\xff");
  testing::internal::CaptureStderr();
  const std::string bytes = meter.SerializeAsString();
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(test::hex(bytes), "0a 0a 0a 01 ff 12 05 0a 03 0a 01 fe");
}

TEST_F(Conversion, CountIsReadForArraysOnly) {
  const uint64_t absurd = 1ULL << 40;
  const KeyValueEntry entry{.key = "k", .hostWord = ~0ULL, .type = 0, .value = {.uintValue = 3}, .count = absurd};
  AnyValue value;
  corvalux::grpc::convertValue(&entry, &value);
  EXPECT_EQ(test::wire(value), "20 03");
}

TEST_F(Conversion, VisitorAnswersZero) {
  const KeyValueEntry entry{.key = "k", .hostWord = 0, .type = 99, .value = {}, .count = 0};
  corvalux::grpc::EntryCursor<corvalux::grpc::Meter> cursor{&meter};
  EXPECT_EQ(corvalux::grpc::fillKeyValue(&entry, &cursor), 0);
  EXPECT_EQ(cursor.index, 1);
}

TEST_F(Conversion, NotificationIsFilledLikeAMeter) {
  const sim::HostList list({{"a", 1U}, {"b", std::string("x")}});
  Notification notification;
  EXPECT_EQ(test::fill(list, notification), 2);
  test::fill(list, meter);
  EXPECT_EQ(test::wire(notification), test::wire(meter));
}

}  // namespace
