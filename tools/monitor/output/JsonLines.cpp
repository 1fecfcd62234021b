#include "monitor/output/JsonLines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <system_error>

#include "client/Json.h"

namespace corvalux::monitor {

void JsonLines::Take(client::Message message) {
  if (!message.valid) return;
  const std::string line = client::jsonOf(message) + "\n";
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

/// False when the program is to end and nobody reads: the line is cut off then.
bool JsonLines::WaitUntilWritable() const {
  std::array<pollfd, 2> files = {{{file, POLLOUT, 0}, {ending.File(), POLLIN, 0}}};
  while (true) {
    if (poll(files.data(), files.size(), -1) < 0) continue;
    if (files[0].revents != 0) return true;
    if (files[1].revents != 0) return false;
  }
}

}  // namespace corvalux::monitor
