#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "corvalux/host.h"

namespace sim {

/// A module's shared library, loaded and checked as the engine does it. The destructor unloads it.
/// Threads: use on the host's thread.
class LoadedModule {
 public:
  /// Throws std::runtime_error, with a one-sentence reason, when the file cannot be loaded or is not a module.
  explicit LoadedModule(const std::filesystem::path& file);

  const PluginEntry& Entry() const { return *entry; }
  std::string Name() const { return entry->name; }
  std::string Version() const { return version; }

 private:
  struct Unload {
    void operator()(void* handle) const;
  };

  const void* Symbol(const char* name) const;
  void CheckEntry() const;

  std::filesystem::path file;
  std::unique_ptr<void, Unload> library;
  const PluginEntry* entry = nullptr;
  std::string version;
};

}  // namespace sim
