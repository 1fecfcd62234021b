#pragma once

#include <pthread.h>

#include <csignal>

namespace corvalux::client {

/// Blocks all signals on the current thread for its lifetime: signals are for the program's own threads, and those that
/// a library creates meanwhile inherit the mask.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before{};
};

}  // namespace corvalux::client
