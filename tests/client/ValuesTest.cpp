#include <gtest/gtest.h>

#include <limits>

#include "client/Decode.h"
#include "client/Json.h"
#include "client/Utf8.h"
#include "corvalux/grpc/streams.pb.h"

namespace corvalux::client {

namespace {

::corvalux::grpc::AnyValue* add(::corvalux::grpc::Meter& meter, const std::string& key) {
  auto* entry = meter.add_entries();
  entry->set_key(key);
  return entry->mutable_value();
}

std::vector<Entry> entriesOf(const ::corvalux::grpc::Meter& meter) {
  return decode(meter.SerializeAsString()).value_or(Decoded()).entries;
}

std::string jsonOfEntries(std::vector<Entry> entries, Stream stream = Stream::fast) {
  Message message;
  message.stream = stream;
  message.arrival.wall = std::chrono::system_clock::time_point(std::chrono::milliseconds(1'500'250));
  message.entries = std::move(entries);
  return jsonOf(message);
}

}  // namespace

TEST(Decode, MapsAllEightKindsAndNoneInOrder) {
  ::corvalux::grpc::Meter meter;
  add(meter, "s")->mutable_string_value()->set_data("voix é");
  add(meter, "f")->set_float_value(-12.5F);
  add(meter, "i")->set_int_value(-7);
  add(meter, "u")->set_uint_value(4'000'000'000U);
  for (const float value : {1.5F, -2.5F}) add(meter, "fa")->mutable_float_array()->add_values(value);
  add(meter, "ia")->mutable_int_array()->add_values(-3);
  add(meter, "ua")->mutable_uint_array()->add_values(3'000'000'000U);
  add(meter, "d")->set_double_value(0.1);
  add(meter, "none");
  meter.add_entries()->set_key("no value");

  const std::vector<Entry> expected = {{"s", "voix é"},
                                       {"f", -12.5F},
                                       {"i", -7},
                                       {"u", 4'000'000'000U},
                                       {"fa", std::vector{1.5F}},
                                       {"fa", std::vector{-2.5F}},
                                       {"ia", std::vector{-3}},
                                       {"ua", std::vector{3'000'000'000U}},
                                       {"d", 0.1},
                                       {"none", {}},
                                       {"no value", {}}};
  EXPECT_EQ(entriesOf(meter), expected);
}

TEST(Decode, EmptyArraysAndTextsKeepTheirKind) {
  ::corvalux::grpc::Meter meter;
  add(meter, "s")->mutable_string_value();
  add(meter, "fa")->mutable_float_array();
  const std::vector<Entry> expected = {{"s", std::string()}, {"fa", std::vector<float>()}};
  EXPECT_EQ(entriesOf(meter), expected);
}

TEST(Decode, ATextThatIsNotUtf8CostsOnlyItself) {
  ::corvalux::grpc::Meter meter;
  add(meter, "good")->set_int_value(1);
  add(meter, "\xFF\xFE")->set_int_value(2);
  add(meter, "name")->mutable_string_value()->set_data("caf\xE9");
  const auto decoded = decode(meter.SerializeAsString());
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->entries,
            (std::vector<Entry>{{"good", 1}, {"\uFFFD\uFFFD", 2}, {"name", std::string("caf\uFFFD")}}));
  EXPECT_EQ(decoded->repairedTexts, 2U);
}

TEST(Decode, ReadsNotificationsToo) {
  ::corvalux::grpc::Notification notification;
  notification.add_entries()->set_key("a");
  EXPECT_EQ(decode(notification.SerializeAsString())->entries, (std::vector<Entry>{{"a", {}}}));
}

TEST(Decode, SkipsFieldsOfANewerSchema) {
  ::corvalux::grpc::Meter meter;
  add(meter, "a")->set_int_value(1);
  const std::string newer = "\x12\x03new" + meter.SerializeAsString() + "\x18\x05";
  EXPECT_EQ(decode(newer)->entries, (std::vector<Entry>{{"a", 1}}));
}

TEST(Decode, RefusesDamagedBytes) {
  ::corvalux::grpc::Meter meter;
  add(meter, "a")->set_float_value(1);
  const std::string bytes = meter.SerializeAsString();
  for (std::size_t size = 1; size < bytes.size(); ++size) EXPECT_FALSE(decode(bytes.substr(0, size))) << size;
  for (const std::string damaged : {"\x0A\x7F", "\x0A\x01\xFF", "\x0F", "\x0A\xFF\xFF\xFF\xFF\x0F"}) {
    EXPECT_FALSE(decode(damaged));
  }
  EXPECT_FALSE(decode(std::string("\0", 1)));
}

TEST(Decode, GivesTheEntriesAsPiecesOfTheMessage) {
  ::corvalux::grpc::Meter meter;
  add(meter, "a")->set_float_value(1);
  add(meter, "text")->mutable_string_value()->set_data("b\xFF");
  const std::string bytes = meter.SerializeAsString();
  const auto pieces = entriesIn(bytes);
  ASSERT_TRUE(pieces);
  ASSERT_EQ(pieces->size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(pieces->at(i), meter.entries(static_cast<int>(i)).SerializeAsString());
    EXPECT_GE(pieces->at(i).data(), bytes.data());
  }
}

TEST(Utf8, RepairsWhatIsNotUtf8AndNothingElse) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"caf\xE9", "caf\uFFFD"},       {"\xC3", "\uFFFD"},
      {"\xC3(", "\uFFFD("},           {"\xC0\xAF", "\uFFFD"},  // not the shortest
      {"\xED\xA0\x80", "\uFFFD"},                              // half a pair
      {"\xF4\x90\x80\x80", "\uFFFD"},                          // above all
      {"\x80z\xFF", "\uFFFDz\uFFFD"}};
  for (auto [text, expected] : cases) {
    EXPECT_TRUE(repairUtf8(text));
    EXPECT_EQ(text, expected);
  }
  for (std::string good : {"", "plain", "é\u0800\uFFFF音\U00010000\U0010FFFF"}) {
    const std::string before = good;
    EXPECT_FALSE(repairUtf8(good));
    EXPECT_EQ(good, before);
  }
}

TEST(Utf8, PrintableHasASpaceForEachControlCharacter) {
  EXPECT_EQ(printable("a\x1B[2Jb\x7F\xC2\x9B"
                      "1é"),
            "a [2Jb  1é");
}

TEST(Kinds, HaveTheNamesOfTheSchema) {
  const std::vector<Value> values = {{},
                                     std::string(),
                                     0.0F,
                                     int32_t(),
                                     uint32_t(),
                                     std::vector<float>(),
                                     std::vector<int32_t>(),
                                     std::vector<uint32_t>(),
                                     0.0};
  std::string names;
  for (const Value& value : values) names += std::string(kindName(value)) + " ";
  EXPECT_EQ(names, "none string float int uint float_array int_array uint_array double ");
}

TEST(Json, WritesEachKindWithItsName) {
  EXPECT_EQ(jsonOfEntries({{"a", -12.3F}, {"a", std::string("x\"y")}, {"c", std::vector<uint32_t>{1, 4'000'000'000U}}}),
            R"({"stream":"fast","time":1500.25,"entries":[{"key":"a","kind":"float","value":-12.3},)"
            R"({"key":"a","kind":"string","value":"x\"y"},)"
            R"({"key":"c","kind":"uint_array","value":[1,4000000000]}]})");
  EXPECT_EQ(jsonOfEntries({{"a", {}}, {"b", -5}, {"c", std::vector<float>{}}}, Stream::changes),
            R"({"stream":"changes","time":1500.25,"entries":[{"key":"a","kind":"none","value":null},)"
            R"({"key":"b","kind":"int","value":-5},{"key":"c","kind":"float_array","value":[]}]})");
}

TEST(Json, WritesAMessageWithoutEntries) {
  EXPECT_EQ(jsonOfEntries({}), R"({"stream":"fast","time":1500.25,"entries":[]})");
}

TEST(Json, WritesNumbersThatJsonLacksAsTexts) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(jsonOfEntries({{"a", std::vector{-infinity, infinity, std::numeric_limits<float>::quiet_NaN()}},
                           {"b", std::numeric_limits<double>::quiet_NaN()}}),
            R"({"stream":"fast","time":1500.25,"entries":[)"
            R"({"key":"a","kind":"float_array","value":["-Infinity","Infinity","NaN"]},)"
            R"({"key":"b","kind":"double","value":"NaN"}]})");
}

TEST(Json, KeepsDoublesExactAndFloatsShort) {
  EXPECT_EQ(withoutTail(-12.3F), -12.3);
  EXPECT_EQ(withoutTail(0.1F), 0.1);
  EXPECT_EQ(static_cast<float>(withoutTail(16777217.5F)), 16777217.5F);
  EXPECT_NE(jsonOfEntries({{"a", 0.1 + 0.2}}).find("0.30000000000000004"), std::string::npos);
}

}  // namespace corvalux::client
