#include "faults/OtherHost.h"

#include <sched.h>
#include <unistd.h>

#include <cstdlib>

namespace test {

namespace {

/// Runs a command of the system; whether it succeeded.
bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

}  // namespace

OtherHost::OtherHost() : id(std::to_string(getpid())), name("corvalux-" + id) {
  made = unshare(CLONE_NEWNET) == 0 && run("ip netns add " + name);
}

OtherHost::~OtherHost() {
  if (made) run("ip netns del " + name);
}

bool OtherHost::Link() const {
  const std::string link = "cvx" + id;
  return run("ip link add " + link + " type veth peer name inside netns " + name) &&
         run("ip addr add 192.0.2.1/24 dev " + link) && run("ip link set " + link + " up") &&
         run("ip -n " + name + " addr add 192.0.2.2/24 dev inside") && run("ip -n " + name + " link set inside up");
}

bool OtherHost::DropPackets() const {
  const std::string nft = "ip netns exec " + name + " nft ";
  return run(nft + "add table inet silence") &&
         run(nft + "'add chain inet silence arriving { type filter hook input priority 0; policy drop; }'") &&
         run(nft + "'add chain inet silence leaving { type filter hook output priority 0; policy drop; }'");
}

std::vector<std::string> OtherHost::Command(std::vector<std::string> command) const {
  command.insert(command.begin(), {"ip", "netns", "exec", name});
  return command;
}

}  // namespace test
