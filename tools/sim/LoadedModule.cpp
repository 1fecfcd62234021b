#include "sim/LoadedModule.h"

#include <dlfcn.h>

#include <stdexcept>

namespace sim {

namespace {

constexpr const char* entrySymbol = "plugin_entry_0_6";
constexpr const char* versionSymbol = "plugin_entry_corvalux_module_version";

[[noreturn]] void reject(const std::filesystem::path& file, const std::string& why) {
  throw std::runtime_error(file.string() + " is not a module for this host: " + why);
}

}  // namespace

void LoadedModule::Unload::operator()(void* handle) const { dlclose(handle); }

LoadedModule::LoadedModule(const std::filesystem::path& file) : file(file) {
  if (!std::filesystem::exists(file)) throw std::runtime_error("there is no module file " + file.string());
  library.reset(dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL));
  if (!library) throw std::runtime_error(std::string("the module cannot be loaded: ") + dlerror());
  entry = static_cast<const PluginEntry*>(Symbol(entrySymbol));
  version = *static_cast<const char* const*>(Symbol(versionSymbol));
  CheckEntry();
}

const void* LoadedModule::Symbol(const char* name) const {
  const void* symbol = dlsym(library.get(), name);
  if (!symbol) reject(file, std::string("it has no symbol ") + name);
  return symbol;
}

void LoadedModule::CheckEntry() const {
  if (!entry->name) reject(file, "its descriptor has no name");
  if (!entry->startCycle || !entry->stopCycle) reject(file, "its descriptor lacks the start or the stop routine");
  if (entry->unused1 || entry->unused3 || entry->unused5 || entry->unused6) {
    reject(file, "its descriptor has entry points that this host does not know");
  }
  if (entry->word7 != 1) reject(file, "the last word of its descriptor is not 1");
}

}  // namespace sim
