// Measures how long requests of a client or the host take during a hand-out to many clients, compared to an idle
// module.
#include <grpcpp/generic/async_generic_service.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fanout/Sockets.h"
#include "fanout/client/Subscribers.h"
#include "fanout/server/GrpcServer.h"
#include "meanwhile/Probe.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"
#include "sim/Log.h"
#include "support/Wire.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// Counts lines of the module's log.
class Watch {
 public:
  explicit Watch(std::string part) : part(std::move(part)) {
    sim::setLogSink([this](const sim::LogLine& line) { See(line); });
  }
  ~Watch() { sim::setLogSink({}); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void Await() {
    std::unique_lock lock(mutex);
    if (!seen.wait_for(lock, 20s, [this] { return count > 0; })) throw std::runtime_error("never logged: " + part);
  }

 private:
  void See(const sim::LogLine& line) {
    if (line.text.find(part) == std::string::npos) return;
    const std::lock_guard lock(mutex);
    ++count;
    seen.notify_all();
  }

  const std::string part;
  std::mutex mutex;
  std::condition_variable seen;
  int count = 0;
};

/// The module with its clients, another server in the same process, and an engine's thread on request.
class Scene {
 public:
  Scene(const char* file, std::size_t clients) : module(file), clients(clients) {
    server = bench::startGrpcServer(otherPort, [this](auto& b) { b.RegisterCallbackGenericService(&service); });
    Start();
  }
  ~Scene() { Leave(); }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  /// How long `action` takes during a hand-out that has just begun, or at rest.
  double Time(bool inHandOut, const std::function<void()>& action) {
    std::atomic<bool> begun = false;
    std::jthread engineThread;
    if (inHandOut) engineThread = std::jthread([&] { begun = true, Emit(sim::Event::meterFast); });
    while (inHandOut && !begun) std::this_thread::yield();
    std::this_thread::sleep_for(1ms);
    const auto begin = Clock::now();
    action();
    const double took = Milliseconds(Clock::now() - begin).count();
    if (engineThread.joinable()) engineThread.join();
    std::this_thread::sleep_for(100ms);  // until all is delivered
    return took;
  }

  double HandOut() {
    return Time(false, [this] { Emit(sim::Event::meterFast); });
  }

  void Emit(sim::Event event) { engine.Emit(event, load.values); }

  void Stop() { instance->Stop(); }

  /// After a stop: the same again.
  void Restart() {
    Leave();
    Start();
  }

  const uint16_t port = bench::freePort();
  const uint16_t otherPort = bench::freePort();

 private:
  void Start() {
    instance = std::make_unique<sim::Instance>(module.Entry(), engine);
    const sim::KeyValues config = {{"serverUrl", "127.0.0.1:" + std::to_string(port)},
                                   {"grpc_memory_kb", static_cast<int32_t>(bench::quotaKb)}};
    if (instance->Start(config) != 0) throw std::runtime_error("the module did not start");
    subscribers = std::make_unique<bench::Subscribers>("grpc", port, offsets);
    subscribers->Resize(clients);
    const auto deadline = Clock::now() + 60s;
    while (!subscribers->AllHeard()) {
      if (Clock::now() > deadline) throw std::runtime_error("not every client receives events");
      Emit(sim::Event::meterFast);
      for (int i = 0; i < 10; ++i) subscribers->Poll(20ms);
    }
    reader = std::jthread([this](const std::stop_token& stop) {
      try {
        while (!stop.stop_requested()) subscribers->Poll(5ms);
      } catch (const std::exception&) {  // the module was stopped
      }
    });
  }

  void Leave() {
    reader = {};
    subscribers.reset();
    instance.reset();
  }

  sim::LoadedModule module;
  const std::size_t clients;
  const bench::Load load = bench::mediumLoad();
  const bench::NumberOffsets offsets = {{bench::wireBytes(load, 0).size(), bench::sequenceOffset(load)}};
  sim::Engine engine;
  ::grpc::CallbackGenericService service;
  std::unique_ptr<::grpc::Server> server;
  std::unique_ptr<sim::Instance> instance;
  std::unique_ptr<bench::Subscribers> subscribers;
  std::jthread reader;
};

void print(const char* what, const char* when, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  std::printf("%-28s %-12s %8.2f %8.2f\n", what, when, times[times.size() / 2], times.back());
  std::fflush(stdout);
}

/// At rest, then in a hand-out; `prepare` comes before each, untimed.
void measure(Scene& scene, const char* what, int repeats, const std::function<void()>& action,
             const std::function<void()>& prepare = {}) {
  for (const bool inHandOut : {false, true}) {
    std::vector<double> times;
    for (int i = 0; i < repeats; ++i) {
      if (prepare) prepare();
      times.push_back(scene.Time(inHandOut, action));
    }
    print(what, inHandOut ? "in hand-out" : "at rest", times);
  }
}

void measureCancel(Scene& scene, int repeats) {
  bench::Probe probe(scene.port);
  std::unique_ptr<Watch> watch;
  const auto prepare = [&] {
    if (watch) probe.Close();
    watch.reset();
    probe.Open("/corvalux.grpc.Notifications/GetNotifications");
    do scene.Emit(sim::Event::changes);
    while (!probe.Read(20ms));
    watch = std::make_unique<Watch>("OnCancel invoked");
  };
  const auto cancel = [&] { probe.Cancel(), watch->Await(); };
  measure(scene, "cancel until OnCancel", repeats, cancel, prepare);
  probe.Close();
}

void measureSlowStream(Scene& scene, int repeats) {
  bench::Probe probe(scene.port);
  probe.Open("/corvalux.grpc.Meters/GetMetersSlow");
  do scene.Emit(sim::Event::meterSlow);
  while (!probe.Read(20ms));
  measure(scene, "event on the slow stream", repeats, [&] {
    scene.Emit(sim::Event::meterSlow);
    if (!probe.Read(20s)) throw std::runtime_error("a slow event does not arrive");
  });
  probe.Cancel();
  probe.Close();
}

void run(const char* file, std::size_t clients, int repeats) {
  Scene scene(file, clients);
  std::printf("%-28s %-12s %8s %8s\n", "ms", "", "median", "most");
  std::vector<double> times;
  for (int i = 0; i < repeats; ++i) times.push_back(scene.HandOut());
  print("hand-out", "", times);
  bench::Probe probe(scene.port);
  bench::Probe otherProbe(scene.otherPort);
  measure(scene, "new call", repeats, [&] { probe.Call(); });
  measure(scene, "call to another server", repeats, [&] { otherProbe.Call(); });
  measureCancel(scene, repeats);
  measureSlowStream(scene, repeats);
  bool restart = false;
  measure(
      scene, "stop", std::max(1, repeats / 10), [&] { scene.Stop(); },
      [&] {
        if (std::exchange(restart, true)) scene.Restart();
      });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("Usage: corvalux-bench-meanwhile MODULE CLIENTS REPEATS\n", stderr);
    return 2;
  }
  try {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    run(argv[1], std::stoul(argv[2]), std::stoi(argv[3]));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvalux-bench-meanwhile: %s\n", e.what());
    return 1;
  }
  return 0;
}
