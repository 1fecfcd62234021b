#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "fanout/client/Contender.h"

namespace bench {

/// Throws std::runtime_error when there are no values.
double quantile(std::vector<int64_t> values, double share);

/// The figures as text: round, server, subscribers, load, mode, figure, value.
class Figures {
 public:
  /// Throws std::runtime_error when it cannot be written.
  explicit Figures(const std::string& file);

  /// What the following figures are of.
  void Begin(int round, const std::string& kind, std::size_t subscribers, const std::string& load,
             const std::string& mode);
  void Add(const std::string& figure, double value) { out << cell << figure << ',' << value << std::endl; }
  void Add(const Observation& seen, std::size_t subscribers);
  void Add(const Memory& memory);

 private:
  std::ofstream out;
  std::string cell;
};

}  // namespace bench
