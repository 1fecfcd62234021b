#include "client/Json.h"

#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

namespace corvalux::client {

namespace {

using Json = nlohmann::ordered_json;

struct ToJson {
  Json operator()(std::monostate) const { return nullptr; }
  Json operator()(const std::string& text) const { return text; }
  Json operator()(int32_t number) const { return number; }
  Json operator()(uint32_t number) const { return number; }
  Json operator()(float number) const { return (*this)(withoutTail(number)); }

  Json operator()(double number) const {
    if (std::isfinite(number)) return number;
    if (std::isnan(number)) return "NaN";
    return number > 0 ? "Infinity" : "-Infinity";
  }

  template <typename T>
  Json operator()(const std::vector<T>& numbers) const {
    Json list = Json::array();
    for (const T number : numbers) list.push_back((*this)(number));
    return list;
  }
};

/// Seconds since 1970, to the microsecond.
double secondsOf(std::chrono::system_clock::time_point time) {
  return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count()) /
         1e6;
}

}  // namespace

std::string jsonOf(const Message& message) {
  Json entries = Json::array();
  for (const Entry& entry : message.entries) {
    entries.push_back(
        {{"key", entry.key}, {"kind", kindName(entry.value)}, {"value", std::visit(ToJson(), entry.value)}});
  }
  const Json object = {
      {"stream", nameOf(message.stream)}, {"time", secondsOf(message.arrival.wall)}, {"entries", std::move(entries)}};
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace corvalux::client
