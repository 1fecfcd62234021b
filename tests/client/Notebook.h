#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "client/Listener.h"
#include "support/Deadline.h"

namespace corvalux::client {

using Phase = ConnectionState::Phase;

/// Keeps what a feed delivers.
class Notebook : public Listener {
 public:
  void Take(Message message) override {
    const std::lock_guard lock(mutex);
    messages.push_back(std::move(message));
    changed.notify_all();
  }
  void Change(const ConnectionState& state) override {
    const std::lock_guard lock(mutex);
    states.push_back(state);
    changed.notify_all();
  }

  std::vector<Message> WaitForMessages(std::size_t count) {
    std::unique_lock lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, test::patience, [&] { return messages.size() >= count; }));
    return messages;
  }
  /// Waits until `phase` was reported `times` times; the last of these states.
  ConnectionState WaitFor(Phase phase, int times = 1) {
    std::unique_lock lock(mutex);
    ConnectionState found;
    const auto seen = [&] {
      int count = 0;
      for (const auto& state : states) {
        if (state.phase == phase && count < times) found = state;
        if (state.phase == phase) ++count;
      }
      return count >= times;
    };
    EXPECT_TRUE(changed.wait_for(lock, test::patience, seen));
    return found;
  }

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Message> messages;        // guarded by mutex
  std::vector<ConnectionState> states;  // guarded by mutex
};

}  // namespace corvalux::client
