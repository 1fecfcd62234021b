#include <sys/socket.h>

#include <array>
#include <string>

#include "fanout/BrokerProtocol.h"
#include "fanout/Sockets.h"
#include "fanout/server/Refill.h"
#include "fanout/server/Subject.h"

namespace bench {

namespace {

class PublisherSubject final : public Subject {
 public:
  PublisherSubject(sim::Engine& engine, uint16_t port, std::string broker)
      : broker(std::move(broker)), socket(connectTo(port)) {
    sendAll(socket, connectBytes(this->broker));
    hearMeters(
        engine, [](KeyValueList list, void* user) { static_cast<PublisherSubject*>(user)->Hear(list); }, this);
  }

 private:
  void Hear(KeyValueList list) {
    refill(list, message);
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
  corvalux::grpc::Meter message;
  std::string bytes;
};

}  // namespace

std::unique_ptr<Subject> startPublisher(sim::Engine& engine, uint16_t port, const std::string& broker) {
  return std::make_unique<PublisherSubject>(engine, port, broker);
}

}  // namespace bench
