#pragma once

#include <string>
#include <vector>

namespace test {

/// A second host on this machine: moves this process to a network of its own (192.0.2.1 once they are linked), and adds
/// another (192.0.2.2), which the destructor removes. Needs root. Create it before any other thread.
class OtherHost {
 public:
  OtherHost();
  ~OtherHost();
  OtherHost(const OtherHost&) = delete;
  OtherHost& operator=(const OtherHost&) = delete;

  bool Made() const { return made; }
  const std::string& Name() const { return name; }

  /// Links both networks without a delay. Returns whether it succeeded.
  bool Link() const;

  /// From now on every packet to and from it is dropped; neither side is notified. Returns whether it succeeded.
  bool DropPackets() const;

  /// The command that runs `command` on the other host.
  std::vector<std::string> Command(std::vector<std::string> command) const;

 private:
  const std::string id;
  const std::string name;
  bool made = false;
};

}  // namespace test
