#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvalux/host.h"
#include "sim/KeyValues.h"

namespace sim {

enum class Event { meterFast, meterSlow, changes };

const char* nameOf(Event event);

struct Registration;

/// Called after each callback, on the same thread, with the time for which the module held that thread.
using CallObserver = std::function<void(Event, std::chrono::nanoseconds)>;

}  // namespace sim

/// A simulated engine: keeps registrations, delivers events to them, and reports misuse (see Misuse.h).
/// Threads: everything is thread-safe. Events are delivered on the thread that emits them; calls of one meter
///   registration never overlap, those of a change registration may.
/// Locks: none is held while a callback runs, except that meter registration's own.
struct CorvaluxEngine {
 public:
  CorvaluxEngine();
  ~CorvaluxEngine();
  CorvaluxEngine(const CorvaluxEngine&) = delete;
  CorvaluxEngine& operator=(const CorvaluxEngine&) = delete;

  /// Delivers a list to every registration for the event, oldest first. The list is destroyed before this returns.
  void Emit(sim::Event event, const sim::KeyValues& values);

  /// Makes the `nth` registration from now fail (1 is the next one).
  void RefuseRegistration(int nth);

  /// Makes the `nth` registration from now throw what `raise` throws; nothing is registered then.
  void RaiseInRegistration(int nth, std::function<void()> raise);

  /// Makes the next removal throw what `raise` throws; the callback stays registered then.
  void RaiseInRemoval(std::function<void()> raise);

  /// The module's registrations and removals so far, in order: "add meterFast", "remove changes", "refuse meterSlow",
  /// ...
  std::vector<std::string> Calls() const;

  /// Clears Calls() and the removed handles, which are otherwise kept: for tests that count memory.
  void Forget();

  /// How many callbacks are registered now.
  std::size_t Registrations() const;

  /// How many list entries the callbacks have visited so far.
  std::size_t Visits() const { return visits; }

  /// Called with the user pointer of each new registration, before the module gets its handle. Runs on the thread that
  /// registers. Set before the first registration.
  void SetRegistrationObserver(std::function<void(sim::Event, const void*)> observer) {
    registrationObserver = std::move(observer);
  }

  /// Called for each list entry just before a callback visits it. Runs on the thread that emits. Set before the first
  /// event.
  void SetVisitObserver(std::function<void()> observer) { visitObserver = std::move(observer); }

  /// What every walk over a list returns from now on; 0 by default. Set before the first event.
  void SetWalkResult(int32_t result) { walkResult = result; }

  /// Set before the first event.
  void SetCallObserver(sim::CallObserver observer) { callObserver = std::move(observer); }

  // The implementation of the host's functions; a wrong thread, handle or kind is reported as misuse.
  CallbackHandle Add(sim::Event event, EngineCallback callback, void* user);
  /// Waits for running calls. `meters`: which of the two removing functions was called.
  void Remove(CallbackHandle handle, bool meters);

 private:
  CallbackHandle Enlist(sim::Event event, EngineCallback callback, void* user);
  std::shared_ptr<sim::Registration> Take(CallbackHandle handle);
  void Deliver(sim::Registration& registration, const sim::KeyValues& values);

  mutable std::mutex mutex;
  std::vector<std::shared_ptr<sim::Registration>> registrations;  // guarded by mutex
  std::vector<std::shared_ptr<sim::Registration>> removed;        // guarded by mutex; kept: handles stay unique
  std::vector<std::string> calls;                                 // guarded by mutex
  int untilRefusal = 0;                                           // guarded by mutex; 0: none refused
  std::function<void()> raiseForRefusal;                          // guarded by mutex; empty: returns null
  std::function<void()> raiseForRemoval;                          // guarded by mutex; empty: none throws
  std::atomic<std::size_t> visits = 0;
  std::function<void(sim::Event, const void*)> registrationObserver;
  std::function<void()> visitObserver;
  int32_t walkResult = 0;
  sim::CallObserver callObserver;
};

namespace sim {

using Engine = CorvaluxEngine;

/// Whether `engine` exists now. Thread-safe.
bool isLive(EngineHandle engine);

/// Sets the engine that a null handle stands for. By default none: a null handle is misuse. Thread-safe.
void setUnnamedEngine(EngineHandle engine);

/// The engine that `handle` stands for. Thread-safe.
EngineHandle resolve(EngineHandle handle);

}  // namespace sim
