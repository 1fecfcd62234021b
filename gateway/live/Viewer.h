#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "corvalux/live/live.pb.h"
#include "gateway/http/Handover.h"
#include "gateway/live/Subscription.h"
#include "gateway/live/WebSocket.h"
#include "gateway/live/Window.h"

namespace corvalux::gateway {

class Viewers;

/// Somebody who watches over a WebSocket: takes what it asks for, and sends what is newest whenever the viewer has
/// room. Threads: the loop's. Ownership: Viewers'; it drops this after its connection has ended.
class Viewer final : public std::enable_shared_from_this<Viewer>, private WebSocket::User {
 public:
  using Clock = std::chrono::steady_clock;

  Viewer(Viewers& viewers, Handover handover);
  ~Viewer() override;

  /// Sends what it may. Called by Viewers, in its turn.
  void Pump();
  /// Now and then: looks at the deadlines.
  void Tick(Clock::time_point now);
  void Close(const WebSocket::Reason& reason);
  /// At once; leaves soon.
  void Drop();
  /// Since when a message waits for the viewer to take it.
  const std::optional<Clock::time_point>& Writing() const { return writing; }
  /// The bytes of values that are held for it, shared or not.
  std::size_t UnsentBytes() const;

  const std::string& Address() const { return address; }

  bool waits = false;  ///< for its turn; Viewers' own

 private:
  void OnOpen() override;
  void OnMessage(std::string_view message, bool binary) override;
  void OnWritten() override;
  void OnEnd() override;

  // What it says
  void Take(const live::FromViewer& message);
  void Take(const live::ViewerHello& hello);
  void Take(const live::Subscribe& subscribe);
  void Take(const live::Acknowledge& acknowledge);
  void Take(const live::Pong& pong);
  void Take(const live::Visibility& visibility);
  bool MaySpeak(Clock::time_point now);
  void Begin(const live::Subscribe& subscribe);

  // What it gets
  bool SendNext(Clock::time_point now);
  bool SendDevices(Clock::time_point now);
  bool SendValues(Clock::time_point now);
  std::optional<Subscription::Out> NextOf(Subscription& subscription, Clock::time_point now);
  void DropGone();
  bool TakesTooMuch(Clock::time_point now);
  void Send(std::string head, const Piece& piece = {});
  void Say(const live::ToViewer& message);
  void Say(live::ErrorCode code, const std::string& text, uint32_t subscription);
  void Refuse(live::ErrorCode code, const std::string& text);
  void Ping(Clock::time_point now);
  void WakeWhenDue();

  Viewers& viewers;
  const std::string address;
  Admission& admission;
  const std::unique_ptr<Admission::Ticket> place;
  const std::unique_ptr<Admission::Ticket> addressPlace;
  const Clock::time_point begun = Clock::now();
  WebSocket socket;
  boost::asio::steady_timer timer;
  bool open = false;

  std::optional<live::ViewerHello> hello;
  bool hidden = false;
  double mayStill = 0;  ///< messages
  Clock::time_point counted = begun;

  std::list<std::string> outbox;             ///< messages that come before values; takes no memory while there is none
  std::optional<Clock::time_point> writing;  ///< since when a message is on its way to the socket
  Unsent::Hold written;
  Window window;
  std::map<uint32_t, std::unique_ptr<Subscription>> subscriptions;
  uint64_t serials = 0;  ///< of subscriptions
  uint32_t turn = 0;     ///< the subscription that sent last
  uint64_t devicesSeen = 0;
  uint64_t statesSeen = 0;
  Clock::time_point devicesDue;

  Clock::time_point pingDue = begun;
  std::optional<std::pair<double, Clock::time_point>> pinged;  ///< its clock, and when; until the pong
  double roundTrip = 0;
};

}  // namespace corvalux::gateway
