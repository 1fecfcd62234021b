// Measures live viewers of the gateway beside other ways to the same values: in every round each way is measured at
// each number of viewers, in an order that changes from round to round. Writes one line per figure.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fanout/Sockets.h"
#include "fanout/client/Contender.h"
#include "fanout/client/Figures.h"
#include "support/Program.h"
#include "viewers/LiveDecoder.h"

namespace {

using bench::Contender;

struct Plan {
  int rounds = 7;
  std::size_t events = 100;
  std::vector<std::size_t> viewers = {1000, 256, 64};
  std::vector<std::string> kinds = {"gateway",     "gateway-tcp", "frames",      "frames-again",
                                    "frames-acks", "mosquitto",   "nats-server", "module"};
};

class Measurement {
 public:
  Measurement(Plan plan, const std::filesystem::path& folder)
      : plan(std::move(plan)), folder(folder), figures((folder / "figures.csv").string()) {}

  void Run() {
    for (round = 1; round <= plan.rounds; ++round) {
      std::fprintf(stderr, "round %d of %d\n", round, plan.rounds);
      std::rotate(plan.kinds.begin(), plan.kinds.begin() + (round > 1 ? 1 : 0), plan.kinds.end());
      for (const auto& kind : plan.kinds) contenders[kind] = std::make_unique<Contender>(kind, folder);
      for (const auto& kind : plan.kinds) MeasureMemory(kind);
      for (const std::size_t count : plan.viewers) {
        for (const auto& kind : plan.kinds) MeasurePaced(kind, count);
      }
      for (const auto& kind : plan.kinds) MeasureBesideStalled(kind);
      contenders.clear();
    }
  }

 private:
  static constexpr std::size_t settling = 25;  ///< events

  static bool IsGateway(const std::string& kind) { return kind.starts_with("gateway"); }

  /// Connected only while measured: the client answers for no other server meanwhile.
  Contender& Connected(const std::string& kind, std::size_t count) {
    Contender& contender = *contenders.at(kind);
    contender.Connect(count);
    contender.AwaitSubscriptions();
    return contender;
  }

  void MeasureMemory(const std::string& kind) {
    const std::size_t count = plan.viewers.front();
    const auto memory = contenders.at(kind)->MemoryPerSubscriber(count);
    contenders.at(kind)->Connect(0);
    figures.Begin(round, kind, count, "W64", "memory");
    figures.Add(memory);
  }

  /// Also what following the device costs, whoever watches.
  void MeasurePaced(const std::string& kind, std::size_t count) {
    Contender& contender = Connected(kind, count);
    const auto seen = contender.Paced(plan.events, settling);
    contender.Connect(0);
    figures.Begin(round, kind, count, "W64", "paced");
    figures.Add(seen, count);
    if (!IsGateway(kind)) return;
    const auto alone = contender.Paced(plan.events, settling);
    figures.Add("alone", static_cast<double>(alone.serverNs) / static_cast<double>(alone.events));
    figures.Add("handout", static_cast<double>(seen.serverNs - alone.serverNs) / static_cast<double>(seen.messages));
  }

  void MeasureBesideStalled(const std::string& kind) {
    constexpr std::size_t healthy = 64;
    constexpr std::size_t stalled = 20;
    constexpr std::size_t joins = 10;
    Contender& contender = Connected(kind, healthy + stalled);
    contender.Stall(stalled);
    const auto seen = contender.Paced(plan.events, settling);
    figures.Begin(round, kind, healthy, "W64", "stalled");
    figures.Add(seen, healthy);
    if (IsGateway(kind)) figures.Add("join", bench::quantile(contender.JoinNs(joins), 1));
    contender.Stall(0);
    contender.Connect(0);
  }

  Plan plan;
  const std::filesystem::path folder;
  bench::Figures figures;
  std::map<std::string, std::unique_ptr<Contender>> contenders;
  int round = 1;
};

int run(int argc, char** argv) {
  Plan plan;
  std::string folder;
  bool quick = false;
  int acknowledgeMs = 100;
  CLI::App app("Compares live viewers with other ways to the same values; see scripts/benchmark --viewers.");
  app.add_option("--folder", folder, "where figures and logs go")->required()->check(CLI::ExistingDirectory);
  app.add_option("--rounds", plan.rounds, "number of rounds")->check(CLI::PositiveNumber);
  app.add_option("--servers", plan.kinds, "which servers, instead of all")->check(CLI::IsMember(plan.kinds));
  app.add_option("--viewers", plan.viewers, "numbers of viewers, the greatest first")->check(CLI::Range(2, 3000));
  app.add_option("--events", plan.events, "number of events per measurement, 20 ms apart")->check(CLI::PositiveNumber);
  app.add_option("--acknowledge-ms", acknowledgeMs, "how often viewers acknowledge")->check(CLI::Range(10, 1000));
  app.add_flag("--quick", quick, "one short round, to check that everything works");
  CLI11_PARSE(app, argc, argv);
  bench::raiseDescriptorLimit(10000);
  bench::LiveDecoder::acknowledgeTime = std::chrono::milliseconds(acknowledgeMs);
  if (quick) plan.rounds = 1;
  if (quick) plan.events = 10;
  Measurement(plan, folder).Run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, run); }
