// What a viewer sends behind its handshake: pieces of a length each, as a WebSocket message or as they are. Whatever it
// is, the gateway answers or ends the connection, and keeps nothing of it.
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <cstdlib>
#include <string>
#include <utility>

#include "fuzz/ByteReader.h"
#include "gateway/live/Viewers.h"

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
namespace gateway = corvalux::gateway;
using Local = asio::local::stream_protocol;

/// A gateway with a device that nobody plays, for all runs.
struct Scene {
  Scene() { devices.Follow({{"desk", "unix:/nowhere/desk"}}); }

  asio::io_context loop{1};
  gateway::Admission admission{{.requestsPerSecond = 1e9}};
  gateway::Devices devices{loop, {}, [](const gateway::Device&) {}};
  gateway::Viewers viewers{loop, devices, {.messageBytes = 4096}, [](const std::string&, const std::string&) {}};
};

gateway::Handover handover(gateway::Session::Socket socket, gateway::Admission& admission) {
  gateway::Handover::Request request(http::verb::get, "/live", 11);
  request.set(http::field::host, "localhost");
  request.set(http::field::connection, "Upgrade");
  request.set(http::field::upgrade, "websocket");
  request.set(http::field::sec_websocket_version, "13");
  request.set(http::field::sec_websocket_key, "dGhlIHNhbXBsZSBub25jZQ==");
  return {std::move(socket), std::move(request), "unix", admission, nullptr, nullptr};
}

/// Masked with nothing.
std::string frame(const std::string& payload) {
  std::string made = "\x82\xfe";
  made += static_cast<char>(payload.size() >> 8);
  made += static_cast<char>(payload.size() & 0xff);
  return made + std::string(4, '\0') + payload;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static Scene& scene = *new Scene;  // its threads may run until the process ends
  using Socket = asio::basic_stream_socket<Local, asio::io_context::executor_type>;
  Socket viewer(scene.loop.get_executor());
  Socket served(scene.loop.get_executor());
  asio::local::connect_pair(viewer, served);
  served.non_blocking(true);
  viewer.non_blocking(true);
  scene.viewers.Take(handover(gateway::Session::Socket(std::move(served)), scene.admission));
  scene.loop.poll();
  fuzz::ByteReader reader(data, size);
  while (!reader.Empty()) {
    const bool whole = reader.Take<uint8_t>() % 8 != 0;
    const std::string piece = reader.TakeBytes(reader.Take<uint16_t>() % 5000);
    boost::system::error_code ignored;
    asio::write(viewer, asio::buffer(whole ? frame(piece) : piece), ignored);
    scene.loop.poll();
  }
  viewer.close();
  while (scene.viewers.Counts().viewers > 0) scene.loop.run_one();
  return 0;
}
