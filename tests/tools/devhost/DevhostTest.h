#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TempDir.h"

namespace test {

/// The development host as a child process.
class DevhostTest : public testing::Test {
 protected:
  /// Runs the program with `arguments` as they are.
  Process& RunPlain(std::vector<std::string> arguments);

  /// Runs it on an address of its own.
  Process& Run(std::vector<std::string> arguments = {});

  TempDir dir;
  const std::string address = dir.UnixAddress();
  std::unique_ptr<Process> process;
};

}  // namespace test
