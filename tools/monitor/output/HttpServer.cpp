#include "monitor/output/HttpServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <stdexcept>
#include <string_view>
#include <utility>

namespace corvalux::monitor {

namespace {

MHD_Result answer(MHD_Connection* connection, unsigned int status, std::string_view body) {
  // The library copies the body, so casting const away is safe.
  MHD_Response* response =
      MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY);
  if (!response) return MHD_NO;
  MHD_add_response_header(response, "Content-Type", "text/plain; version=0.0.4; charset=utf-8");
  const MHD_Result result = MHD_queue_response(connection, status, response);
  MHD_destroy_response(response);
  return result;
}

MHD_Result handle(void* user, MHD_Connection* connection, const char* url, const char* method, const char* /*version*/,
                  const char* /*data*/, size_t* /*size*/, void** /*state*/) {
  const std::string_view verb = method;
  if (verb != "GET" && verb != "HEAD") return answer(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "only GET\n");
  if (std::string_view(url) != "/metrics") return answer(connection, MHD_HTTP_NOT_FOUND, "try /metrics\n");
  return answer(connection, MHD_HTTP_OK, static_cast<HttpServer*>(user)->Text());
}

}  // namespace

HttpServer::HttpServer(uint16_t port, std::function<std::string()> text) : text(std::move(text)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  daemon = MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD, port, nullptr, nullptr, &handle, this,
                            MHD_OPTION_SOCK_ADDR, reinterpret_cast<sockaddr*>(&address), MHD_OPTION_CONNECTION_TIMEOUT,
                            10U, MHD_OPTION_CONNECTION_LIMIT, 32U, MHD_OPTION_END);
  if (!daemon) throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port));
}

HttpServer::~HttpServer() { MHD_stop_daemon(daemon); }

uint16_t HttpServer::Port() const { return MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT)->port; }

}  // namespace corvalux::monitor
