// How long a stop waits for connections without open streams, and what may disturb that wait.
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "module/RecordedTest.h"
#include "module/Signals.h"
#include "sim/Ticker.h"
#include "support/Process.h"
#include "support/StreamClient.h"

namespace {

using namespace std::chrono_literals;

constexpr auto grace = 950ms;
constexpr auto slack = 800ms * CORVALUX_TEST_TIME_SCALE;  // for a busy machine, or a slow one

/// A client that sends HTTP/2's preface and then answers nothing.
class UnresponsiveClient {
 public:
  explicit UnresponsiveClient(const std::string& address) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    address.substr(std::string("unix:").size()).copy(name.sun_path, sizeof name.sun_path - 1);
    EXPECT_EQ(connect(file, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    const std::string settings("\0\0\0\4\0\0\0\0\0", 9);
    Send("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + settings);
  }
  ~UnresponsiveClient() { close(file); }
  UnresponsiveClient(const UnresponsiveClient&) = delete;
  UnresponsiveClient& operator=(const UnresponsiveClient&) = delete;

  /// Waits until the server has begun to answer the preface.
  bool Greeted() const {
    char first = 0;
    return read(file, &first, 1) == 1;
  }

 private:
  void Send(const std::string& bytes) const { send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  const int file = socket(AF_UNIX, SOCK_STREAM, 0);
};

/// A server that occupies every thread on which gRPC 1.51 polls: a thread that waits for the library then polls itself.
class BusyServer {
 public:
  explicit BusyServer(const std::string& address) {
    ::grpc::ServerBuilder builder;
    builder.AddListeningPort(address, ::grpc::InsecureServerCredentials());
    builder.RegisterCallbackGenericService(&service);
    server = builder.BuildAndStart();
    for (unsigned i = 0; i < pollers; ++i) {
      callers.push_back(std::make_unique<test::Process>(
          std::vector<std::string>{CORVALUX_LIVE_CLIENT, address, test::fastMethod, "read"}));
    }
  }
  ~BusyServer() { Release(); }
  BusyServer(const BusyServer&) = delete;
  BusyServer& operator=(const BusyServer&) = delete;

  bool OccupiesAll() {
    return test::eventually([this] { return service.waiting == pollers; });
  }

  void Release() {
    if (!service.released.exchange(true)) service.gate.set_value();
  }

 private:
  struct Service : ::grpc::CallbackGenericService {
    ::grpc::ServerGenericBidiReactor* CreateReactor(::grpc::GenericCallbackServerContext* context) override {
      ++waiting;
      opened.wait();
      return CallbackGenericService::CreateReactor(context);
    }

    std::promise<void> gate;
    std::shared_future<void> opened = gate.get_future().share();
    std::atomic<unsigned> waiting = 0;
    std::atomic<bool> released = false;
  };

  const unsigned pollers = std::clamp(std::thread::hardware_concurrency() / 2, 2U, 16U);
  Service service;
  std::unique_ptr<::grpc::Server> server;
  std::vector<std::unique_ptr<test::Process>> callers;
};

class GracePeriod : public test::RecordedTest {};

TEST_F(GracePeriod, EndsWhenAllConnectionsHaveAnswered) {
  StartModule();
  test::StreamClient client(address, test::fastMethod);
  ASSERT_TRUE(EmitUntil(sim::Event::meterFast, {}, [&] { return client.Count() > 0; }));
  EXPECT_LT(TimedStop(), grace);
  EXPECT_EQ(client.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
}

TEST_F(GracePeriod, IsADeadlineOfTheMonotonicClock) {
  StartModule();
  instance.Stop();
  const auto wait = grpc.LastShutdown();
  ASSERT_TRUE(wait);
  EXPECT_EQ(wait->clock, GPR_CLOCK_MONOTONIC);
  EXPECT_LE(wait->left, grace);
  EXPECT_GT(wait->left, grace - slack);
}

TEST_F(GracePeriod, IsGivenToAConnectionThatDoesNotAnswer) {
  StartModule();
  const UnresponsiveClient client(address);
  ASSERT_TRUE(client.Greeted());
  const auto time = TimedStop();
  EXPECT_GE(time, grace);
  EXPECT_LT(time, grace + slack);
}

TEST_F(GracePeriod, IsNotProlongedBySignals) {
  StartModule();
  const UnresponsiveClient client(address);
  ASSERT_TRUE(client.Greeted());
  BusyServer busy(dir.UnixAddress("busy"));
  ASSERT_TRUE(busy.OccupiesAll());
  std::optional<std::chrono::steady_clock::time_point> over;
  grpc.SetObserver([&](const std::string& call) {
    if (call != "server cancels all calls") return;
    over = std::chrono::steady_clock::now();
    busy.Release();
  });
  sim::Ticker giveUp(5s, [&, first = true]() mutable {
    if (!std::exchange(first, false)) busy.Release();
  });
  const test::Signals signals(1ms);
  ASSERT_TRUE(test::eventually([&] { return signals.Count() > 10; }));
  const auto begin = std::chrono::steady_clock::now();
  instance.Stop();
  ASSERT_TRUE(over);
  EXPECT_GE(*over - begin, grace);
  EXPECT_LT(*over - begin, grace + slack);
  const int atTheEnd = signals.Count();
  EXPECT_TRUE(test::eventually([&] { return signals.Count() > atTheEnd + 10; })) << "signals are still blocked";
}

TEST_F(GracePeriod, BlocksAsynchronousSignalsAndNotThoseOfAFault) {
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
