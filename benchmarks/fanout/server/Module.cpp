#include <cstdlib>
#include <stdexcept>

#include "fanout/Protocol.h"
#include "fanout/server/Subject.h"
#include "sim/Instance.h"
#include "sim/LoadedModule.h"

namespace bench {

namespace {

class ModuleSubject final : public Subject {
 public:
  ModuleSubject(sim::Engine& engine, uint16_t port, const char* file) : module(file), instance(module.Entry(), engine) {
    if (instance.Start(moduleConfig(port)) != 0) throw std::runtime_error("the module did not start");
  }

 private:
  sim::LoadedModule module;
  sim::Instance instance;
};

}  // namespace

std::unique_ptr<Subject> startModule(sim::Engine& engine, uint16_t port) {
  return std::make_unique<ModuleSubject>(engine, port, CORVALUX_MODULE_FILE);
}

std::unique_ptr<Subject> startEarlier(sim::Engine& engine, uint16_t port) {
  const char* file = std::getenv(earlierModule);
  if (!file) throw std::runtime_error("no file of an earlier module is named");
  return std::make_unique<ModuleSubject>(engine, port, file);
}

}  // namespace bench
