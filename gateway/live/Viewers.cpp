#include "gateway/live/Viewers.h"

#include <boost/asio/post.hpp>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace corvalux::gateway {

namespace {

/// Turns in one handler, before other connections have theirs.
constexpr int mostTurns = 64;
constexpr std::chrono::milliseconds tickTime{100};
constexpr unsigned ticksOfALook = 2;
constexpr std::chrono::seconds longestEnd{1};
constexpr uint16_t goingAway = 1001;

std::string newEpoch() {
  std::random_device random;
  return std::to_string(random()) + std::to_string(random());
}

}  // namespace

Viewers::Viewers(boost::asio::io_context& loop, Devices& devices, LiveLimits limits, OnRefused onRefused)
    : loop(loop),
      devices(devices),
      limits(limits),
      onRefused(std::move(onRefused)),
      epoch(newEpoch()),
      board(devices),
      timer(loop) {}

Viewers::~Viewers() = default;

void Viewers::Take(Handover handover) {
  auto viewer = std::make_shared<Viewer>(*this, std::move(handover));
  Viewer* const place = viewer.get();
  all.emplace(place, std::move(viewer));
  if (board.Round() == 0) board.Look();
  if (!std::exchange(ticking, true)) TickLater();
}

void Viewers::Close(std::function<void()> whenEnded) {
  if (all.empty()) return whenEnded();
  ended = std::move(whenEnded);
  timer.expires_after(longestEnd);
  timer.async_wait([this](const boost::system::error_code& error) {
    if (error) return;
    for (const auto& [place, viewer] : all) viewer->Drop();
  });
  for (const auto& [place, viewer] : all) viewer->Close({goingAway, "the gateway ends"});
}

void Viewers::Ready(Viewer& viewer) {
  if (std::exchange(viewer.waits, true)) return;
  ready.push_back(&viewer);
  if (!std::exchange(draining, true)) boost::asio::post(loop, [this] { Drain(); });
}

void Viewers::Drain() {
  for (int i = 0; i < mostTurns && !ready.empty(); ++i) {
    Viewer& viewer = *ready.front();
    ready.pop_front();
    viewer.waits = false;
    Guard(viewer, [&viewer] { viewer.Pump(); });
  }
  draining = !ready.empty();
  if (draining) boost::asio::post(loop, [this] { Drain(); });
}

void Viewers::Left(Viewer& viewer) {
  if (viewer.waits) std::erase(ready, &viewer);
  all.erase(&viewer);
  if (all.empty() && ended) std::exchange(ended, nullptr)();
}

/// One makes room for all others: of the address for which most waits, who has kept a message waiting the longest.
void Viewers::Relieve() {
  std::unordered_map<std::string_view, std::size_t> waiting;  // bytes, by address
  for (const auto& [place, viewer] : all) waiting[viewer->Address()] += viewer->UnsentBytes();
  Viewer* slowest = nullptr;
  for (const auto& [place, viewer] : all) {
    if (!viewer->Writing()) continue;
    const std::size_t least = slowest ? waiting[slowest->Address()] : 0;
    const std::size_t its = waiting[viewer->Address()];
    if (!slowest || its > least || (its == least && *viewer->Writing() < *slowest->Writing())) slowest = place;
  }
  if (!slowest) return;
  onRefused("viewer unsent", slowest->Address());
  Left(*slowest);
}

/// Viewers who want the same share one.
std::shared_ptr<Excerpt> Viewers::ExcerptOf(Device& device, const Patterns& keys, const Patterns& peaks) {
  std::erase_if(excerpts, [](const auto& each) { return each.second.expired(); });
  auto& known = excerpts[{&device, keys.Name(), peaks.Name()}];
  auto excerpt = known.lock();
  // One of a device that is gone may have another one at its place.
  if (!excerpt || !excerpt->Of()) known = excerpt = std::make_shared<Excerpt>(device, keys, peaks);
  return excerpt;
}

void Viewers::TickLater() {
  timer.expires_after(tickTime);
  timer.async_wait([this](const boost::system::error_code& error) {
    if (!error) Tick();
  });
}

void Viewers::Tick() {
  if (ended) return;  // its timer waits for something else
  if (++ticks % ticksOfALook == 0) board.Look();
  const auto now = Viewer::Clock::now();
  std::vector<std::shared_ptr<Viewer>> present;  // some may leave
  for (const auto& [place, viewer] : all) present.push_back(viewer);
  for (const auto& viewer : present) Guard(*viewer, [&] { viewer->Tick(now); });
  ticking = !all.empty();
  if (ticking) TickLater();
}

void Viewers::Fail(Viewer& viewer) {
  onRefused("failed", viewer.Address());
  Left(viewer);
}

}  // namespace corvalux::gateway
