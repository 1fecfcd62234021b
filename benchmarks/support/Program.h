#pragma once

#include <cstdio>
#include <exception>
#include <filesystem>

namespace bench {

/// What main() returns: what `run` does, or 1 and a line that says why it could not.
inline int runProgram(int argc, char** argv, int (*run)(int, char**)) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", std::filesystem::path(argv[0]).filename().c_str(), error.what());
    return 1;
  }
}

}  // namespace bench
