#include "gateway/api/Api.h"

#include <algorithm>
#include <boost/beast/http/rfc7230.hpp>
#include <charconv>
#include <stdexcept>

#include "gateway/api/DevicesJson.h"

namespace corvalux::gateway {

namespace {

using client::Stream;
using Clock = Device::Clock;

constexpr std::chrono::seconds metricsAge{1};

constexpr const char* index =
    "corvalux-gateway\n"
    "\n"
    "/                                                   the page, if it is installed\n"
    "/api                                                this text\n"
    "/api/devices                                        all devices, with a summary each\n"
    "/api/devices/NAME/values?keys=PATTERN               present values\n"
    "/api/devices/NAME/stream?streams=fast,slow,changes&keys=PATTERN&hz=RATE\n"
    "                                                    live, as server-sent events\n"
    "/live                                               live, as a WebSocket for viewers\n"
    "/metrics                                            for Prometheus\n"
    "/healthz                                            whether this program runs\n"
    "\n"
    "keys may be repeated; * matches within a segment of a key, ** across segments.\n";

Octets octets(std::string text) { return std::make_shared<const std::string>(std::move(text)); }

Response plain(const char* text) { return {200, "text/plain; charset=utf-8", octets(text)}; }

std::vector<Stream> streamsOf(const std::string& text) {
  std::vector<Stream> streams;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string name = text.substr(begin, end - begin);
    const auto found = std::find_if(client::allStreams.begin(), client::allStreams.end(),
                                    [&name](Stream stream) { return name == client::nameOf(stream); });
    if (found == client::allStreams.end()) throw std::invalid_argument("streams takes fast, slow and changes");
    if (std::find(streams.begin(), streams.end(), *found) == streams.end()) streams.push_back(*found);
    begin = end + 1;
  }
  return streams;
}

double rateOf(const std::string& text, double greatest) {
  double rate = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate);
  if (error != std::errc() || end != text.data() + text.size() || !(rate >= 0.01 && rate <= greatest)) {
    throw std::invalid_argument("hz takes a number from 0.01 to " + std::to_string(static_cast<int>(greatest)));
  }
  return rate;
}

/// Whether a list with commas has this element.
bool offers(const std::string& list, const std::string& one) {
  const boost::beast::http::token_list tokens(list);
  return std::find(tokens.begin(), tokens.end(), one) != tokens.end();
}

}  // namespace

Api::Api(boost::asio::io_context& loop, Devices& devices, Viewers& viewers, const Files& page, ApiLimits limits,
         std::function<ClientCounts()> counts)
    : loop(loop), devices(devices), viewers(viewers), page(page), limits(limits), counts(std::move(counts)) {}

Reply Api::Handle(const Request& request) {
  const auto& path = request.path;
  try {
    if (path.size() == 4 && path[0] == "api" && path[1] == "devices") return OfDevice(request);
    if (const Response* file = page.Find(path, request.gzip)) return *file;
    QueryOf(request, {});
  } catch (const std::invalid_argument& error) {
    return errorResponse(400, error.what());
  }
  if (path.empty() || path == std::vector<std::string>{"api"}) return plain(index);
  if (path == std::vector<std::string>{"live"}) return Live(request);
  if (path == std::vector<std::string>{"healthz"}) return plain("ok\n");
  if (path == std::vector<std::string>{"metrics"}) {
    return Response{200, "text/plain; version=0.0.4; charset=utf-8", Metrics()};
  }
  if (path == std::vector<std::string>{"api", "devices"}) {
    return Response{200, "application/json", octets(devicesJson(devices, Clock::now()))};
  }
  return errorResponse(404, "unknown page");
}

Reply Api::OfDevice(const Request& request) {
  const std::string& what = request.path[3];
  if (what != "values" && what != "stream") return errorResponse(404, "unknown page");
  Device* device = devices.Find(request.path[2]);
  if (!device) return errorResponse(404, "unknown device");
  if (what == "values") {
    const Query query = QueryOf(request, {"keys"});
    return Response{200, "application/json", octets(valuesJson(*device, query.keys, Clock::now()))};
  }
  Query query = QueryOf(request, {"keys", "streams", "hz"});
  return std::make_unique<EventStream>(
      loop, *device, Wanted{std::move(query.streams), SelectionOf(*device, query.keys), query.hz}, skipped);
}

Reply Api::Live(const Request& request) {
  if (!request.webSocket) return errorResponse(426, "this is a WebSocket");
  if (!offers(request.protocols, Viewers::protocol)) {
    return errorResponse(400, std::string("the subprotocol here is ") + Viewers::protocol);
  }
  if (viewers.Full()) return errorResponse(503, "too many viewers");
  return Upgrade([this](Handover handover) { viewers.Take(std::move(handover)); });
}

Api::Query Api::QueryOf(const Request& request, const std::vector<std::string>& known) const {
  Query query{{}, {client::allStreams.begin(), client::allStreams.end()}, {}};
  std::vector<std::string> keys;
  for (const auto& [name, value] : request.parameters) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      throw std::invalid_argument("unknown parameter '" + name + "'");
    }
    if (name == "streams") query.streams = streamsOf(value);
    if (name == "hz") query.hz = rateOf(value, limits.hz);
    if (name == "keys") keys.push_back(value);
    if (keys.size() > limits.patterns) {
      throw std::invalid_argument("takes at most " + std::to_string(limits.patterns) + " patterns");
    }
  }
  query.keys = Patterns(std::move(keys));
  return query;
}

/// Made at most once a second: it is the most expensive of all.
Octets Api::Metrics() {
  const auto now = Clock::now();
  if (!metrics || now - metricsMade >= metricsAge) {
    metrics = octets(metricsOf(devices, counts(), now, limits.metricsBytes));
    metricsMade = now;
  }
  return metrics;
}

/// Readers drop theirs when the device is gone, so none is taken over by another device at the same place.
std::shared_ptr<Selection> Api::SelectionOf(const Device& device, const Patterns& keys) {
  std::erase_if(selections, [](const auto& each) { return each.second.expired(); });
  auto& known = selections[{&device, keys.Name()}];
  auto selection = known.lock();
  if (!selection) known = selection = std::make_shared<Selection>(keys);
  return selection;
}

}  // namespace corvalux::gateway
