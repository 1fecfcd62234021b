#include <gmock/gmock.h>

#include "gateway/api/MetricsText.h"
#include "gateway/http/Admission.h"
#include "gateway/http/NameCheck.h"
#include "gateway/http/Request.h"
#include "gateway/settings/DeviceList.h"

namespace corvalux::gateway {

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::Pair;

std::string nameOf(const std::string& text) { return deviceList({text}).front().name; }

}  // namespace

TEST(NameCheck, TakesAddressesLocalhostAndAllowedNames) {
  const NameCheck names{{"desk.example"}, {}};
  for (const char* host :
       {"127.0.0.1", "127.0.0.1:8080", "[::1]:8080", "localhost", "LOCALHOST:1", "Desk.example:80"}) {
    EXPECT_FALSE(names.AgainstHost(host)) << host;
  }
  for (const char* host : {"", "evil.example", "evil.example:8080", "localhost.evil.example", "127.0.0.1.evil.example",
                           "user@localhost", "localhost/x", "[::1", "a b", "localhost:99999999"}) {
    EXPECT_TRUE(names.AgainstHost(host)) << host;
  }
}

TEST(NameCheck, TakesTheSameOriginAndAllowedOnes) {
  const NameCheck names{{}, {"https://app.example"}};
  const auto taken = [&names](const char* origin, const char* host) { return !names.AgainstOrigin(origin, host); };
  EXPECT_TRUE(taken("http://127.0.0.1:8080", "127.0.0.1:8080"));
  EXPECT_TRUE(taken("https://desk.example", "desk.example")) << "443 on both sides";
  EXPECT_TRUE(taken("http://desk.example:80", "desk.example"));
  EXPECT_TRUE(taken("http://[::1]:8080", "[::1]:8080"));
  EXPECT_TRUE(taken("https://APP.example", "127.0.0.1:8080"));
  EXPECT_FALSE(taken("null", "127.0.0.1:8080"));
  EXPECT_FALSE(taken("", "127.0.0.1:8080"));
  EXPECT_FALSE(taken("http://127.0.0.1:8081", "127.0.0.1:8080"));
  EXPECT_FALSE(taken("http://127.0.0.1", "127.0.0.1:8080"));
  EXPECT_FALSE(taken("http://evil.example", "127.0.0.1"));
  EXPECT_FALSE(taken("file://127.0.0.1", "127.0.0.1"));
  EXPECT_FALSE(taken("https://app.example.evil", "127.0.0.1"));
}

TEST(Request, DecodesPathAndParameters) {
  const auto request = parseTarget("/api/devices/a%2Fb/values?keys=input/*&keys=a%20b&x");
  ASSERT_TRUE(request);
  EXPECT_THAT(request->path, ElementsAre("api", "devices", "a/b", "values"));
  EXPECT_THAT(request->parameters, ElementsAre(Pair("keys", "input/*"), Pair("keys", "a b"), Pair("x", "")));
  EXPECT_TRUE(parseTarget("/")->path.empty());
  for (const char* target : {"", "*", "http://a/b", "/a%zz", "/a b", "/\xFF"})
    EXPECT_FALSE(parseTarget(target)) << target;
}

TEST(Admission, LimitsConnectionsInAllAndOfAnAddress) {
  Admission admission({.clients = 2, .perAddress = 1, .requestsPerSecond = 10});
  auto first = admission.Enter();
  const auto second = admission.Enter();
  EXPECT_FALSE(admission.Enter());
  first.reset();
  EXPECT_TRUE(admission.Enter());
  const auto place = admission.EnterFrom("10.0.0.1");
  EXPECT_FALSE(admission.EnterFrom("10.0.0.1"));
  EXPECT_TRUE(admission.EnterFrom("10.0.0.2"));
}

TEST(Admission, CountsAnIpv6NetworkAndAMappedAddressAsOne) {
  Admission admission({.clients = 9, .perAddress = 1, .requestsPerSecond = 10});
  const auto six = admission.EnterFrom("2001:db8:0:1::1");
  EXPECT_FALSE(admission.EnterFrom("2001:db8:0:1:ffff::2"));
  EXPECT_TRUE(admission.EnterFrom("2001:db8:0:2::1"));
  const auto four = admission.EnterFrom("10.0.0.1");
  EXPECT_FALSE(admission.EnterFrom("::ffff:10.0.0.1"));
}

TEST(Admission, LimitsTheRateOfRequests) {
  Admission admission({.clients = 1, .perAddress = 1, .requestsPerSecond = 10});
  const Admission::Clock::time_point start = Admission::Clock::now();
  int taken = 0;
  for (int i = 0; i < 100; ++i) taken += admission.MayAsk("a", start) ? 1 : 0;
  EXPECT_EQ(taken, 20) << "a burst of two seconds";
  EXPECT_TRUE(admission.MayAsk("b", start));
  EXPECT_FALSE(admission.MayAsk("a", start + milliseconds(99)));
  EXPECT_TRUE(admission.MayAsk("a", start + milliseconds(201)));
}

TEST(Admission, AnAddressPaysForTheTimeThatItsRequestsTake) {
  Admission admission({.clients = 1, .perAddress = 1, .requestsPerSecond = 10});
  const Admission::Clock::time_point start = Admission::Clock::now();
  EXPECT_TRUE(admission.MayAsk("a", start));
  admission.Charge("a", milliseconds(1000));  // 40 requests, of the 19 that are left
  EXPECT_FALSE(admission.MayAsk("a", start + milliseconds(2150)));
  EXPECT_TRUE(admission.MayAsk("a", start + milliseconds(2250)));
  EXPECT_TRUE(admission.MayAsk("b", start));
}

TEST(Admission, AnAddressThatTakesFarMoreThanItsShareMustGiveSomethingUpOnce) {
  Admission admission({.clients = 1, .perAddress = 1, .requestsPerSecond = 10});
  const Admission::Clock::time_point start = Admission::Clock::now();
  admission.Charge("a", milliseconds(2900));  // of a quarter: 11.6 s, of which 2 were saved
  EXPECT_FALSE(admission.MustGiveUp("a", start));
  admission.Charge("a", milliseconds(200));
  EXPECT_FALSE(admission.MustGiveUp("b", start));
  EXPECT_TRUE(admission.MustGiveUp("a", start));
  EXPECT_FALSE(admission.MustGiveUp("a", start));
}

TEST(DeviceList, TakesNamesAndMakesMissingOnes) {
  EXPECT_EQ(deviceList({"desk=10.0.0.5"}), (std::vector<DeviceAddress>{{"desk", "10.0.0.5:50005"}}));
  EXPECT_EQ(nameOf("mixer.local"), "mixer-local-50005");
  EXPECT_EQ(nameOf("unix:/run/a=b"), "unix--run-a-b");
  EXPECT_EQ(nameOf("[::1]:7"), "1--7");
  EXPECT_EQ(nameOf(std::string(200, 'h')).size(), 64U);
  const auto twice = deviceList({"a.b:1", "a-b:1", "x=a.b:1"});
  EXPECT_EQ(twice[0].name, "a-b-1");
  EXPECT_EQ(twice[1].name, "a-b-1-2");
}

TEST(DeviceList, RefusesWhatIsNoName) {
  for (const char* text : {"a b=10.0.0.1", "=10.0.0.1", "desk=", "", "\xC3\xA4=x"}) {
    EXPECT_THROW(deviceList({text}), std::invalid_argument) << text;
  }
  EXPECT_THROW(deviceList({std::string(65, 'n') + "=x"}), std::invalid_argument);
  EXPECT_THROW(deviceList({"a=x", "a=y"}), std::invalid_argument);
}

TEST(MetricsText, EscapesLabelsAndWritesEveryNumber) {
  MetricsText text;
  text.Head("family", "gauge", "Help.");
  text.Line({{"key", "a\"b\\c\nd"}, {"n", "1"}}, -12.3);
  text.Line({}, std::numeric_limits<double>::infinity());
  text.Line({}, std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(text.Take(),
            "# HELP family Help.\n# TYPE family gauge\nfamily{key=\"a\\\"b\\\\c\\nd\",n=\"1\"} -12.3\n"
            "family +Inf\nfamily NaN\n");
}

}  // namespace corvalux::gateway
