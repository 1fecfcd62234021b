// The listening addresses: how the text is split, and what happens when one is not free.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "module/RecordedTest.h"

namespace {

using test::Texts;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class Addresses : public test::RecordedTest {
 protected:
  int32_t StartOn(const std::string& addresses) { return instance.Start({{"serverUrl", addresses}}); }

  Texts Ports() const { return grpc.Only({"AddListeningPort"}); }

  /// The log after the start banner.
  Texts Lines() const {
    const Texts lines = log.Texts();
    return lines.empty() ? lines : Texts(lines.begin() + 1, lines.end());
  }

  const std::string other = dir.UnixAddress("other");
};

TEST_F(Addresses, TwoAreBothAddedAndServed) {
  ASSERT_EQ(StartOn(address + " " + other), 0);
  EXPECT_THAT(Ports(), ElementsAre("AddListeningPort " + address, "AddListeningPort " + other));
  EXPECT_THAT(Lines(), ElementsAre("1 serverUrl: " + address + " " + other,
                                   "2 grpc: creating services for gRPC callback APIs..", "1 AddListening on " + address,
                                   "1 AddListening on " + other, "1 Server listening on " + address + " " + other));
  EXPECT_TRUE(test::listening(address));
  EXPECT_TRUE(test::listening(other));
}

TEST_F(Addresses, AnEmptyPieceBetweenTwoSpacesIsSkipped) {
  ASSERT_EQ(StartOn(address + "  " + other), 0);
  EXPECT_THAT(Ports(), ElementsAre("AddListeningPort " + address, "AddListeningPort " + other));
  EXPECT_EQ(log.Count(1, "Server listening on " + address + "  " + other), 1U);
}

TEST_F(Addresses, ALeadingSpaceIsSkipped) {
  ASSERT_EQ(StartOn(" " + address), 0);
  EXPECT_THAT(Ports(), ElementsAre("AddListeningPort " + address));
}

TEST_F(Addresses, OnlySpacesSeparate) {
  const std::string one = "unix:" + (dir.Path() / "one\tsocket").string();
  ASSERT_EQ(StartOn(one), 0);
  EXPECT_THAT(Ports(), ElementsAre("AddListeningPort " + one));
}

TEST_F(Addresses, ATrailingSpaceAddsAnEmptyAddressAndFailsTheStart) {
  EXPECT_EQ(StartOn(address + " "), -1);
  EXPECT_THAT(Ports(), ElementsAre("AddListeningPort " + address, "AddListeningPort "));
  EXPECT_THAT(Lines(), ElementsAre("1 serverUrl: " + address + " ",
                                   "2 grpc: creating services for gRPC callback APIs..", "1 AddListening on " + address,
                                   "1 AddListening on ", "3 error starting Server listening on " + address + " ",
                                   "4 error while starting grpc server!", "4 gRPC module error starting",
                                   "1 destroying gRPC Notifications service", "1 destroying gRPC Meters service"));
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_FALSE(Listening());
  EXPECT_THAT(engine.Calls(), IsEmpty());
}

TEST_F(Addresses, AnEmptyTextFailsTheStartBeforeAnythingIsBuilt) {
  EXPECT_EQ(StartOn(""), -1);
  EXPECT_THAT(Lines(),
              ElementsAre("1 serverUrl: ", "4 error while starting grpc server!", "4 gRPC module error starting"));
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_THAT(grpc.All(), IsEmpty());
  EXPECT_THAT(engine.Calls(), IsEmpty());
}

TEST_F(Addresses, ANullTextIsAnExceptionThatKeepsTheStateForStop) {
  EXPECT_EQ(instance.Start({{"serverUrl", sim::UnknownKind{KEY_VALUE_TEXT, 0}}}), -1);
  EXPECT_THAT(Lines(), ElementsAre(StartsWith("1 serverUrl: "),
                                   "1 C++ exception in grpc: basic_string: construction from null is not valid"));
  EXPECT_NE(Slot(), nullptr);
  EXPECT_THAT(grpc.All(), IsEmpty());
  instance.Stop();
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_EQ(log.Texts().back(), "2 stopCycle(grpc)");
}

/// Listens on a port, and does not share it, unlike gRPC's own listeners.
class TakenPort {
 public:
  TakenPort() : socket(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    auto* const any = reinterpret_cast<sockaddr*>(&name);
    if (bind(socket, any, size) != 0 || listen(socket, 1) != 0 || getsockname(socket, any, &size) != 0) {
      ADD_FAILURE() << "no port to take";
    }
    address = "127.0.0.1:" + std::to_string(ntohs(name.sin_port));
  }
  ~TakenPort() { close(socket); }
  TakenPort(const TakenPort&) = delete;
  TakenPort& operator=(const TakenPort&) = delete;

  std::string address;

 private:
  const int socket;
};

TEST_F(Addresses, ATakenPortFailsTheStart) {
  const TakenPort taken;
  EXPECT_EQ(StartOn(taken.address), -1);
  EXPECT_THAT(Lines(),
              ElementsAre("1 serverUrl: " + taken.address, "2 grpc: creating services for gRPC callback APIs..",
                          "1 AddListening on " + taken.address, "3 error starting Server listening on " + taken.address,
                          "4 error while starting grpc server!", "4 gRPC module error starting",
                          "1 destroying gRPC Notifications service", "1 destroying gRPC Meters service"));
  EXPECT_EQ(Slot(), nullptr);
  EXPECT_THAT(engine.Calls(), IsEmpty());
}

TEST_F(Addresses, AFailedStartCanBeRepairedByAnother) {
  EXPECT_EQ(StartOn(""), -1);
  EXPECT_EQ(StartOn(address), 0);
  EXPECT_TRUE(Listening());
}

}  // namespace
