#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "gateway/fleet/Bus.h"
#include "support/Deadline.h"

namespace test {

namespace fleet = ::corvalux::gateway;

/// A message with all that it needs to be delivered.
struct Sent {
  std::string subject;
  std::string reply;
  std::string payload;
  fleet::Headers headers;
};

/// Delivers what is published on it, in place of a server.
/// Threads: any.
class FleetHub {
 public:
  class Line;

  /// A connection, as a fleet makes its own.
  std::unique_ptr<fleet::Bus> Connect(const std::string& inbox, std::function<void(const fleet::Incoming&)> take);
  void Deliver(const Line* from, const Sent& sent);
  /// Another origin publishes.
  void Publish(const Sent& sent) { Deliver(nullptr, sent); }
  std::vector<Sent> All() const {
    const std::lock_guard lock(mutex);
    return all;
  }

  std::atomic<bool> connected{true};
  std::atomic<std::size_t> largest{1 << 20};

 private:
  friend class Line;

  mutable std::mutex mutex;  // guards both
  std::set<Line*> lines;
  std::vector<Sent> all;
};

class FleetHub::Line final : public fleet::Bus {
 public:
  Line(FleetHub& hub, std::string inbox, std::function<void(const fleet::Incoming&)> take)
      : hub(hub), inbox(std::move(inbox)), take(std::move(take)) {
    const std::lock_guard lock(hub.mutex);
    hub.lines.insert(this);
  }
  ~Line() override {
    const std::lock_guard lock(hub.mutex);
    hub.lines.erase(this);
  }

  bool Connected() const override { return hub.connected; }
  std::size_t LargestPayload() const override { return hub.largest; }
  bool Publish(const fleet::Outgoing& message, const fleet::Headers& headers) override {
    if (!hub.connected) return false;
    hub.Deliver(this, {message.subject, message.reply, message.payload ? *message.payload : "", headers});
    return true;
  }
  uint64_t Overrun() const override { return 0; }
  std::string Reason() const override { return "there is none"; }

  void Take(const Sent& sent) const {
    const bool answer = sent.subject.starts_with("_INBOX.");
    if (answer && !sent.subject.starts_with(inbox + ".")) return;
    const fleet::Headers& of = sent.headers;
    const std::string origin = fleet::textOf(of.origin);
    const std::string sequence = of.sequence > 0 ? std::to_string(of.sequence) : "";
    const std::string age = fleet::textOf(of.age);
    const std::string clock = fleet::textOf(of.clock);
    const std::string part = of.part > 0 ? std::to_string(of.part) : "";
    take({sent.subject, sent.reply, sent.payload, {origin, sequence, age, clock, part}});
  }

 private:
  FleetHub& hub;
  const std::string inbox;
  const std::function<void(const fleet::Incoming&)> take;
};

inline std::unique_ptr<fleet::Bus> FleetHub::Connect(const std::string& inbox,
                                                     std::function<void(const fleet::Incoming&)> take) {
  return std::make_unique<Line>(*this, inbox, std::move(take));
}

inline void FleetHub::Deliver(const Line* from, const Sent& sent) {
  const std::lock_guard lock(mutex);
  all.push_back(sent);
  for (const Line* line : lines) {
    if (line != from) line->Take(sent);
  }
}

}  // namespace test
