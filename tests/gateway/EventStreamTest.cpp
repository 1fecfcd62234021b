#include "gateway/api/EventStream.h"

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <thread>

#include "gateway/devices/Devices.h"
#include "support/Deadline.h"
#include "support/FakeDevice.h"
#include "support/TempDir.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using std::chrono::milliseconds;

/// A reader's stream of a device that the test plays, and the loop that serves it.
class EventStreams : public testing::Test {
 protected:
  EventStreams() {
    devices.Follow({{"desk", folder.UnixAddress()}});
    SendLevel();
  }

  /// Its device has a new value then.
  void SendLevel() {
    const uint64_t before = Desk().Values().Sequence(Stream::fast);
    played.SendLevel(Stream::fast, "a/peak", -3);
    Until([&] { return Desk().Values().Sequence(Stream::fast) > before; });
  }
  Device& Desk() const { return *devices.Find("desk"); }
  void Until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + test::patience;
    while (!condition() && std::chrono::steady_clock::now() < end) loop.run_one_for(milliseconds(10));
    ASSERT_TRUE(condition());
  }

  std::unique_ptr<EventStream> Read(double hz) {
    const Wanted wanted{{Stream::fast}, std::make_shared<Selection>(Patterns()), hz};
    auto stream = std::make_unique<EventStream>(loop, Desk(), wanted, skipped);
    stream->Start([this] { ++wakes; });
    return stream;
  }

  const test::TempDir folder;
  test::FakeDevice played{folder.UnixAddress()};
  boost::asio::io_context loop;
  Devices devices{loop, {}, [](const Device&) {}};
  uint64_t skipped = 0;
  int wakes = 0;
};

}  // namespace

TEST_F(EventStreams, WakeNobodyOnceDestroyedThoughTheirTimeHasCome) {
  auto stream = Read(1);
  do SendLevel();
  while (stream->Next());  // until it waits with a value that is not due yet
  boost::asio::steady_timer before(loop, std::chrono::steady_clock::time_point());  // whatever the stream's is
  before.async_wait([&](const boost::system::error_code&) {
    stream.reset();
    wakes = 0;
  });
  std::this_thread::sleep_for(milliseconds(1100));  // both are due when the loop looks
  loop.poll();
  ASSERT_EQ(stream, nullptr);
  EXPECT_EQ(wakes, 0);
}

}  // namespace corvalux::gateway
