// How long the router waits for streams, to the millisecond, and what others may do meanwhile: on a clock that only the
// test moves.
#include <errno.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <vector>

#include "module/grpc/grpc.h"
#include "support/Deadline.h"
#include "unit/ServicesFixture.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

/// Runs at the beginning of each sleep of this thread, with the time that it asks for.
thread_local std::function<void(nanoseconds)> onSleep;

/// What the monotonic clock shows to this thread, if set; sleeps then take no time.
thread_local std::optional<nanoseconds> fakeTime;

}  // namespace

/// Replaces the system's own.
extern "C" int nanosleep(const timespec* time, timespec* rest) {
  if (onSleep) onSleep(std::chrono::seconds(time->tv_sec) + nanoseconds(time->tv_nsec));
  if (fakeTime) return 0;
  errno = clock_nanosleep(CLOCK_MONOTONIC, 0, time, rest);
  return errno == 0 ? 0 : -1;
}

/// Replaces the system's own.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC || !fakeTime) return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  const auto seconds = std::chrono::floor<std::chrono::seconds>(*fakeTime);
  *time = {seconds.count(), (*fakeTime - seconds).count()};
  return 0;
}

namespace {

using test::changesMethod;
using test::fastMethod;

class RouterSleep : public test::ServicesFixture {
 protected:
  void TearDown() override {
    onSleep = nullptr;
    fakeTime.reset();
    test::ServicesFixture::TearDown();
  }

  /// Closes the streams, while each sleep takes `each`. Returns how many sleeps there were. If the wait does not end by
  /// itself, the streams do.
  int SleepsOf(nanoseconds each, const std::vector<test::ScriptedStream*>& stuck) {
    constexpr int tooMany = 1000;
    int sleeps = 0;
    fakeTime = 100h;
    onSleep = [&, each](nanoseconds time) {
      EXPECT_EQ(time, 50ms);
      *fakeTime += each;
      if (++sleeps == tooMany) std::for_each(stuck.begin(), stuck.end(), [](auto* stream) { stream->Done(); });
    };
    router.CloseStreams();
    return sleeps;
  }

  corvalux::grpc::GrpcGenericRouter router{meters, notifications};
  test::ScriptedStream stream{Open(router, fastMethod)};
};

TEST_F(RouterSleep, HoldsNoMutexThatNewCallsNeed) {
  constexpr int sleeps = 10;
  std::vector<std::future<bool>> refusals;
  int refused = 0;
  onSleep = [&](nanoseconds) {
    auto& refusal = refusals.emplace_back(std::async(std::launch::async, [this] { return !Open(router, fastMethod); }));
    if (refusal.wait_for(test::patience) == std::future_status::ready && refusal.get()) ++refused;
    if (refused == sleeps) stream.Done();
  };
  router.CloseStreams();
  EXPECT_EQ(refused, sleeps);
  EXPECT_EQ(refusals.size(), sleeps);
}

TEST_F(RouterSleep, GivesUpAtTheFirstLookAfterMoreThan1999Milliseconds) {
  EXPECT_EQ(SleepsOf(50ms, {&stream}), 40);  // 39 of them are 1950 ms
}

TEST_F(RouterSleep, IsNotLogged) {
  SleepsOf(50ms, {&stream});
  EXPECT_EQ(log.Texts().size(), 2U) << "that the stream was removed, and that it was finished";
}

TEST_F(RouterSleep, CountsWholeMilliseconds) {
  EXPECT_EQ(SleepsOf(2000ms - 1ns, {&stream}), 2) << "1999 ms are not more than 1999";
}

TEST_F(RouterSleep, GivesUpAfter2000Milliseconds) { EXPECT_EQ(SleepsOf(2000ms, {&stream}), 1); }

TEST_F(RouterSleep, MeasuresTheTimeAndDoesNotCountSleeps) { EXPECT_EQ(SleepsOf(700ms, {&stream}), 3); }

TEST_F(RouterSleep, GivesEachServiceTheWholeTime) {
  test::ScriptedStream changesStream(Open(router, changesMethod));
  EXPECT_EQ(SleepsOf(50ms, {&stream, &changesStream}), 80);
}

TEST_F(RouterSleep, MeasuresFromAfterTheClosing) {
  stream.SetOnFinish([] { *fakeTime += 5s; });
  EXPECT_EQ(SleepsOf(50ms, {&stream}), 40);
}

}  // namespace
