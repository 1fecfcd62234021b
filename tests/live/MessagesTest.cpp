// What a client receives, byte for byte.
#include <gmock/gmock.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "live/LiveTest.h"

namespace {

using namespace std::string_literals;
using sim::Event;
using test::StreamClient;

class Messages : public test::LiveTest {
 protected:
  /// Emits the list to a subscribed client and returns what arrived.
  std::string Received(Event event, const sim::KeyValues& values, StreamClient& client) {
    if (!Delivered(event, values, client)) ADD_FAILURE() << "the message has not come";
    return client.Messages().back();
  }
};

const sim::KeyValues allKinds = {{"u", 7U},
                                 {"i", -1},
                                 {"f", 0.5F},
                                 {"d", 0.25},
                                 {"t", "on air"s},
                                 {"us", std::vector<uint32_t>{1, 2}},
                                 {"is", std::vector<int32_t>{-1}},
                                 {"fs", std::vector<float>{-1.5F}}};

const std::string allKindsBytes =
    "\x0A\x07\x0A\x01u\x12\x02\x20\x07"s
    "\x0A\x10\x0A\x01i\x12\x0B\x18\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s
    "\x0A\x0A\x0A\x01"s
    "f\x12\x05\x15\0\0\0\x3F"s
    "\x0A\x0E\x0A\x01"s
    "d\x12\x09\x41\0\0\0\0\0\0\xD0\x3F"s
    "\x0A\x0F\x0A\x01t\x12\x0A\x0A\x08\x0A\x06on air"s
    "\x0A\x12\x0A\x02us\x12\x0C\x3A\x0A\x0A\x08\1\0\0\0\2\0\0\0"s
    "\x0A\x0E\x0A\x02is\x12\x08\x32\x06\x0A\x04\xFF\xFF\xFF\xFF"s
    "\x0A\x0E\x0A\x02"s
    "fs\x12\x08\x2A\x06\x0A\x04\0\0\xC0\xBF"s;

TEST_F(Messages, AllKindsHaveTheirExactBytesOnEveryStream) {
  StartModule();
  const std::pair<Event, std::string> streams[] = {{Event::meterFast, test::fastMethod},
                                                   {Event::meterSlow, test::slowMethod},
                                                   {Event::changes, test::changesMethod}};
  for (const auto& [event, method] : streams) {
    StreamClient client(address, method);
    ASSERT_TRUE(Subscribed(client, event));
    EXPECT_EQ(Received(event, allKinds, client), allKindsBytes) << method;
  }
}

TEST_F(Messages, ZeroAndEmptyValuesKeepTheirKind) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  EXPECT_EQ(Received(Event::meterFast, {{"", 0U}, {"", 0}, {"", 0.0F}, {"", ""s}}, client),
            "\x0A\x04\x12\x02\x20\0\x0A\x04\x12\x02\x18\0\x0A\x07\x12\x05\x15\0\0\0\0\x0A\x04\x12\x02\x0A\0"s);
  EXPECT_EQ(Received(Event::meterFast,
                     {{"", std::vector<uint32_t>{}}, {"", std::vector<int32_t>{}}, {"", std::vector<float>{}}}, client),
            "\x0A\x04\x12\x02\x3A\0\x0A\x04\x12\x02\x32\0\x0A\x04\x12\x02\x2A\0"s);
  EXPECT_EQ(Received(Event::meterFast, {{"", 0.0}}, client), "\x0A\x0B\x12\x09\x41\0\0\0\0\0\0\0\0"s);
}

TEST_F(Messages, AnEmptyListIsAnEmptyMessage) {
  StartModule();
  StreamClient meters(address, test::slowMethod);
  StreamClient changes(address, test::changesMethod);
  ASSERT_TRUE(Subscribed(meters, Event::meterSlow));
  ASSERT_TRUE(Subscribed(changes, Event::changes));
  EXPECT_EQ(Received(Event::meterSlow, {}, meters), "");
  EXPECT_EQ(Received(Event::changes, {}, changes), "");
}

TEST_F(Messages, AMeterListMayShrinkAndGrow) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  EXPECT_EQ(Received(Event::meterFast, allKinds, client), allKindsBytes);
  EXPECT_EQ(Received(Event::meterFast, {{"u", 7U}}, client), allKindsBytes.substr(0, 9));
  EXPECT_EQ(Received(Event::meterFast, {}, client), "");
  EXPECT_EQ(Received(Event::meterFast, allKinds, client), allKindsBytes);
}

TEST_F(Messages, AMeterOfAnUnknownKindKeepsTheFormerValueUnderItsNewKey) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  EXPECT_EQ(Received(Event::meterFast, {{"a", 7U}}, client), "\x0A\x07\x0A\x01\x61\x12\x02\x20\x07"s);
  EXPECT_EQ(Received(Event::meterFast, {{"b", sim::UnknownKind{8}}}, client), "\x0A\x07\x0A\x01\x62\x12\x02\x20\x07"s);
  EXPECT_EQ(Received(Event::meterFast, {{"b", 1U}, {"c", sim::UnknownKind{-1}}}, client).substr(9),
            "\x0A\x05\x0A\x01\x63\x12\0"s);
}

TEST_F(Messages, AnUnknownKindInANotificationHasNoValue) {
  StartModule();
  StreamClient client(address, test::changesMethod);
  ASSERT_TRUE(Subscribed(client, Event::changes));
  EXPECT_EQ(Received(Event::changes, {{"a", 7U}}, client), "\x0A\x07\x0A\x01\x61\x12\x02\x20\x07"s);
  EXPECT_EQ(Received(Event::changes, {{"b", sim::UnknownKind{8}}}, client), "\x0A\x05\x0A\x01\x62\x12\0"s);
}

TEST_F(Messages, DuplicateKeysStayInOrder) {
  StartModule();
  StreamClient client(address, test::changesMethod);
  ASSERT_TRUE(Subscribed(client, Event::changes));
  EXPECT_EQ(
      Received(Event::changes, {{"a", 1U}, {"b", 2U}, {"a", 3U}}, client),
      "\x0A\x07\x0A\x01\x61\x12\x02\x20\x01\x0A\x07\x0A\x01\x62\x12\x02\x20\x02\x0A\x07\x0A\x01\x61\x12\x02\x20\x03"s);
}

TEST_F(Messages, AKeyThatIsNotUtf8ArrivesAndIsRejectedByTheReceiversParser) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  const std::string bytes = Received(Event::meterFast, {{"\xC3\x28", 1U}}, client);
  EXPECT_EQ(bytes, "\x0A\x08\x0A\x02\xC3\x28\x12\x02\x20\x01"s);
  EXPECT_FALSE(::corvalux::grpc::Meter().ParseFromString(bytes));
}

TEST_F(Messages, OfTheSizesBetweenWhichTheSerialiserChangesArriveWhole) {
  StartModule();
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  for (const std::size_t size : {22, 23, 24, 25}) {
    const std::string key(size - 8, 'k');
    const std::string bytes = Received(Event::meterFast, {{key, 0U}}, client);
    EXPECT_EQ(bytes.size(), size);
    EXPECT_EQ(bytes,
              "\x0A"s + static_cast<char>(size - 2) + "\x0A" + static_cast<char>(size - 8) + key + "\x12\x02\x20\0"s);
  }
}

TEST_F(Messages, LargerThanAnyBufferArriveWhole) {
  StartRoomyModule();
  ::grpc::ChannelArguments arguments;
  arguments.SetMaxReceiveMessageSize(-1);
  StreamClient client(::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments),
                      test::fastMethod);
  ASSERT_TRUE(Subscribed(client));
  constexpr std::size_t kib = 1024;
  for (const std::size_t size : {64 * kib, 1024 * kib, 4096 * kib, 8192 * kib}) {
    std::vector<uint32_t> values(size / sizeof(uint32_t) + 1);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint32_t>(i * 2654435761U);
    ASSERT_TRUE(Delivered(Event::meterFast, {{"large", values}}, client));
    EXPECT_GT(client.Messages().back().size(), size);
    const auto meter = client.LastMeter();
    const auto& received = meter.entries(0).value().uint_array().values();
    EXPECT_TRUE(std::equal(received.begin(), received.end(), values.begin(), values.end())) << size;
  }
}

}  // namespace
