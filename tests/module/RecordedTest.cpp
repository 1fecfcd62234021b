#include "module/RecordedTest.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <regex>

namespace test {

bool listening(const std::string& address) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  address.substr(std::string("unix:").size()).copy(name.sun_path, sizeof name.sun_path - 1);
  const int client = socket(AF_UNIX, SOCK_STREAM, 0);
  const bool connected = ::connect(client, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
  close(client);
  return connected;
}

Texts withoutPointers(Texts texts) {
  static const std::regex pointer("0x[0-9a-f]+");
  std::map<std::string, std::string> names;
  for (std::string& text : texts) {
    std::smatch match;
    while (std::regex_search(text, match, pointer)) {
      const auto name = names.try_emplace(match.str(), "#" + std::to_string(names.size() + 1)).first;
      text.replace(static_cast<std::size_t>(match.position()), match.str().size(), name->second);
    }
  }
  return texts;
}

int32_t RecordedTest::StartWith(sim::KeyValues settings) {
  settings.insert(settings.begin(), {"serverUrl", address});
  return instance.Start(settings);
}

Texts RecordedTest::SettingLines() const {
  Texts lines;
  for (const std::string& text : log.Texts()) {
    const bool setting = text.find("grpc_") != std::string::npos || text.find("quota_") != std::string::npos;
    if (setting) lines.push_back(text);
  }
  return lines;
}

}  // namespace test
