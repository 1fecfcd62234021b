#pragma once

#include <chrono>
#include <string>

#include "corvalux/live/live.pb.h"
#include "fanout/client/Decoder.h"

namespace bench {

/// A viewer of the device "desk" that only counts updates of its fast meters. Of an update it looks for the entries
/// alone, to keep its own cost out of the measurement.
class LiveDecoder final : public Decoder {
 public:
  /// Of all that acknowledge, each at times of its own. Set before the first is made.
  static inline std::chrono::nanoseconds acknowledgeTime{std::chrono::milliseconds(100)};

  LiveDecoder(const NumberOffsets& numberOffsets, bool acknowledges);

  std::string Greeting() const override;
  void Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) override;
  void Tick(int64_t nowNs, const Reply& reply) override;
  bool Joined() const override { return joined; }

 private:
  void TakeAnswer(std::string_view& bytes, const Reply& reply);
  void TakeFrame(unsigned char opcode, std::string_view payload, const OnMessage& onMessage, const Reply& reply);
  bool TakeUpdate(std::string_view payload, const OnMessage& onMessage);
  void Take(const corvalux::live::ToViewer& message, const Reply& reply);

  const NumberOffsets& numberOffsets;
  const bool acknowledges;
  int64_t nextNs = 0;  ///< of the next acknowledgement
  bool open = false;
  bool joined = false;
  uint32_t updates = 0;
  uint32_t acknowledged = 0;
  std::string partial;  ///< of the answer or a frame
  MessageReader reader;
};

}  // namespace bench
