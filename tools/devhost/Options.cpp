#include "devhost/Options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>

#include "devhost/Configuration.h"
#include "devhost/LogPrinter.h"
#include "program/Between.h"

namespace corvalux::devhost {

namespace {

using program::between;

constexpr const char* description =
    "Simulates the corvalux engine: loads a module, starts it, and feeds it the meters and\n"
    "changes of a mixing desk in use until Ctrl-C, or for --seconds. With --replay it plays\n"
    "a recording of the monitor instead.";

constexpr const char* examples =
    "Examples:\n"
    "  corvalux-devhost\n"
    "      the module that came with this program, on its default address\n"
    "  corvalux-devhost --set serverUrl=unix:/tmp/meters.sock --seconds 10\n"
    "      on a unix socket, for ten seconds\n"
    "  corvalux-devhost --set \"serverUrl=127.0.0.1:50005 [::1]:50005\" --channels 64 --fast-hz 50\n"
    "      on two addresses, with more inputs and faster meters\n"
    "  corvalux-devhost --set grpc_memory_kb=4096 --log-level warning --seed 7\n"
    "      with more memory for clients, fewer log lines, and another scene\n"
    "  corvalux-devhost --misbehave not-utf8 --misbehave unknown-kinds --stats\n"
    "      to see how a client copes with an unusual engine\n"
    "  corvalux-devhost --replay show.recording --pace 0.5 --loop\n"
    "      a recording of corvalux-monitor --record, at half its pace, in a loop\n";

constexpr const char* exitCodes =
    "Exit codes:\n"
    "  0  stopped normally\n"
    "  1  the module cannot be loaded\n"
    "  2  the command line is wrong\n"
    "  3  the module refused to start\n"
    "  4  the module broke the rules of the host's interface (each case is on stderr)\n"
    "  5  the recording cannot be played, or not to its end (stderr says why)\n";

/// The module that was built or installed with this program, relative to the program's path: both can be moved.
std::filesystem::path ownModule() {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const bool installed = folder.filename() == std::filesystem::path(CORVALUX_BINARY_FOLDER).filename();
  return (folder / (installed ? CORVALUX_INSTALLED_MODULE : CORVALUX_BUILT_MODULE)).lexically_normal();
}

/// Turns an exception of an option's parser into an error of that option.
template <typename Reader>
auto reading(const char* option, Reader reader) {
  return [option, reader](const auto& value) {
    try {
      reader(value);
    } catch (const std::invalid_argument& error) {
      throw CLI::ValidationError(option, error.what());
    }
  };
}

/// A default as the help text shows it.
template <typename T>
std::string byDefault(const T& value) {
  std::ostringstream text;
  text << " (default: " << value << ")";
  return text.str();
}

void addModuleOptions(CLI::App& app, Options& options) {
  app.add_option("--module", options.module, "The module to load\n(default: the one that came with this program)")
      ->type_name("FILE")
      ->group("Module");
  const auto setKey = [&options](const std::string& setting) { set(options.config, setting); };
  app.add_option_function<std::string>("--set", reading("--set", setKey),
                                       "Set a key of the module's configuration; repeatable")
      ->type_name("KEY=VALUE")
      ->trigger_on_parse()
      ->group("Module");
}

void addSceneOptions(CLI::App& app, Options& options) {
  const auto cadence = [&app](const char* name, double& hz, const char* what) {
    app.add_option(name, hz, std::string(what) + " a second, up to 1000, 0 for none" + byDefault(hz))
        ->type_name("HZ")
        ->check(between(0, 1000, "a number from 0 to 1000"))
        ->group("Scene");
  };
  std::size_t& channels = options.mixer.channels;
  app.add_option("--channels", channels, "Inputs of the desk, 1 to 1024" + byDefault(channels))
      ->type_name("COUNT")
      ->check(between(1, 1024, "a whole number from 1 to 1024"))
      ->group("Scene");
  cadence("--fast-hz", options.mixer.fastHz, "Fast meter lists");
  cadence("--slow-hz", options.mixer.slowHz, "Slow meter lists");
  cadence("--changes-hz", options.mixer.changesHz, "Lists of changes");
  app.add_option("--seed", options.mixer.seed, "The same seed plays the same scene" + byDefault(options.mixer.seed))
      ->type_name("NUMBER")
      ->check(between(0, 1e18, "a whole number from 0 on"))
      ->group("Scene");
  const auto add = [&options](const std::string& name) { options.misbehaviours.push_back(misbehaviourOf(name)); };
  app.add_option_function<std::string>("--misbehave", reading("--misbehave", add),
                                       "Add allowed but unusual entries to the lists; repeatable:\n"
                                       "unknown-kinds, empty-texts, not-utf8, huge-lists,\n"
                                       "zero-counts, duplicate-keys")
      ->type_name("KIND")
      ->trigger_on_parse()
      ->group("Scene");
}

void addReplayOptions(CLI::App& app, ReplayOptions& options) {
  app.add_option("--replay", options.file, "Play a recording in place of the desk, once, and end")
      ->type_name("FILE")
      ->check([](const std::string& file) { return file.empty() ? "takes a file" : std::string(); })
      ->group("Replay");
  app.add_option("--pace", options.pace, "Speed relative to the recording, 0.001 to 1000" + byDefault(options.pace))
      ->type_name("FACTOR")
      ->check(between(0.001, 1000, "a number from 0.001 to 1000"))
      ->group("Replay");
  app.add_flag("--loop", options.loop, "Restart at the end, until Ctrl-C")->group("Replay");
}

/// A recording has no scene. Checked here instead of declared at each option, because CLI11 would repeat it in the help
/// of each.
void checkReplayOptions(const CLI::App& app) {
  const bool replays = app.count("--replay") > 0;
  for (const char* name : {"--channels", "--fast-hz", "--slow-hz", "--changes-hz", "--seed", "--misbehave"}) {
    if (replays && app.count(name) > 0) throw CLI::ExcludesError(name, "--replay");
  }
  for (const char* name : {"--pace", "--loop"}) {
    if (!replays && app.count(name) > 0) throw CLI::RequiresError(name, "--replay");
  }
}

void addRunOptions(CLI::App& app, Options& options) {
  app.add_option("--seconds", options.seconds, "Stop after this time (default: on Ctrl-C only)")
      ->type_name("SECONDS")
      ->check(between(0.001, 1e8, "a number from 0.001 to 100000000"))
      ->group("Run");
  const auto readLevel = [&options](const std::string& level) { options.logLevel = levelOf(level); };
  app.add_option_function<std::string>("--log-level", reading("--log-level", readLevel),
                                       "Show the module's log lines from this level on:\n"
                                       "detail, lifecycle, warning, error, or 1 to 4\n(default: detail)")
      ->type_name("LEVEL")
      ->group("Run");
  app.add_flag("--stats", options.stats, "Print a line a second: lists, and how long the callbacks took")->group("Run");
  app.add_flag("-q,--quiet", options.quiet, "Print nothing on stdout")->group("Run");
  app.set_version_flag("--version", CORVALUX_VERSION, "Show the version")->group("Run");
  app.set_help_flag("-h,--help", "Show this text")->group("Run");
}

}  // namespace

std::variant<Options, ExitCode> parse(int argc, const char* const* argv) {
  Options options;
  CLI::App app(description, "corvalux-devhost");
  app.set_help_flag();  // it comes last, with its group
  app.footer("\nKeys for --set:\n" + describeKeys() + "\n" + examples + "\n" + exitCodes);
  app.get_formatter()->column_width(28);
  addModuleOptions(app, options);
  addSceneOptions(app, options);
  addReplayOptions(app, options.replay);
  addRunOptions(app, options);
  try {
    app.parse(argc, argv);
    checkReplayOptions(app);
  } catch (const CLI::Success& shown) {
    app.exit(shown);
    return ExitCode::success;
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "corvalux-devhost: %s (see --help)\n", error.what());
    return ExitCode::usage;
  }
  if (options.module.empty()) options.module = ownModule();
  return options;
}

}  // namespace corvalux::devhost
