#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "gateway/http/Request.h"

namespace corvalux::gateway {

/// Octets that many may send at once; they never change.
using Octets = std::shared_ptr<const std::string>;

struct Response {
  unsigned status = 200;
  const char* type = "application/json";
  Octets body;
  const char* cacheControl = "no-store";
  const char* policy = "default-src 'none'";  ///< what a page may load
  bool gzip = false;                          ///< the body is compressed
  bool varies = false;                        ///< with what the client accepts
};

/// An endless response. Its session pulls a piece whenever the client has taken the one before, so a slow client costs
/// no backlog: the source then has the newest. Threads: the loop's.
class Source {
 public:
  virtual ~Source() = default;

  /// `wake` is called when there may be a piece after Next had none. Never within Next.
  virtual void Start(std::function<void()> wake) = 0;
  /// The next piece; null when there is none now.
  virtual Octets Next() = 0;
  /// No piece will come any more.
  virtual bool Ended() const = 0;
  /// Its Content-Type.
  virtual const char* Type() const = 0;
};

struct Handover;
/// The connection becomes a WebSocket, of somebody else: only for a request that asks for one.
using Upgrade = std::function<void(Handover)>;

using Reply = std::variant<Response, std::unique_ptr<Source>, Upgrade>;

/// Answers a request. It must be quick, since it runs on the loop's thread. Errors are replies.
using Handler = std::function<Reply(const Request&)>;

/// `{"error":"..."}`
Response errorResponse(unsigned status, const std::string& sentence);

}  // namespace corvalux::gateway
