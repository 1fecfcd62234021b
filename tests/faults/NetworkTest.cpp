// Connections that are half open because the network drops packets, and descriptors that run out.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdio>
#include <string>

#include "faults/Cadence.h"
#include "faults/FaultyClient.h"
#include "faults/OtherHost.h"
#include "support/ModuleTest.h"
#include "support/ProcessUse.h"

namespace {

using namespace std::chrono_literals;

class Network : public test::ModuleTest {
 protected:
  void TearDown() override {
    cadence.Stop();
    ModuleTest::TearDown();
  }

  test::Cadence cadence{engine};
};

TEST_F(Network, HalfOpenConnectionsDelayNeitherTheEngineNorStop) {
  const test::OtherHost other;
  if (!other.Made()) GTEST_SKIP() << "needs root, to make a network namespace";
  ASSERT_TRUE(other.Link());
  const std::string far = "192.0.2.1:50207";
  ASSERT_EQ(instance.Start({{"serverUrl", address + " " + far}}), 0);
  cadence.Start(address);
  const test::Observation quiet = cadence.Observe(600ms);
  test::Process client(other.Command({"/usr/bin/python3", CORVALUX_FAULTS_CLIENT, "read", far, "60"}));
  ASSERT_EQ(client.ReadLine(test::patience).value_or("nothing"), "ready");
  ASSERT_TRUE(client.ReadLine(test::patience));
  ASSERT_TRUE(other.DropPackets());
  const test::Observation during = cadence.Observe(1500ms);
  EXPECT_GE(during.Delivered(), 0.8);
  EXPECT_LT(during.median, 20 * quiet.median);
  const auto stop = TimedStop();
  EXPECT_LT(stop, test::stopLimit);
  std::printf("ROW | half-open | 1024 | %.0f %% | stop %.0f ms |\n", 100 * during.Delivered(),
              std::chrono::duration<double, std::milli>(stop).count());
}

/// Lets this process open only `spare` more descriptors for its lifetime.
class FewDescriptors {
 public:
  explicit FewDescriptors(std::size_t spare) {
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{test::ProcessUse::Now().descriptors + spare, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit before{};
};

TEST_F(Network, WithoutDescriptorsOpenStreamsGoOnAndStopReturns) {
  ASSERT_EQ(instance.Start({{"serverUrl", address}, {"grpc_memory_kb", 262144}}), 0);
  cadence.Start(address);
  test::FaultyClient late("read", address, 60.0);
  test::Observation during;
  {
    const FewDescriptors limit(20);
    test::FaultyClient flood("connection-flood", address, 60.0);
    during = cadence.Observe(1500ms);
  }
  EXPECT_GE(during.Delivered(), 0.8);
  EXPECT_TRUE(cadence.OnlyRose());
  // Whether the server accepts again once there are descriptors depends on the library's version.
  test::Process after({"/usr/bin/python3", CORVALUX_FAULTS_CLIENT, "read", address, "3"});
  after.ReadLine(3s);
  const bool accepts = after.ReadLine(3s).has_value();
  std::printf("ROW | descriptors exhausted | 262144 | %.0f %% | accepts again: %s |\n", 100 * during.Delivered(),
              accepts ? "yes" : "no");
  EXPECT_LT(TimedStop(), test::stopLimit);
}

}  // namespace
