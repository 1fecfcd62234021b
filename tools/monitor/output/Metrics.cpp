#include "monitor/output/Metrics.h"

#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <set>
#include <utility>

namespace corvalux::monitor {

namespace {

using Clock = std::chrono::steady_clock;

std::string numberText(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number > 0 ? "+Inf" : "-Inf";
  std::array<char, 32> digits;
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '\\' || letter == '"') result += '\\';
    result += letter == '\n' ? std::string("\\n") : std::string(1, letter);
  }
  return result;
}

/// The lines of a metric family. The format allows a series only once, so only the first of repeated keys is written.
class Values {
 public:
  void Add(const std::string& stream, const client::Entry& entry) {
    labels = "stream=\"" + stream + "\",key=\"" + escaped(entry.key) + "\"";
    std::visit([this](const auto& value) { Write(value); }, entry.value);
  }

  std::string Text() const {
    std::string text;
    if (!numbers.empty())
      text += "# HELP corvalux_value The newest value of a key.\n# TYPE corvalux_value gauge\n" + numbers;
    if (!texts.empty()) text += "# HELP corvalux_text The newest text of a key.\n# TYPE corvalux_text gauge\n" + texts;
    return text;
  }

 private:
  void Write(std::monostate /*none*/) {}
  void Write(const std::string& text) {
    if (seen.insert(labels).second) texts += "corvalux_text{" + labels + ",text=\"" + escaped(text) + "\"} 1\n";
  }
  void Write(float number) { Line(labels, client::withoutTail(number)); }
  template <typename T>
  void Write(T number) {
    Line(labels, static_cast<double>(number));
  }
  template <typename T>
  void Write(const std::vector<T>& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      const std::string indexed = labels + ",index=\"" + std::to_string(i) + "\"";
      if constexpr (std::is_same_v<T, float>) {
        Line(indexed, client::withoutTail(list[i]));
      } else {
        Line(indexed, static_cast<double>(list[i]));
      }
    }
  }
  void Line(const std::string& all, double number) {
    if (seen.insert(all).second) numbers += "corvalux_value{" + all + "} " + numberText(number) + "\n";
  }

  std::string labels;
  std::set<std::string> seen;
  std::string numbers;
  std::string texts;
};

using Figure = std::function<std::optional<double>(const StreamStatistics&)>;

std::string family(const std::array<StreamStatistics, client::allStreams.size()>& statistics, const std::string& name,
                   const char* type, const char* help, const Figure& figure) {
  std::string text = "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
  for (const client::Stream stream : client::allStreams) {
    const auto number = figure(statistics.at(indexOf(stream)));
    if (number) text += name + "{stream=\"" + nameOf(stream) + "\"} " + numberText(*number) + "\n";
  }
  return text;
}

double seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

void Metrics::Take(client::Message message) {
  const std::lock_guard lock(mutex);
  statistics.at(indexOf(message.stream)).Take(message);
  if (!message.valid) return;
  if (message.stream == client::Stream::changes) {
    for (client::Entry& entry : message.entries) changes[entry.key] = std::move(entry.value);
  } else {
    meters.at(indexOf(message.stream)) = std::move(message);
  }
}

void Metrics::Change(const client::ConnectionState& state) {
  const std::lock_guard lock(mutex);
  connected = state.phase == client::ConnectionState::Phase::connected;
  if (state.phase == client::ConnectionState::Phase::connecting) {
    for (StreamStatistics& each : statistics) each.Interrupt();
  }
}

std::string Metrics::Text() const {
  const std::lock_guard lock(mutex);
  const auto now = Clock::now();
  std::string text = "# HELP corvalux_up Whether the device is connected.\n# TYPE corvalux_up gauge\ncorvalux_up ";
  text += connected ? "1\n" : "0\n";
  const auto count = [](uint64_t (StreamStatistics::*figure)() const) -> Figure {
    return [figure](const StreamStatistics& of) { return static_cast<double>((of.*figure)()); };
  };
  text += family(statistics, "corvalux_messages_total", "counter", "Messages received.",
                 count(&StreamStatistics::Messages));
  text += family(statistics, "corvalux_bytes_total", "counter", "Their bytes.", count(&StreamStatistics::Bytes));
  text += family(statistics, "corvalux_rejected_total", "counter", "Messages that did not parse.",
                 count(&StreamStatistics::Rejected));
  text += family(statistics, "corvalux_repaired_texts_total", "counter", "Texts that were not UTF-8.",
                 count(&StreamStatistics::Repaired));
  text += family(statistics, "corvalux_missed_total", "counter", "Messages skipped, by the engine's counter.",
                 count(&StreamStatistics::Missed));
  text += family(statistics, "corvalux_message_age_seconds", "gauge", "Since the newest message.",
                 [now](const StreamStatistics& of) -> std::optional<double> {
                   const auto age = of.Age(now);
                   return age ? std::optional(seconds(*age)) : std::nullopt;
                 });
  Values values;
  for (const auto& message : meters) {
    if (!message) continue;
    for (const client::Entry& entry : message->entries) values.Add(nameOf(message->stream), entry);
  }
  for (const auto& [key, value] : changes) values.Add(nameOf(client::Stream::changes), {key, value});
  return text + values.Text();
}

}  // namespace corvalux::monitor
