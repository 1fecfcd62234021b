#include <gmock/gmock.h>

#include <chrono>

#include "gateway/fleet/Allowance.h"
#include "gateway/fleet/OriginClock.h"

namespace corvalux::gateway {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// An origin whose clock is ahead of ours by so many seconds.
class OriginClocks : public testing::Test {
 protected:
  /// Of a message that needs this long.
  double LatenessAfter(milliseconds way) {
    const double sent = std::chrono::duration<double>(now.time_since_epoch()).count() + ahead;
    return clock.Lateness(sent, now + way).count();
  }

  OriginClock clock;
  FleetClock::time_point now{std::chrono::hours(5)};
  double ahead = 0;
};

}  // namespace

TEST_F(OriginClocks, MayDiffer) {
  for (const double seconds : {0.0, 60.0, -60.0, 1e7}) {
    clock = {};
    ahead = seconds;
    EXPECT_NEAR(LatenessAfter(milliseconds(1)), 0, 1e-6);
    EXPECT_NEAR(LatenessAfter(milliseconds(301)), 0.3, 1e-6);
    EXPECT_NEAR(LatenessAfter(milliseconds(2001)), 2, 1e-6);
  }
}

TEST_F(OriginClocks, FollowTheLeastDifferenceOfTheLastTime) {
  LatenessAfter(milliseconds(1));
  now += seconds(50);
  EXPECT_NEAR(LatenessAfter(milliseconds(501)), 0.5, 1e-6);
  now += seconds(50);
  EXPECT_NEAR(LatenessAfter(milliseconds(501)), 0.5, 1e-6) << "the former window counts";
}

TEST_F(OriginClocks, ForgetWhatIsLongPastSinceClocksDrift) {
  LatenessAfter(milliseconds(1));
  for (int i = 0; i < 5; ++i) {
    now += seconds(40);
    LatenessAfter(milliseconds(101));
  }
  EXPECT_NEAR(LatenessAfter(milliseconds(101)), 0, 1e-6);
  now += seconds(500);
  EXPECT_NEAR(LatenessAfter(milliseconds(901)), 0, 1e-6) << "after a long silence it begins again";
}

TEST(FleetClock, GoesOn) {
  const auto before = FleetClock::now();
  EXPECT_GE(FleetClock::now(), before);
  EXPECT_GT(before, FleetClock::time_point());
}

TEST(Allowance, IsPaidBackBeforeThereIsMore) {
  Allowance allowance(10, 20);
  FleetClock::time_point now{std::chrono::hours(5)};
  EXPECT_TRUE(allowance.Any(now));
  allowance.Use(50);  // 30 too many
  EXPECT_FALSE(allowance.Any(now + seconds(2)));
  EXPECT_TRUE(allowance.Any(now + seconds(4)));
}

}  // namespace corvalux::gateway
