// Publishes messages of devices with the C client of NATS and nothing else: what the gateway's publishing is compared
// with. Prints the CPU time of a message in ns.
#include <nats/nats.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

void require(natsStatus status) {
  if (status != NATS_OK) throw std::runtime_error(natsStatus_GetText(status));
}

/// With the options of the gateway that cost something.
natsConnection* connect(const char* url) {
  natsOptions* options = nullptr;
  natsConnection* connection = nullptr;
  require(natsOptions_Create(&options));
  require(natsOptions_SetURL(options, url));
  require(natsOptions_SetSendAsap(options, true));
  require(natsConnection_Connect(&connection, options));
  natsOptions_Destroy(options);
  return connection;
}

/// With the headers of a fleet; the texts are made as they are in the gateway, but for its name.
void publish(natsConnection* connection, const std::string& subject, const std::string& payload, int sequence) {
  natsMsg* message = nullptr;
  require(natsMsg_Create(&message, subject.c_str(), nullptr, payload.data(), static_cast<int>(payload.size())));
  const double now = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
  require(natsMsgHeader_Set(message, "Corvalux-Origin", "plain 0123456789abcdef"));
  require(natsMsgHeader_Set(message, "Corvalux-Sequence", std::to_string(sequence).c_str()));
  require(natsMsgHeader_Set(message, "Corvalux-Age", std::to_string(0.0001).c_str()));
  require(natsMsgHeader_Set(message, "Corvalux-Clock", std::to_string(now).c_str()));
  require(natsConnection_PublishMsg(connection, message));
  natsMsg_Destroy(message);
}

int64_t cpuNs() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

/// On subjects that no gateway hears. `together` of the devices have their messages at the same time, as from one
/// device under so many names.
void run(const char* url, int devices, int together, int perSecond, int seconds) {
  natsConnection* connection = connect(url);
  const std::vector<std::string> payloads(static_cast<std::size_t>(devices), std::string(4032, 'x'));
  const auto step = std::chrono::nanoseconds(std::chrono::seconds(1)) * together / devices / perSecond;
  const int all = devices * perSecond * seconds;
  const int64_t before = cpuNs();
  auto next = Clock::now();
  for (int number = 0; number < all; ++number) {
    if (number % together == 0) std::this_thread::sleep_until(next += step);
    const int device = number % devices;
    const std::string subject = "corvalux.v0.plain-" + std::to_string(device) + ".fast";
    publish(connection, subject, payloads[static_cast<std::size_t>(device)], number / devices + 1);
  }
  std::printf("%.0f\n", static_cast<double>(cpuNs() - before) / all);
  natsConnection_Destroy(connection);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return std::fputs("corvalux-bench-plain URL DEVICES TOGETHER PER-SECOND SECONDS\n", stderr), 2;
  try {
    run(argv[1], std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvalux-bench-plain: %s\n", error.what());
    return 1;
  }
  return 0;
}
