#include <sys/socket.h>

#include <array>
#include <string>
#include <utility>

#include "fanout/BrokerProtocol.h"
#include "fanout/Sockets.h"
#include "fanout/server/MeterSubject.h"

namespace bench {

namespace {

class PublisherSubject final : public MeterSubject {
 public:
  PublisherSubject(sim::Engine& engine, uint16_t port, std::string broker)
      : MeterSubject(engine), broker(std::move(broker)), socket(connectTo(port)) {
    sendAll(socket, connectBytes(this->broker));
  }

 private:
  void Send(const corvalux::grpc::Meter& message) override {
    bytes = publishPrefix(broker, message.ByteSizeLong());
    message.AppendToString(&bytes);
    bytes += publishSuffix(broker);
    sendAll(socket, bytes);
    DropAnswers();
  }

  void DropAnswers() {
    std::array<char, 4096> answers;
    while (recv(socket, answers.data(), answers.size(), MSG_DONTWAIT) > 0) {
    }
  }

  const std::string broker;
  const int socket;
  std::string bytes;
};

}  // namespace

std::unique_ptr<Subject> startPublisher(sim::Engine& engine, uint16_t port, const std::string& broker) {
  return std::make_unique<PublisherSubject>(engine, port, broker);
}

}  // namespace bench
