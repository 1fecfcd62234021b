// The two environment variables: how they are read, and when.
#include <gmock/gmock.h>

#include <cstdlib>
#include <optional>
#include <ostream>

#include "module/RecordedTest.h"

namespace {

using test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* keepalive = "CORVALUX_GRPC_KEEPALIVE_WITHOUT_CALLS";
constexpr const char* minPing = "CORVALUX_GRPC_MIN_PING_WITHOUT_DATA";

class Environment : public test::RecordedTest {
 protected:
  Environment() {
    unsetenv(keepalive);
    unsetenv(minPing);
  }
  ~Environment() override {
    unsetenv(keepalive);
    unsetenv(minPing);
  }

  /// The channel arguments that the server got, in order.
  Texts Arguments() const { return grpc.Only({"SetOption"}); }

  Texts Warnings() const {
    Texts warnings;
    for (const std::string& text : log.Texts()) {
      if (text.starts_with("3 ")) warnings.push_back(text);
    }
    return warnings;
  }
};

TEST_F(Environment, UnsetVariablesGiveTheDefaults) {
  ASSERT_EQ(StartWith({}), 0);
  EXPECT_THAT(Arguments(), ElementsAre("SetOption grpc.keepalive_permit_without_calls=1",
                                       "SetOption grpc.http2.min_ping_interval_without_data_ms=5000"));
  EXPECT_THAT(Warnings(), IsEmpty());
}

struct Reading {
  const char* text;
  std::optional<int32_t> number;  // none: rejected
};

void PrintTo(const Reading& reading, std::ostream* out) { *out << testing::PrintToString(std::string(reading.text)); }

class Readings : public Environment, public testing::WithParamInterface<Reading> {};

TEST_P(Readings, OfTheKeepaliveVariable) {
  setenv(keepalive, GetParam().text, 1);
  ASSERT_EQ(StartWith({}), 0);
  EXPECT_EQ(Arguments().at(0),
            "SetOption grpc.keepalive_permit_without_calls=" + std::to_string(GetParam().number.value_or(1)));
  const Texts rejection = {std::string("3 unsupported value for keepalive without calls: ") + GetParam().text};
  EXPECT_EQ(Warnings(), GetParam().number ? Texts{} : rejection);
}

TEST_P(Readings, OfTheMinPingVariable) {
  setenv(minPing, GetParam().text, 1);
  ASSERT_EQ(StartWith({}), 0);
  EXPECT_EQ(Arguments().at(1), "SetOption grpc.http2.min_ping_interval_without_data_ms=" +
                                   std::to_string(GetParam().number.value_or(5000)));
  const Texts rejection = {std::string("3 unsupported value for min ping without data: ") + GetParam().text};
  EXPECT_EQ(Warnings(), GetParam().number ? Texts{} : rejection);
}

// Numbers beyond 32 bits are cut; those beyond 64 bits are the largest that 64 bits hold, then cut.
INSTANTIATE_TEST_SUITE_P(Texts, Readings,
                         testing::Values(Reading{"0", 0}, Reading{"1", 1}, Reading{"7x", 7}, Reading{" 12", 12},
                                         Reading{"\t12 34", 12}, Reading{"-3", -3}, Reading{"+5", 5},
                                         Reading{"010", 10}, Reading{"0x10", 0}, Reading{"2147483647", INT32_MAX},
                                         Reading{"2147483648", INT32_MIN}, Reading{"4294967297", 1},
                                         Reading{"99999999999999999999", -1}, Reading{"-99999999999999999999", 0},
                                         Reading{"off", std::nullopt}, Reading{"", std::nullopt},
                                         Reading{"  ", std::nullopt}, Reading{"-", std::nullopt},
                                         Reading{"x7", std::nullopt}));

TEST_F(Environment, WarningsComeWhileTheServerIsBuiltKeepaliveFirst) {
  setenv(keepalive, "off", 1);
  setenv(minPing, "never", 1);
  ASSERT_EQ(StartWith({}), 0);
  const Texts lines = log.Texts();
  ASSERT_EQ(lines.size(), 7U);
  EXPECT_THAT(Texts(lines.begin() + 3, lines.end()),
              ElementsAre("1 AddListening on " + address, "3 unsupported value for keepalive without calls: off",
                          "3 unsupported value for min ping without data: never", "1 Server listening on " + address));
}

TEST_F(Environment, IsNotReadWhenNoServerIsBuilt) {
  setenv(keepalive, "off", 1);
  setenv(minPing, "never", 1);
  ASSERT_EQ(instance.Start({{"serverUrl", std::string()}}), -1);
  EXPECT_THAT(Warnings(), IsEmpty());
}

TEST_F(Environment, IsReadAgainByTheNextStartOnly) {
  ASSERT_EQ(StartWith({}), 0);
  setenv(keepalive, "0", 1);
  instance.Stop();
  ASSERT_EQ(StartWith({}), 0);
  EXPECT_THAT(grpc.Only({"SetOption grpc.keepalive"}), ElementsAre("SetOption grpc.keepalive_permit_without_calls=1",
                                                                   "SetOption grpc.keepalive_permit_without_calls=0"));
}

}  // namespace
