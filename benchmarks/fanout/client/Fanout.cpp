// Measures all servers side by side: every round visits each combination of subscribers and load, and measures all
// servers there one after the other, in an order that changes from round to round. Writes one line per figure.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fanout/Protocol.h"
#include "fanout/Sockets.h"
#include "fanout/client/Contender.h"
#include "fanout/client/Figures.h"
#include "support/Program.h"

namespace {

using bench::Contender;
using bench::Figures;

struct Plan {
  int rounds = 8;
  int closedMs = 250;
  std::size_t pacedEvents = 25;
  bool pacedOnly = false;
  std::vector<std::size_t> subscribers = {1000, 256, 64, 8, 1};  ///< descending; the first also for resident memory
  std::vector<std::string> loads = {"WS", "W64", "WL"};
  std::vector<std::string> kinds = {"module", "minimal",   "minimal-again", "ordinary",
                                    "floor",  "mosquitto", "nats-server",   "redis-server"};
};

class Measurement {
 public:
  Measurement(Plan plan, const std::filesystem::path& folder)
      : plan(std::move(plan)), folder(folder), figures((folder / "figures.csv").string()) {}

  void Run() {
    for (round = 1; round <= plan.rounds; ++round) {
      std::fprintf(stderr, "round %d of %d\n", round, plan.rounds);
      std::rotate(plan.kinds.begin(), plan.kinds.begin() + (round > 1 ? 1 : 0), plan.kinds.end());
      for (const auto& kind : plan.kinds) {
        contenders[kind] = std::make_unique<Contender>(kind, folder);
      }
      MeasureMemory();
      for (const std::size_t count : plan.subscribers) MeasureAt(count);
      contenders.clear();
    }
  }

 private:
  void MeasureMemory() {
    const std::size_t count = plan.subscribers.front();
    if (count == 1) return;
    for (const auto& kind : plan.kinds) {
      const auto memory = contenders.at(kind)->MemoryPerSubscriber(count);
      figures.Begin(round, kind, count, "W64", "memory");
      figures.Add(memory);
    }
  }

  void MeasureAt(std::size_t count) {
    for (const auto& kind : plan.kinds) {
      contenders.at(kind)->Connect(count);
      contenders.at(kind)->AwaitSubscriptions();
    }
    for (const auto& load : plan.loads) {
      for (const auto& kind : plan.kinds) contenders.at(kind)->SetLoad(load);
      for (const auto& kind : plan.pacedOnly ? std::vector<std::string>() : plan.kinds) {
        const auto seen = contenders.at(kind)->ClosedLoop(std::chrono::milliseconds(plan.closedMs));
        figures.Begin(round, kind, count, load, "closed");
        figures.Add(seen, count);
      }
      for (const auto& kind : plan.kinds) {
        const auto seen = contenders.at(kind)->Paced(plan.pacedEvents);
        figures.Begin(round, kind, count, load, "paced");
        figures.Add(seen, count);
      }
    }
    for (const auto& kind : plan.kinds) contenders.at(kind)->SetLoad("W64");
  }

  Plan plan;
  const std::filesystem::path folder;
  Figures figures;
  std::map<std::string, std::unique_ptr<Contender>> contenders;
  int round = 1;
};

/// The total that callgrind wrote for that file name: the instructions of all threads while it counted.
double countedInstructions(const std::filesystem::path& out) {
  std::ifstream file(out.string() + ".1");
  for (std::string word; file >> word;) {
    double total = 0;
    if (word == "totals:" && file >> total) return total;
  }
  throw std::runtime_error("callgrind has written no totals to " + out.string());
}

/// Runs the gRPC servers under callgrind. Counts differ a little from run to run, because threads interleave
/// differently.
void countInstructions(const Plan& plan, const std::filesystem::path& folder) {
  constexpr std::size_t subscribers = 64;
  constexpr int slowness = 6;  // events take longer under callgrind
  Figures figures((folder / "instructions.csv").string());
  for (int round = 1; round <= plan.rounds; ++round) {
    for (const std::string kind : {"module", "minimal", "minimal-again", "ordinary"}) {
      const auto out = folder / ("callgrind." + kind);
      Contender contender(kind, folder,
                          {"valgrind", "--tool=callgrind", "--instr-atstart=no", "--fair-sched=yes",
                           "--callgrind-out-file=" + out.string()});
      contender.Connect(subscribers);
      contender.AwaitSubscriptions();
      contender.ClosedLoop(std::chrono::milliseconds(50));
      contender.StartCounting();
      const auto seen = contender.ClosedLoop(std::chrono::milliseconds(plan.closedMs) * slowness);
      contender.StopCounting();
      figures.Begin(round, kind, subscribers, "W64", "callgrind");
      figures.Add("instructions", countedInstructions(out) / static_cast<double>(seen.messages));
    }
  }
}

int run(int argc, char** argv) {
  Plan plan;
  std::string folder;
  bool quick = false;
  bool instructions = false;
  std::string earlier;
  bool realTime = false;
  std::size_t busy = 0;
  CLI::App app("Compares the module with other servers; see scripts/benchmark.");
  app.add_option("--folder", folder, "where figures and logs go")->required()->check(CLI::ExistingDirectory);
  app.add_option("--rounds", plan.rounds, "number of rounds")->check(CLI::PositiveNumber);
  auto kinds = plan.kinds;
  kinds.emplace_back("earlier");
  app.add_option("--servers", plan.kinds, "which servers, instead of all; 'earlier' is the one of --earlier")
      ->check(CLI::IsMember(kinds));
  app.add_option("--earlier", earlier, "another build of the module, for the server 'earlier'")
      ->check(CLI::ExistingFile);
  app.add_option("--subscribers", plan.subscribers, "numbers of subscribers, instead of all")
      ->check(CLI::IsMember(plan.subscribers));
  app.add_option("--loads", plan.loads, "which loads, instead of all")->check(CLI::IsMember(plan.loads));
  app.add_option("--paced-events", plan.pacedEvents, "number of paced events per measurement")
      ->check(CLI::PositiveNumber);
  app.add_flag("--real-time", realTime, "the engine's thread has a real-time priority");
  app.add_option("--busy", busy, "number of processes that only use CPU meanwhile");
  app.add_flag("--paced-only", plan.pacedOnly, "skip the closed loop");
  app.add_flag("--quick", quick, "one short round, to check that everything works");
  app.add_flag("--instructions", instructions, "count the gRPC servers' instructions instead");
  CLI11_PARSE(app, argc, argv);
  bench::raiseDescriptorLimit(10000);
  if (!earlier.empty()) setenv(bench::earlierModule, std::filesystem::absolute(earlier).c_str(), 1);
  if (quick) {
    plan.rounds = 1;
    plan.closedMs = 20;
    plan.pacedEvents = 5;
  }
  if (realTime) setenv(bench::realTime, "1", 1);
  std::vector<std::unique_ptr<bench::ServerProcess>> load;
  const std::vector<std::string> spin = {"sh", "-c", "while :; do :; done"};
  while (load.size() < busy) load.push_back(std::make_unique<bench::ServerProcess>(spin));
  if (instructions) {
    countInstructions(plan, folder);
  } else {
    Measurement(plan, folder).Run();
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, run); }
