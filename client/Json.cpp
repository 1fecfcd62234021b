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

}  // namespace

Json jsonOf(const Value& value) { return std::visit(ToJson(), value); }

double secondsOf(std::chrono::system_clock::time_point time) {
  return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count()) /
         1e6;
}

std::string jsonOf(Stream stream, std::chrono::system_clock::time_point time,
                   const std::vector<const Entry*>& entries) {
  Json list = Json::array();
  for (const Entry* entry : entries) {
    list.push_back({{"key", entry->key}, {"kind", kindName(entry->value)}, {"value", jsonOf(entry->value)}});
  }
  const Json object = {{"stream", nameOf(stream)}, {"time", secondsOf(time)}, {"entries", std::move(list)}};
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string jsonOf(const Message& message) {
  std::vector<const Entry*> entries;
  for (const Entry& entry : message.entries) entries.push_back(&entry);
  return jsonOf(message.stream, message.arrival.wall, entries);
}

}  // namespace corvalux::client
