#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "gateway/http/HttpServer.h"
#include "support/Deadline.h"
#include "support/Eventually.h"
#include "support/TempDir.h"

namespace corvalux::gateway {

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A connection that sends whatever it is given.
class Client {
 public:
  Client(const sockaddr* address, socklen_t size) : descriptor(::socket(address->sa_family, SOCK_STREAM, 0)) {
    const timeval patience{test::patience.count(), 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(connect(descriptor, address, size), 0);
  }
  ~Client() { close(descriptor); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void Send(const std::string& text) const { send(descriptor, text.data(), text.size(), MSG_NOSIGNAL); }
  /// Up to and with `end`, or all.
  std::string Receive(const std::string& end = {}) const {
    std::string text;
    char letter = 0;
    while ((end.empty() || !text.ends_with(end)) && recv(descriptor, &letter, 1, 0) == 1) text += letter;
    return text;
  }

 private:
  const int descriptor;
};

/// Endless pieces of 1 MiB, each another one.
class Pieces : public Source {
 public:
  explicit Pieces(std::atomic<int>& taken) : taken(taken) {}
  void Start(std::function<void()> /*wake*/) override {}
  Octets Next() override {
    ++taken;
    return std::make_shared<const std::string>(1 << 20, 'x');
  }
  bool Ended() const override { return false; }
  const char* Type() const override { return "text/plain"; }

 private:
  std::atomic<int>& taken;
};

class FailingSource final : public Pieces {
 public:
  using Pieces::Pieces;
  Octets Next() override { throw std::runtime_error("no memory"); }
};

/// A server with a handler of the test, on a thread of its own.
class Sessions : public testing::Test {
 protected:
  Sessions() { settings.listen = folder.UnixAddress(); }
  ~Sessions() override {
    boost::asio::post(loop, [this] { loop.stop(); });
    if (thread.joinable()) thread.join();
  }

  void Serve() {
    server.emplace(
        loop, settings, [this](const Request& request) { return handler(request); },
        [this](const std::string& reason, const std::string& address) {
          const std::lock_guard lock(mutex);
          refusals.push_back(reason + " " + address);
        });
    thread = std::thread([this] { loop.run(); });
  }

  std::unique_ptr<Client> Connect() const {
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, server->Url().c_str() + 5, sizeof address.sun_path - 1);
    return std::make_unique<Client>(reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
  std::string Exchange(const std::string& text) const {
    const auto client = Connect();
    client->Send(text);
    return client->Receive();
  }
  std::vector<std::string> Refusals() {
    const std::lock_guard lock(mutex);
    return refusals;
  }

  static Response Hello() { return {200, "text/plain", std::make_shared<const std::string>("hello")}; }

  const test::TempDir folder;
  HttpSettings settings;
  Handler handler = [](const Request&) { return Hello(); };
  boost::asio::io_context loop{1};
  std::optional<HttpServer> server;
  std::mutex mutex;
  std::vector<std::string> refusals;  // guarded by mutex
  std::thread thread;
};

constexpr const char* get = "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";

/// As a proxy asks for its client at this address.
std::string getFor(const std::string& address, const std::string& target) {
  return "GET " + target + " HTTP/1.1\r\nHost: localhost\r\nX-Forwarded-For: " + address + "\r\n\r\n";
}

}  // namespace

TEST_F(Sessions, RefuseEveryTransferCodingAndReadNothingBehindIt) {
  Serve();
  const std::string coded = "GET / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: gzip\r\n\r\n";
  const std::string answer = Exchange(coded + get);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 "));
  EXPECT_THAT(answer, Not(HasSubstr("hello")));
}

TEST_F(Sessions, RefuseABodyOfAnySizeAsOne) {
  Serve();
  EXPECT_THAT(Exchange("GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 99999999\r\n\r\n"),
              StartsWith("HTTP/1.1 413 "));
}

TEST_F(Sessions, SurviveAHandlerThatFails) {
  handler = [](const Request&) -> Reply { throw std::runtime_error("no memory"); };
  Serve();
  EXPECT_THAT(Exchange(get), StartsWith("HTTP/1.1 500 "));
  EXPECT_THAT(Refusals(), testing::ElementsAre("failed unix"));
}

TEST_F(Sessions, EndWhenTheirSourceFails) {
  std::atomic<int> taken = 0;
  handler = [&taken](const Request&) -> Reply { return std::make_unique<FailingSource>(taken); };
  Serve();
  EXPECT_THAT(Exchange(get), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(Refusals(), testing::ElementsAre("failed unix"));
}

TEST_F(Sessions, GrantNothingToAnOriginThatWasNotLookedAt) {
  Serve();
  const std::string origin = " / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nOrigin: http://localhost\r\n\r\n";
  EXPECT_THAT(Exchange("GET" + origin), HasSubstr("Access-Control-Allow-Origin: http://localhost\r\n"));
  const std::string refusal = Exchange("POST" + origin);
  EXPECT_THAT(refusal, StartsWith("HTTP/1.1 405 "));
  EXPECT_THAT(refusal, Not(HasSubstr("Access-Control-Allow-Origin")));
}

TEST_F(Sessions, SendTheWholeRefusalAfterARequestForTheHeadOnly) {
  Serve();
  EXPECT_THAT(Exchange("HEAD / HTTP/1.1\r\nHost: localhost\r\n\r\nnonsense\r\n\r\n"), HasSubstr("{\"error\":\"not a "));
}

TEST_F(Sessions, TakeNoPieceWhileTooMuchWaitsForOthers) {
  settings.trustedProxies = {"unix"};
  settings.unsentBytes = 1 << 20;
  std::array<std::atomic<int>, 2> taken{};
  handler = [&](const Request& request) -> Reply {
    if (request.path.empty()) return Hello();
    return std::make_unique<Pieces>(taken.at(request.path.front() == "stalled" ? 0 : 1));
  };
  Serve();
  auto stalled = Connect();
  stalled->Send(getFor("10.0.0.1", "/stalled"));
  ASSERT_TRUE(test::eventually([&] { return taken[0] > 0; }));
  const auto other = Connect();
  other->Send(getFor("10.0.0.2", "/other"));
  EXPECT_THAT(other->Receive("\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
  for (int i = 0; i < 3; ++i) EXPECT_THAT(Exchange(get), HasSubstr("hello")) << "the loop has had its turns";
  EXPECT_EQ(taken[0], 1);
  EXPECT_EQ(taken[1], 0);
  stalled.reset();
  EXPECT_TRUE(test::eventually([&] { return taken[1] > 0; }));
}

TEST_F(Sessions, LeaveRoomForOthersHoweverMuchWaitsForAnAddress) {
  settings.trustedProxies = {"unix"};
  settings.unsentBytes = 8 << 20;
  std::atomic<int> taken = 0;
  handler = [&taken](const Request& request) -> Reply {
    if (request.path.empty()) return Hello();
    if (request.path.front() == "large") {
      return Response{200, "text/plain", std::make_shared<const std::string>(3 << 20, 'x')};
    }
    return std::make_unique<Pieces>(taken);
  };
  Serve();
  std::vector<std::unique_ptr<Client>> connections;
  const auto ask = [&](const std::string& address, const std::string& target) {
    connections.push_back(Connect());
    connections.back()->Send(getFor(address, target));
    return connections.back()->Receive("\r\n\r\n");
  };
  for (int i = 1; i <= 2; ++i) {
    EXPECT_THAT(ask("10.0.0.1", "/pieces"), StartsWith("HTTP/1.1 200 "));
    ASSERT_TRUE(test::eventually([&] { return taken == i; }));
  }
  EXPECT_THAT(ask("10.0.0.1", "/large"), StartsWith("HTTP/1.1 503 "));
  EXPECT_THAT(Refusals(), testing::ElementsAre("unsent 10.0.0.1"));
  EXPECT_THAT(ask("10.0.0.1", "/"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(ask("10.0.0.1", "/pieces"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(ask("10.0.0.2", "/large"), StartsWith("HTTP/1.1 200 ")) << "more than a share, but nothing else waits";
  EXPECT_EQ(taken, 2) << "the third stream of the first address waits";
  EXPECT_THAT(ask("10.0.0.3", "/pieces"), StartsWith("HTTP/1.1 200 "));
  EXPECT_TRUE(test::eventually([&] { return taken == 3; }));
}

TEST_F(Sessions, KnowAnIpv4ClientByItsAddressWhenTheyListenOnIpv6) {
  settings.listen = "[::]:0";
  try {
    Serve();
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "no IPv6 here";
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(std::stoi(server->Url().substr(server->Url().rfind(':') + 1))));
  const Client client(reinterpret_cast<const sockaddr*>(&address), sizeof address);
  client.Send("GET / HTTP/1.1\r\nHost: evil.example\r\nConnection: close\r\n\r\n");
  EXPECT_THAT(client.Receive(), StartsWith("HTTP/1.1 403 "));
  EXPECT_THAT(Refusals(), testing::ElementsAre("host 127.0.0.1"));
}

}  // namespace corvalux::gateway
