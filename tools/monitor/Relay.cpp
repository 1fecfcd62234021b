#include "monitor/Relay.h"

#include <utility>

namespace monitor {

Relay::Relay(std::vector<Listener*> outputs, Ending& ending, std::optional<uint64_t> count)
    : outputs(std::move(outputs)), ending(ending), count(count) {}

void Relay::Take(Message message) {
  const bool counted = count && message.valid;
  if (counted && admitted.fetch_add(1) >= *count) return;
  for (Listener* output : outputs) output->Take(message);
  if (counted && completed.fetch_add(1) + 1 == *count) ending.Set(ExitCode::endedByYou);
}

void Relay::Change(const ConnectionState& state) {
  everConnected = state.everConnected;
  for (Listener* output : outputs) output->Change(state);
  if (state.phase != ConnectionState::Phase::ended) return;
  ending.Set(state.everConnected ? ExitCode::endedByServer : ExitCode::neverConnected);
}

}  // namespace monitor
