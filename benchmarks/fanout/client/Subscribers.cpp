#include "fanout/client/Subscribers.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "fanout/Sockets.h"

namespace bench {

namespace {

constexpr std::size_t readSize = 1U << 18U;
constexpr std::chrono::milliseconds tickTime{5};

int64_t nowNs() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

/// TCP delays the acknowledgements of a client that sends. This one has it acknowledge at once, as it does for clients
/// that only receive, so that the client does the same work for every server.
void reply(int socket, std::string_view bytes) {
  sendAll(socket, bytes);
  const int on = 1;
  if (setsockopt(socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on) != 0) throwErrno("setsockopt");
}

}  // namespace

Subscribers::Subscribers(std::string protocol, std::vector<uint16_t> ports, const NumberOffsets& numberOffsets)
    : protocol(std::move(protocol)),
      ports(std::move(ports)),
      numberOffsets(numberOffsets),
      poll(epoll_create1(EPOLL_CLOEXEC)),
      ticks(this->protocol.starts_with("live")),
      received(readSize) {
  if (poll < 0) throwErrno("epoll_create1");
}

Subscribers::~Subscribers() { close(poll); }

Subscribers::Connection::~Connection() { close(socket); }

void Subscribers::Open() {
  const auto number = static_cast<uint32_t>(connections.size());
  const uint16_t port = ports.at(number % ports.size());
  auto& connection = *connections.emplace_back(std::make_unique<Connection>(connectTo(port)));
  connection.number = number;
  connection.decoder = makeDecoder(protocol, numberOffsets);
  sendAll(connection.socket, connection.decoder->Greeting());
  epoll_event event{EPOLLIN, {.ptr = &connection}};
  if (epoll_ctl(poll, EPOLL_CTL_ADD, connection.socket, &event) != 0) throwErrno("epoll_ctl");
}

void Subscribers::Resize(std::size_t count) {
  while (connections.size() < count) Open();
  while (connections.size() > count) connections.pop_back();
}

void Subscribers::Stall(std::size_t count) {
  stalled.clear();
  for (; count > 0; --count) {
    if (epoll_ctl(poll, EPOLL_CTL_DEL, connections.back()->socket, nullptr) != 0) throwErrno("epoll_ctl");
    stalled.push_back(std::move(connections.back()));
    connections.pop_back();
  }
}

bool Subscribers::AllHeard() const {
  return std::all_of(connections.begin(), connections.end(), [](const auto& connection) { return connection->heard; });
}

void Subscribers::Poll(std::chrono::milliseconds timeout) {
  if (ticks) timeout = std::min(timeout, tickTime);
  std::array<epoll_event, 256> events;
  const int count = epoll_wait(poll, events.data(), events.size(), static_cast<int>(timeout.count()));
  if (count < 0 && errno != EINTR) throwErrno("epoll_wait");
  for (int i = 0; i < count; ++i) Read(*static_cast<Connection*>(events.at(static_cast<std::size_t>(i)).data.ptr));
  if (ticks && nowNs() >= nextTick) Tick();
}

void Subscribers::Tick() {
  const int64_t now = nowNs();
  nextTick = now + std::chrono::nanoseconds(tickTime).count();
  for (const auto& connection : connections) {
    connection->decoder->Tick(now, [&](std::string_view bytes) { reply(connection->socket, bytes); });
  }
}

void Subscribers::Read(Connection& connection) {
  const ssize_t size = recv(connection.socket, received.data(), received.size(), MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) throw std::runtime_error(protocol + ": the server closed a connection");
  const int64_t now = nowNs();
  connection.decoder->Feed(
      std::string_view(received.data(), static_cast<std::size_t>(size)),
      [&](uint32_t sequence) {
        connection.heard = true;
        arrivals.push_back({sequence, connection.number, now});
        if (sequence == awaited) ++awaitedArrivals;
      },
      [&](std::string_view answer) { reply(connection.socket, answer); });
}

}  // namespace bench
