// Messages as they come from the fleet, one behind the other: six lines, of subject and headers, and a payload up to an
// empty line. Whatever they are, no more is known than may be, and what a device gets is a message.
#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/Check.h"
#include "gateway/fleet/Receiver.h"

namespace {

namespace gateway = corvalux::gateway;
namespace client = corvalux::client;

constexpr std::size_t mostDevices = 3;

/// A device's inbox.
class Box final : public client::Listener {
 public:
  void Take(client::Message message) override {
    FUZZ_CHECK(up);
    FUZZ_CHECK(message.valid || message.entries.empty());
    FUZZ_CHECK(message.arrival.steady <= std::chrono::steady_clock::now());
  }
  void Change(const client::ConnectionState& state) override {
    up = state.phase == client::ConnectionState::Phase::connected;
    FUZZ_CHECK(up || !state.reason.empty());
  }

 private:
  bool up = false;
};

/// The text up to the next separator.
std::string_view take(std::string_view& input, std::string_view separator) {
  const auto end = std::min(input.find(separator), input.size());
  const auto text = input.substr(0, end);
  input.remove_prefix(std::min(end + separator.size(), input.size()));
  return text;
}

void check(gateway::Receiver& receiver, gateway::FleetClock::time_point now) {
  FUZZ_CHECK(receiver.Strangers().size() <= mostDevices);
  for (const auto& part : receiver.Parts()) {
    for (const auto& each : part.values.entries) FUZZ_CHECK(each.arrival.steady <= std::chrono::steady_clock::now());
  }
  for (const auto& request : receiver.Requests()) FUZZ_CHECK(!request.reply.empty());
  const auto view = receiver.Look("desk", now, std::chrono::milliseconds(1500), true);
  FUZZ_CHECK(!view.first || view.heard);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  gateway::Receiver receiver(mostDevices);
  receiver.Attach("desk", std::make_shared<Box>(), true);
  gateway::FleetClock::time_point now(std::chrono::hours(1));
  while (!input.empty()) {
    std::array<std::string_view, 6> lines;
    for (auto& line : lines) line = take(input, "\n");
    const auto payload = take(input, "\n\n");
    const gateway::Incoming incoming{
        lines[0], "_INBOX.fuzz", payload, {lines[1], lines[2], lines[3], lines[4], lines[5]}};
    receiver.Take(incoming, now);
    receiver.TakePart("desk", 1, incoming, now);
    now += std::chrono::milliseconds(100 * (payload.size() % 32));
    check(receiver, now);
  }
  return 0;
}
