#include "fanout/client/Figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace bench {

double quantile(std::vector<int64_t> values, double share) {
  if (values.empty()) throw std::runtime_error("nothing was measured");
  const auto at = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size()))) - 1;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
  return static_cast<double>(values[at]);
}

Figures::Figures(const std::string& file) : out(file) {
  if (!out) throw std::runtime_error("cannot write " + file);
  out << "round,server,subscribers,load,mode,figure,value\n";
}

void Figures::Begin(int round, const std::string& kind, std::size_t subscribers, const std::string& load,
                    const std::string& mode) {
  cell = std::to_string(round) + ',' + kind + ',' + std::to_string(subscribers) + ',' + load + ',' + mode + ',';
}

void Figures::Add(const Observation& seen, std::size_t subscribers) {
  const auto messages = static_cast<double>(seen.messages);
  Add("cpu", static_cast<double>(seen.serverNs) / messages);
  Add("publisher", static_cast<double>(seen.publisherNs) / messages);
  Add("events", static_cast<double>(seen.events));
  Add("delivered", messages / static_cast<double>(seen.events * subscribers));
  Add("gap", static_cast<double>(seen.longestGapNs));
  Add("held50", quantile(seen.heldNs, 0.5));
  Add("held99", quantile(seen.heldNs, 0.99));
  Add("held99.9", quantile(seen.heldNs, 0.999));
  Add("threads", static_cast<double>(seen.threads));
  for (const double percent : {1., 5., 10., 25., 50., 75., 90., 95., 99., 99.9}) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "latency%g", percent);
    Add(name.data(), quantile(seen.latencyNs, percent / 100));
  }
}

void Figures::Add(const Memory& memory) {
  Add("idle", memory.idle);
  Add("streaming", memory.streaming);
}

}  // namespace bench
