// How long a stop waits for connections on which no stream is left, and what may disturb that wait.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "module/RecordedTest.h"
#include "module/Signals.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;

constexpr auto grace = 950ms;
constexpr auto slack = 800ms;  // for a busy machine

/// A client that greets the server and then answers nothing.
class SilentClient {
 public:
  explicit SilentClient(const std::string& address) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    address.substr(std::string("unix:").size()).copy(name.sun_path, sizeof name.sun_path - 1);
    EXPECT_EQ(connect(file, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    const std::string settings("\0\0\0\4\0\0\0\0\0", 9);
    const std::string greeting = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + settings;
    EXPECT_EQ(write(file, greeting.data(), greeting.size()), static_cast<ssize_t>(greeting.size()));
  }
  ~SilentClient() { close(file); }
  SilentClient(const SilentClient&) = delete;
  SilentClient& operator=(const SilentClient&) = delete;

  /// Waits until the server has answered the greeting with the type of `frame`, the last of those that it sends.
  bool Greeted() const {
    std::string received;
    for (char next = 0; received.size() < 9 && read(file, &next, 1) == 1;) received += next;
    return received.size() == 9;
  }

 private:
  const int file = socket(AF_UNIX, SOCK_STREAM, 0);
};

class GracePeriod : public test::RecordedTest {
 protected:
  std::chrono::nanoseconds TimedStop() {
    const auto begin = std::chrono::steady_clock::now();
    instance.Stop();
    return std::chrono::steady_clock::now() - begin;
  }
};

TEST_F(GracePeriod, EndsWithTheLastConnectionThatAnswers) {
  StartModule();
  test::StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(EmitUntil(sim::Event::meterFast, {}, [&] { return client.Count() > 0; }));
  EXPECT_LT(TimedStop(), grace);
  EXPECT_EQ(client.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
}

TEST_F(GracePeriod, IsGivenToAConnectionThatDoesNotAnswer) {
  StartModule();
  const SilentClient silent(address);
  ASSERT_TRUE(silent.Greeted());
  const auto time = TimedStop();
  EXPECT_GE(time, grace);
  EXPECT_LT(time, grace + slack);
}

TEST_F(GracePeriod, IsNotProlongedBySignals) {
  StartModule();
  const SilentClient silent(address);
  ASSERT_TRUE(silent.Greeted());
  const test::Signals signals(1ms);
  ASSERT_TRUE(test::eventually([&] { return signals.Count() > 10; }));
  const auto time = TimedStop();
  EXPECT_GE(time, grace);
  EXPECT_LT(time, grace + slack);
  const int atTheEnd = signals.Count();
  EXPECT_TRUE(test::eventually([&] { return signals.Count() > atTheEnd + 10; })) << "signals are still blocked";
}

TEST_F(GracePeriod, BlocksWhatComesFromOutsideAndNotWhatAFaultRaises) {
  StartModule();
  sigset_t before{};
  sigset_t during{};
  sigset_t after{};
  grpc.SetObserver([&](const std::string& call) {
    if (call.starts_with("server shuts down")) pthread_sigmask(SIG_SETMASK, nullptr, &during);
  });
  sigset_t host{};
  sigaddset(&host, SIGWINCH);  // that the host blocks it itself must survive the stop
  pthread_sigmask(SIG_SETMASK, &host, &before);
  instance.Stop();
  pthread_sigmask(SIG_SETMASK, &before, &after);
  for (const int signal : {SIGUSR1, SIGTERM, SIGINT, SIGALRM, SIGPROF, SIGCHLD, SIGPIPE, SIGWINCH}) {
    EXPECT_TRUE(sigismember(&during, signal)) << signal;
    EXPECT_EQ(sigismember(&after, signal), signal == SIGWINCH) << signal;
  }
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP}) {
    EXPECT_FALSE(sigismember(&during, fault)) << fault;
  }
}

}  // namespace
