#include "fanout/client/Contender.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "fanout/Sockets.h"
#include "fanout/client/Brokers.h"
#include "support/FreePort.h"
#include "support/Wire.h"
#include "viewers/Gateway.h"

namespace bench {

namespace {

using namespace std::chrono_literals;

/// Far more than anything takes: reached only when something is broken.
constexpr auto patience = 60s;
constexpr std::size_t leastEvents = 5;
/// For messages of paced events that are still in transit; those that a server has dropped never arrive.
constexpr auto stragglersLimit = 300ms;

std::string withoutAgain(std::string kind) {
  if (kind.ends_with("-again")) kind.resize(kind.rfind('-'));
  return kind;
}

bool isGateway(const std::string& kind) { return kind == "gateway" || kind == "gateway-tcp" || kind == "fleet"; }

/// What a server of this kind and its subscribers speak.
std::string protocolOf(const std::string& kind) {
  if (kind == "gateway" || kind == "fleet" || kind == "frames-acks") return "live";
  if (kind == "gateway-tcp" || kind == "frames") return "live-tcp";
  return isBroker(kind) ? kind : "grpc";
}

Timeline* mapTimeline(int file) {
  if (file < 0 || ftruncate(file, sizeof(Timeline)) != 0) throwErrno("memfd_create");
  void* mapped = mmap(nullptr, sizeof(Timeline), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (mapped == MAP_FAILED) throwErrno("mmap");
  return static_cast<Timeline*>(mapped);
}

}  // namespace

Contender::Contender(std::string given, const std::filesystem::path& folder, std::vector<std::string> wrapper)
    : kind(withoutAgain(std::move(given))),
      port(test::freePort()),
      enginePort(isGateway(kind) ? test::freePort() : port),
      ports{port},
      timelineFile(memfd_create("timeline", 0)) {
  timeline = mapTimeline(timelineFile);
  for (const Load& load : {smallLoad(), mediumLoad(), largeLoad()}) {
    numberOffsets.emplace(wireBytes(load, 0).size(), sequenceOffset(load));
  }
  if (isBroker(kind)) relay = startBroker(kind, port, folder);
  StartEngine(folder, std::move(wrapper));
  if (isGateway(kind)) StartGateways(folder);
  subscribers = std::make_unique<Subscribers>(protocolOf(kind), ports, numberOffsets);
  SetLoad("W64");
}

Contender::~Contender() {
  subscribers.reset();
  engine.reset();
  close(commands);
  munmap(timeline, sizeof(Timeline));
  close(timelineFile);
}

void Contender::StartGateways(const std::filesystem::path& folder) {
  const std::string device = "desk=127.0.0.1:" + std::to_string(enginePort);
  if (kind != "fleet") {
    relay = startGateway(port, {device}, folder);
    return;
  }
  const uint16_t natsPort = test::freePort();
  const std::string nats = "--nats=nats://127.0.0.1:" + std::to_string(natsPort);
  fleet.push_back(startBroker("nats-server", natsPort, folder));
  relay = startGateway(port, {device, nats, "--name=rack-1"}, folder);
  for (const char* name : {"--name=rack-2", "--name=rack-3"}) {
    ports.push_back(test::freePort());
    fleet.push_back(startGateway(ports.back(), {nats, name}, folder));
    awaitDesk(ports.back());
  }
}

void Contender::StartEngine(const std::filesystem::path& folder, std::vector<std::string> arguments) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) throwErrno("socketpair");
  commands = pair[0];
  arguments.insert(arguments.end(),
                   {CORVALUX_BENCH_SERVER, isGateway(kind) ? "module" : kind, std::to_string(enginePort)});
  engine = std::make_unique<ServerProcess>(
      arguments, std::map<int, int>{{commandDescriptor, pair[1]}, {timelineDescriptor, timelineFile}},
      (folder / (kind + "-engine.log")).string());
  close(pair[1]);
  AwaitDone();
}

void Contender::Send(const Command& command) const {
  if (write(commands, &command, sizeof command) != sizeof command) throwErrno("write");
}

void Contender::AwaitDone() {
  char answer = 0;
  const auto deadline = Clock::now() + patience;
  for (ssize_t got = 0; (got = recv(commands, &answer, 1, MSG_DONTWAIT)) != 1;) {
    if (got == 0) throw std::runtime_error(kind + ": the engine has ended, see its log");
    if (Clock::now() > deadline) throw std::runtime_error(kind + ": the engine does not answer");
    if (subscribers) {
      subscribers->Poll(1ms);
    } else {
      std::this_thread::sleep_for(1ms);
    }
  }
}

void Contender::Ask(Command::What what) {
  Send({what});
  AwaitDone();
}

void Contender::SetLoad(const std::string& name) {
  Command command{Command::load};
  name.copy(command.name.data(), command.name.size() - 1);
  Send(command);
  AwaitDone();
}

void Contender::Connect(std::size_t count) {
  subscribers->Resize(count);
  WaitUntilQuiet();
}

void Contender::AwaitSubscriptions() {
  const auto deadline = Clock::now() + patience;
  while (!subscribers->AllHeard()) {
    if (Clock::now() > deadline) throw std::runtime_error(kind + ": not every subscriber receives events");
    Send({Command::emit});
    WaitUntilQuiet();
  }
}

void Contender::WaitUntilQuiet() {
  constexpr auto step = 10ms;
  constexpr int64_t quietNs = 200'000;
  const auto deadline = Clock::now() + patience;
  for (int quietSteps = 0; quietSteps < 2;) {
    if (Clock::now() > deadline) throw std::runtime_error(kind + ": the server does not become idle");
    const int64_t before = Server().CpuNs();
    const auto until = Clock::now() + step;
    while (Clock::now() < until) subscribers->Poll(step / 10);
    quietSteps = Server().CpuNs() - before < quietNs ? quietSteps + 1 : 0;
  }
}

Observation Contender::ClosedLoop(std::chrono::milliseconds time) {
  WaitUntilQuiet();
  subscribers->Forget();
  const uint32_t first = timeline->events;
  const int64_t serverBefore = Server().CpuNs();
  const int64_t publisherBefore = engine->CpuNs();
  const auto begin = Clock::now();
  for (std::size_t events = 1; events <= leastEvents || Clock::now() < begin + time; ++events) {
    subscribers->Await(first + static_cast<uint32_t>(events) - 1);
    Send({Command::emit});
    const auto deadline = Clock::now() + patience;
    while (subscribers->AwaitedArrivals() < subscribers->Count()) {
      subscribers->Poll(1s);
      if (Clock::now() > deadline) throw std::runtime_error(kind + ": a message does not arrive");
    }
  }
  WaitUntilQuiet();
  return Observe(first, serverBefore, publisherBefore);
}

Observation Contender::Paced(std::size_t events, std::size_t settling) {
  WaitUntilQuiet();
  subscribers->Forget();
  const uint32_t first = timeline->events + static_cast<uint32_t>(settling);
  Send({Command::pace, static_cast<uint32_t>(settling + events), static_cast<uint32_t>(cadence.count())});
  while (timeline->events < first) subscribers->Poll(1ms);
  const int64_t serverBefore = Server().CpuNs();
  const int64_t publisherBefore = engine->CpuNs();
  AwaitDone();
  const auto deadline = Clock::now() + stragglersLimit;
  while (subscribers->Arrivals().size() < (settling + events) * subscribers->Count() && Clock::now() < deadline) {
    subscribers->Poll(10ms);
  }
  WaitUntilQuiet();
  return Observe(first, serverBefore, publisherBefore);
}

Observation Contender::Observe(uint32_t first, int64_t serverBefore, int64_t publisherBefore) {
  Observation observation;
  observation.serverNs = Server().CpuNs() - serverBefore;
  observation.publisherNs = relay ? engine->CpuNs() - publisherBefore : 0;
  observation.threads = Server().Threads();
  const uint32_t end = timeline->events;
  observation.events = end - first;
  for (uint32_t sequence = first; sequence != end; ++sequence) {
    observation.heldNs.push_back(timeline->At(sequence).heldNs);
    observation.heldCpuNs.push_back(timeline->At(sequence).cpuNs);
  }
  for (const auto& arrival : subscribers->Arrivals()) {
    if (arrival.sequence - first >= observation.events) continue;  // a late message of the measurement before
    observation.latencyNs.push_back(arrival.ns - timeline->At(arrival.sequence).beginNs);
  }
  observation.messages = observation.latencyNs.size();
  observation.addedNs = AddedNs(first, end);
  observation.longestGapNs = LongestGapNs(first, end);
  return observation;
}

int64_t Contender::LongestGapNs(uint32_t first, uint32_t end) const {
  std::vector<int64_t> newest(subscribers->Count(), timeline->At(first).beginNs);
  int64_t longest = 0;
  const auto arrive = [&](std::size_t subscriber, int64_t ns) {
    longest = std::max(longest, ns - newest.at(subscriber));
    newest.at(subscriber) = ns;
  };
  for (const auto& arrival : subscribers->Arrivals()) {
    if (arrival.sequence - first < end - first) arrive(arrival.subscriber, arrival.ns);
  }
  for (std::size_t i = 0; i < newest.size(); ++i) arrive(i, timeline->At(end - 1).beginNs);
  return longest;
}

std::vector<int64_t> Contender::AddedNs(uint32_t first, uint32_t end) const {
  std::map<uint32_t, std::array<int64_t, 2>> pairs;
  for (const auto& arrival : subscribers->Arrivals()) {
    const bool counts = arrival.subscriber < 2 && arrival.sequence - first < end - first;
    if (counts) pairs[arrival.sequence].at(arrival.subscriber) = arrival.ns;
  }
  std::vector<int64_t> added;
  for (const auto& [sequence, ns] : pairs) {
    if (ns[0] != 0 && ns[1] != 0) added.push_back(ns[1] - ns[0]);
  }
  return added;
}

std::vector<int64_t> Contender::JoinNs(std::size_t times) {
  constexpr uint32_t eventsEach = 10;
  const std::size_t count = subscribers->Count();
  std::vector<int64_t> taken;
  Send({Command::pace, static_cast<uint32_t>(times) * eventsEach});
  while (taken.size() < times) {
    const auto begin = Clock::now();
    subscribers->Resize(count + 1);
    while (!subscribers->NewestJoined()) {
      if (Clock::now() > begin + patience) throw std::runtime_error(kind + ": a new viewer gets no values");
      subscribers->Poll(1ms);
    }
    taken.push_back(std::chrono::nanoseconds(Clock::now() - begin).count());
    subscribers->Resize(count);
  }
  AwaitDone();
  return taken;
}

Memory Contender::MemoryPerSubscriber(std::size_t count) {
  Connect(1);
  AwaitSubscriptions();
  ClosedLoop(20ms);
  const std::size_t one = Server().ResidentBytes();
  const auto perSubscriber = [&] {
    return (static_cast<double>(Server().ResidentBytes()) - static_cast<double>(one)) / static_cast<double>(count - 1);
  };
  Memory memory{};
  Connect(count);
  memory.idle = perSubscriber();
  AwaitSubscriptions();
  ClosedLoop(50ms);
  memory.streaming = perSubscriber();
  return memory;
}

}  // namespace bench
