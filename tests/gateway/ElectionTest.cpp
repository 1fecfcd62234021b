#include "gateway/fleet/Election.h"

#include <gmock/gmock.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/fleet/Origins.h"

namespace corvalux::gateway {

namespace {

using Answer = Origins::Answer;
using Time = FleetClock::time_point;
using std::chrono::milliseconds;

constexpr Time start{std::chrono::hours(5)};
const Origin alpha{1, "alpha"};
const Origin beta{2, "beta"};
const Origin gamma{3, "gamma"};

/// What a receiver hears of one device.
class FollowedOrigins : public testing::Test {
 protected:
  Answer Hear(const Origin& origin, milliseconds at) { return origins.Hear(origin, start + at); }
  void Release(const Origin& origin, milliseconds at) { origins.Release(origin, start + at); }

  Origins origins;
};

/// A gateway that was given a device, with what it hears of others.
class Gateways : public testing::Test {
 protected:
  struct One {
    Election election;
    Origins heard;
    bool connected = true;
    bool reachable = true;
    std::optional<Time> listens = start;
  };

  One& Add(const Origin& origin, milliseconds jitter = milliseconds(0)) {
    return *all.emplace(origin, std::make_unique<One>(One{Election(origin, jitter), {}})).first->second;
  }
  /// Every 50 ms each decides, and those that speak are heard by all that can be reached.
  void Run(milliseconds time) {
    for (const Time end = now + time; now < end; now += milliseconds(50)) {
      for (auto& [origin, one] : all) Step(origin, *one);
    }
  }
  void Step(const Origin& origin, One& one) {
    const bool spoke = one.election.Speaks();
    one.election.Decide(
        {one.connected, one.listens, one.heard.Released(), one.heard.First(now, one.election.Patience())}, now);
    if (!one.reachable) return;
    for (auto& [name, other] : all) {
      if (name == origin || !other->reachable) continue;
      if (one.election.Speaks()) other->heard.Hear(origin, now);
      if (spoke && !one.election.Speaks()) other->heard.Release(origin, now);
    }
  }
  std::string Speakers() const {
    std::string names;
    for (const auto& [origin, one] : all) names += one->election.Speaks() ? origin.name + " " : "";
    return names;
  }

  std::map<Origin, std::unique_ptr<One>> all;
  Time now = start;
};

}  // namespace

TEST_F(FollowedOrigins, FollowTheFirstThatSpeaks) {
  EXPECT_EQ(origins.Followed(), std::nullopt);
  EXPECT_EQ(Hear(beta, milliseconds(0)), Answer::changed);
  EXPECT_EQ(Hear(beta, milliseconds(40)), Answer::followed);
  EXPECT_EQ(Hear(alpha, milliseconds(60)), Answer::ignored) << "a lower number is no reason to change";
  EXPECT_EQ(origins.Followed(), beta);
}

TEST_F(FollowedOrigins, ChangeWhenTheFollowedOneIsSilent) {
  Hear(alpha, milliseconds(0));
  EXPECT_EQ(Hear(beta, milliseconds(1500)), Answer::ignored);
  EXPECT_EQ(Hear(beta, milliseconds(1501)), Answer::changed);
  EXPECT_EQ(Hear(alpha, milliseconds(1600)), Answer::ignored) << "it comes back too late";
}

TEST_F(FollowedOrigins, ChangeAfterAReleaseOnceItHasSettled) {
  Hear(alpha, milliseconds(0));
  Release(alpha, milliseconds(100));
  EXPECT_EQ(origins.Followed(), std::nullopt);
  EXPECT_EQ(Hear(beta, milliseconds(200)), Answer::ignored);
  EXPECT_EQ(Hear(beta, milliseconds(250)), Answer::changed);
}

TEST_F(FollowedOrigins, StayWhenAnotherOneReleases) {
  Hear(alpha, milliseconds(0));
  Hear(beta, milliseconds(0));
  Release(beta, milliseconds(10));
  Release(gamma, milliseconds(10));
  EXPECT_EQ(Hear(alpha, milliseconds(20)), Answer::followed);
}

TEST_F(FollowedOrigins, SayAfterWhichTimeSomethingIsNewerThanAllThatWasShown) {
  Hear(alpha, milliseconds(0));
  EXPECT_EQ(origins.NewerThan(), Time()) << "nothing was shown before the first";
  Hear(alpha, milliseconds(400));
  Hear(beta, milliseconds(5000));
  EXPECT_EQ(origins.NewerThan(), start + milliseconds(400));
}

TEST_F(FollowedOrigins, AreSilentWithoutTheFollowedOne) {
  EXPECT_TRUE(origins.Silent(start, milliseconds(2000)));
  Hear(alpha, milliseconds(0));
  EXPECT_FALSE(origins.Silent(start + milliseconds(2000), milliseconds(2000)));
  EXPECT_TRUE(origins.Silent(start + milliseconds(2001), milliseconds(2000)));
}

TEST_F(FollowedOrigins, AreNotForgottenForManyThatAreMadeUp) {
  Hear(alpha, milliseconds(0));
  for (uint64_t i = 0; i < 100; ++i) Hear({1000 + i, "stranger"}, milliseconds(10));
  EXPECT_EQ(Hear(alpha, milliseconds(20)), Answer::followed);
  EXPECT_EQ(origins.First(start + milliseconds(20), Origins::patience), alpha);
  EXPECT_EQ(Hear(beta, milliseconds(3000)), Answer::changed) << "those that are silent make room";
}

TEST_F(Gateways, AloneClaimsAfterHavingListened) {
  Add(alpha, milliseconds(300));
  Run(milliseconds(1500));
  EXPECT_EQ(Speakers(), "");
  Run(milliseconds(100));
  EXPECT_EQ(Speakers(), "alpha ");
}

TEST_F(Gateways, SpeakOnlyWithTheDeviceAndTheFleet) {
  One& one = Add(alpha);
  one.connected = false;
  Run(milliseconds(3000));
  EXPECT_EQ(Speakers(), "");
  one.connected = true;
  Run(milliseconds(50));
  EXPECT_EQ(Speakers(), "alpha ") << "it has listened all the time";
  one.listens.reset();
  Run(milliseconds(50));
  EXPECT_EQ(Speakers(), "");
}

TEST_F(Gateways, StaySilentWhileAnotherOneSpeaks) {
  Add(beta);
  Run(milliseconds(2000));
  One& lower = Add(alpha);
  lower.listens = now;
  Run(milliseconds(5000));
  EXPECT_EQ(Speakers(), "beta ");
}

TEST_F(Gateways, AgreeOnTheLowerNumberWhenBothBeganToSpeak) {
  Add(alpha);
  Add(beta);
  Add(gamma);
  Run(milliseconds(3000));
  EXPECT_EQ(Speakers(), "alpha ");
}

TEST_F(Gateways, TakeOverWithinTwoSecondsOfSilence) {
  Add(alpha);
  Add(beta, milliseconds(300));
  Run(milliseconds(3000));
  all.at(alpha)->reachable = false;
  all.at(alpha)->listens.reset();
  Run(milliseconds(1450));
  EXPECT_EQ(Speakers(), "");
  Run(milliseconds(200));
  EXPECT_EQ(Speakers(), "beta ");
}

TEST_F(Gateways, TakeOverSoonAfterARelease) {
  Add(alpha);
  Add(beta);
  Run(milliseconds(3000));
  all.at(alpha)->connected = false;
  Run(milliseconds(300));
  EXPECT_EQ(Speakers(), "beta ");
}

TEST_F(Gateways, TakeOverFromOneThatReleasesOnlyWhenNobodyElseSpeaks) {
  Add(alpha);
  Run(milliseconds(2000));
  One& third = Add(gamma);
  third.heard.Hear(alpha, now);
  third.heard.Hear(beta, now);
  third.heard.Release(beta, now);
  Run(milliseconds(3000));
  EXPECT_EQ(Speakers(), "alpha ");
}

TEST_F(Gateways, AgreeAgainWhenTheyWereCutApart) {
  Add(alpha);
  Add(beta);
  Run(milliseconds(3000));
  for (auto& [origin, one] : all) one->reachable = false;
  Run(milliseconds(3000));
  EXPECT_EQ(Speakers(), "alpha beta ") << "each for its side";
  for (auto& [origin, one] : all) one->reachable = true;
  Run(milliseconds(100));
  EXPECT_EQ(Speakers(), "alpha ");
}

TEST_F(Gateways, DoNotGoOnAfterABreak) {
  One& one = Add(alpha);
  Run(milliseconds(2000));
  now += milliseconds(1500);  // it stood still
  one.listens = now;
  Run(milliseconds(50));
  EXPECT_EQ(Speakers(), "");
  Run(milliseconds(1200));
  EXPECT_EQ(Speakers(), "alpha ") << "nobody else took it meanwhile";
}

}  // namespace corvalux::gateway
