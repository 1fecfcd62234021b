#include "devhost/Configuration.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace corvalux::devhost {

namespace {

struct Key {
  const char* name;
  bool text;
  const char* meaning;
};

constexpr std::array<Key, 7> keys = {{
    {"serverUrl", true, "addresses to listen on, separated by single spaces (default 0.0.0.0:50005)"},
    {"grpc_num_cqs", false, "completion queues"},
    {"grpc_memory_kb", false, "memory for all connections, KiB (default 1024, at least 128)"},
    {"grpc_min_pollers", false, "minimum number of polling threads"},
    {"grpc_max_pollers", false, "maximum number of polling threads"},
    {"grpc_cq_timeout_ms", false, "timeout of a completion queue, ms"},
    {"quota_new_max_threads", false, "limit on threads, at least 2 and above grpc_max_pollers"},
}};

const Key& find(const std::string& name) {
  const auto found = std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return key.name == name; });
  if (found != keys.end()) return *found;
  std::string known;
  for (const Key& key : keys) known += (known.empty() ? "" : ", ") + std::string(key.name);
  throw std::invalid_argument("the module has no key '" + name + "'; its keys are " + known);
}

int32_t integerOf(const std::string& name, const std::string& text) {
  int32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc() && rest == end) return value;
  throw std::invalid_argument(name + " takes an integer of 32 bits, not '" + text + "'");
}

}  // namespace

void set(sim::KeyValues& config, const std::string& keyAndValue) {
  const auto equals = keyAndValue.find('=');
  if (equals == std::string::npos) throw std::invalid_argument("'" + keyAndValue + "' is not of the form key=value");
  const std::string name = keyAndValue.substr(0, equals);
  const std::string text = keyAndValue.substr(equals + 1);
  const Key& key = find(name);
  std::erase_if(config, [&](const sim::NamedValue& named) { return named.key == name; });
  config.push_back({name, key.text ? sim::Value(text) : sim::Value(integerOf(name, text))});
}

std::string serverUrlOf(const sim::KeyValues& config) {
  for (const sim::NamedValue& named : config) {
    if (named.key == "serverUrl") return std::get<std::string>(named.value);
  }
  return defaultServerUrl;
}

std::string describeKeys() {
  std::ostringstream lines;
  for (const Key& key : keys) lines << "  " << std::left << std::setw(23) << key.name << key.meaning << "\n";
  return lines.str();
}

}  // namespace corvalux::devhost
