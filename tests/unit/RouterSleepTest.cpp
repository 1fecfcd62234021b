// What else may happen while the router sleeps.
#include <errno.h>
#include <time.h>

#include <functional>
#include <future>
#include <vector>

#include "module/grpc/grpc.h"
#include "support/Deadline.h"
#include "unit/ServicesFixture.h"

namespace {

/// Runs at the beginning of each sleep of this thread.
thread_local std::function<void()> onSleep;

}  // namespace

/// Comes before the system's own one.
extern "C" int nanosleep(const timespec* time, timespec* rest) {
  if (onSleep) onSleep();
  errno = clock_nanosleep(CLOCK_MONOTONIC, 0, time, rest);
  return errno == 0 ? 0 : -1;
}

namespace {

using test::fastMethod;

class RouterSleep : public test::ServicesFixture {
 protected:
  void TearDown() override {
    onSleep = nullptr;
    test::ServicesFixture::TearDown();
  }

  corvalux::grpc::GrpcGenericRouter router{meters, notifications};
};

TEST_F(RouterSleep, HoldsNoMutexThatNewCallsNeed) {
  constexpr int sleeps = 10;
  test::ScriptedStream stream(Open(router, fastMethod));
  std::vector<std::future<bool>> refusals;
  int refused = 0;
  onSleep = [&] {
    auto& refusal = refusals.emplace_back(std::async(std::launch::async, [this] { return !Open(router, fastMethod); }));
    if (refusal.wait_for(test::patience) == std::future_status::ready && refusal.get()) ++refused;
    if (refused == sleeps) stream.Done();
  };
  router.CloseStreams();
  EXPECT_EQ(refused, sleeps);
  EXPECT_EQ(refusals.size(), sleeps);
}

}  // namespace
