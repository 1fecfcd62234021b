#include "monitor/Relay.h"

#include <utility>

namespace corvalux::monitor {

Relay::Relay(std::vector<client::Listener*> outputs, Ending& ending, std::optional<uint64_t> count)
    : outputs(std::move(outputs)), ending(ending), count(count) {}

void Relay::Take(client::Message message) {
  const bool counted = count && message.valid;
  if (counted && admitted.fetch_add(1) >= *count) return;
  for (client::Listener* output : outputs) output->Take(message);
  if (counted && completed.fetch_add(1) + 1 == *count) ending.Set(ExitCode::endedByYou);
}

void Relay::Change(const client::ConnectionState& state) {
  everConnected = state.everConnected;
  for (client::Listener* output : outputs) output->Change(state);
  if (state.phase != client::ConnectionState::Phase::ended) return;
  ending.Set(state.everConnected ? ExitCode::endedByServer : ExitCode::neverConnected);
}

}  // namespace corvalux::monitor
