#pragma once

#include <array>
#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <variant>

#include "gateway/http/Admission.h"
#include "gateway/http/NameCheck.h"
#include "gateway/http/Reply.h"
#include "gateway/http/Session.h"
#include "gateway/http/UnsentShares.h"

namespace corvalux::gateway {

struct HttpSettings {
  std::string listen = "127.0.0.1:8080";  ///< ADDRESS:PORT or unix:PATH; port 0 takes a free one
  AdmissionLimits admission;
  NameCheck names;
  std::set<std::string> trustedProxies;  ///< addresses; "unix" for clients of a socket file
  std::size_t headerBytes = 8'192;       ///< of a request
  std::chrono::seconds headerTime{5};    ///< for it
  std::chrono::seconds idleTime{60};     ///< until the next request
  std::chrono::seconds stallTime{20};    ///< without progress of a write
  std::size_t unsentBytes = 64UL << 20;  ///< of responses and pieces, for all clients together
};

/// Throws std::invalid_argument with a sentence for what is neither ADDRESS:PORT nor unix:PATH.
void checkListen(const std::string& listen);

/// Serves HTTP/1.1 to all clients.
/// Threads: the loop's.
class HttpServer {
 public:
  /// Called with a short reason for each client or request that is refused.
  using OnRefused = std::function<void(const std::string& reason, const std::string& address)>;

  /// Listens from here on. Throws std::runtime_error with a sentence when the address cannot be used.
  HttpServer(boost::asio::io_context& loop, HttpSettings settings, Handler handler, OnRefused onRefused);
  ~HttpServer();

  /// Counts and reports what somebody else has refused.
  void Refuse(const std::string& reason, const std::string& address) { Count(reason, address); }
  /// Ends all connections and listens no more.
  void Close();

  /// "http://127.0.0.1:8080/", or "unix:PATH".
  const std::string& Url() const { return url; }
  /// Whether only this machine can reach it.
  bool LocalOnly() const { return localOnly; }
  std::size_t Clients() const { return admission.Clients(); }
  std::size_t Readers() const { return readers; }
  const std::map<std::string, uint64_t>& Refused() const { return refused; }

 private:
  friend class Session;

  template <typename Protocol>
  using Acceptor = boost::asio::basic_socket_acceptor<Protocol, boost::asio::io_context::executor_type>;
  using Tcp = boost::asio::ip::tcp;
  using Local = boost::asio::local::stream_protocol;

  void ListenOnFile(const std::string& path);
  void ListenOnAddress(const std::string& text);
  void Accept();
  template <typename Protocol>
  void AcceptFrom(Acceptor<Protocol>& acceptor);
  template <typename Socket>
  void Begin(Socket socket, const std::string& address);
  void Count(const std::string& reason, const std::string& address);

  boost::asio::io_context& loop;
  const HttpSettings settings;
  const Handler handler;
  const OnRefused onRefused;
  Admission admission;
  std::variant<Acceptor<Tcp>, Acceptor<Local>> acceptor;
  boost::asio::steady_timer pause;  ///< after an accept that failed
  std::string url;
  std::string file;  ///< of the socket; empty without one
  bool localOnly = true;
  std::set<Session*> sessions;
  std::size_t readers = 0;  ///< sessions that stream
  UnsentShares unsent;
  std::array<char, 64 << 10> scratch{};  ///< takes what sessions read and nobody wants
  std::map<std::string, uint64_t> refused;
};

}  // namespace corvalux::gateway
