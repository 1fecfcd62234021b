#include "gateway/settings/CommandLine.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <string>

#include "gateway/settings/DeviceList.h"
#include "gateway/settings/Names.h"
#include "gateway/settings/OptionsFile.h"
#include "program/Between.h"

namespace corvalux::gateway {

namespace {

using program::between;

constexpr const char* description =
    "Follows devices as an ordinary client and serves what they send to scripts and monitoring over HTTP.";

constexpr const char* footer =
    "\n"
    "PATTERN: * matches within a segment of a key, ** across segments.\n"
    "\n"
    "FILE is TOML with a key for each option, without its dashes; see corvalux-gateway(1):\n"
    "  listen = \"127.0.0.1:8080\"\n"
    "  device = [\"desk=10.0.0.5\", \"stage=10.0.0.6:50005\"]\n"
    "\n"
    "SIGHUP reads the devices again. SIGTERM and SIGINT end the program.\n"
    "\n"
    "Exit codes:\n"
    "  0  ended by a signal; or --check-config found nothing wrong\n"
    "  1  cannot listen, or something failed that should not\n"
    "  2  the command line or the file is wrong\n";

/// The options' texts, before they are put into place.
struct Texts {
  std::vector<std::string> devices;
  std::vector<std::string> hosts;
  std::vector<std::string> origins;
  std::vector<std::string> proxies;
  std::vector<std::string> levels;
};

CLI::Validator count(double least, double most) {
  return between(least, most,
                 "a number from " + std::to_string(static_cast<int64_t>(least)) + " to " +
                     std::to_string(static_cast<int64_t>(most)));
}

template <typename Number>
void addNumber(CLI::App& app, const char* name, Number& number, const char* help, double least, double most) {
  app.add_option(name, number, help)->type_name("N")->check(count(least, most))->capture_default_str();
}

void addSeconds(CLI::App& app, const char* name, std::chrono::seconds& time, const char* help, double most) {
  const auto set = [&time](int64_t seconds) { time = std::chrono::seconds(seconds); };
  app.add_option_function<int64_t>(name, set, help)
      ->type_name("N")
      ->check(count(1, most))
      ->default_str(std::to_string(time.count()))
      ->run_callback_for_default(false);
}

/// Each time one, so that a device may follow.
CLI::Option* addTexts(CLI::App& app, const char* name, std::vector<std::string>& texts, const char* type,
                      const char* help) {
  return app.add_option(name, texts, help)
      ->type_name(type)
      ->expected(1, std::numeric_limits<int>::max())
      ->allow_extra_args(false);
}

void addMain(CLI::App& app, Settings& settings, Texts& texts) {
  addTexts(app, "device,--device", texts.devices, "[NAME=]ADDRESS",
           "A device; HOST, HOST:PORT, [IPV6]:PORT or unix:PATH")
      ->allow_extra_args();
  app.add_option("--listen", settings.http.listen, "ADDRESS:PORT or unix:PATH; port 0 takes a free one")
      ->type_name("WHERE")
      ->capture_default_str();
  app.add_option("--page", settings.page, "Folder of the page's files; the installed one if it is not given")
      ->type_name("FOLDER")
      ->check(CLI::ExistingDirectory);
  app.config_formatter(std::make_shared<OptionsFile>(app));
  app.set_config("--config", "", "Read options from FILE")->type_name("FILE");
  app.add_flag("--check-config", settings.checkOnly, "Say whether the options are right, and end")->configurable(false);
}

void addWho(CLI::App& app, Texts& texts) {
  addTexts(app, "--allow-host", texts.hosts, "NAME",
           "A name that requests may come under, beside addresses and localhost");
  addTexts(app, "--allow-origin", texts.origins, "ORIGIN", "A page's origin that may ask, as https://desk.example");
  addTexts(app, "--trusted-proxy", texts.proxies, "ADDRESS",
           "A proxy whose X-Forwarded-For counts; unix for clients of a socket file");
}

void addLimits(CLI::App& app, Settings& settings) {
  HttpSettings& http = settings.http;
  addNumber(app, "--max-clients", http.admission.clients, "Connections in all", 1, 100'000);
  addNumber(app, "--max-clients-per-address", http.admission.perAddress, "Connections of one address", 1, 100'000);
  addNumber(app, "--max-requests", http.admission.requestsPerSecond, "Requests of one address a second", 1, 100'000);
  addNumber(app, "--max-header", http.headerBytes, "Bytes of a request's header", 512, 65'536);
  addSeconds(app, "--header-time", http.headerTime, "Seconds for a request's header", 3'600);
  addSeconds(app, "--idle-time", http.idleTime, "Seconds until the next request", 3'600);
  addSeconds(app, "--stall-time", http.stallTime, "Seconds without progress of a write", 3'600);
  addNumber(app, "--max-unsent", http.unsentBytes, "Bytes of responses that wait for slow clients", 1'048'576, 1e10);
  addNumber(app, "--max-patterns", settings.api.patterns, "Patterns of a request", 1, 1'000);
  addNumber(app, "--max-hz", settings.api.hz, "Rate that a reader may ask for", 1, 1'000);
  addNumber(app, "--max-viewers", settings.live.viewers, "Viewers in all", 1, 100'000);
  addNumber(app, "--max-subscriptions", settings.live.subscriptions, "Subscriptions of a viewer", 1, 1'000);
  addNumber(app, "--max-viewer-message", settings.live.messageBytes, "Bytes of a viewer's message", 512, 1'048'576);
  addNumber(app, "--max-viewer-messages", settings.live.messagesPerSecond, "Messages of a viewer a second", 1, 10'000);
  addNumber(app, "--max-metrics", settings.api.metricsBytes, "Bytes of a page of metrics", 65'536, 1e9);
  addNumber(app, "--max-frame", settings.device.limits.frameBytes, "Bytes of a device's message", 1'024, 1e9);
  addNumber(app, "--max-keys", settings.device.limits.keys, "Keys of a device", 1, 10'000'000);
  addNumber(app, "--max-key", settings.device.limits.keyBytes, "Bytes of a key", 1, 1'048'576);
}

void addFleet(CLI::App& app, Settings& settings) {
  app.add_option("--nats", settings.fleet.url, "Share devices with the gateways on this NATS server")->type_name("URL");
  app.add_option("--nats-password-file", settings.fleet.passwordFile, "File with the password of that URL's user")
      ->type_name("FILE");
  app.add_option("--name", settings.fleet.name, "This gateway's name there; made from the host's if it is not given")
      ->type_name("NAME");
  addNumber(app, "--max-fleet-devices", settings.fleet.devices, "Devices of other gateways", 1, 100'000);
}

void addMetrics(CLI::App& app, Settings& settings, Texts& texts) {
  addTexts(app, "--levels", texts.levels, "PATTERN", "Keys whose least and greatest level the metrics have");
  addSeconds(app, "--level-window", settings.device.levelWindow, "Seconds that these are of", 3'600);
}

void placeFleet(FleetSettings& fleet) {
  fleet.name = fleetName(fleet.name);
  if (fleet.url.empty()) return;
  fleet.url = natsUrl(fleet.url, fleet.passwordFile);
  if (!CORVALUX_FLEET) throw std::invalid_argument("--nats: this build has no fleet, since libnats was not there");
}

void place(const Texts& texts, Settings& settings) {
  settings.devices = deviceList(texts.devices);
  checkListen(settings.http.listen);
  for (const std::string& host : texts.hosts) settings.http.names.hosts.insert(hostName(host));
  for (const std::string& origin : texts.origins) settings.http.names.origins.insert(originName(origin));
  for (const std::string& proxy : texts.proxies) settings.http.trustedProxies.insert(proxyName(proxy));
  settings.device.levels = Patterns(texts.levels);
  settings.live.patterns = settings.api.patterns;
  settings.live.rate = settings.api.hz;
  settings.live.unsentBytes = settings.http.unsentBytes;
  settings.live.helloTime = settings.http.headerTime;
  placeFleet(settings.fleet);
  settings.live.patience = settings.http.stallTime;
}

}  // namespace

std::optional<Settings> readSettings(int argc, const char* const* argv) {
  Settings settings;
  Texts texts;
  CLI::App app(description, "corvalux-gateway");
  app.set_help_flag();  // it comes last
  app.footer(footer);
  app.get_formatter()->column_width(36);
  app.allow_config_extras(CLI::config_extras_mode::error);
  addMain(app, settings, texts);
  addFleet(app, settings);
  addWho(app, texts);
  addMetrics(app, settings, texts);
  addLimits(app, settings);
  app.set_version_flag("--version", CORVALUX_VERSION, "Show the version");
  app.set_help_flag("-h,--help", "Show this text");
  try {
    app.parse(argc, argv);
    place(texts, settings);
  } catch (const CLI::Success& shown) {
    app.exit(shown);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
  return settings;
}

}  // namespace corvalux::gateway
