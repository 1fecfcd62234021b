// A module that says why it does not start, on every level.
#include "corvalux/host.h"

namespace {

int32_t start(HostModuleRecord*, KeyValueList) {
  corvalux_log(1, "some/File.cpp", 11, 1, "a %s", "detail");
  corvalux_log(2, "some/File.cpp", 12, 1, "a note");
  corvalux_log(3, "some/File.cpp", 13, 1, "a warning");
  corvalux_log(4, "some/File.cpp", 14, 1, "an error");
  return -1;
}

void stop(HostModuleRecord*) {}

}  // namespace

const PluginEntry plugin_entry_0_6 = {"refusing", nullptr, start, nullptr, stop, nullptr, nullptr, 1};
const char* const plugin_entry_corvalux_module_version = "1.2.3";
