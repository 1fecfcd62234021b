#pragma once

#include "corvalux/host.h"

/// Writes a line to the host's log: [any-thread]. A macro, because the line carries the file and line of the call. The
/// build maps __FILE__ to a path relative to the repository's root, so that builds are reproducible.
#define CORVALUX_LOG(level, ...) corvalux_log(level, __FILE__, __LINE__, 1, __VA_ARGS__)

namespace corvalux::grpc {

/// Levels of the host's log.
enum LogLevel : int32_t {
  logDetail = 1,
  logLifecycle = 2,
  logWarning = 3,
  logError = 4,
};

}  // namespace corvalux::grpc
