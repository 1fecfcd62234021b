#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "gateway/http/Admission.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

class HttpServer;

/// A connection of a client: reads requests one after the other and sends the replies.
/// Threads: the loop's. Ownership: its pending operations share it; Close ends them all.
/// Every wait has a deadline, but for a client of a source that has nothing to send.
class Session final : public std::enable_shared_from_this<Session> {
 public:
  /// With its executor's own type, which spares a virtual call and an allocation an operation.
  using Socket =
      boost::asio::basic_stream_socket<boost::asio::generic::stream_protocol, boost::asio::io_context::executor_type>;

  struct Peer {
    std::string address;
    bool trusted = false;  ///< a proxy, whose word about its client's address counts
    std::unique_ptr<Admission::Ticket> place;
    std::unique_ptr<Admission::Ticket> addressPlace;  ///< null for a trusted one, whose clients are counted
  };

  Session(HttpServer& server, Socket socket, Peer peer);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Start();
  /// At once. The server may be destroyed after it.
  void Close();

 private:
  using Error = boost::system::error_code;
  using Parser = boost::beast::http::request_parser<boost::beast::http::empty_body>;

  // Reading a request
  void AwaitRequest();
  void ReadHeader();
  void OnHeader(const Error& error);
  void OnSlowHeader();
  std::optional<Response> Refusal();
  std::optional<Response> NameRefusal();
  std::optional<Response> AddressRefusal();
  std::string ClientAddress() const;

  // Octets on their way
  void Hold(Octets octets);
  void Release();

  // Sending a reply
  void Answer();
  Reply ReplyTo(const Request& request);
  void Send(const Response& response);
  void OnSent(const Error& error);
  void Linger();
  std::string Header(const Response& response) const;
  template <typename Buffers>
  void Write(const Buffers& buffers, void (Session::*then)(const Error&));

  // Becoming something else
  void HandOver(const Upgrade& upgrade);

  // Sending a source's pieces
  void Stream(std::unique_ptr<Source> next);
  void PumpLater();
  void Pump();
  void Rest();
  void OnPiece(const Error& error);
  void DiscardInput();

  // Deadlines
  void EndAfter(std::chrono::steady_clock::duration time);
  void Watch();

  HttpServer& server;
  Socket socket;
  Peer peer;
  boost::asio::steady_timer timer;
  boost::asio::steady_timer rest;
  std::chrono::steady_clock::time_point deadline;
  bool watching = false;
  bool closed = false;
  bool keepAlive = true;
  bool headOnly = false;
  bool originTaken = false;  ///< the request has an origin, and it may read the response

  boost::beast::flat_buffer input;
  std::optional<Parser> parser;
  bool readingHeader = false;
  std::unique_ptr<Admission::Ticket> forwardedPlace;  ///< of the proxy's client, for the request
  std::string header;
  std::string client;  ///< the address that pays; a proxy tells that of its own client
  Octets body;         ///< counted as unsent
  std::unique_ptr<Source> source;
  bool pumping = false;  ///< a Pump is posted or rests, or a piece is being written
  bool discarding = false;
  std::size_t mayDiscard = 0;
};

}  // namespace corvalux::gateway
