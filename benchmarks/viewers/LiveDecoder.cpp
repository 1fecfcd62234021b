#include "viewers/LiveDecoder.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <stdexcept>

#include "viewers/WebSocket.h"

namespace bench {

namespace {

namespace live = corvalux::live;
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;

std::string frameOf(const live::FromViewer& message) {
  return webSocket::fromClient(webSocket::binary, message.SerializeAsString());
}

std::string hello(bool acknowledges) {
  live::FromViewer message;
  message.mutable_hello()->set_acknowledges(acknowledges);
  return frameOf(message);
}

std::string subscribe() {
  live::FromViewer message;
  auto& subscribe = *message.mutable_subscribe();
  subscribe.set_subscription(1);
  subscribe.set_device("desk");
  subscribe.add_streams(live::STREAM_FAST);
  return frameOf(message);
}

/// Of viewers that get an update at the same time, each acknowledges at another.
int64_t nextPhaseNs() {
  static int64_t phase = 0;
  constexpr int64_t stepNs = 7'300'000;
  return phase = (phase + stepNs) % LiveDecoder::acknowledgeTime.count();
}

}  // namespace

LiveDecoder::LiveDecoder(const NumberOffsets& numberOffsets, bool acknowledges)
    : numberOffsets(numberOffsets), acknowledges(acknowledges), nextNs(nextPhaseNs()) {}

std::string LiveDecoder::Greeting() const { return webSocket::request; }

void LiveDecoder::Feed(std::string_view bytes, const OnMessage& onMessage, const Reply& reply) {
  std::string joint;
  if (!partial.empty()) {
    joint = std::move(partial.append(bytes));
    bytes = joint;
  }
  if (!open) TakeAnswer(bytes, reply);
  while (open) {
    const auto frame = webSocket::firstFrame(bytes);
    if (!frame) break;
    TakeFrame(frame->opcode, frame->payload, onMessage, reply);
    bytes.remove_prefix(frame->size);
  }
  partial = bytes;
}

void LiveDecoder::TakeAnswer(std::string_view& bytes, const Reply& reply) {
  const auto end = bytes.find("\r\n\r\n");
  if (end == std::string_view::npos) return;
  if (!bytes.starts_with("HTTP/1.1 101 ")) throw std::runtime_error(std::string(bytes));
  bytes.remove_prefix(end + 4);
  open = true;
  reply(hello(acknowledges) + subscribe());
}

void LiveDecoder::TakeFrame(unsigned char opcode, std::string_view payload, const OnMessage& onMessage,
                            const Reply& reply) {
  if (opcode == webSocket::close) throw std::runtime_error("closed: " + std::string(payload.substr(2)));
  if (opcode == webSocket::ping) return reply(webSocket::fromClient(webSocket::pong, payload));
  if (TakeUpdate(payload, onMessage)) return;
  live::ToViewer message;
  if (!message.ParseFromArray(payload.data(), static_cast<int>(payload.size()))) throw std::runtime_error("no message");
  Take(message, reply);
}

bool LiveDecoder::TakeUpdate(std::string_view payload, const OnMessage& onMessage) {
  CodedInputStream input(reinterpret_cast<const uint8_t*>(payload.data()), static_cast<int>(payload.size()));
  if (WireFormatLite::GetTagFieldNumber(input.ReadTag()) != live::ToViewer::kUpdateFieldNumber) return false;
  uint32_t size = 0;
  input.ReadVarint32(&size);
  for (uint32_t tag = input.ReadTag(); tag != 0; tag = input.ReadTag()) {
    if (WireFormatLite::GetTagFieldNumber(tag) != live::Update::kEntriesFieldNumber) {
      WireFormatLite::SkipField(&input, tag);
      continue;
    }
    input.ReadVarint32(&size);
    reader.Begin(size, numberOffsets);
    reader.Take(payload.substr(static_cast<std::size_t>(input.CurrentPosition())));
    input.Skip(static_cast<int>(size));
  }
  ++updates;
  onMessage(reader.Sequence());
  return true;
}

void LiveDecoder::Take(const live::ToViewer& message, const Reply& reply) {
  if (message.has_error()) throw std::runtime_error(message.error().text());
  joined = joined || message.snapshot().last();
  if (!message.has_ping()) return;
  live::FromViewer answer;
  answer.mutable_pong()->set_clock(message.ping().clock());
  reply(frameOf(answer));
}

void LiveDecoder::Tick(int64_t nowNs, const Reply& reply) {
  if (!acknowledges || nowNs < nextNs) return;
  const int64_t time = acknowledgeTime.count();
  nextNs += (1 + (nowNs - nextNs) / time) * time;
  if (updates == acknowledged) return;
  acknowledged = updates;
  live::FromViewer message;
  message.mutable_acknowledge()->set_updates(updates);
  reply(frameOf(message));
}

}  // namespace bench
