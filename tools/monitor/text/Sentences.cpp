#include "monitor/text/Sentences.h"

#include "monitor/text/Text.h"

namespace corvalux::monitor {

std::string sentenceOf(const client::ConnectionState& state, const std::string& address) {
  std::string problem = (state.hadConnection ? "lost " : "cannot reach ") + address + ": " + state.reason;
  switch (state.phase) {
    case client::ConnectionState::Phase::connecting: return "connecting to " + address;
    case client::ConnectionState::Phase::connected: return "connected to " + address;
    case client::ConnectionState::Phase::waiting:
      return problem + "; trying again in " + decimal(static_cast<double>(state.delay.count()) / 1000, 1) + " s";
    case client::ConnectionState::Phase::ended: break;
  }
  return problem;
}

}  // namespace corvalux::monitor
