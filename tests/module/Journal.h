#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "engine/Engine.h"
#include "module/GrpcCalls.h"

namespace test {

/// One sequence of all that can be seen of a module: its log lines ("LEVEL text"), what it asks of the engine, and
/// what it asks of the gRPC library. Takes the log for itself while it lives. Thread-safe.
class Journal {
 public:
  Journal(const sim::Engine& engine, GrpcCalls& grpc);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// The entries since this was made, or since the last Clear.
  std::vector<std::string> Entries();
  void Clear();

 private:
  void Add(const std::string& entry);
  void AddEngineCallsLocked();

  const sim::Engine& engine;
  GrpcCalls& grpc;
  std::mutex mutex;
  std::size_t seen = 0;              // guarded by mutex; of the engine's calls
  std::vector<std::string> entries;  // guarded by mutex
};

}  // namespace test
