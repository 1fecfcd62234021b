// Measures what a fleet costs the engine, and how much later a message comes through it: three gateways on NATS, of
// which one follows the engine, beside one subscriber of the engine itself. Writes one line per figure.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "fanout/Protocol.h"
#include "fanout/Sockets.h"
#include "fanout/client/Contender.h"
#include "fanout/client/Figures.h"
#include "support/Program.h"

namespace {

using bench::Contender;

struct Plan {
  int rounds = 8;
  std::size_t events = 100;
  std::size_t viewers = 1000;
  unsigned perSecond = 25;
};

class Measurement {
 public:
  Measurement(const Plan& plan, const std::filesystem::path& folder)
      : plan(plan), folder(folder), figures((folder / "figures.csv").string()) {}

  void Run() {
    for (round = 1; round <= plan.rounds; ++round) {
      std::fprintf(stderr, "round %d of %d\n", round, plan.rounds);
      for (const auto& kind : kinds) Measure(kind);
      std::rotate(kinds.begin(), kinds.begin() + 1, kinds.end());
    }
  }

 private:
  void Measure(const std::string& kind) {
    const bool fleet = kind == "fleet";
    Contender contender(fleet ? kind : "module", folder);
    contender.SetCadence(std::chrono::milliseconds(1000 / plan.perSecond));
    Paced(contender, kind, fleet ? plan.viewers : 1);
    if (fleet) Paced(contender, kind, gateways);
  }

  void Paced(Contender& contender, const std::string& kind, std::size_t count) {
    contender.Connect(count);
    contender.AwaitSubscriptions();
    const auto seen = contender.Paced(plan.events, plan.perSecond / 2);
    figures.Begin(round, kind, count, "W64", "paced");
    figures.Add(seen, count);
    figures.Add("heldcpu50", bench::quantile(seen.heldCpuNs, 0.5));
    if (count == gateways) figures.Add("added50", bench::quantile(seen.addedNs, 0.5));
    if (count == gateways) figures.Add("added99", bench::quantile(seen.addedNs, 0.99));
  }

  static constexpr std::size_t gateways = 3;

  const Plan plan;
  const std::filesystem::path folder;
  bench::Figures figures;
  std::vector<std::string> kinds = {"direct", "fleet", "direct-again"};
  int round = 1;
};

int run(int argc, char** argv) {
  Plan plan;
  std::string folder;
  bool quick = false;
  bool realTime = false;
  CLI::App app("Measures what a fleet of gateways costs the engine; see scripts/benchmark --fleet.");
  app.add_option("--folder", folder, "where figures and logs go")->required()->check(CLI::ExistingDirectory);
  app.add_option("--rounds", plan.rounds, "number of rounds")->check(CLI::PositiveNumber);
  app.add_option("--viewers", plan.viewers, "number of viewers")->check(CLI::Range(4, 3000));
  app.add_option("--events", plan.events, "number of events per measurement")->check(CLI::PositiveNumber);
  app.add_option("--per-second", plan.perSecond, "events a second")->check(CLI::Range(1, 100));
  app.add_flag("--real-time", realTime, "the engine's thread has a real-time priority, as on a machine of its own");
  app.add_flag("--quick", quick, "one short round, to check that everything works");
  CLI11_PARSE(app, argc, argv);
  bench::raiseDescriptorLimit(10000);
  if (realTime) setenv(bench::realTime, "1", 1);
  if (quick) plan.rounds = 1;
  if (quick) plan.events = 10;
  Measurement(plan, folder).Run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, run); }
