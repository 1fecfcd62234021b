#include "gateway/fleet/Publisher.h"

#include <algorithm>
#include <utility>

#include "client/BlockedSignals.h"

namespace corvalux::gateway {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::size_t mostNames = 16;

}  // namespace

Publisher::Publisher(Bus& bus, Origin self) : bus(bus), self(std::move(self)) {
  const client::BlockedSignals blocked;
  thread = std::thread([this] { Run(); });
}

Publisher::~Publisher() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  changed.notify_all();
  thread.join();
}

void Publisher::Put(const std::string& slot, Outgoing message) {
  message.put = FleetClock::now();
  {
    const std::lock_guard lock(mutex);
    if (slots.insert_or_assign(slot, std::move(message)).second) {
      order.push_back(slot);
    } else {
      ++counts.overtaken;
    }
  }
  changed.notify_one();
}

void Publisher::Drain(std::chrono::milliseconds most) {
  std::unique_lock lock(mutex);
  drained.wait_for(lock, most, [this] { return slots.empty() && !sending; });
}

PublishedCounts Publisher::Counts() const {
  const std::lock_guard lock(mutex);
  return counts;
}

std::deque<std::string> Publisher::TooLarge() {
  const std::lock_guard lock(mutex);
  return std::exchange(tooLarge, {});
}

void Publisher::Run() {
  std::unique_lock lock(mutex);
  while (true) {
    changed.wait(lock, [this] { return stopping || !order.empty(); });
    if (stopping) return;
    const auto slot = slots.extract(order.front());
    order.pop_front();
    sending = true;
    lock.unlock();
    Send(slot.mapped());
    lock.lock();
    sending = false;
    if (slots.empty()) drained.notify_all();
  }
}

void Publisher::Send(const Outgoing& message) {
  const std::size_t size = message.payload ? message.payload->size() : 0;
  if (FleetClock::now() - message.put > longestWait) return Count(&PublishedCounts::old);
  if (!bus.Connected()) return Count(&PublishedCounts::disconnected);
  if (size > bus.LargestPayload()) return Refuse(message);
  const Headers headers = HeadersOf(message);
  if (!bus.Publish(message, headers)) return Count(&PublishedCounts::disconnected);
  if (message.arrival) sequences[message.subject] = headers.sequence;
  if (message.progress) {
    message.progress->number = headers.sequence;
    if (message.upTo > 0) message.progress->upTo = message.upTo;
  }
  Count(&PublishedCounts::messages);
  Count(&PublishedCounts::bytes, size);
}

/// It would be refused again.
void Publisher::Refuse(const Outgoing& message) {
  if (message.progress && message.upTo > 0) message.progress->upTo = message.upTo;
  Count(&PublishedCounts::tooLarge);
  const std::lock_guard lock(mutex);
  if (tooLarge.size() < mostNames) tooLarge.push_back(message.subject);
}

Headers Publisher::HeadersOf(const Outgoing& message) {
  Headers headers{self, 0, 0, Seconds(FleetClock::now().time_since_epoch()).count(), message.part};
  if (!message.arrival) return headers;
  headers.sequence = sequences[message.subject] + 1;
  headers.age = std::max(Seconds(std::chrono::steady_clock::now() - *message.arrival).count(), 0.0);
  return headers;
}

void Publisher::Count(uint64_t PublishedCounts::*count, uint64_t step) {
  const std::lock_guard lock(mutex);
  counts.*count += step;
}

}  // namespace corvalux::gateway
