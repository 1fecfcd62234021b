#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "gateway/http/Handover.h"
#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// Some octets of many.
struct Piece {
  Octets octets;
  std::size_t begin = 0;
  std::size_t size = 0;
};

/// A WebSocket to a viewer. Beast answers its handshake, reads its messages, and answers pings and closes; messages to
/// it are written to the socket as they are, without a copy.
/// Threads: the loop's. Ownership: its pending operations outlive it, and call nobody.
class WebSocket {
 public:
  /// Who uses it. Called on the loop's thread, never within a call of the WebSocket's own functions.
  class User {
   public:
    virtual ~User() = default;
    virtual void OnOpen() = 0;
    virtual void OnMessage(std::string_view message, bool binary) = 0;
    /// After a Write that was not done at once.
    virtual void OnWritten() = 0;
    /// The last call: the connection has ended.
    virtual void OnEnd() = 0;
  };

  /// Why it closes, as in RFC 6455; 4000 and above are ours.
  struct Reason {
    uint16_t code;
    std::string text;  ///< at most 123 bytes
  };

  /// Answers the handshake with the subprotocol.
  WebSocket(Handover handover, const std::string& protocol, std::size_t messageBytes, User& user);
  ~WebSocket();
  WebSocket(const WebSocket&) = delete;
  WebSocket& operator=(const WebSocket&) = delete;

  /// Writes a binary message: the head, then the piece. Whether it is done; if not, nothing may be written until
  /// OnWritten.
  bool Write(std::string head, const Piece& piece);
  /// Ends the connection in order, for 2 s at most; then at once.
  void Close(const Reason& reason);
  /// Ends the connection at once. OnEnd follows.
  void Drop();
  /// Whether it is not open yet, or either side has closed it: nothing may be written.
  bool Closing() const;

 private:
  class Connection;
  std::shared_ptr<Connection> connection;
};

}  // namespace corvalux::gateway
