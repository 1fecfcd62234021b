#include "sim/Misuse.h"

#include <mutex>
#include <utility>

namespace sim {

namespace {

std::mutex reportsMutex;
std::vector<std::string> reports;  // guarded by reportsMutex

thread_local int hostCalls = 0;
thread_local int engineCalls = 0;

}  // namespace

void reportMisuse(std::string what) {
  const std::lock_guard lock(reportsMutex);
  reports.push_back(std::move(what));
}

std::vector<std::string> takeMisuse() {
  const std::lock_guard lock(reportsMutex);
  return std::exchange(reports, {});
}

HostCall::HostCall() { ++hostCalls; }
HostCall::~HostCall() { --hostCalls; }
bool HostCall::Active() { return hostCalls > 0 && engineCalls == 0; }

EngineCall::EngineCall() { ++engineCalls; }
EngineCall::~EngineCall() { --engineCalls; }
bool EngineCall::Active() { return engineCalls > 0; }

}  // namespace sim
