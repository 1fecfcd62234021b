#include "gateway/fleet/PictureParts.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "client/Decode.h"
#include "client/Encode.h"
#include "corvalux/live/live.pb.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using SteadyTime = std::chrono::steady_clock::time_point;
using Seconds = std::chrono::duration<double>;

constexpr double oldest = 1e6;

live::Stream wireOf(Stream stream) { return static_cast<live::Stream>(client::indexOf(stream) + 1); }

/// Fills parts one after the other.
class Writer {
 public:
  explicit Writer(SteadyTime now) : now(now) {}

  void Begin(Stream next, uint64_t sequence, SteadyTime newest) {
    Flush();
    stream = next;
    part.set_stream(wireOf(next));
    part.set_sequence(static_cast<uint32_t>(sequence));
    part.set_age(Seconds(now - newest).count());
  }
  void Add(const client::Entry& entry, const SteadyTime* arrival) {
    const std::string octets = client::serialised(entry);
    if (!entries.empty() && entries.size() + octets.size() > partBytes) Flush();
    client::appendEntry(std::string_view(octets), entries);
    if (arrival) part.add_ages(static_cast<float>(Seconds(now - *arrival).count()));
  }
  std::vector<std::string> Take() {
    part.set_last(true);
    if (parts.empty() && entries.empty()) part.set_stream(wireOf(stream));
    Write();
    return std::move(parts);
  }

 private:
  void Flush() {
    if (entries.empty()) return;
    Write();
    entries.clear();
    part.clear_ages();
  }
  void Write() {
    part.mutable_entries()->ParseFromString(entries);
    parts.push_back(part.SerializeAsString());
    part.clear_entries();
  }

  const SteadyTime now;
  Stream stream = Stream::fast;
  live::Snapshot part;
  std::string entries;
  std::vector<std::string> parts;
};

/// Of what another one says, within reason.
SteadyTime before(SteadyTime now, double age) {
  const double seconds = std::isfinite(age) ? std::clamp(age, 0.0, oldest) : oldest;
  return now - std::chrono::duration_cast<SteadyTime::duration>(Seconds(seconds));
}

}  // namespace

std::vector<std::string> partsOf(const Picture& picture, SteadyTime now) {
  Writer writer(now);
  for (const Stream stream : {Stream::fast, Stream::slow}) {
    const auto frame = picture.Newest(stream);
    if (!frame) continue;
    writer.Begin(stream, frame->sequence, frame->message.arrival.steady);
    for (const auto& entry : frame->message.entries) writer.Add(entry, nullptr);
  }
  const auto& changes = picture.Changes();
  if (changes.empty()) return writer.Take();
  writer.Begin(Stream::changes, picture.Sequence(Stream::changes), changes.front().arrival.steady);
  std::for_each(changes.rbegin(), changes.rend(),
                [&writer](const Change& change) { writer.Add(change.entry, &change.arrival.steady); });
  return writer.Take();
}

std::optional<PicturePart> partOf(std::string_view bytes, SteadyTime now, Seconds lateness) {
  live::Snapshot snapshot;
  if (!snapshot.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) return std::nullopt;
  if (snapshot.stream() < live::STREAM_FAST || snapshot.stream() > live::STREAM_CHANGES) return std::nullopt;
  auto decoded = client::decode(snapshot.entries().SerializeAsString());
  PicturePart part{static_cast<Stream>(static_cast<int>(snapshot.stream()) - 1), {}, snapshot.last()};
  if (!decoded) return std::nullopt;
  const bool aged = part.stream == Stream::changes;
  if (aged && snapshot.ages_size() != static_cast<int>(decoded->entries.size())) return std::nullopt;
  part.entries.reserve(decoded->entries.size());
  const auto wall = std::chrono::system_clock::now();
  for (std::size_t i = 0; i < decoded->entries.size(); ++i) {
    const double age = (aged ? static_cast<double>(snapshot.ages(static_cast<int>(i))) : snapshot.age());
    const auto arrived = before(now, age + lateness.count());
    const client::Arrival arrival{wall - std::chrono::duration_cast<std::chrono::system_clock::duration>(now - arrived),
                                  arrived};
    part.entries.push_back({std::move(decoded->entries[i]), arrival});
  }
  return part;
}

}  // namespace corvalux::gateway
