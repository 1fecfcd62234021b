#include "fanout/server/Floor.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fanout/Sockets.h"
#include "fanout/server/MeterSubject.h"
#include "support/Wire.h"

namespace bench {

namespace {

/// A message as gRPC sends it on HTTP/2 stream 1: in frames of at most 16 KiB.
std::string frame(std::string message) {
  constexpr std::size_t frameLimit = 16384;
  const auto length = static_cast<uint32_t>(message.size());
  std::string prefix(1, '\0');
  for (int shift = 24; shift >= 0; shift -= 8) prefix += static_cast<char>(length >> shift);
  message.insert(0, prefix);
  std::string bytes;
  for (std::size_t at = 0; at < message.size(); at += frameLimit) {
    const std::size_t size = std::min(frameLimit, message.size() - at);
    for (int shift = 16; shift >= 0; shift -= 8) bytes += static_cast<char>(size >> shift);
    bytes.append({'\0', '\0', '\0', '\0', '\0', '\1'}).append(message, at, size);
  }
  return bytes;
}

struct Connection {
  int socket;
  bool open;         ///< answered, if there is an answer
  std::string rest;  ///< what the socket has not accepted yet
};

class FloorSubject final : public Subject {
 public:
  FloorSubject(sim::Engine& engine, uint16_t port, Framing framing)
      : framing(std::move(framing)), poll(epoll_create1(EPOLL_CLOEXEC)), listener(listenOn(port)) {
    epoll_event event{EPOLLIN, {.ptr = nullptr}};
    if (epoll_ctl(poll, EPOLL_CTL_ADD, listener, &event) != 0) throwErrno("epoll_ctl");
    thread = std::jthread([this] { Run(); });
    registerForMeters(
        engine, [](KeyValueList /*list*/, void* user) { static_cast<FloorSubject*>(user)->Receive(); }, this);
  }

  void Prepare(const Load& load) override {
    const std::lock_guard lock(mutex);
    const std::string message = wireBytes(load, 0);
    const std::size_t offset = sequenceOffset(load);
    bytes = framing.framed(message);
    numberAt = bytes.find(message.substr(0, offset)) + offset;
  }

 private:
  void Receive() {
    const std::lock_guard lock(mutex);
    std::memcpy(bytes.data() + numberAt, &sequence, sizeof sequence);
    for (Connection& connection : connections) {
      if (connection.open && connection.rest.empty()) Send(connection, bytes);
    }
  }

  static void Send(Connection& connection, std::string_view what) {
    const ssize_t sent = send(connection.socket, what.data(), what.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    connection.rest = std::string(what.substr(sent > 0 ? static_cast<std::size_t>(sent) : 0));
  }

  [[noreturn]] void Run() {
    std::array<epoll_event, 64> events;
    while (true) {
      const int count = epoll_wait(poll, events.data(), events.size(), -1);
      const std::lock_guard lock(mutex);
      for (int i = 0; i < count; ++i) Handle(events.at(static_cast<std::size_t>(i)));
    }
  }

  void Handle(const epoll_event& event) {
    auto* connection = static_cast<Connection*>(event.data.ptr);
    if (!connection) {
      Accept();
    } else if ((event.events & EPOLLIN) != 0 && !Drain(*connection)) {
      Drop(*connection);
    } else if ((event.events & EPOLLOUT) != 0 && !connection->rest.empty()) {
      Send(*connection, std::string(connection->rest));
    }
  }

  void Accept() {
    const int socket = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket < 0) return;
    Connection& connection = connections.emplace_back(Connection{socket, framing.answer.empty(), {}});
    epoll_event event{EPOLLIN | EPOLLOUT | EPOLLET, {.ptr = &connection}};
    if (epoll_ctl(poll, EPOLL_CTL_ADD, socket, &event) != 0) throwErrno("epoll_ctl");
  }

  /// Discards what the client sends, and answers once. Returns whether it is still connected.
  bool Drain(Connection& connection) {
    std::array<char, 4096> received;
    ssize_t size = 0;
    do {
      size = recv(connection.socket, received.data(), received.size(), 0);
    } while (size > 0);
    const bool connected = size < 0 && errno == EAGAIN;
    if (connected && !std::exchange(connection.open, true)) Send(connection, framing.answer);
    return connected;
  }

  void Drop(const Connection& connection) {
    close(connection.socket);
    connections.remove_if([&](const Connection& other) { return &other == &connection; });
  }

  const Framing framing;
  const int poll;
  const int listener;
  std::mutex mutex;
  std::list<Connection> connections;  // guarded by mutex
  std::string bytes;                  // guarded by mutex; the message, framed
  std::size_t numberAt = 0;           // guarded by mutex; the offset of the event's number in it
  std::jthread thread;
};

}  // namespace

std::unique_ptr<Subject> startFloor(sim::Engine& engine, uint16_t port, const Framing& framing) {
  return std::make_unique<FloorSubject>(engine, port, framing);
}

std::unique_ptr<Subject> startFloor(sim::Engine& engine, uint16_t port) {
  return startFloor(engine, port, {[](const std::string& message) { return frame(message); }});
}

}  // namespace bench
