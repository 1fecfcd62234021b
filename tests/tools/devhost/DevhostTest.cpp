#include "DevhostTest.h"

#include <utility>

namespace test {

Process& DevhostTest::RunPlain(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), CORVALUX_DEVHOST_FILE);
  process = std::make_unique<Process>(std::move(arguments));
  return *process;
}

Process& DevhostTest::Run(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--set", "serverUrl=" + address});
  return RunPlain(std::move(arguments));
}

}  // namespace test
