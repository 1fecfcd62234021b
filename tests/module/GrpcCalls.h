#pragma once

#include <grpc/support/time.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace test {

/// How long the library is to wait for a server that it shuts down.
struct ShutdownWait {
  gpr_clock_type clock;                ///< of the deadline
  std::chrono::duration<double> left;  ///< to the deadline when the wait begins; none or less: the deadline has passed
};

/// Records the module's calls of the gRPC library, which still reach it: the program defines these functions itself
/// (GrpcFunctions.cpp), so the loader binds the module to them. One at a time in a process.
/// Threads: use on the host's thread, before a start and after it.
class GrpcCalls {
 public:
  GrpcCalls();
  ~GrpcCalls();
  GrpcCalls(const GrpcCalls&) = delete;
  GrpcCalls& operator=(const GrpcCalls&) = delete;

  /// The calls so far, such as "AddListeningPort unix:/tmp/a", "Resize 1048576", "SetOption name=1".
  std::vector<std::string> All() const;

  /// The calls that begin with one of these texts.
  std::vector<std::string> Only(const std::vector<std::string>& beginnings) const;

  /// Lets the library listen on `address`, whichever address the module names.
  void ListenInsteadOn(const std::string& address);

  /// Raises an exception in the first call that begins so; the library does not get the call.
  void RaiseIn(const std::string& beginning, std::function<void()> raise);

  /// Called for each call, on the thread that makes it.
  void SetObserver(std::function<void(const std::string&)> observer);

  /// The wait of the shutdown that came last, if there was one.
  std::optional<ShutdownWait> LastShutdown() const;

  /// How often a thread slept for exactly 50 ms.
  static std::size_t Naps();

  // Called by the recorded functions, on any thread.
  static void Note(const std::string& call);
  static void NoteShutdownWait(const ShutdownWait& wait);
  static void NoteSleep(const timespec& time);
  /// Where to listen when the module asks for `asked`.
  static std::string ListeningAddress(const std::string& asked);
};

}  // namespace test
