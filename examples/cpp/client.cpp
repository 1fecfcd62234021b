// Shows the fast meters of a corvalux device: client [ADDRESS]
#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <random>
#include <thread>

#include "corvalux/grpc/streams.grpc.pb.h"

using namespace corvalux::grpc;
using namespace std::chrono_literals;

std::shared_ptr<grpc::Channel> connect(const char* address) {
  grpc::ChannelArguments arguments;
  arguments.SetInt("grpc.http2.bdp_probe", 0);           // else the window grows and fills with old meters
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, 10'000);  // the server allows a ping every 5 s
  arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 5'000);
  arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);  // ping in a long silence, too
  arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, 8'000);
  return grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
}

// Subscribes on a thread of its own, with retries, and keeps the newest meters.
class Receiver {
 public:
  explicit Receiver(const char* address) : stub(Meters::NewStub(connect(address))) {}

  // Empty when nothing has come since the last call.
  Meter Take() {
    const std::lock_guard lock(mutex);
    return std::exchange(newest, Meter());
  }

 private:
  void Run(const std::stop_token& stop) {
    std::mt19937 random(std::random_device{}());
    for (auto delay = 500ms; !stop.stop_requested(); delay = std::min(2 * delay, 8'000ms)) {
      grpc::ClientContext context;
      const std::stop_callback cancel(stop, [&context] { context.TryCancel(); });
      const auto stream = stub->GetMetersFast(&context, {});
      for (Meter meter; stream->Read(&meter); delay = 500ms) {
        const std::lock_guard lock(mutex);
        newest = std::move(meter);
      }
      const std::string reason = stream->Finish().error_message();
      const auto jittered = delay * std::uniform_real_distribution(0.75, 1.25)(random);
      if (!stop.stop_requested()) std::fprintf(stderr, "\nno meters: %s; trying again\n", reason.c_str());
      std::unique_lock lock(mutex);
      wake.wait_for(lock, stop, jittered, [] { return false; });
    }
  }

  const std::unique_ptr<Meters::Stub> stub;
  std::mutex mutex;
  std::condition_variable_any wake;
  Meter newest;  // guarded by mutex
  std::jthread thread{[this](const std::stop_token& stop) { Run(stop); }};
};

std::atomic<bool> ended = false;

int main(int argc, char** argv) {
  for (const int number : {SIGINT, SIGTERM}) std::signal(number, [](int) { ended = true; });
  Receiver receiver(argc > 1 ? argv[1] : "127.0.0.1:50005");
  for (; !ended; std::this_thread::sleep_for(100ms)) {  // redraws ten times a second, however fast the meters come
    const Meter meter = receiver.Take();
    if (meter.entries_size() > 0) std::printf("\r");
    for (const auto& entry : meter.entries())
      if (entry.key().ends_with("/peak")) std::printf("%7.1f", entry.value().float_value());
    std::fflush(stdout);
  }
  std::printf("\n");
}
