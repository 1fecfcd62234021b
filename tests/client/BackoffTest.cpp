#include "client/Backoff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace corvalux::client {

TEST(Backoff, DoublesUpToItsLimitWithAQuarterOfJitter) {
  Backoff backoff(1);
  double expected = static_cast<double>(Backoff::first.count());
  for (int i = 0; i < 10; ++i) {
    const auto delay = static_cast<double>(backoff.Next().count());
    EXPECT_GE(delay, expected * 0.749);
    EXPECT_LE(delay, expected * 1.251);
    expected = std::min(expected * 2, static_cast<double>(Backoff::limit.count()));
  }
  backoff.Reset();
  EXPECT_LE(backoff.Next().count(), Backoff::first.count() * 1.251);
}

TEST(Backoff, DiffersBetweenClients) {
  std::set<Backoff::Milliseconds> delays;
  for (uint64_t seed = 0; seed < 20; ++seed) delays.insert(Backoff(seed).Next());
  EXPECT_GT(delays.size(), 10U);
}

}  // namespace corvalux::client
