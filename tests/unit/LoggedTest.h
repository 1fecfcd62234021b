#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/CapturedLog.h"

namespace test {

/// A test that sees the module's log. Every line must carry the flag 1 and a place in the module's sources.
class LoggedTest : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;

  void TearDown() override {
    for (const sim::LogLine& line : log.Lines()) {
      EXPECT_EQ(line.flag, 1) << line.text;
      EXPECT_THAT(line.file, testing::StartsWith("src/module/grpc/")) << line.text;
      EXPECT_GT(line.line, 0) << line.text;
    }
  }

  CapturedLog log;
};

}  // namespace test
