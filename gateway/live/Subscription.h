#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/http/Unsent.h"
#include "gateway/live/Excerpt.h"
#include "gateway/live/WebSocket.h"
#include "gateway/live/Window.h"

namespace corvalux::gateway {

/// What a viewer gets of a device: the present values, then what follows.
/// Threads: the loop's.
class Subscription final : private Excerpt::Follower {
 public:
  using Clock = Device::Clock;
  using Seconds = std::chrono::duration<double>;

  struct Wanted {
    uint32_t number = 0;
    uint64_t serial = 0;  ///< differs for each of a viewer's
    std::vector<client::Stream> streams;
    Seconds interval{0};  ///< between two updates of a stream, at least
  };

  /// A message, in two pieces.
  struct Out {
    std::string head;
    Piece entries;
    std::optional<std::size_t> stream;  ///< of an update
    uint64_t merged = 0;
  };

  /// `wake` is called when there may be something to send; never within a call of this.
  Subscription(Wanted wanted, std::shared_ptr<Excerpt> excerpt, std::function<void()> wake);
  ~Subscription() override;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  /// The next message, if there is one and the window allows it. With no window everything is allowed. `unsent` counts
  /// what a snapshot holds.
  std::optional<Out> Next(const Window* window, Unsent& unsent, Clock::time_point now);
  uint64_t Serial() const { return wanted.serial; }
  /// How long the thread has worked for the choice of keys since somebody asked, whoever shares it.
  std::chrono::nanoseconds TakeWork() { return excerpt->TakeWork(); }
  /// The viewer has acknowledged an update, one of those that it acknowledges now.
  void Landed(std::size_t stream, Clock::time_point now);
  /// When Next may have something because time has passed; nothing if that does not depend on it.
  std::optional<Clock::time_point> Due() const;
  /// Whether the gateway has dropped the device.
  bool Gone() const { return excerpt->Of() == nullptr; }
  /// Whether the window has kept something back since Next was called last.
  bool Waits() const { return waits; }
  /// Whether all of the snapshot has been sent.
  bool Shown() const { return next == wanted.streams.size(); }
  /// Whether it holds the values of a snapshot of which a part has been sent.
  bool Showing() const { return present.has_value(); }
  /// Their bytes.
  std::size_t UnsentBytes() const { return present ? present->hold.Bytes() : 0; }

 private:
  /// A stream of the device, as far as the viewer has it.
  struct Lane {
    std::shared_ptr<Span> span;
    uint64_t sent = 0;  ///< sequence
    Clock::time_point due;
    std::size_t flying = 0;    ///< updates that are not acknowledged
    Clock::time_point landed;  ///< when the newest acknowledgement came
    std::size_t together = 0;  ///< how many updates it was for
    std::size_t former = 0;    ///< the one before: a pause makes one smaller
    bool empty = false;        ///< the viewer knows that no chosen key is there
  };
  /// The snapshot of a stream.
  struct Present {
    Octets octets;
    Unsent::Hold hold;
    std::vector<std::size_t> ends;            ///< of its entries
    std::size_t sent = 0;                     ///< entries
    std::vector<Clock::time_point> arrivals;  ///< of changes; of meters there is one
  };

  void OnNews(client::Stream) override { wake(); }
  void OnGone() override { wake(); }

  Present PresentOf(client::Stream stream, Unsent& unsent, Clock::time_point now);
  Out NextPart(Unsent& unsent, Clock::time_point now);
  std::optional<Out> NextUpdate(client::Stream stream, const Window* window, Clock::time_point now);
  Clock::time_point Arrival(client::Stream stream) const;

  const Wanted wanted;
  const std::shared_ptr<Excerpt> excerpt;
  const std::function<void()> wake;
  std::array<Lane, client::allStreams.size()> lanes;
  std::size_t next = 0;            ///< of the wanted streams, the one whose snapshot is due
  std::optional<Present> present;  ///< of that one, once begun
  std::size_t turn = 0;            ///< of the wanted streams, whose update comes first
  bool waits = false;              ///< for an acknowledgement
};

}  // namespace corvalux::gateway
