#include <stdexcept>

#include "corvalux/live/live.pb.h"
#include "fanout/server/Floor.h"
#include "viewers/WebSocket.h"

namespace bench {

namespace {

/// The message as an unmerged update of all keys.
std::string framed(const std::string& message) {
  corvalux::live::ToViewer toViewer;
  auto& update = *toViewer.mutable_update();
  update.set_subscription(1);
  update.set_stream(corvalux::live::STREAM_FAST);
  update.set_sequence(1);
  update.set_age(1e-4);
  update.set_merged(1);
  if (!update.mutable_entries()->ParseFromString(message)) throw std::runtime_error("the message is none");
  return webSocket::fromServer(webSocket::binary, toViewer.SerializeAsString());
}

}  // namespace

std::unique_ptr<Subject> startFrames(sim::Engine& engine, uint16_t port) {
  return startFloor(engine, port, {framed, webSocket::answer});
}

}  // namespace bench
