#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// A child process, killed by the destructor, and when this process dies.
class ServerProcess {
 public:
  /// Starts `arguments`, the first of which is the program; `descriptors` maps descriptors of ours to those of the
  /// child. Its output goes to the file `log`, if that is not empty. Throws std::system_error.
  explicit ServerProcess(const std::vector<std::string>& arguments, const std::map<int, int>& descriptors = {},
                         const std::string& log = {});
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  /// The CPU time of all its threads so far.
  int64_t CpuNs() const;

  /// Its resident memory.
  std::size_t ResidentBytes() const;

  std::size_t Threads() const;

 private:
  pid_t pid;
};

}  // namespace bench
