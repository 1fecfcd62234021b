#include "gateway/live/Excerpt.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <variant>

#include "client/Encode.h"
#include "gateway/http/ThreadTime.h"

namespace corvalux::gateway {

namespace {

using client::Entry;
using client::Stream;

Greatest::Number numberOf(const client::Value& value) {
  const auto number = client::numberOf(value);
  return {number.value_or(std::numeric_limits<double>::quiet_NaN()), static_cast<uint8_t>(value.index())};
}

client::Value valueOf(const Greatest::Number& number) {
  switch (number.kind) {
    case 2: return static_cast<float>(number.number);
    case 3: return static_cast<int32_t>(number.number);
    case 4: return static_cast<uint32_t>(number.number);
    default: return number.number;
  }
}

static_assert(std::is_same_v<std::variant_alternative_t<2, client::Value>, float>);
static_assert(std::is_same_v<std::variant_alternative_t<3, client::Value>, int32_t>);
static_assert(std::is_same_v<std::variant_alternative_t<4, client::Value>, uint32_t>);

/// The entries of a frame, as they came where that is possible.
class Entries {
 public:
  explicit Entries(const Frame& frame) : frame(frame), serialised(frame.Serialised()) {}

  /// All of them are the frame's octets.
  bool AreAsTheyCame() const { return serialised.has_value(); }
  void Append(std::size_t place, std::string& to) const {
    serialised ? client::appendEntry((*serialised)[place], to) : client::appendEntry(frame.message.entries[place], to);
  }

 private:
  const Frame& frame;
  const std::optional<std::vector<std::string_view>> serialised;
};

}  // namespace

Excerpt::Excerpt(Device& device, Patterns keys, Patterns peaks)
    : device(&device), keys(std::move(keys)), peaks(std::move(peaks)) {
  // Now, while it is charged to whoever wants it.
  for (const Stream stream : {Stream::fast, Stream::slow}) {
    if (const auto frame = device.Values().Newest(stream)) FindPeaks(*frame, meters.at(indexOf(stream)));
  }
  device.Add(*this);
}

Excerpt::~Excerpt() {
  if (device) device->Remove(*this);
}

void Excerpt::OnMessage(Stream stream) {
  Rhythm& rhythm = rhythms.at(indexOf(stream));
  const auto now = Device::Clock::now();
  if (rhythm.newest != Device::Clock::time_point()) {
    const std::chrono::duration<double> interval = now - rhythm.newest;
    rhythm.period += (interval - rhythm.period) / (rhythm.period.count() > 0 ? 8 : 1);
  }
  rhythm.newest = now;
  // Somebody who is slow or hidden may have a span for long: what was made for others would stay with it.
  for (const auto& each : spans.at(indexOf(stream))) {
    if (const auto span = each.lock()) span->entries.reset();
  }
  if (stream != Stream::changes) {
    const auto begin = threadTime();
    Fold(stream);
    work += threadTime() - begin;
  }
  newest.at(indexOf(stream)).reset();
  for (Follower* follower : followers) follower->OnNews(stream);
}

void Excerpt::OnGone() {
  device = nullptr;
  for (Follower* follower : std::exchange(followers, {})) follower->OnGone();
}

std::shared_ptr<Span> Excerpt::Begin(Stream stream) {
  auto& shared = newest.at(indexOf(stream));
  auto span = shared.lock();
  if (span) return span;
  span = std::make_shared<Span>(device->Values().Sequence(stream));
  shared = span;
  auto& list = spans.at(indexOf(stream));
  std::erase_if(list, [](const auto& each) { return each.expired(); });
  LimitSpans(list);
  list.push_back(span);
  return span;
}

/// Two neighbours become one: the later one's viewers get what the earlier one's do.
void Excerpt::LimitSpans(std::vector<std::weak_ptr<Span>>& list) {
  if (list.size() < mostSpans) return;
  const auto later = list.begin() + mostSpans / 2;
  const auto into = (later - 1)->lock();
  const auto from = later->lock();
  from->replaced = into;
  from->greatest = {};
  from->entries.reset();
  list.erase(later);
}

void Excerpt::Fold(Stream stream) {
  const auto frame = device->Values().Newest(stream);
  Meters& of = meters.at(indexOf(stream));
  of.sequence = frame->sequence;
  of.entries.reset();
  if (!of.peakKeys || of.layout != frame->layout) FindPeaks(*frame, of);
  of.numbers.clear();
  for (const std::size_t place : of.peaks) of.numbers.push_back(numberOf(frame->message.entries[place].value));
  for (const auto& each : spans.at(indexOf(stream))) {
    const auto span = each.lock();
    if (span) span->greatest.Take(of.peakKeys, of.numbers);
  }
}

void Excerpt::FindPeaks(const Frame& frame, Meters& of) {
  of.layout = frame.layout;
  of.peaks.clear();
  std::vector<std::string> names;
  const auto& chosen = keys.In(frame);
  std::set_intersection(chosen.begin(), chosen.end(), peaks.In(frame).begin(), peaks.In(frame).end(),
                        std::back_inserter(of.peaks));
  if (of.peaks.size() > mostPeaks) of.peaks.resize(mostPeaks);
  for (const std::size_t place : of.peaks) names.push_back(frame.message.entries[place].key);
  of.peakKeys = std::make_shared<const std::vector<std::string>>(std::move(names));
}

Octets Excerpt::EntriesOf(Stream stream, std::shared_ptr<Span>& span) {
  while (span->replaced) span = span->replaced;
  if (span->entries) return span->entries;
  const auto begin = threadTime();
  span->entries = MakeEntries(stream, *span);
  work += threadTime() - begin;
  return span->entries;
}

Octets Excerpt::MakeEntries(Stream stream, const Span& span) {
  if (stream == Stream::changes) return MakeChanges(span.after);
  if (device->Values().Sequence(stream) - span.after == 1) return EntriesOf(stream);
  return Make(*device->Values().Newest(stream), &span.greatest);
}

Octets Excerpt::EntriesOf(Stream stream) {
  const auto frame = device->Values().Newest(stream);
  Meters& of = meters.at(indexOf(stream));
  if (of.sequence != frame->sequence || !of.entries) of.entries = Make(*frame, nullptr);
  of.sequence = frame->sequence;
  return of.entries;
}

Octets Excerpt::Make(const Frame& frame, const Greatest* greatest) {
  const Entries entries(frame);
  if (!greatest && keys.Keys().All().empty() && entries.AreAsTheyCame()) {
    const auto shared = device->Values().Newest(frame.message.stream);
    return {shared, &shared->message.bytes};
  }
  const Meters& of = meters.at(indexOf(frame.message.stream));
  auto made = std::make_shared<std::string>();
  std::size_t peak = 0;
  for (const std::size_t place : keys.In(frame)) {
    const bool isPeak = greatest && peak < of.peaks.size() && of.peaks[peak] == place;
    const Greatest::Number* most = isPeak ? &greatest->Numbers().at(peak) : nullptr;
    const Greatest::Number* last = isPeak ? &of.numbers.at(peak++) : nullptr;
    if (most && (most->number > last->number || (std::isnan(last->number) && !std::isnan(most->number)))) {
      client::appendEntry(Entry{frame.message.entries[place].key, valueOf(*most)}, *made);
    } else {
      entries.Append(place, *made);
    }
  }
  return made;
}

Octets Excerpt::MakeChanges(uint64_t after) {
  const Picture& picture = device->Values();
  const bool one = picture.Sequence(Stream::changes) - after == 1;
  if (one && keys.Keys().All().empty() && picture.NewestChanges()) return picture.NewestChanges();
  std::vector<const Entry*> list;
  for (const Change& change : picture.Changes()) {
    if (change.sequence <= after) break;
    if (keys.Keys().Match(change.entry.key)) list.push_back(&change.entry);
  }
  auto made = std::make_shared<std::string>();
  std::for_each(list.rbegin(), list.rend(), [&](const Entry* entry) { client::appendEntry(*entry, *made); });
  return made;
}

std::pair<Octets, std::vector<Device::Clock::time_point>> Excerpt::AllChanges() {
  std::vector<Device::Clock::time_point> arrivals;
  auto made = std::make_shared<std::string>();
  const auto& changes = device->Values().Changes();
  std::for_each(changes.rbegin(), changes.rend(), [&](const Change& change) {
    if (!keys.Keys().Match(change.entry.key)) return;
    client::appendEntry(change.entry, *made);
    arrivals.push_back(change.arrival.steady);
  });
  return {made, std::move(arrivals)};
}

}  // namespace corvalux::gateway
