#include "fanout/client/Http2Decoder.h"

#include <stdexcept>
#include <utility>

namespace bench {

namespace {

using namespace std::string_literals;

enum FrameType : unsigned char { data = 0, resetStream = 3, settings = 4, ping = 6, goAway = 7, windowUpdate = 8 };

constexpr std::size_t headerSize = 9;
constexpr std::size_t prefixSize = 5;
constexpr uint32_t fullWindow = 0x7FFFFFFF;
constexpr uint32_t initialWindow = 65535;
constexpr uint32_t acknowledgeAt = 1U << 29U;

std::string bigEndian(std::size_t number, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) text += static_cast<char>(number >> shift);
  return text;
}

std::size_t readBigEndian(std::string_view bytes) {
  std::size_t number = 0;
  for (const char byte : bytes) number = number << 8U | static_cast<unsigned char>(byte);
  return number;
}

std::string frame(FrameType type, unsigned char flags, uint32_t stream, const std::string& payload) {
  return bigEndian(payload.size(), 3) + static_cast<char>(type) + static_cast<char>(flags) + bigEndian(stream, 4) +
         payload;
}

/// A header field's text: not compressed.
std::string text(const std::string& value) { return static_cast<char>(value.size()) + value; }

}  // namespace

std::string Http2Decoder::Greeting() const {
  constexpr auto headers = static_cast<FrameType>(1);
  // POST and http by their static table index, then the other names, by index where they have one.
  const std::string fields = "\x83\x86"s + "\x04"s + text("/corvalux.grpc.Meters/GetMetersFast") + "\x01"s +
                             text("localhost") + "\x00"s + text("te") + text("trailers") + "\x0F\x10"s +
                             text("application/grpc");
  return "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + frame(settings, 0, 0, "\x00\x04"s + bigEndian(fullWindow, 4)) +
         frame(windowUpdate, 0, 0, bigEndian(fullWindow - initialWindow, 4)) + frame(headers, 0x4, 1, fields) +
         frame(data, 0x1, 1, std::string(prefixSize, '\0'));
}

void Http2Decoder::Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) {
  while (!bytes.empty()) {
    if (header.size() < headerSize) {
      const auto part = bytes.substr(0, headerSize - header.size());
      header += part;
      bytes.remove_prefix(part.size());
      if (header.size() < headerSize) return;
      BeginFrame(reply);
    }
    const auto payload = bytes.substr(0, left);
    bytes.remove_prefix(payload.size());
    left -= payload.size();
    TakePayload(payload, onMessage);
    if (left == 0) EndFrame(reply);
  }
}

void Http2Decoder::BeginFrame(const Reply& reply) {
  left = readBigEndian(std::string_view(header).substr(0, 3));
  const auto type = static_cast<unsigned char>(header[3]);
  if (type == resetStream || type == goAway) throw std::runtime_error("the server ended the call");
  if (type != data) return;
  unacknowledged += static_cast<uint32_t>(left);
  if (unacknowledged < acknowledgeAt) return;
  const std::string more = bigEndian(std::exchange(unacknowledged, 0), 4);
  reply(frame(windowUpdate, 0, 0, more) + frame(windowUpdate, 0, 1, more));
}

void Http2Decoder::TakePayload(std::string_view payload, const OnMessage& onMessage) {
  const auto type = static_cast<unsigned char>(header[3]);
  if (type == ping) controlData += payload;
  if (type != data) return;
  while (!payload.empty()) {
    if (prefix.size() < prefixSize) {
      const auto part = payload.substr(0, prefixSize - prefix.size());
      prefix += part;
      payload.remove_prefix(part.size());
      if (prefix.size() < prefixSize) return;
      message.Begin(readBigEndian(std::string_view(prefix).substr(1)), numberOffsets);
    }
    payload.remove_prefix(message.Take(payload));
    if (!message.Complete()) return;
    prefix.clear();
    onMessage(message.Sequence());
  }
}

void Http2Decoder::EndFrame(const Reply& reply) {
  const auto type = static_cast<unsigned char>(header[3]);
  const bool acknowledgement = (header[4] & 1) != 0;
  header.clear();
  if (type == settings && !acknowledgement) reply(frame(settings, 1, 0, ""));
  if (type == ping && !acknowledgement) reply(frame(ping, 1, 0, controlData));
  controlData.clear();
}

}  // namespace bench
