#include "gateway/fleet/Report.h"

#include <nlohmann/json.hpp>

#include "client/Utf8.h"

namespace corvalux::gateway {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostBytes = 16'384;
constexpr std::size_t longestText = 1'000;

/// Whether it is absent or of the right kind; then it is taken.
template <typename T>
bool takeMember(const Json& object, const char* name, bool (Json::*isKind)() const noexcept, T& to) {
  const auto found = object.find(name);
  if (found == object.end()) return true;
  if (!((*found).*isKind)()) return false;
  to = found->template get<T>();
  return true;
}

}  // namespace

std::string jsonOf(const Report& report) {
  const Json json = {{"state", report.state},     {"reason", report.reason}, {"since", report.since},
                     {"address", report.address}, {"speaks", report.speaks}, {"gone", report.gone},
                     {"changes", report.changes}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<Report> reportOf(std::string_view json) {
  if (json.size() > mostBytes) return std::nullopt;
  const Json object = Json::parse(json, nullptr, false);
  if (!object.is_object() || !object.contains("speaks")) return std::nullopt;
  Report report;
  const bool right = takeMember(object, "state", &Json::is_string, report.state) &&
                     takeMember(object, "reason", &Json::is_string, report.reason) &&
                     takeMember(object, "address", &Json::is_string, report.address) &&
                     takeMember(object, "since", &Json::is_number, report.since) &&
                     takeMember(object, "speaks", &Json::is_boolean, report.speaks) &&
                     takeMember(object, "gone", &Json::is_boolean, report.gone) &&
                     takeMember(object, "changes", &Json::is_number_unsigned, report.changes);
  if (!right) return std::nullopt;
  if (report.reason.size() > longestText) report.reason.resize(longestText);
  client::repairUtf8(report.reason);
  return report;
}

}  // namespace corvalux::gateway
