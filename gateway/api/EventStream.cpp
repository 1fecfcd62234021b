#include "gateway/api/EventStream.h"

#include <algorithm>
#include <string>
#include <utility>

#include "gateway/api/DevicesJson.h"

namespace corvalux::gateway {

namespace {

using client::Stream;

}  // namespace

EventStream::EventStream(boost::asio::io_context& loop, Device& device, Wanted wanted, uint64_t& skipped)
    : timer(loop), device(&device), wanted(std::move(wanted)), skipped(skipped), news(stateEvent(device)) {
  device.Add(*this);
}

EventStream::~EventStream() {
  if (device) device->Remove(*this);
}

Octets EventStream::Next() {
  const auto now = Clock::now();
  Octets next = std::exchange(news, nullptr);
  for (const Stream stream : wanted.streams) {
    if (!next && device) next = NextOf(stream, now);
  }
  if (!next && device && now - latest >= quiet) next = std::make_shared<const std::string>(":\n\n");
  if (next) {
    latest = now;
  } else if (device) {
    WaitUntilDue(now);
  }
  return next;
}

Octets EventStream::NextOf(Stream stream, Clock::time_point now) {
  uint64_t& before = sent.at(indexOf(stream));
  const uint64_t newest = device->Values().Sequence(stream);
  if (newest == before || now < due.at(indexOf(stream))) return nullptr;
  if (wanted.hz) due.at(indexOf(stream)) = now + std::chrono::nanoseconds(static_cast<int64_t>(1e9 / *wanted.hz));
  const uint64_t after = std::exchange(before, newest);
  if (stream == Stream::changes) return wanted.selection->EventOf(device->Values(), after);
  if (after > 0 && !wanted.hz) skipped += newest - after - 1;
  const auto frame = device->Values().Newest(stream);
  // That all chosen keys are gone is said once.
  const bool had = std::exchange(shown.at(indexOf(stream)), wanted.selection->IsIn(*frame));
  return had || shown.at(indexOf(stream)) ? wanted.selection->EventOf(*frame) : nullptr;
}

void EventStream::WaitUntilDue(Clock::time_point now) {
  auto next = latest + quiet;
  for (const Stream stream : wanted.streams) {
    if (device->Values().Sequence(stream) == sent.at(indexOf(stream))) continue;
    next = std::min(next, std::max(due.at(indexOf(stream)), now));
  }
  if (timer.expiry() == next) return;
  timer.expires_at(next);
  timer.async_wait([this, exists = std::weak_ptr(token)](const boost::system::error_code& error) {
    if (!error && !exists.expired()) wake();
  });
}

/// A stream with a rate wakes when its next event is due.
void EventStream::OnMessage(Stream stream) {
  const bool is = std::find(wanted.streams.begin(), wanted.streams.end(), stream) != wanted.streams.end();
  if (is) wake();
}

void EventStream::OnState() {
  news = stateEvent(*device);
  wake();
}

void EventStream::OnGone() {
  news = goneEvent(*device);
  device = nullptr;
  wanted.selection.reset();
  timer.cancel();
  wake();
}

}  // namespace corvalux::gateway
