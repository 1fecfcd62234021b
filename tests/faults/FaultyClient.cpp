#include "faults/FaultyClient.h"

#include <gtest/gtest.h>

#include "support/Deadline.h"

namespace test {

FaultyClient::FaultyClient(const std::string& fault, const std::string& address, double seconds)
    : Process({"/usr/bin/python3", CORVALUX_FAULTS_CLIENT, fault, address, std::to_string(seconds)}) {
  EXPECT_EQ(ReadLine(patience).value_or("nothing"), "ready") << fault;
}

}  // namespace test
