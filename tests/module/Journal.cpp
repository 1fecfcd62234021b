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
  setOnGiven(nullptr);
}

void Journal::Watch(const void* block, const std::string& name) {
  watched.emplace_back(block, name);
  watching = this;
  setOnGiven([](const void* given) {
    for (auto& [place, nameOfIt] : watching->watched) {
      if (place != given) continue;
      place = nullptr;  // from now on the block is somebody else's
      watching->Add(nameOfIt + " freed");
    }
  });
}

void Journal::Add(const std::string& entry) {
  const std::lock_guard lock(mutex);
  AddEngineCallsLocked();
  entries.push_back(entry);
}

/// The engine tells nobody of its calls; but whatever was asked of it before an entry is there when the entry comes.
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
