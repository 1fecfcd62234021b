// What a real client gets from the real module when the engine does what is allowed but unusual.
#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "DevhostTest.h"
#include "support/StreamClient.h"

namespace {

using ::corvalux::grpc::AnyValue;
using ::corvalux::grpc::KeyValue;
using ::corvalux::grpc::Meter;
using test::StreamClient;

class Misbehaviour : public test::DevhostTest {
 protected:
  void RunMisbehaving(const std::string& kind) {
    Run({"--misbehave", kind, "--fast-hz", "100", "--slow-hz", "100", "--changes-hz", "100", "--channels", "2"});
    ASSERT_TRUE(process->WaitForOutput("serves"));
  }

  /// Takes `count` messages of a stream.
  std::vector<std::string> Receive(const std::string& method, std::size_t count) {
    StreamClient client(address, method);
    EXPECT_TRUE(client.WaitForMessages(count));
    return client.Messages();
  }

  /// The same, parsed. A Notification has the same bytes as a Meter.
  std::vector<Meter> ReceiveParsed(const std::string& method, std::size_t count) {
    std::vector<Meter> parsed;
    for (const std::string& bytes : Receive(method, count)) {
      EXPECT_TRUE(parsed.emplace_back().ParseFromString(bytes));
    }
    return parsed;
  }
};

const std::string methods[] = {test::fastMethod, test::slowMethod, test::changesMethod};

uint32_t counterOf(const Meter& message) { return message.entries(0).value().uint_value(); }

std::vector<KeyValue> entriesOf(const Meter& message, const std::string& key) {
  std::vector<KeyValue> found;
  for (const KeyValue& entry : message.entries()) {
    if (entry.key() == key) found.push_back(entry);
  }
  return found;
}

TEST_F(Misbehaviour, UnknownKindsOnMetersShowTheValueBefore) {
  RunMisbehaving("unknown-kinds");
  for (const auto& method : {test::fastMethod, test::slowMethod}) {
    const auto messages = ReceiveParsed(method, 12);
    ASSERT_GE(messages.size(), 12U);
    const uint32_t firstKnown = (counterOf(messages[0]) + 2) / 3 * 3;  // what was before, the client cannot tell
    for (const Meter& message : messages) {
      const uint32_t counter = counterOf(message);
      if (counter < firstKnown) continue;
      const auto entries = entriesOf(message, "odd/unknown");
      ASSERT_EQ(entries.size(), 1U);
      EXPECT_EQ(entries[0].value().value_case(), AnyValue::kFloatValue);
      EXPECT_EQ(entries[0].value().float_value(), static_cast<float>(counter - counter % 3));
    }
  }
}

TEST_F(Misbehaviour, UnknownKindsOnNotificationsHaveAValueOfNoKind) {
  RunMisbehaving("unknown-kinds");
  for (const Meter& message : ReceiveParsed(test::changesMethod, 12)) {
    const auto entries = entriesOf(message, "odd/unknown");
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_TRUE(entries[0].has_value());
    EXPECT_EQ(entries[0].value().value_case(),
              counterOf(message) % 3 == 0 ? AnyValue::kFloatValue : AnyValue::VALUE_NOT_SET);
  }
}

TEST_F(Misbehaviour, EmptyTextsArriveEmpty) {
  RunMisbehaving("empty-texts");
  for (const auto& method : methods) {
    for (const Meter& message : ReceiveParsed(method, 4)) {
      const auto keyless = entriesOf(message, "");
      const auto empty = entriesOf(message, "odd/empty");
      if (counterOf(message) % 2 != 0) {
        EXPECT_TRUE(keyless.empty() && empty.empty());
        continue;
      }
      ASSERT_EQ(empty.size(), 1U);
      EXPECT_EQ(empty[0].value().value_case(), AnyValue::kStringValue);
      EXPECT_EQ(empty[0].value().string_value().data(), "");
      ASSERT_EQ(keyless.size(), 2U);
      EXPECT_EQ(keyless[0].value().string_value().data(), "keyless");
      EXPECT_EQ(keyless[1].value().value_case(), AnyValue::kStringValue);
    }
  }
}

TEST_F(Misbehaviour, TextsThatAreNotUtf8ArriveAsTheyAreAndDoNotParse) {
  RunMisbehaving("not-utf8");
  for (const auto& method : methods) {
    int rejected = 0;
    int parsed = 0;
    for (const std::string& bytes : Receive(method, 6)) {
      const bool odd = bytes.find("caf\xE9") != std::string::npos && bytes.find("odd/key-\xFF") != std::string::npos;
      Meter message;
      EXPECT_EQ(message.ParseFromString(bytes), !odd);
      ++(odd ? rejected : parsed);
    }
    EXPECT_GT(rejected, 0) << method;
    EXPECT_GT(parsed, 0) << method;
  }
}

TEST_F(Misbehaviour, HugeListsArriveWholeAndLeaveNothingBehind) {
  RunMisbehaving("huge-lists");
  StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(client.WaitForMessages(40));
  int huge = 0;
  for (const std::string& bytes : client.Messages()) {
    Meter message;
    ASSERT_TRUE(message.ParseFromString(bytes));
    if (counterOf(message) % 10 != 0) {
      EXPECT_LT(message.entries_size(), 100);
      continue;
    }
    ++huge;
    EXPECT_GT(message.entries_size(), 20000);
    EXPECT_EQ(entriesOf(message, "odd/entry/19999").at(0).value().uint_value(), 19999U);
    EXPECT_EQ(entriesOf(message, "odd/array").at(0).value().float_array().values_size(), 250000);
    EXPECT_EQ(entriesOf(message, "odd/text").at(0).value().string_value().data().size(), 100000U);
  }
  EXPECT_GT(huge, 0);
}

TEST_F(Misbehaviour, ZeroCountsGiveEmptyArraysOfTheirKind) {
  RunMisbehaving("zero-counts");
  for (const auto& method : methods) {
    for (const Meter& message : ReceiveParsed(method, 4)) {
      const int elements = counterOf(message) % 2 == 0 ? 0 : 3;
      const AnyValue uints = entriesOf(message, "odd/uints").at(0).value();
      const AnyValue ints = entriesOf(message, "odd/ints").at(0).value();
      const AnyValue floats = entriesOf(message, "odd/floats").at(0).value();
      ASSERT_TRUE(uints.has_uint_array() && ints.has_int_array() && floats.has_float_array());
      EXPECT_EQ(uints.uint_array().values_size(), elements);
      EXPECT_EQ(ints.int_array().values_size(), elements);
      EXPECT_EQ(floats.float_array().values_size(), elements);
    }
  }
}

TEST_F(Misbehaviour, DuplicateKeysGiveAnEntryEachInTheirOrder) {
  RunMisbehaving("duplicate-keys");
  for (const auto& method : methods) {
    for (const Meter& message : ReceiveParsed(method, 4)) {
      const auto twice = entriesOf(message, "odd/twice");
      ASSERT_EQ(twice.size(), 2U);
      EXPECT_EQ(twice[0].value().uint_value(), counterOf(message));
      EXPECT_EQ(twice[1].value().string_value().data(), "again");
    }
  }
}

TEST_F(Misbehaviour, AllKindsTogetherDoNotHurtTheModule) {
  test::Process& devhost =
      Run({"--misbehave", "unknown-kinds", "--misbehave", "empty-texts", "--misbehave", "not-utf8", "--misbehave",
           "huge-lists", "--misbehave", "zero-counts", "--misbehave", "duplicate-keys"});
  ASSERT_TRUE(devhost.WaitForOutput("serves"));
  std::vector<std::unique_ptr<StreamClient>> clients;
  for (const auto& method : methods) clients.push_back(std::make_unique<StreamClient>(address, method));
  for (const auto& client : clients) EXPECT_TRUE(client->WaitForMessages(4));
  devhost.Signal(SIGINT);
  for (const auto& client : clients) {
    const auto status = client->WaitForStatus();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->error_code(), ::grpc::StatusCode::CANCELLED);
    EXPECT_EQ(status->error_message(), "");  // the server's own end, not an error on the way
  }
  EXPECT_EQ(devhost.Wait(), 0);
}

}  // namespace
