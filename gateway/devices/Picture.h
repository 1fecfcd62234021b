#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "client/Message.h"
#include "gateway/devices/Limits.h"

namespace corvalux::gateway {

/// Views into `message.bytes`, one for each of its entries; nothing if these are not the ones that came.
std::optional<std::vector<std::string_view>> serialisedEntries(const client::Message& message);

/// A message of a meter stream, as the gateway keeps it. Never changes; shared by all who still need it.
struct Frame {
  uint64_t sequence = 0;  ///< from 1, of the stream's messages that reached this gateway
  uint64_t layout = 0;    ///< differs from that of the frame before if the keys do
  client::Message message;

  /// The entries as they came, in the order of the message's; nothing if some were repaired or dropped.
  std::optional<std::vector<std::string_view>> Serialised() const { return serialisedEntries(message); }
};

/// The newest value of a key that has changed.
struct Change {
  client::Entry entry;
  uint64_t sequence = 0;  ///< of the message that it came with
  client::Arrival arrival;
};

/// A value that another gateway had.
struct AgedEntry {
  client::Entry entry;
  client::Arrival arrival;
};

/// The present values of a device: the newest frame of each meter stream, and the newest value of each key that has
/// changed since the gateway knows the device.
/// Threads: one at a time.
class Picture {
 public:
  explicit Picture(DeviceLimits limits) : limits(limits) {}

  /// Of a valid message. Entries beyond a limit are dropped and counted.
  void Take(client::Message message);

  /// Changes that came before this, oldest first: those that the predicate wants, given what is known of the key or
  /// null. As one message; says whether there was any.
  bool Fill(std::vector<AgedEntry> entries, const std::function<bool(const AgedEntry&, const Change* known)>& wanted);

  /// Null before the first.
  std::shared_ptr<const Frame> Newest(client::Stream meters) const { return frames.at(indexOf(meters)); }
  /// Counts the stream's messages that reached this gateway; 0 before the first.
  uint64_t Sequence(client::Stream stream) const;
  /// Newest first.
  const std::list<Change>& Changes() const { return changes; }
  /// The newest message of changes as it came; null if what it had is not all here as it was.
  const std::shared_ptr<const std::string>& NewestChanges() const { return newestChanges; }

  const Exceeded& Over() const { return exceeded; }

 private:
  void DropLongKeys(std::vector<client::Entry>& entries);
  void TakeFrame(client::Message message);
  void TakeChanges(client::Message message);
  bool TakeChange(client::Entry entry, const client::Arrival& arrival);
  bool HasRoom(const client::Entry& entry, const Change* known) const;
  std::size_t Keys(client::Stream meters) const;

  const DeviceLimits limits;
  Exceeded exceeded;
  std::array<std::shared_ptr<const Frame>, 2> frames;
  std::list<Change> changes;
  std::unordered_map<std::string_view, std::list<Change>::iterator> places;  ///< by the keys in `changes`
  uint64_t changed = 0;                                                      ///< messages
  std::shared_ptr<const std::string> newestChanges;
  std::size_t changedBytes = 0;
};

}  // namespace corvalux::gateway
