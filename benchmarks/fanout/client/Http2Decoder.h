#pragma once

#include <array>

#include "fanout/client/Decoder.h"

namespace bench {

/// A gRPC client of one call that only counts messages. It grants the server the largest window of HTTP/2, and reads no
/// headers, to keep its own cost out of the measurement.
class Http2Decoder final : public Decoder {
 public:
  explicit Http2Decoder(const NumberOffsets& numberOffsets) : numberOffsets(numberOffsets) {}

  std::string Greeting() const override;
  void Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) override;

 private:
  void BeginFrame(const Reply& reply);
  void TakePayload(std::string_view payload, const OnMessage& onMessage);
  void EndFrame(const Reply& reply);

  const NumberOffsets& numberOffsets;
  std::string header;       ///< of the current frame, as far as it has come
  std::size_t left = 0;     ///< of the current frame's payload
  std::string controlData;  ///< of the current frame, if it is a ping
  std::string prefix;       ///< of the current message, as far as it has come
  MessageReader message;
  uint32_t unacknowledged = 0;  ///< bytes of data
};

}  // namespace bench
