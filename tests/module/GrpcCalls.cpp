#include "module/GrpcCalls.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

namespace test {

namespace {

struct Recorder {
  std::mutex mutex;
  bool active = false;  // guarded by mutex, as is all that follows
  std::vector<std::string> calls;
  std::optional<ShutdownWait> shutdown;
  std::string address;  // empty: the module's own
  std::string raiseIn;  // empty: nowhere
  std::function<void()> raise;
  std::function<void(const std::string&)> observer;
};

Recorder recorder;
std::atomic<std::size_t> naps = 0;

}  // namespace

GrpcCalls::GrpcCalls() {
  const std::lock_guard lock(recorder.mutex);
  recorder.active = true;
  naps = 0;
}

GrpcCalls::~GrpcCalls() {
  const std::lock_guard lock(recorder.mutex);
  recorder.active = false;
  recorder.calls.clear();
  recorder.shutdown.reset();
  recorder.address.clear();
  recorder.raiseIn.clear();
  recorder.observer = nullptr;
}

std::vector<std::string> GrpcCalls::All() const { return Only({""}); }

std::vector<std::string> GrpcCalls::Only(const std::vector<std::string>& beginnings) const {
  const std::lock_guard lock(recorder.mutex);
  std::vector<std::string> found;
  for (const std::string& call : recorder.calls) {
    const auto begins = [&call](const std::string& beginning) { return call.starts_with(beginning); };
    if (std::any_of(beginnings.begin(), beginnings.end(), begins)) found.push_back(call);
  }
  return found;
}

void GrpcCalls::ListenInsteadOn(const std::string& address) {
  const std::lock_guard lock(recorder.mutex);
  recorder.address = address;
}

void GrpcCalls::RaiseIn(const std::string& beginning, std::function<void()> raise) {
  const std::lock_guard lock(recorder.mutex);
  recorder.raiseIn = beginning;
  recorder.raise = std::move(raise);
}

void GrpcCalls::SetObserver(std::function<void(const std::string&)> observer) {
  const std::lock_guard lock(recorder.mutex);
  recorder.observer = std::move(observer);
}

std::optional<ShutdownWait> GrpcCalls::LastShutdown() const {
  const std::lock_guard lock(recorder.mutex);
  return recorder.shutdown;
}

std::size_t GrpcCalls::Naps() { return naps; }

void GrpcCalls::Note(const std::string& call) {
  std::unique_lock lock(recorder.mutex);
  if (!recorder.active) return;
  recorder.calls.push_back(call);
  const auto observer = recorder.observer;
  const bool raises = !recorder.raiseIn.empty() && call.starts_with(recorder.raiseIn);
  const auto raise = recorder.raise;
  lock.unlock();
  if (observer) observer(call);
  if (raises) raise();
}

void GrpcCalls::NoteShutdownWait(const ShutdownWait& wait) {
  const std::lock_guard lock(recorder.mutex);
  recorder.shutdown = wait;
}

void GrpcCalls::NoteSleep(const timespec& time) {
  if (time.tv_sec == 0 && time.tv_nsec == 50'000'000) ++naps;
}

std::string GrpcCalls::ListeningAddress(const std::string& asked) {
  const std::lock_guard lock(recorder.mutex);
  return recorder.active && !recorder.address.empty() ? recorder.address : asked;
}

}  // namespace test
