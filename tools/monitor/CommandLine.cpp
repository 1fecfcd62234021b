#include "monitor/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "client/Address.h"
#include "program/Between.h"

namespace corvalux::monitor {

namespace {

using program::between;

constexpr const char* description =
    "Shows the meters and changes that a corvalux engine streams: live on a terminal, one JSON\n"
    "object per line anywhere else.";

constexpr const char* notes =
    "JSON lines:\n"
    "  "
    "{\"stream\":\"fast\",\"time\":1767225600.25,\"entries\":[{\"key\":\"input/1/"
    "peak\",\"kind\":\"float\",\"value\":-12.3}]}\n"
    "  stream is fast, slow or changes; time is when it arrived, in seconds since 1970. Keys may\n"
    "  repeat and their order is the engine's. kind is string, float, int, uint, double,\n"
    "  float_array, int_array, uint_array, or none (value null) for a kind that the server did not\n"
    "  know. Numbers that JSON lacks are the texts \"NaN\", \"Infinity\" and \"-Infinity\". Bytes\n"
    "  of a text that are not UTF-8 are replaced by U+FFFD, with a note on stderr.\n"
    "\n"
    "Examples:\n"
    "  corvalux-monitor mixer.local\n"
    "  corvalux-monitor --json --stream changes unix:/tmp/meters.sock\n"
    "  corvalux-monitor --check mixer.local || echo 'no meters'\n"
    "  corvalux-monitor --record show.recording mixer.local\n"
    "  corvalux-monitor --stream fast --count 1 --no-reconnect 127.0.0.1:50005 | jq .\n"
    "\n"
    "Exit codes:\n"
    "  0  ended by you: Ctrl-C, q, --count, --seconds, or the reader of the output left\n"
    "  1  never connected: with --no-reconnect, or within --seconds\n"
    "  2  the command line is wrong\n"
    "  3  ended by the server, with --no-reconnect\n"
    "  4  the output cannot be written\n"
    "  5  connected, but a meter stream delivered nothing in time: --check and --table\n";

CLI::Validator wholeNumber() {
  return {[](std::string& text) {
            const bool digits = text.size() < 18 && text.find_first_not_of("0123456789") == std::string::npos;
            return digits && text.find_first_not_of('0') != std::string::npos
                       ? std::string()
                       : "takes a whole number above 0, not '" + text + "'";
          },
          ""};
}

CLI::Validator notEmpty() {
  return {[](std::string& text) { return std::string(text.empty() ? "must not be empty" : ""); }, ""};
}

CLI::Validator streamName() {
  return {[](std::string& text) {
            const bool known = std::any_of(client::allStreams.begin(), client::allStreams.end(),
                                           [&](client::Stream stream) { return text == nameOf(stream); });
            return known ? std::string() : "takes fast, slow or changes, not '" + text + "'";
          },
          ""};
}

/// In the order of the streams, each once; all if none is named.
std::vector<client::Stream> streamsOf(const std::vector<std::string>& names) {
  std::vector<client::Stream> streams;
  for (const client::Stream stream : client::allStreams) {
    const bool named = std::find(names.begin(), names.end(), nameOf(stream)) != names.end();
    if (named || names.empty()) streams.push_back(stream);
  }
  return streams;
}

void addSourceOptions(CLI::App& app, Options& options, std::vector<std::string>& names) {
  app.add_option("ADDRESS", options.address,
                 "HOST, HOST:PORT, [IPV6]:PORT or unix:PATH\n(default: " + options.address + ")")
      ->type_name("");
  const auto addStream = [&names](const std::string& name) { names.push_back(name); };
  app.add_option_function<std::string>("--stream", addStream, "fast, slow or changes; repeatable\n(default: all three)")
      ->type_name("STREAM")
      ->check(streamName())
      ->trigger_on_parse();
  app.add_flag_callback(
      "--no-reconnect", [&options] { options.reconnect = false; },
      "End when the connection fails or is lost,\ninstead of retrying indefinitely");
}

/// At most one of the first three.
void addOutputOptions(CLI::App& app, Options& options) {
  const std::vector<CLI::Option*> ways = {
      app.add_flag("--json", options.json, "JSON lines, also on a terminal"),
      app.add_flag("--table", options.table, "Print the current values once, as a table"),
      app.add_flag("--check", options.check, "Print one line that says whether meters arrive,\nand set the exit code")};
  for (CLI::Option* way : ways) {
    for (CLI::Option* other : ways) {
      if (way != other) way->excludes(other);
    }
  }
  app.add_option("--record", options.record, "Also write all messages to a file")->type_name("FILE")->check(notEmpty());
}

void addRunOptions(CLI::App& app, Options& options) {
  app.add_option("--count", options.count, "End after this many messages")->type_name("N")->check(wholeNumber());
  app.add_option("--seconds", options.seconds, "End after this time\n(default with --table and --check: 5)")
      ->type_name("SECONDS")
      ->check(between(0.001, 1e8, "a number from 0.001 to 100000000"));
  app.set_version_flag("--version", CORVALUX_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this text");
}

}  // namespace

std::variant<Options, ExitCode> parse(int argc, const char* const* argv) {
  Options options;
  std::vector<std::string> streams;
  CLI::App app(description, "corvalux-monitor");
  app.set_help_flag();  // it comes last
  app.footer(std::string("\n") + notes);
  app.get_formatter()->column_width(28);
  addSourceOptions(app, options, streams);
  addOutputOptions(app, options);
  addRunOptions(app, options);
  try {
    app.parse(argc, argv);
    if (options.address.empty()) throw CLI::ValidationError("ADDRESS", "must not be empty");
  } catch (const CLI::Success& shown) {
    app.exit(shown);
    return ExitCode::endedByYou;
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "corvalux-monitor: %s (see --help)\n", error.what());
    return ExitCode::usage;
  }
  options.address = client::withPort(options.address);
  options.streams = streamsOf(streams);
  return options;
}

}  // namespace corvalux::monitor
