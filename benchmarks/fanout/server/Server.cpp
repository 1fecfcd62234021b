// The engine's process: runs one kind of server, and emits events on the client's command. Started by
// corvalux-bench-fanout.
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include "fanout/Protocol.h"
#include "fanout/Sockets.h"
#include "fanout/server/Subject.h"

namespace {

using bench::Command;
using Clock = std::chrono::steady_clock;

std::unique_ptr<bench::Subject> start(const std::string& kind, sim::Engine& engine, uint16_t port) {
  if (kind == "module") return bench::startModule(engine, port);
  if (kind == "earlier") return bench::startEarlier(engine, port);
  if (kind == "minimal") return bench::startMinimal(engine, port);
  if (kind == "ordinary") return bench::startOrdinary(engine, port);
  if (kind == "floor") return bench::startFloor(engine, port);
  if (kind == "frames" || kind == "frames-acks") return bench::startFrames(engine, port);
  return bench::startPublisher(engine, port, kind);
}

bench::Timeline& mapTimeline() {
  void* mapped =
      mmap(nullptr, sizeof(bench::Timeline), PROT_READ | PROT_WRITE, MAP_SHARED, bench::timelineDescriptor, 0);
  if (mapped == MAP_FAILED) bench::throwErrno("mmap");
  return *static_cast<bench::Timeline*>(mapped);
}

int64_t ns(Clock::duration duration) { return std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count(); }

int64_t threadCpuNs() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

void becomeRealTime() {
  sched_param parameters{};
  parameters.sched_priority = 50;
  if (sched_setscheduler(0, SCHED_FIFO, &parameters) != 0) bench::throwErrno("sched_setscheduler");
}

class Server {
 public:
  Server(const std::string& kind, uint16_t port) : timeline(mapTimeline()), subject(start(kind, engine, port)) {
    engine.SetCallObserver([this](sim::Event, std::chrono::nanoseconds held) {
      auto& event = timeline.At(subject->sequence);
      event.beginNs = ns(Clock::now().time_since_epoch()) - held.count();
      event.heldNs = held.count();
      event.cpuNs = threadCpuNs() - cpuBefore;
    });
  }

  void Run() {
    Answer();
    Command command{};
    while (read(bench::commandDescriptor, &command, sizeof command) == sizeof command) Do(command);
  }

 private:
  void Do(const Command& command) {
    switch (command.what) {
      case Command::load:
        load = bench::loadNamed(command.name.data());
        subject->Prepare(load);
        return Answer();
      case Command::emit: return Emit();
      case Command::pace: return Pace(command.count, std::chrono::milliseconds(command.cadenceMs));
      case Command::startCounting:
        CALLGRIND_START_INSTRUMENTATION;
        CALLGRIND_ZERO_STATS;
        return Answer();
      case Command::stopCounting:
        CALLGRIND_DUMP_STATS_AT("counted");
        CALLGRIND_STOP_INSTRUMENTATION;
        return Answer();
    }
  }

  void Emit() {
    const uint32_t number = timeline.events;
    subject->sequence = number;
    bench::setSequence(load.values, number);
    cpuBefore = threadCpuNs();
    engine.Emit(sim::Event::meterFast, load.values);
    timeline.events = number + 1;
  }

  void Pace(uint32_t count, std::chrono::milliseconds cadence) {
    auto next = Clock::now();
    for (uint32_t i = 0; i < count; ++i, next += cadence) {
      std::this_thread::sleep_until(next);
      Emit();
    }
    Answer();
  }

  static void Answer() {
    if (write(bench::commandDescriptor, &bench::done, 1) != 1) bench::throwErrno("write");
  }

  bench::Timeline& timeline;
  int64_t cpuBefore = 0;  ///< the event
  bench::Load load = bench::mediumLoad();
  sim::Engine engine;
  std::unique_ptr<bench::Subject> subject;
};

}  // namespace

int main(int argc, char** argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (argc != 3) {
    std::fputs("Started by corvalux-bench-fanout: corvalux-bench-server KIND PORT\n", stderr);
    return 2;
  }
  try {
    Server server(argv[1], static_cast<uint16_t>(std::stoi(argv[2])));
    if (std::getenv(bench::realTime)) becomeRealTime();  // the server's threads are started already
    server.Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "corvalux-bench-server %s: %s\n", argv[1], e.what());
    return 1;
  }
  std::_Exit(0);
}
