// Measures how long requests of a client or the host take during a hand-out to many clients, compared to an idle
// module.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fanout/Sockets.h"
#include "meanwhile/LogWatch.h"
#include "meanwhile/Probe.h"
#include "meanwhile/Scene.h"

namespace {

using namespace std::chrono_literals;
using bench::LogWatch;
using bench::Probe;
using bench::Scene;

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
  Probe probe(scene.port);
  std::unique_ptr<LogWatch> watch;
  const auto prepare = [&] {
    if (watch) probe.Close();
    watch.reset();
    probe.Open("/corvalux.grpc.Notifications/GetNotifications");
    do scene.Emit(sim::Event::changes);
    while (!probe.Read(20ms));
    watch = std::make_unique<LogWatch>("OnCancel invoked");
  };
  const auto cancel = [&] { probe.Cancel(), watch->Await(); };
  measure(scene, "cancel until OnCancel", repeats, cancel, prepare);
  probe.Close();
}

void measureSlowStream(Scene& scene, int repeats) {
  Probe probe(scene.port);
  probe.Open("/corvalux.grpc.Meters/GetMetersSlow");
  do scene.Emit(sim::Event::meterSlow);
  while (!probe.Read(20ms));
  measure(scene, "event on the slow stream", repeats, [&] {
    scene.Emit(sim::Event::meterSlow);
    if (!probe.Read(20s)) throw std::runtime_error("a slow event does not come");
  });
  probe.Cancel();
  probe.Close();
}

void measureStop(Scene& scene, int repeats) {
  bool stopped = false;
  const auto restart = [&] {
    if (std::exchange(stopped, true)) scene.Restart();
  };
  measure(
      scene, "stop", repeats, [&] { scene.Stop(); }, restart);
}

void run(const char* file, std::size_t clients, int repeats) {
  Scene scene(file, clients);
  std::printf("%-28s %-12s %8s %8s\n", "ms", "", "median", "most");
  std::vector<double> times;
  for (int i = 0; i < repeats; ++i) times.push_back(scene.TimeHandOut());
  print("hand-out", "", times);
  Probe probe(scene.port);
  Probe otherProbe(scene.otherPort);
  measure(scene, "new call", repeats, [&] { probe.Call(); });
  measure(scene, "call to another server", repeats, [&] { otherProbe.Call(); });
  measureCancel(scene, repeats);
  measureSlowStream(scene, repeats);
  measureStop(scene, std::max(1, repeats / 10));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("Usage: corvalux-bench-meanwhile MODULE CLIENTS REPEATS\n", stderr);
    return 2;
  }
  try {
    const std::size_t clients = std::stoul(argv[2]);
    bench::raiseDescriptorLimit(2 * clients + 100);  // both ends of each connection
    run(argv[1], clients, std::stoi(argv[3]));
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvalux-bench-meanwhile: %s\n", e.what());
    return 1;
  }
  return 0;
}
