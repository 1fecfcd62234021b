// A network that lies: connections that are half open because packets are dropped, and descriptors that run out.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "faults/Cadence.h"
#include "faults/FaultyClient.h"
#include "support/ModuleTest.h"
#include "support/ProcessUse.h"

namespace {

using namespace std::chrono_literals;

/// Runs a command of the system; whether it succeeded.
bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

/// A second host on this machine: moves this process into a network of its own, and links it to another one, which is
/// removed at the end. Must be made before any other thread.
class OtherHost {
 public:
  OtherHost() {
    made = unshare(CLONE_NEWNET) == 0 && run("ip netns add " + name) &&
           run("ip link add " + link + " type veth peer name inside netns " + name) &&
           run("ip addr add 192.0.2.1/24 dev " + link) && run("ip link set " + link + " up") &&
           run("ip -n " + name + " addr add 192.0.2.2/24 dev inside") && run("ip -n " + name + " link set inside up");
  }
  ~OtherHost() {
    run("ip link del " + link);
    run("ip netns del " + name);
  }
  OtherHost(const OtherHost&) = delete;
  OtherHost& operator=(const OtherHost&) = delete;

  bool Made() const { return made; }

  /// From now on nothing that it sends or is sent arrives; neither side is told.
  bool DropPackets() const {
    const std::string nft = "ip netns exec " + name + " nft ";
    return run(nft + "add table inet silence") &&
           run(nft + "'add chain inet silence arriving { type filter hook input priority 0; policy drop; }'") &&
           run(nft + "'add chain inet silence leaving { type filter hook output priority 0; policy drop; }'");
  }

  std::vector<std::string> Command(std::vector<std::string> command) const {
    command.insert(command.begin(), {"ip", "netns", "exec", name});
    return command;
  }

 private:
  const std::string id = std::to_string(getpid());
  const std::string name = "corvalux-" + id;
  const std::string link = "cvx" + id;
  bool made = false;
};

class Network : public test::ModuleTest {
 protected:
  void TearDown() override {
    cadence.Stop();
    ModuleTest::TearDown();
  }

  test::Cadence cadence{engine};
};

TEST_F(Network, HalfOpenConnectionsHoldUpNeitherTheEngineNorStop) {
  const OtherHost other;
  if (!other.Made()) GTEST_SKIP() << "needs root, to make a network namespace";
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
  const auto begin = std::chrono::steady_clock::now();
  instance.Stop();
  const auto stop = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(stop, test::stopLimit);
  std::printf("ROW | half-open | 1024 | %.0f %% | stop %.0f ms |\n", 100 * during.Delivered(),
              std::chrono::duration<double, std::milli>(stop).count());
}

/// Lets this process open only `spare` more descriptors; the old limit comes back at the end.
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
  // Whether the server accepts again once there are descriptors is the library's affair, and differs by its version.
  test::Process after({"/usr/bin/python3", CORVALUX_FAULTS_CLIENT, "read", address, "3"});
  after.ReadLine(3s);
  const bool accepts = after.ReadLine(3s).has_value();
  std::printf("ROW | descriptors exhausted | 262144 | %.0f %% | accepts again: %s |\n", 100 * during.Delivered(),
              accepts ? "yes" : "no");
  const auto begin = std::chrono::steady_clock::now();
  instance.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, test::stopLimit);
}

}  // namespace
