#include "sim/Engine.h"

#include <algorithm>
#include <condition_variable>
#include <set>
#include <thread>
#include <utility>

#include "sim/HostList.h"
#include "sim/Misuse.h"

/// What a CallbackHandle points to; a Registration begins with it.
struct CorvaluxCallback {};

namespace sim {

struct Registration : CorvaluxCallback {
  Registration(Event event, EngineCallback callback, void* user) : event(event), callback(callback), user(user) {}

  const Event event;
  const EngineCallback callback;
  void* const user;
  std::mutex turn;  // held during a meter call: one at a time
  std::mutex mutex;
  std::condition_variable idle;
  std::multiset<std::thread::id> callers;  // guarded by mutex; threads in a call now
  bool removed = false;                    // guarded by mutex

  bool Enter() {
    const std::lock_guard lock(mutex);
    if (removed) return false;
    callers.insert(std::this_thread::get_id());
    return true;
  }

  void Leave() {
    const std::lock_guard lock(mutex);
    callers.erase(callers.find(std::this_thread::get_id()));
    idle.notify_all();
  }

  void WaitUntilIdle() {
    std::unique_lock lock(mutex);
    removed = true;
    if (callers.contains(std::this_thread::get_id())) {
      reportMisuse(std::string("callback removed from within its own call: ") + nameOf(event));
      return;
    }
    idle.wait(lock, [this] { return callers.empty(); });
  }
};

namespace {

std::mutex enginesMutex;
std::set<EngineHandle> engines;        // guarded by enginesMutex
EngineHandle unnamedEngine = nullptr;  // guarded by enginesMutex

}  // namespace

const char* nameOf(Event event) {
  switch (event) {
    case Event::meterFast: return "meterFast";
    case Event::meterSlow: return "meterSlow";
    case Event::changes: return "changes";
  }
  return "?";
}

bool isLive(EngineHandle engine) {
  const std::lock_guard lock(enginesMutex);
  return engines.contains(engine);
}

void setUnnamedEngine(EngineHandle engine) {
  const std::lock_guard lock(enginesMutex);
  unnamedEngine = engine;
}

EngineHandle resolve(EngineHandle handle) {
  const std::lock_guard lock(enginesMutex);
  return handle ? handle : unnamedEngine;
}

}  // namespace sim

using sim::Event;
using sim::Registration;

CorvaluxEngine::CorvaluxEngine() {
  const std::lock_guard lock(sim::enginesMutex);
  sim::engines.insert(this);
}

CorvaluxEngine::~CorvaluxEngine() {
  const std::lock_guard lock(sim::enginesMutex);
  sim::engines.erase(this);
}

void CorvaluxEngine::Emit(Event event, const sim::KeyValues& values) {
  std::vector<std::shared_ptr<Registration>> receivers;
  {
    const std::lock_guard lock(mutex);
    for (const auto& registration : registrations) {
      if (registration->event == event) receivers.push_back(registration);
    }
  }
  for (const auto& receiver : receivers) {
    std::unique_lock turn(receiver->turn, std::defer_lock);
    if (event != Event::changes) turn.lock();
    if (!receiver->Enter()) continue;
    Deliver(*receiver, values);
    receiver->Leave();
  }
}

void CorvaluxEngine::Deliver(Registration& registration, const sim::KeyValues& values) {
  const sim::HostList list(values, visitObserver, walkResult);
  const sim::EngineCall call;
  const auto begin = std::chrono::steady_clock::now();
  registration.callback(list.Handle(), registration.user);
  visits += list.Visits();
  if (callObserver) callObserver(registration.event, std::chrono::steady_clock::now() - begin);
}

void CorvaluxEngine::RefuseRegistration(int nth) { RaiseInRegistration(nth, {}); }

void CorvaluxEngine::RaiseInRegistration(int nth, std::function<void()> raise) {
  const std::lock_guard lock(mutex);
  untilRefusal = nth;
  raiseForRefusal = std::move(raise);
}

void CorvaluxEngine::RaiseInRemoval(std::function<void()> raise) {
  const std::lock_guard lock(mutex);
  raiseForRemoval = std::move(raise);
}

std::vector<std::string> CorvaluxEngine::Calls() const {
  const std::lock_guard lock(mutex);
  return calls;
}

void CorvaluxEngine::Forget() {
  const std::lock_guard lock(mutex);
  // Not clear(): that keeps the vectors' memory.
  calls = decltype(calls)();
  removed = decltype(removed)();
}

std::size_t CorvaluxEngine::Registrations() const {
  const std::lock_guard lock(mutex);
  return registrations.size();
}

CallbackHandle CorvaluxEngine::Add(Event event, EngineCallback callback, void* user) {
  if (!sim::HostCall::Active()) sim::reportMisuse(std::string("callback added on a wrong thread: ") + nameOf(event));
  if (!callback) sim::reportMisuse(std::string("null callback added: ") + nameOf(event));
  const CallbackHandle handle = Enlist(event, callback, user);
  if (handle && registrationObserver) registrationObserver(event, user);
  return handle;
}

CallbackHandle CorvaluxEngine::Enlist(Event event, EngineCallback callback, void* user) {
  const std::lock_guard lock(mutex);
  const bool refuse = untilRefusal > 0 && --untilRefusal == 0;
  calls.push_back(std::string(refuse ? "refuse " : "add ") + nameOf(event));
  if (refuse && raiseForRefusal) raiseForRefusal();
  if (refuse) return nullptr;
  return registrations.emplace_back(std::make_shared<Registration>(event, callback, user)).get();
}

std::shared_ptr<Registration> CorvaluxEngine::Take(CallbackHandle handle) {
  const auto has = [handle](const auto& registration) { return registration.get() == handle; };
  const std::lock_guard lock(mutex);
  if (const auto raise = std::exchange(raiseForRemoval, nullptr)) raise();
  const auto found = std::find_if(registrations.begin(), registrations.end(), has);
  if (found == registrations.end()) {
    const bool before = std::any_of(removed.begin(), removed.end(), has);
    sim::reportMisuse(before ? "handle removed twice" : "unknown handle removed");
    return nullptr;
  }
  auto registration = *found;
  registrations.erase(found);
  removed.push_back(registration);
  calls.push_back(std::string("remove ") + nameOf(registration->event));
  return registration;
}

void CorvaluxEngine::Remove(CallbackHandle handle, bool meters) {
  if (!sim::HostCall::Active()) sim::reportMisuse("callback removed on a wrong thread");
  const auto registration = Take(handle);
  if (!registration) return;
  if (meters == (registration->event == Event::changes)) {
    sim::reportMisuse(std::string("callback removed by the wrong function: ") + nameOf(registration->event));
  }
  registration->WaitUntilIdle();
}
