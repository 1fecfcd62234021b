#include "devhost/replay/Tape.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "devhost/replay/HostValues.h"

namespace replay {

namespace {

namespace client = ::corvalux::client;

constexpr Seconds shortestGap{0.001};
constexpr Seconds longestGap{1};

sim::Event eventOf(client::Stream stream) {
  switch (stream) {
    case client::Stream::fast: return sim::Event::meterFast;
    case client::Stream::slow: return sim::Event::meterSlow;
    case client::Stream::changes: break;
  }
  return sim::Event::changes;
}

}  // namespace

Tape::Tape(std::string path, bool loop) : path(std::move(path)), loop(loop) { Open(); }

void Tape::Open() {
  reader.emplace(path);
  ahead = reader->Next();
  if (!ahead) {
    const std::string& damage = reader->Damage();
    throw std::runtime_error(damage.empty() ? "the recording '" + path + "' holds no messages" : damage);
  }
  first = last = ahead->time;
  count = 0;
}

void Tape::Rewind() {
  begin = End();
  try {
    Open();
  } catch (const std::runtime_error& error) {  // the file has changed meanwhile
    failure = error.what();
  }
}

Seconds Tape::End() const {
  const Seconds gap = count > 1 ? (last - first) / static_cast<double>(count - 1) : longestGap;
  return begin + (last - first) + std::clamp(gap, shortestGap, longestGap);
}

std::optional<Step> Tape::Next() {
  if (!ahead) return std::nullopt;
  const ::corvalux::client::Record record = std::move(*ahead);
  ahead.reset();
  auto list = hostValuesOf(record.message);
  if (!list) {
    failure = "the recording '" + path + "' holds, after " + std::to_string(count) +
              (count == 1 ? " record" : " records") + ", a message that the module cannot send";
    return std::nullopt;
  }
  ++count;
  last = std::max(last, Seconds(record.time));
  Step step{eventOf(record.stream), begin + (Seconds(record.time) - first), std::move(*list)};
  ahead = reader->Next();
  if (!ahead) failure = reader->Damage();
  if (!ahead && failure.empty() && loop) Rewind();
  return step;
}

}  // namespace replay
