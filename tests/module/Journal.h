#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "module/GrpcCalls.h"
#include "sim/Engine.h"

namespace test {

/// All that can be seen of a module, in one order: its log lines ("LEVEL text"), its calls of the engine and of the
/// gRPC library, and which of the watched blocks it frees. Owns the log for its lifetime. Thread-safe, but for Watch.
class Journal {
 public:
  Journal(const sim::Engine& engine, GrpcCalls& grpc);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Adds an entry "NAME freed" when this thread frees the block. One journal at a time may watch.
  void Watch(const void* block, const std::string& name);

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
  std::vector<std::pair<const void*, std::string>> watched;
};

}  // namespace test
