#include "monitor/output/JsonLines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <system_error>

namespace monitor {

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

void JsonLines::Take(Message message) {
  if (!message.valid) return;
  const std::string line = jsonOf(message) + "\n";
  const std::lock_guard lock(mutex);
  Write(line);
}

void JsonLines::Write(std::string_view line) {
  while (!line.empty() && WaitUntilWritable()) {
    // A pipe that is ready takes this much without blocking.
    const ssize_t written = write(file, line.data(), std::min<std::size_t>(line.size(), PIPE_BUF));
    if (written >= 0) {
      line.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      return ending.Set(ExitCode::endedByYou);
    } else if (errno != EINTR && errno != EAGAIN) {
      const std::string reason = std::generic_category().message(errno);
      std::fprintf(stderr, "corvalux-monitor: the output cannot be written: %s\n", reason.c_str());
      return ending.Set(ExitCode::outputFailed);
    }
  }
}

/// False when the program is to end and nobody reads: then the line stays cut off.
bool JsonLines::WaitUntilWritable() const {
  std::array<pollfd, 2> files = {{{file, POLLOUT, 0}, {ending.File(), POLLIN, 0}}};
  while (true) {
    if (poll(files.data(), files.size(), -1) < 0) continue;
    if (files[0].revents != 0) return true;
    if (files[1].revents != 0) return false;
  }
}

}  // namespace monitor
