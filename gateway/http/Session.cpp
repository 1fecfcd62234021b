#include "gateway/http/Session.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <exception>
#include <sstream>
#include <utility>

#include "gateway/http/Handover.h"
#include "gateway/http/HttpServer.h"
#include "gateway/http/ThreadTime.h"

namespace corvalux::gateway {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using std::chrono::steady_clock;

/// Of one write to the socket, so that progress shows.
constexpr std::size_t writeSize = 64 << 10;
/// What a client may send while it gets a stream.
constexpr std::size_t discardLimit = 4 << 10;
/// The same of one whose connection ends: it may send all of its request before it reads the answer.
constexpr std::size_t lingerLimit = 2 << 20;
constexpr std::chrono::seconds lingerTime{1};
/// Of a stream, while too much waits for clients.
constexpr std::chrono::milliseconds restTime{100};

/// Nobody who can take gzip says so with q=0.
bool acceptsGzip(boost::beast::string_view list) {
  const http::ext_list encodings(list);
  return std::any_of(encodings.begin(), encodings.end(), [](const auto& each) { return each.first == "gzip"; });
}

bool isTooLarge(const boost::system::error_code& error) {
  return error == http::error::header_limit || error == http::error::buffer_overflow;
}

}  // namespace

Session::Session(HttpServer& server, Socket socket, Peer peer)
    : server(server),
      socket(std::move(socket)),
      peer(std::move(peer)),
      timer(server.loop),
      rest(server.loop),
      input(server.settings.headerBytes + 1),
      client(this->peer.address) {}

/// Open only when an exception has dropped what was pending.
Session::~Session() {
  try {
    Close();
  } catch (const std::exception&) {  // of a timer that cannot be cancelled; it ends with this
  }
}

void Session::Start() { ReadHeader(); }

void Session::Close() {
  if (std::exchange(closed, true)) return;
  Error ignored;
  socket.close(ignored);
  timer.cancel();
  rest.cancel();
  Release();
  if (source) --server.readers;
  source.reset();
  forwardedPlace.reset();
  peer.addressPlace.reset();
  peer.place.reset();
  server.sessions.erase(this);
}

// ---- Reading a request ----

void Session::AwaitRequest() {
  forwardedPlace.reset();
  if (input.size() > 0) return ReadHeader();
  EndAfter(server.settings.idleTime);
  socket.async_wait(Socket::wait_read, [self = shared_from_this()](const Error& error) {
    if (error || self->closed) return self->Close();
    self->ReadHeader();
  });
}

void Session::ReadHeader() {
  parser.emplace();
  headOnly = originTaken = false;
  parser->header_limit(static_cast<uint32_t>(server.settings.headerBytes));
  parser->body_limit(boost::none);  // one of any length is refused later, with its own status
  EndAfter(server.settings.headerTime);
  readingHeader = true;
  http::async_read_header(socket, input, *parser, [self = shared_from_this()](const Error& error, std::size_t) {
    self->readingHeader = false;
    if (!self->closed) self->OnHeader(error);
  });
}

void Session::OnHeader(const Error& error) {
  if (!error) {
    try {
      return Answer();
    } catch (const std::exception&) {  // of memory, most likely: it ends this connection and nothing else
      server.Count("failed", peer.address);
      return Close();
    }
  }
  if (error == asio::error::operation_aborted) return OnSlowHeader();
  const bool malformed = error.category() == http::make_error_code(http::error::bad_method).category() &&
                         error != http::error::end_of_stream && error != http::error::partial_message;
  if (!malformed) return Close();
  keepAlive = false;
  server.Count(isTooLarge(error) ? "header" : "malformed", peer.address);
  Send(isTooLarge(error) ? errorResponse(431, "the request's header is too large")
                         : errorResponse(400, "not a request: " + error.message()));
}

/// A client that has not sent anything expects no answer either.
void Session::OnSlowHeader() {
  if (input.size() == 0) return Close();
  keepAlive = false;
  server.Count("slow", peer.address);
  Send(errorResponse(408, "the request's header takes too long"));
}

std::optional<Response> Session::Refusal() {
  const auto& request = parser->get();
  if (request.method() != http::verb::get && request.method() != http::verb::head) {
    server.Count("method", peer.address);
    keepAlive = false;
    return errorResponse(405, "only GET and HEAD");
  }
  // Any encoding: of one that it does not know the parser takes what follows for the next request.
  if (request.count(http::field::transfer_encoding) > 0 || parser->content_length().value_or(0) > 0) {
    server.Count("body", peer.address);
    keepAlive = false;
    return errorResponse(413, "a request must not have a body");
  }
  if (auto refusal = NameRefusal()) return refusal;
  return AddressRefusal();
}

std::optional<Response> Session::NameRefusal() {
  const auto& request = parser->get();
  if (request.count(http::field::host) != 1) {
    server.Count("host", peer.address);
    return errorResponse(400, "a request needs one Host header");
  }
  const std::string host(request[http::field::host]);
  if (const auto why = server.settings.names.AgainstHost(host)) {
    server.Count("host", peer.address);
    return errorResponse(403, *why);
  }
  if (request.count(http::field::origin) == 0) return std::nullopt;
  const auto why = server.settings.names.AgainstOrigin(std::string(request[http::field::origin]), host);
  originTaken = !why && request.count(http::field::origin) == 1;
  if (originTaken) return std::nullopt;
  server.Count("origin", peer.address);
  return errorResponse(403, why.value_or("a request has one origin at most"));
}

std::optional<Response> Session::AddressRefusal() {
  if (!server.admission.MayAsk(client, steady_clock::now())) {
    server.Count("rate", client);
    return errorResponse(429, "too many requests");
  }
  if (!peer.trusted) return std::nullopt;
  forwardedPlace = server.admission.EnterFrom(client);
  if (forwardedPlace) return std::nullopt;
  server.Count("address", client);
  return errorResponse(503, "too many connections from this address");
}

/// A proxy adds the address of its own client behind what that client has sent.
std::string Session::ClientAddress() const {
  if (!peer.trusted) return peer.address;
  std::string last;
  for (const auto& field : parser->get()) {
    if (boost::beast::iequals(field.name_string(), "X-Forwarded-For")) last = std::string(field.value());
  }
  last = last.substr(last.rfind(',') + 1);
  const auto begin = last.find_first_not_of(' ');
  if (begin == std::string::npos) return peer.address;
  last = last.substr(begin, last.find_last_not_of(' ') - begin + 1);
  Error error;
  asio::ip::make_address(last, error);
  return error ? peer.address : last;
}

// ---- Sending a reply ----

void Session::Answer() {
  client = ClientAddress();
  keepAlive = parser->get().keep_alive();
  headOnly = parser->get().method() == http::verb::head;
  if (const auto refusal = Refusal()) return Send(*refusal);
  const auto target = parser->get().target();
  auto request = parseTarget({target.data(), target.size()});
  if (!request) return Send(errorResponse(400, "not a target"));
  request->webSocket = boost::beast::websocket::is_upgrade(parser->get());
  request->gzip = acceptsGzip(parser->get()[http::field::accept_encoding]);
  request->protocols = std::string(parser->get()[http::field::sec_websocket_protocol]);
  Reply reply = ReplyTo(*request);
  if (const auto* upgrade = std::get_if<Upgrade>(&reply)) return HandOver(*upgrade);
  if (auto* next = std::get_if<std::unique_ptr<Source>>(&reply)) return Stream(std::move(*next));
  Send(std::get<Response>(reply));
}

Reply Session::ReplyTo(const Request& request) {
  const auto begin = threadTime();
  Reply reply;
  try {
    reply = server.handler(request);
  } catch (const std::exception&) {
    server.Count("failed", peer.address);
    reply = errorResponse(500, "failed; the log of the gateway may say more");
  }
  server.admission.Charge(client, threadTime() - begin);
  return reply;
}

void Session::Hold(Octets octets) {
  if (octets) server.unsent.Add(octets, client);
  body = std::move(octets);
}

void Session::Release() {
  if (body) server.unsent.Remove(body, client);
  body.reset();
}

void Session::Send(const Response& response) {
  if (response.body->size() > 1024 && !server.unsent.HasRoomFor(response.body, client)) {
    server.Count("unsent", client);
    return Send(errorResponse(503, "too many responses wait for slow clients"));
  }
  Hold(response.body);
  header = Header(response);
  const std::array<asio::const_buffer, 2> octets{asio::buffer(header),
                                                 asio::buffer(body->data(), headOnly ? 0 : body->size())};
  Write(octets, &Session::OnSent);
}

void Session::OnSent(const Error& error) {
  Release();
  if (error) return Close();
  keepAlive ? AwaitRequest() : Linger();
}

/// Closes once the client has, or soon: to close with input unread would take away what the client has not read yet.
void Session::Linger() {
  Error ignored;
  socket.shutdown(Socket::shutdown_send, ignored);
  EndAfter(lingerTime);
  mayDiscard = lingerLimit;
  DiscardInput();
}

std::string Session::Header(const Response& of) const {
  http::response<http::empty_body> response(static_cast<http::status>(of.status), 11);
  response.set(http::field::content_type, of.type);
  response.set(http::field::cache_control, of.cacheControl);
  response.set("X-Content-Type-Options", "nosniff");
  response.set("Content-Security-Policy", of.policy);
  if (of.gzip) response.set(http::field::content_encoding, "gzip");
  if (of.varies) response.set(http::field::vary, "Accept-Encoding");
  if (of.status == 405) response.set(http::field::allow, "GET, HEAD");
  if (of.status == 426) response.set(http::field::upgrade, "websocket");
  if (of.status == 503 || of.status == 429) response.set(http::field::retry_after, "10");
  if (originTaken) {
    response.set(http::field::access_control_allow_origin, parser->get()[http::field::origin]);
    response.set(http::field::vary, of.varies ? "Accept-Encoding, Origin" : "Origin");
  }
  if (body) {
    response.set(http::field::content_length, std::to_string(body->size()));
  } else {
    response.set("X-Accel-Buffering", "no");
  }
  response.keep_alive(keepAlive);
  std::ostringstream text;
  text << response.base();
  return text.str();
}

template <typename Buffers>
void Session::Write(const Buffers& buffers, void (Session::*then)(const Error&)) {
  const auto whenProgressed = [this](const Error& error, std::size_t) -> std::size_t {
    if (error) return 0;
    EndAfter(server.settings.stallTime);
    return writeSize;
  };
  asio::async_write(socket, buffers, whenProgressed,
                    [self = shared_from_this(), then](const Error& error, std::size_t) {
                      if (!self->closed) (*self.*then)(error);
                    });
}

// ---- Becoming something else ----

void Session::HandOver(const Upgrade& upgrade) {
  if (input.size() > 0) {
    keepAlive = false;
    return Send(errorResponse(400, "octets came before the answer to the handshake"));
  }
  auto place = forwardedPlace ? std::move(forwardedPlace) : std::move(peer.addressPlace);
  Handover given{std::move(socket), parser->release(),     client,
                 server.admission,  std::move(peer.place), std::move(place)};
  Close();
  upgrade(std::move(given));
}

// ---- Sending a source's pieces ----

void Session::Stream(std::unique_ptr<Source> next) {
  keepAlive = false;
  header = Header({200, next->Type(), nullptr});
  if (headOnly) return Write(asio::const_buffer(asio::buffer(header)), &Session::OnSent);
  source = std::move(next);
  ++server.readers;
  pumping = true;
  source->Start([this] { PumpLater(); });
  mayDiscard = discardLimit;
  DiscardInput();
  Write(asio::const_buffer(asio::buffer(header)), &Session::OnPiece);
}

/// Not at once: a source may wake its session while it is being changed.
void Session::PumpLater() {
  if (std::exchange(pumping, true)) return;
  asio::post(server.loop, [self = shared_from_this()] {
    if (!self->closed) self->Pump();
  });
}

void Session::Pump() {
  if (!server.unsent.HasRoom(client)) return Rest();
  try {
    Hold(source->Next());
  } catch (const std::exception&) {
    server.Count("failed", peer.address);
    return Close();
  }
  if (body) return Write(asio::const_buffer(asio::buffer(*body)), &Session::OnPiece);
  pumping = false;
  if (!source->Ended()) return;
  --server.readers;
  source.reset();
  Linger();
}

/// The source keeps no backlog meanwhile.
void Session::Rest() {
  rest.expires_after(restTime);
  rest.async_wait([self = shared_from_this()](const Error& error) {
    if (!error && !self->closed) self->Pump();
  });
}

void Session::OnPiece(const Error& error) {
  Release();
  if (error) return Close();
  deadline = steady_clock::time_point::max();
  Pump();
}

/// Shows that a client has left. What it sends is of no use.
void Session::DiscardInput() {
  if (std::exchange(discarding, true)) return;
  socket.async_read_some(asio::buffer(server.scratch),
                         [self = shared_from_this()](const Error& error, std::size_t size) {
                           if (self->closed) return;
                           self->discarding = false;
                           if (error || size > self->mayDiscard) return self->Close();
                           self->mayDiscard -= size;
                           self->DiscardInput();
                         });
}

// ---- Deadlines ----

void Session::EndAfter(steady_clock::duration time) {
  deadline = steady_clock::now() + time;
  if (!watching) return Watch();
  if (deadline < timer.expiry()) timer.cancel();
}

/// A deadline that was moved is looked at when the former one is due, so that moving it costs nothing.
void Session::Watch() {
  watching = true;
  timer.expires_at(deadline);
  timer.async_wait([self = shared_from_this()](const Error&) {
    self->watching = false;
    if (self->closed || self->deadline == steady_clock::time_point::max()) return;
    if (steady_clock::now() < self->deadline) return self->Watch();
    if (!self->readingHeader) return self->Close();
    Error ignored;
    self->socket.cancel(ignored);
  });
}

}  // namespace corvalux::gateway
