#include "gateway/live/WebSocket.h"

#include <array>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <exception>
#include <functional>
#include <list>
#include <utility>

namespace corvalux::gateway {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using Error = boost::system::error_code;

constexpr std::chrono::seconds closeTime{2};
constexpr int mostControls = 100;  ///< pings and pongs of a viewer in a second; Beast answers each ping with a write

/// The socket below Beast. Beast writes control frames whenever it likes, but here only between our messages.
class Line {
 public:
  using Socket = Session::Socket;
  using executor_type = Socket::executor_type;

  explicit Line(Socket socket) : socket(std::move(socket)) {}

  executor_type get_executor() { return socket.get_executor(); }
  Socket& Lowest() { return socket; }

  /// For Beast. Writes everything, since a part of a control frame would be as bad.
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    auto kept = std::make_shared<std::decay_t<Handler>>(std::forward<Handler>(handler));
    Begin([this, buffers, kept] {
      asio::async_write(socket, buffers, [this, kept](const Error& error, std::size_t size) {
        End();
        (*kept)(error, size);
      });
    });
  }
  template <typename Buffers, typename Handler>
  auto async_read_some(const Buffers& buffers, Handler&& handler) {
    return socket.async_read_some(buffers, std::forward<Handler>(handler));
  }

  bool Busy() const { return busy; }
  /// Now, or when what is being written has been.
  void Begin(std::function<void()> write) {
    if (busy) return waiting.push_back(std::move(write));
    busy = true;
    write();
  }
  void End() {
    busy = false;
    if (waiting.empty()) return;
    auto next = std::move(waiting.front());
    waiting.pop_front();
    Begin(std::move(next));
  }

 private:
  Socket socket;
  bool busy = false;
  std::list<std::function<void()>> waiting;  ///< takes no memory while there is none
};

// Beast finds these by their names.
[[maybe_unused]] void teardown(beast::role_type, Line& line, Error& error) { line.Lowest().close(error); }

[[maybe_unused]] void beast_close_socket(Line& line) {
  Error ignored;
  line.Lowest().close(ignored);
}

template <typename Handler>
void async_teardown(beast::role_type, Line& line, Handler&& handler) {
  Error ignored;
  line.Lowest().shutdown(Line::Socket::shutdown_send, ignored);
  asio::post(line.get_executor(), [handler = std::forward<Handler>(handler)]() mutable { handler(Error()); });
}

/// The start of an unmasked binary frame that is a whole message.
std::string frameHead(std::size_t size) {
  std::string head(1, '\x82');
  const auto append = [&head, size](int bytes) {
    while (bytes-- > 0) head += static_cast<char>(size >> (8 * bytes) & 0xff);
  };
  if (size < 126) {
    append(1);
  } else {
    head += static_cast<char>(size < 65536 ? 126 : 127);
    append(size < 65536 ? 2 : 8);
  }
  return head;
}

}  // namespace

class WebSocket::Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(Session::Socket socket, std::size_t messageBytes, User& user)
      : stream(std::move(socket)), timer(stream.get_executor()), user(&user) {
    stream.set_option(
        websocket::stream_base::timeout{websocket::stream_base::none(), websocket::stream_base::none(), false});
    stream.read_message_max(messageBytes);
    stream.control_callback([this](websocket::frame_type, beast::string_view) { CountControl(); });
  }

  void Accept(Handover::Request given, const std::string& protocol) {
    request = std::move(given);
    stream.set_option(websocket::stream_base::decorator([protocol](websocket::response_type& response) {
      response.set(beast::http::field::sec_websocket_protocol, protocol);
    }));
    stream.async_accept(request, [self = shared_from_this()](const Error& error) {
      self->request = {};
      if (error) return self->End();
      if (self->user) self->user->OnOpen();
      self->Read();
    });
  }

  bool Write(std::string start, const Piece& piece) {
    start.insert(0, frameHead(start.size() + piece.size));
    const std::array<asio::const_buffer, 2> buffers{
        asio::buffer(start), asio::buffer(piece.octets ? piece.octets->data() + piece.begin : nullptr, piece.size)};
    std::size_t written = 0;
    if (!line().Busy()) {
      // Most of the time the system takes it all; then it costs no operation of the loop's.
      Error error;
      written = line().Lowest().write_some(buffers, error);
      if (written == start.size() + piece.size) return true;
    }
    line().Begin([self = shared_from_this(), start = std::move(start), piece, written] {
      self->WriteRest(start, piece, written);
    });
    return false;
  }

  void Close(const Reason& reason) {
    if (std::exchange(closing, true)) return;
    timer.expires_after(closeTime);
    timer.async_wait([self = shared_from_this()](const Error& error) {
      if (!error) self->End();
    });
    if (!stream.is_open()) return;  // its handshake, or the end that the viewer asked for, has as long
    const websocket::close_reason why(static_cast<websocket::close_code>(reason.code), reason.text);
    stream.async_close(why, [self = shared_from_this()](const Error&) {
      self->Drop();
      self->End();
    });
  }

  bool Closing() const { return closing || !stream.is_open(); }

  /// Ends what is pending.
  void Drop() {
    Error ignored;
    line().Lowest().close(ignored);
    timer.cancel();
  }

  /// Nobody is called from here on; the connection ends.
  void Leave() {
    user = nullptr;
    if (!closing) Drop();
  }

 private:
  Line& line() { return stream.next_layer(); }

  void WriteRest(const std::string& given, const Piece& piece, std::size_t written) {
    head = given;
    body = piece.octets;
    const std::size_t fromHead = std::min(written, head.size());
    const std::size_t fromPiece = written - fromHead;
    const std::array<asio::const_buffer, 2> buffers{
        asio::buffer(head.data() + fromHead, head.size() - fromHead),
        asio::buffer(body ? body->data() + piece.begin + fromPiece : nullptr, piece.size - fromPiece)};
    asio::async_write(line().Lowest(), buffers, [self = shared_from_this()](const Error& error, std::size_t) {
      self->body.reset();
      self->line().End();
      if (error) return self->End();
      if (self->user) self->user->OnWritten();
    });
  }

  void Read() {
    stream.async_read(input, [self = shared_from_this()](const Error& error, std::size_t) {
      if (error) return self->End();
      self->Take();
    });
  }

  void Take() {
    const auto octets = input.cdata();
    const std::string_view message(static_cast<const char*>(octets.data()), octets.size());
    if (user && !closing) user->OnMessage(message, stream.got_binary());
    input.consume(input.size());
    Read();
  }

  void CountControl() {
    const auto now = std::chrono::steady_clock::now();
    if (now - controlsSince >= std::chrono::seconds(1)) {
      controlsSince = now;
      controls = 0;
    }
    if (++controls > mostControls) Drop();
  }

  void End() {
    Drop();
    if (auto* last = std::exchange(user, nullptr)) last->OnEnd();
  }

  websocket::stream<Line, false> stream;
  asio::basic_waitable_timer<std::chrono::steady_clock, asio::wait_traits<std::chrono::steady_clock>,
                             Session::Socket::executor_type>
      timer;
  User* user;
  Handover::Request request;
  beast::flat_buffer input;
  std::string head;  ///< of what is being written
  Octets body;
  bool closing = false;
  int controls = 0;  ///< frames since then
  std::chrono::steady_clock::time_point controlsSince;
};

WebSocket::WebSocket(Handover handover, const std::string& protocol, std::size_t messageBytes, User& user)
    : connection(std::make_shared<Connection>(std::move(handover.socket), messageBytes, user)) {
  connection->Accept(std::move(handover.request), protocol);
}

WebSocket::~WebSocket() {
  try {
    connection->Leave();
  } catch (const std::exception&) {  // of a timer that cannot be cancelled; it ends with the connection
  }
}

bool WebSocket::Write(std::string head, const Piece& piece) { return connection->Write(std::move(head), piece); }

void WebSocket::Close(const Reason& reason) { connection->Close(reason); }

void WebSocket::Drop() { connection->Drop(); }

bool WebSocket::Closing() const { return connection->Closing(); }

}  // namespace corvalux::gateway
