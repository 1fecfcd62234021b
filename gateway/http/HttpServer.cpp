#include "gateway/http/HttpServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/asio/ip/address.hpp>
#include <boost/url/authority_view.hpp>
#include <boost/url/parse.hpp>
#include <charconv>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <utility>
#include <vector>

#include "gateway/http/PlainAddress.h"

namespace corvalux::gateway {

namespace {

namespace asio = boost::asio;
using Error = boost::system::error_code;

constexpr int backlog = 512;
constexpr std::chrono::milliseconds acceptPause{100};
/// What the system keeps for a client that does not read: little, since it is old when it is read.
constexpr int sendBuffer = 64 << 10;

constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1;

[[noreturn]] void fail(const std::string& where, const std::string& why) {
  throw std::runtime_error("cannot listen on " + where + ": " + why);
}

[[noreturn]] void refuse(const std::string& where, const std::string& why) {
  throw std::invalid_argument("cannot listen on '" + where + "': " + why);
}

asio::ip::tcp::endpoint endpointOf(const std::string& text) {
  const auto authority = boost::urls::parse_authority(text);
  if (!authority || authority->has_userinfo() || !authority->has_port() || authority->port().empty()) {
    refuse(text, "it is neither ADDRESS:PORT nor unix:PATH");
  }
  const std::string digits(authority->port());  // the parser's own number wraps around
  uint16_t port = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), port).ec != std::errc()) {
    refuse(text, "the port must be 0 to 65535");
  }
  const std::string host(authority->host_address());
  Error error;
  const auto address = asio::ip::make_address(host == "localhost" ? "127.0.0.1" : host, error);
  if (error) refuse(text, "'" + host + "' is not an address");
  return {address, port};
}

/// A socket that a process left behind which ended without notice.
void removeStale(asio::io_context& loop, const asio::local::stream_protocol::endpoint& endpoint) {
  struct stat status {};
  if (lstat(endpoint.path().c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return;
  asio::local::stream_protocol::socket probe(loop);
  Error error;
  probe.connect(endpoint, error);
  if (error == asio::error::connection_refused) unlink(endpoint.path().c_str());
}

void setOptions(asio::ip::tcp::socket::native_handle_type socket, std::chrono::seconds stallTime) {
  const int on = 1;
  const auto unanswered = static_cast<unsigned>(std::chrono::milliseconds(stallTime).count());
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  // A client that vanished without a word answers nothing: this ends what waits for its receipts.
  setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &unanswered, sizeof unanswered);
}

}  // namespace

void checkListen(const std::string& listen) {
  if (!listen.starts_with("unix:")) return void(endpointOf(listen));
  const std::size_t size = listen.size() - std::string_view("unix:").size();
  if (size == 0 || size > longestPath) refuse(listen, "a path has 1 to 107 bytes");
}

HttpServer::HttpServer(asio::io_context& loop, HttpSettings given, Handler handler, OnRefused onRefused)
    : loop(loop),
      settings(std::move(given)),
      handler(std::move(handler)),
      onRefused(std::move(onRefused)),
      admission(settings.admission),
      acceptor(Acceptor<Tcp>(loop.get_executor())),
      pause(loop),
      unsent(settings.unsentBytes) {
  checkListen(settings.listen);
  if (settings.listen.starts_with("unix:")) {
    ListenOnFile(settings.listen.substr(5));
  } else {
    ListenOnAddress(settings.listen);
  }
  Accept();
}

HttpServer::~HttpServer() {
  try {
    Close();
  } catch (const std::exception&) {  // of memory, most likely: the sessions end with the loop
  }
}

void HttpServer::ListenOnFile(const std::string& path) {
  Error error;
  const Local::endpoint endpoint(path);
  removeStale(loop, endpoint);
  auto& local = acceptor.emplace<Acceptor<Local>>(loop.get_executor());
  local.open(endpoint.protocol(), error);
  if (!error) local.bind(endpoint, error);
  if (!error) local.listen(backlog, error);
  if (error) fail("unix:" + path, error.message());
  file = path;
  url = "unix:" + path;
}

void HttpServer::ListenOnAddress(const std::string& text) {
  const auto endpoint = endpointOf(text);
  Error error;
  auto& tcp = std::get<Acceptor<Tcp>>(acceptor);
  tcp.open(endpoint.protocol(), error);
  if (!error) tcp.set_option(Tcp::acceptor::reuse_address(true), error);
  if (!error) tcp.bind(endpoint, error);
  if (!error) tcp.listen(backlog, error);
  if (error) fail(text, error.message());
  localOnly = endpoint.address().is_loopback();
  const auto bound = tcp.local_endpoint();
  const std::string host = bound.address().to_string();
  url = "http://" + (bound.address().is_v6() ? "[" + host + "]" : host) + ":" + std::to_string(bound.port()) + "/";
}

void HttpServer::Close() {
  pause.cancel();
  std::visit(
      [](auto& open) {
        Error ignored;
        open.close(ignored);
      },
      acceptor);
  if (!file.empty()) unlink(std::exchange(file, {}).c_str());
  for (Session* session : std::vector<Session*>(sessions.begin(), sessions.end())) session->Close();
}

void HttpServer::Accept() {
  std::visit([this](auto& open) { AcceptFrom(open); }, acceptor);
}

template <typename Protocol>
void HttpServer::AcceptFrom(Acceptor<Protocol>& open) {
  using Socket = asio::basic_stream_socket<Protocol, asio::io_context::executor_type>;
  auto socket = std::make_shared<Socket>(loop.get_executor());
  open.async_accept(*socket, [this, socket, &open](const Error& error) {
    if (error == asio::error::operation_aborted || !open.is_open()) return;
    if (error) {  // no descriptors, most likely: some may be free again soon
      pause.expires_after(acceptPause);
      return pause.async_wait([this](const Error& aborted) { aborted ? void() : Accept(); });
    }
    std::string address = "unix";
    if constexpr (std::is_same_v<Protocol, Tcp>) {
      Error gone;
      address = plainAddress(socket->remote_endpoint(gone).address()).to_string();
      setOptions(socket->native_handle(), settings.stallTime);
    }
    try {
      Begin(std::move(*socket), address);
    } catch (const std::exception&) {  // of memory, most likely
      Count("failed", address);
    }
    Accept();
  });
}

template <typename Socket>
void HttpServer::Begin(Socket socket, const std::string& address) {
  Error ignored;
  socket.non_blocking(true, ignored);
  socket.set_option(asio::socket_base::send_buffer_size(sendBuffer), ignored);
  Session::Peer peer;
  peer.address = address;
  peer.trusted = settings.trustedProxies.contains(address);
  peer.place = admission.Enter();
  if (!peer.trusted) peer.addressPlace = admission.EnterFrom(address);
  if (peer.place && (peer.trusted || peer.addressPlace)) {
    const auto session = std::make_shared<Session>(*this, Session::Socket(std::move(socket)), std::move(peer));
    sessions.insert(session.get());
    return session->Start();
  }
  Count(peer.place ? "address" : "clients", address);
  static constexpr std::string_view full =
      "HTTP/1.1 503 Service Unavailable\r\nRetry-After: 10\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
  socket.write_some(asio::buffer(full), ignored);  // an empty buffer takes it at once
}

void HttpServer::Count(const std::string& reason, const std::string& address) {
  ++refused[reason];
  onRefused(reason, address);
}

}  // namespace corvalux::gateway
