#include <gtest/gtest.h>

#include <limits>

#include "corvalux/grpc/streams.pb.h"
#include "monitor/output/JsonLines.h"
#include "monitor/values/Decode.h"

namespace monitor {

namespace {

::corvalux::grpc::AnyValue* add(::corvalux::grpc::Meter& meter, const std::string& key) {
  auto* entry = meter.add_entries();
  entry->set_key(key);
  return entry->mutable_value();
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
  for (const Stream stream : allStreams) EXPECT_EQ(decode(stream, meter.SerializeAsString()), expected);
}

TEST(Decode, EmptyArraysAndTextsKeepTheirKind) {
  ::corvalux::grpc::Meter meter;
  add(meter, "s")->mutable_string_value();
  add(meter, "fa")->mutable_float_array();
  const std::vector<Entry> expected = {{"s", std::string()}, {"fa", std::vector<float>()}};
  EXPECT_EQ(decode(Stream::slow, meter.SerializeAsString()), expected);
}

TEST(Decode, RefusesTextThatIsNotUtf8) {
  ::corvalux::grpc::Meter key;
  add(key, "\xFF\xFE")->set_int_value(1);
  EXPECT_FALSE(decode(Stream::fast, key.SerializeAsString()));
  ::corvalux::grpc::Meter text;
  add(text, "name")->mutable_string_value()->set_data("caf\xE9");
  EXPECT_FALSE(decode(Stream::changes, text.SerializeAsString()));
}

TEST(Decode, RefusesDamagedBytes) { EXPECT_FALSE(decode(Stream::fast, "\x0A\x7F")); }

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

}  // namespace monitor
