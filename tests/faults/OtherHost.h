#pragma once

#include <string>
#include <vector>

namespace test {

/// A second host on this machine: gives this process a network of its own (192.0.2.1 once they are linked), and makes
/// another one (192.0.2.2), which is removed at the end. Needs root. Create it before any other thread.
class OtherHost {
 public:
  OtherHost();
  ~OtherHost();
  OtherHost(const OtherHost&) = delete;
  OtherHost& operator=(const OtherHost&) = delete;

  bool Made() const { return made; }
  const std::string& Name() const { return name; }

  /// Links both networks by a line without delay; whether it succeeded.
  bool Link() const;

  /// From now on nothing that it sends or is sent arrives; neither side is notified.
  bool DropPackets() const;

  /// The command that runs `command` on the other host.
  std::vector<std::string> Command(std::vector<std::string> command) const;

 private:
  const std::string id;
  const std::string name;
  bool made = false;
};

}  // namespace test
