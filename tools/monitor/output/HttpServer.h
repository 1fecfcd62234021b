#pragma once

#include <cstdint>
#include <functional>
#include <string>

struct MHD_Daemon;

namespace corvalux::monitor {

/// Answers GET /metrics over HTTP on 127.0.0.1, and nothing else, for its lifetime.
class HttpServer {
 public:
  /// `text` is called on the server's own thread. `port` 0 picks a free one. Throws std::runtime_error with a sentence
  /// when the port cannot be used.
  HttpServer(uint16_t port, std::function<std::string()> text);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  uint16_t Port() const;

  /// The answer's body.
  std::string Text() const { return text(); }

 private:
  const std::function<std::string()> text;
  MHD_Daemon* daemon = nullptr;
};

}  // namespace corvalux::monitor
