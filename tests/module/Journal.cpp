#include "module/Journal.h"

#include "engine/Log.h"

namespace test {

Journal::Journal(const sim::Engine& engine, GrpcCalls& grpc) : engine(engine), grpc(grpc) {
  seen = engine.Calls().size();
  grpc.SetObserver([this](const std::string& call) { Add(call); });
  sim::setLogSink([this](const sim::LogLine& line) { Add(std::to_string(line.level) + " " + line.text); });
}

Journal::~Journal() {
  sim::setLogSink({});
  grpc.SetObserver({});
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
