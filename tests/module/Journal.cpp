#include "module/Journal.h"

#include "sim/Log.h"
#include "support/HeapUse.h"

namespace test {

namespace {

Journal* watching = nullptr;

}  // namespace

Journal::Journal(const sim::Engine& engine, GrpcCalls& grpc) : engine(engine), grpc(grpc) {
  seen = engine.Calls().size();
  grpc.SetObserver([this](const std::string& call) { Add(call); });
  sim::setLogSink([this](const sim::LogLine& line) { Add(std::to_string(line.level) + " " + line.text); });
}

Journal::~Journal() {
  sim::setLogSink({});
  grpc.SetObserver({});
  setOnFree(nullptr);
}

void Journal::Watch(const void* block, const std::string& name) {
  watched.emplace_back(block, name);
  watching = this;
  setOnFree([](const void* freed) {
    for (auto& [block, name] : watching->watched) {
      if (block != freed) continue;
      block = nullptr;  // from now on the address may be another block's
      watching->Add(name + " freed");
    }
  });
}

void Journal::Add(const std::string& entry) {
  const std::lock_guard lock(mutex);
  AddEngineCallsLocked();
  entries.push_back(entry);
}

/// The engine has no observer for its calls: those that were made before an entry are added with the entry.
void Journal::AddEngineCallsLocked() {
  const std::vector<std::string> calls = engine.Calls();
  for (; seen < calls.size(); ++seen) entries.push_back(calls[seen]);
}

std::vector<std::string> Journal::Entries() {
  const std::lock_guard lock(mutex);
  AddEngineCallsLocked();
  return entries;
}

void Journal::Clear() {
  const std::lock_guard lock(mutex);
  AddEngineCallsLocked();
  entries.clear();
}

}  // namespace test
