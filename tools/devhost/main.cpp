// The development host: simulates the engine for a module, to see the module run.
#include <exception>
#include <variant>

#include "devhost/LogPrinter.h"
#include "devhost/Report.h"
#include "devhost/Run.h"

int main(int argc, char** argv) {
  namespace devhost = corvalux::devhost;
  using devhost::ExitCode;
  try {
    const program::StopSignals stopSignals;
    const auto parsed = devhost::parse(argc, argv);
    if (const auto* code = std::get_if<ExitCode>(&parsed)) return static_cast<int>(*code);
    const auto& options = std::get<devhost::Options>(parsed);
    const devhost::LogPrinter logPrinter(options.logLevel);
    return static_cast<int>(devhost::run(options, stopSignals));
  } catch (const std::exception& error) {
    devhost::complain(error.what());
    return static_cast<int>(ExitCode::notLoaded);
  }
}
