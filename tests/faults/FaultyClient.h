#pragma once

#include <string>

#include "support/Process.h"

namespace test {

/// Starts `fault` of client.py against `address`, and waits until it is at work. It ends by itself after `seconds`.
class FaultyClient : public Process {
 public:
  FaultyClient(const std::string& fault, const std::string& address, double seconds);
};

}  // namespace test
