// Waits for a message of each stream, within a minute. The compiled schema must name the same messages.
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "corvalux/grpc/streams.grpc.pb.h"

namespace schema = corvalux::grpc;

namespace {

const auto deadline = std::chrono::system_clock::now() + std::chrono::minutes(1);

/// Whether the stream's first message has an entry with this key.
template <typename Message, typename Open>
bool receives(const char* key, Open open) {
  ::grpc::ClientContext context;
  context.set_deadline(deadline);
  context.set_wait_for_ready(true);
  auto reader = open(&context, schema::SubscribeRequest());
  Message message;
  const bool received = reader->Read(&message) && message.entries_size() > 0 && message.entries(0).key() == key;
  std::printf("outside client: %s %s\n", key, received ? "received" : "MISSING");
  return received;
}

bool descriptorSetNames(const std::string& message) {
  std::ifstream file(DESCRIPTOR_SET, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return bytes.find(message) != std::string::npos;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto channel = ::grpc::CreateChannel(argv[1], ::grpc::InsecureChannelCredentials());
  const auto meters = schema::Meters::NewStub(channel);
  const auto notifications = schema::Notifications::NewStub(channel);
  const bool all =
      receives<schema::Meter>("fast", [&](auto... call) { return meters->GetMetersFast(call...); }) &&
      receives<schema::Meter>("slow", [&](auto... call) { return meters->GetMetersSlow(call...); }) &&
      receives<schema::Notification>("change", [&](auto... call) { return notifications->GetNotifications(call...); });
  return all && descriptorSetNames("Notification") ? 0 : 1;
}
