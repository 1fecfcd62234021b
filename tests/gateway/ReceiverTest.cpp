#include "gateway/fleet/Receiver.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "client/Encode.h"
#include "tests/gateway/FleetHub.h"

namespace corvalux::gateway {

namespace {

using client::ConnectionState;
using client::Stream;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

/// What a device's inbox would get.
class Heard final : public client::Listener {
 public:
  void Take(client::Message message) override {
    ages.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - message.arrival.steady).count());
    texts.push_back(message.entries.empty() ? "" : message.entries.front().key);
  }
  void Change(const ConnectionState& state) override {
    states.push_back(state.phase == ConnectionState::Phase::connected ? "up" : state.reason);
  }

  std::vector<std::string> texts;
  std::vector<std::string> states;
  std::vector<double> ages;
};

class Receivers : public testing::Test {
 protected:
  Receivers() { receiver.Attach("desk", heard, false); }

  void Take(const std::string& subject, const std::string& payload, const Origin& origin, uint64_t sequence,
            double late = 0) {
    const double clock = std::chrono::duration<double>(now.time_since_epoch()).count() - late;
    const std::string name = textOf(origin);
    const std::string time = textOf(clock);
    const std::string count = sequence > 0 ? std::to_string(sequence) : "";
    receiver.Take({"corvalux.v1." + subject, {}, payload, {name, count, "0.1", time, {}}}, now);
  }
  void Message(const std::string& key, const Origin& origin, uint64_t sequence, const std::string& topic = "fast",
               double late = 0) {
    std::string payload;
    client::appendEntry(client::Entry{key, 1.0F}, payload);
    Take("desk." + topic, payload, origin, sequence, late);
  }
  void Report(const Origin& origin, bool speaks, bool gone = false, uint64_t changes = 0) {
    gateway::Report report;
    report.speaks = speaks;
    report.gone = gone;
    report.changes = changes;
    Take("desk.state", jsonOf(report), origin, 0);
  }
  Receiver::View Look() { return receiver.Look("desk", now, Origins::patience, true); }

  const Origin alpha{1, "alpha"};
  const Origin beta{2, "beta"};
  FleetClock::time_point now{std::chrono::hours(5)};
  std::shared_ptr<Heard> heard = std::make_shared<Heard>();
  Receiver receiver{3};
};

}  // namespace

TEST_F(Receivers, GiveMessagesOfTheOriginThatSpeaksWithTheirAge) {
  Message("a", alpha, 1);
  Message("b", beta, 1);
  Message("c", alpha, 2);
  EXPECT_THAT(heard->texts, ElementsAre("a", "c"));
  EXPECT_THAT(heard->states, ElementsAre("no gateway speaks for it", "up"));
  EXPECT_GE(heard->ages.front(), 0.1);
  EXPECT_EQ(Look().via, "alpha");
}

TEST_F(Receivers, DropWhatIsNoNewer) {
  Message("two", alpha, 2);
  Message("two", alpha, 2);
  Message("one", alpha, 1);
  Message("slow", alpha, 1, "slow");
  Message("none", alpha, 0);
  EXPECT_THAT(heard->texts, ElementsAre("two", "slow"));
  EXPECT_EQ(receiver.Counts().repeated, 3U);
}

TEST_F(Receivers, DropWhatLayOnItsWayAlsoAsAClaim) {
  Message("a", alpha, 1);
  now += milliseconds(5000);
  Message("late", alpha, 2, "fast", 1.1);
  EXPECT_THAT(heard->texts, ElementsAre("a"));
  EXPECT_EQ(receiver.Counts().late, 1U);
  EXPECT_EQ(Look().first, std::nullopt) << "nobody speaks now";
}

TEST_F(Receivers, CountSequencesOfEachOriginByItself) {
  Message("a", alpha, 50);
  now += milliseconds(1600);
  Message("b", beta, 1);
  EXPECT_THAT(heard->texts, ElementsAre("a", "b"));
  EXPECT_THAT(heard->states, ElementsAre("no gateway speaks for it", "up")) << "it never was away";
  EXPECT_EQ(receiver.Counts().switches, 1U);
}

TEST_F(Receivers, SayThatNobodySpeaksAfterTwoSeconds) {
  Message("a", alpha, 1);
  now += milliseconds(2000);
  Look();
  EXPECT_EQ(heard->states.back(), "up");
  now += milliseconds(1);
  Look();
  EXPECT_EQ(heard->states.back(), "no gateway speaks for it");
  Message("b", alpha, 2);
  EXPECT_EQ(heard->states.back(), "up");
}

TEST_F(Receivers, AskForThePictureWhenChangesAreMissing) {
  Message("a", alpha, 1, "changes");
  const uint64_t asked = Look().pictures;
  Message("b", alpha, 2, "changes");
  Report(alpha, true, false, 2);
  EXPECT_EQ(Look().pictures, asked);
  Message("d", alpha, 4, "changes");
  EXPECT_EQ(Look().pictures, asked + 1);
  Report(alpha, true, false, 5);
  EXPECT_EQ(Look().pictures, asked + 2) << "the last one was lost";
  Message("e", alpha, 5, "changes");
  EXPECT_THAT(heard->texts, ElementsAre("a", "b", "d")) << "what comes after that says the same";
}

TEST_F(Receivers, AskForThePictureWhenTheOriginChangesOrIsBack) {
  const auto asked = [this] { return Look().pictures; };
  const uint64_t first = asked();
  Message("a", alpha, 1);
  const uint64_t second = asked();
  EXPECT_GT(second, first);
  now += milliseconds(2500);
  asked();  // it is lost
  Message("a", alpha, 2);
  const uint64_t third = asked();
  EXPECT_GT(third, second);
  Report(alpha, false);
  now += milliseconds(200);
  Message("b", beta, 1);
  EXPECT_GT(asked(), third);
}

TEST_F(Receivers, KeepADeviceThatAnotherOneStillFollows) {
  Report(alpha, true);
  Report(beta, false);
  Report(alpha, false, true);
  now += milliseconds(2500);
  EXPECT_FALSE(Look().over);
  Report(beta, false, true);
  EXPECT_TRUE(Look().over);
}

TEST_F(Receivers, ForgetADeviceAfterAnHourOfSilence) {
  Message("a", alpha, 1);
  now += std::chrono::minutes(59);
  EXPECT_FALSE(Look().over);
  now += std::chrono::minutes(2);
  EXPECT_TRUE(Look().over);
}

TEST_F(Receivers, KnowNoMoreDevicesThanTheyMay) {
  for (const char* name : {"a.fast", "b.fast", "c.fast", "d.fast"}) Take(name, "", alpha, 1);
  EXPECT_THAT(receiver.Strangers(), ElementsAre("a", "b"));
  EXPECT_EQ(receiver.Counts().tooMany, 2U);
}

TEST_F(Receivers, KeepNoDeviceThatWasOnlySaidToBeGone) {
  gateway::Report report;
  report.gone = true;
  Take("other.state", jsonOf(report), alpha, 0);
  EXPECT_THAT(receiver.Strangers(), IsEmpty());
}

TEST_F(Receivers, GiveNothingToAListenerThatHasItsOwn) {
  receiver.Attach("desk", heard, true);
  receiver.Look("desk", now, Origins::patience, false);
  Message("a", alpha, 1);
  EXPECT_THAT(heard->texts, IsEmpty());
  const uint64_t asked = Look().pictures;
  Message("b", alpha, 2);
  EXPECT_THAT(heard->texts, ElementsAre("b"));
  EXPECT_GT(asked, 0U);
}

TEST_F(Receivers, TakeRequestsThatCanBeAnswered) {
  receiver.Take({"corvalux.v1.desk.picture", "_INBOX.a", {}, {}}, now);
  receiver.Take({"corvalux.v1.desk.picture", "", {}, {}}, now);
  for (std::size_t i = 0; i < 2 * Receiver::mostRequests; ++i) {
    receiver.Take({"corvalux.v1.desk.picture", "_INBOX.b", {}, {}}, now);
  }
  const auto requests = receiver.Requests();
  EXPECT_EQ(requests.size(), Receiver::mostRequests);
  EXPECT_EQ(requests.front().reply, "_INBOX.a");
  EXPECT_THAT(receiver.Requests(), IsEmpty());
}

}  // namespace corvalux::gateway
