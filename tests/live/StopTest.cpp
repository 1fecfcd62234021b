// A stop takes a bounded time and the module starts again, whatever clients do.
#include <gmock/gmock.h>
#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/support/channel_arguments.h>
#include <signal.h>

#include <atomic>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "live/LiveTest.h"
#include "sim/Ticker.h"
#include "support/Process.h"

namespace {

using namespace std::chrono_literals;
using sim::Event;
using test::counted;
using test::Process;
using test::RawCall;
using test::StreamClient;

constexpr auto oneWait = 2000ms;  ///< how long the module waits for the streams of one service

/// A client that comes back at once whenever its stream ends, on one connection.
class Returning {
 public:
  Returning(const std::string& address, std::string method)
      : channel(Connect(address)), thread([this, method = std::move(method)](const std::stop_token& stop) {
          while (!stop.stop_requested()) Call(method, stop);
        }) {}

  std::size_t Calls() const { return calls; }

 private:
  static std::shared_ptr<::grpc::Channel> Connect(const std::string& address) {
    ::grpc::ChannelArguments arguments;
    arguments.SetInt("grpc.use_local_subchannel_pool", 1);
    arguments.SetInt("grpc.initial_reconnect_backoff_ms", 100);
    arguments.SetInt("grpc.max_reconnect_backoff_ms", 100);
    return ::grpc::CreateCustomChannel(address, ::grpc::InsecureChannelCredentials(), arguments);
  }

  void Call(const std::string& method, const std::stop_token& stop) {
    RawCall call(channel, method, /*waitForReady=*/false);
    ++calls;
    while (call.Read(20ms) || (!stop.stop_requested() && call.Open())) {
    }
    if (stop.stop_requested() || call.Finish().error_code() != ::grpc::StatusCode::UNAVAILABLE) return;
    channel->WaitForConnected(std::chrono::system_clock::now() + 100ms);  // no server: do not spin
  }

  const std::shared_ptr<::grpc::Channel> channel;
  std::atomic<std::size_t> calls = 0;
  std::jthread thread;
};

class Stopping : public test::LiveTest {
 protected:
  /// A client in a process of its own, subscribed.
  std::unique_ptr<Process> Client(const std::string& method, Event event, const std::string& manner) {
    auto client = std::make_unique<Process>(std::vector<std::string>{CORVALUX_LIVE_CLIENT, address, method, manner});
    EXPECT_TRUE(EmitUntil(event, counted(0), [&] { return client->HasPrinted("subscribed"); })) << client->Errors();
    return client;
  }

  /// Lets the engine emit all events, each on a thread of its own; `weight` makes them light, or too heavy for a client
  /// that does not read.
  void RunEngine(std::size_t weight = 10) {
    for (const Event event : {Event::meterFast, Event::meterSlow, Event::changes}) {
      engineThreads.push_back(
          std::make_unique<sim::Ticker>(1ms, [this, event, weight] { engine.Emit(event, counted(1, weight)); }));
    }
  }

  /// The module still works: it starts on the same address, serves a client, and stops.
  void ExpectToServeAgain() {
    engineThreads.clear();
    EXPECT_EQ(engine.Registrations(), 0U);
    StartRoomyModule();
    StreamClient client(address, test::fastMethod);
    EXPECT_TRUE(Subscribed(client));
    EXPECT_LT(TimedStop(), test::stopLimit);
    EXPECT_EQ(client.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
  }

  std::vector<std::unique_ptr<sim::Ticker>> engineThreads;
};

TEST_F(Stopping, WithClientsThatReadDoesNotWaitLong) {
  StartRoomyModule();
  RunEngine();
  std::list<StreamClient> clients;
  for (const auto& method : {test::fastMethod, test::slowMethod, test::changesMethod}) {
    for (int i = 0; i < 5; ++i) clients.emplace_back(address, method);
  }
  for (StreamClient& client : clients) ASSERT_TRUE(client.WaitForMessages(1));
  EXPECT_LT(TimedStop(), oneWait);
  for (StreamClient& client : clients) {
    const auto status = client.WaitForStatus();
    ASSERT_TRUE(status);
    EXPECT_EQ(status->error_code(), ::grpc::StatusCode::CANCELLED);
    EXPECT_EQ(status->error_message(), "");
  }
}

TEST_F(Stopping, GivesUpOnClientsThatStoppedReadingOneServiceAfterTheOther) {
  StartRoomyModule();
  const auto meters = Client(test::fastMethod, Event::meterFast, "stall");
  const auto changes = Client(test::changesMethod, Event::changes, "stall");
  StreamClient reader(address, test::slowMethod);
  ASSERT_TRUE(Subscribed(reader, Event::meterSlow));
  for (const Event event : {Event::meterFast, Event::changes}) FillUp(event);
  const auto time = TimedStop();
  EXPECT_GE(time, 2 * oneWait);
  EXPECT_LT(time, test::stopLimit);
  EXPECT_EQ(reader.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
  for (Process* stalled : {meters.get(), changes.get()}) {
    stalled->Signal(SIGKILL);
    stalled->Wait();  // its late death reaches nobody
  }
  ExpectToServeAgain();
}

TEST_F(Stopping, GivesUpOnAFrozenClient) {
  StartRoomyModule();
  const auto frozen = Client(test::fastMethod, Event::meterFast, "read");
  frozen->Signal(SIGSTOP);
  FillUp(Event::meterFast);
  RunEngine(test::heavy);
  const auto time = TimedStop();
  EXPECT_GE(time, oneWait);
  EXPECT_LT(time, test::stopLimit);
  frozen->Signal(SIGCONT);
  EXPECT_EQ(frozen->Wait(), 0) << frozen->Errors();  // it wakes up and finds its stream ended
  ExpectToServeAgain();
}

TEST_F(Stopping, SurvivesAClientThatIsKilledMeanwhile) {
  StartRoomyModule();
  const auto killed = Client(test::fastMethod, Event::meterFast, "stall");
  FillUp(Event::meterFast);
  std::jthread killer([&] {
    if (log.WaitFor("calling Finish on reactor")) killed->Signal(SIGKILL);
  });
  EXPECT_LT(TimedStop(), oneWait) << "its death ends the wait";
  ExpectToServeAgain();
}

TEST_F(Stopping, SurvivesClientsThatComeBackAtOnce) {
  StartRoomyModule();
  RunEngine();
  std::list<Returning> clients;
  for (const auto& method : {test::fastMethod, test::slowMethod, test::changesMethod}) {
    for (int i = 0; i < 3; ++i) clients.emplace_back(address, method);
  }
  for (Returning& client : clients) ASSERT_TRUE(test::eventually([&] { return client.Calls() > 0; }));
  const auto stalled = Client(test::fastMethod, Event::meterFast, "stall");  // keeps the stop waiting meanwhile
  FillUp(Event::meterFast);
  EXPECT_LT(TimedStop(), test::stopLimit);
  EXPECT_EQ(engine.Registrations(), 0U);
}

TEST_F(Stopping, AndStartDozensOfTimesUnderClientsThatComeBackAtOnce) {
  RunEngine();
  std::list<Returning> clients;
  for (const auto& method : {test::fastMethod, test::changesMethod}) {
    for (int i = 0; i < 3; ++i) clients.emplace_back(address, method);
  }
  for (int i = 0; i < 30; ++i) {
    StartRoomyModule();
    StreamClient client(address, test::slowMethod);
    ASSERT_TRUE(client.WaitForMessages(1));
    EXPECT_LT(TimedStop(), test::stopLimit);
    EXPECT_EQ(client.WaitForStatus()->error_code(), ::grpc::StatusCode::CANCELLED);
    EXPECT_EQ(engine.Registrations(), 0U);
  }
}

}  // namespace
