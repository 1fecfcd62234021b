#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace program {

/// A number within limits, both included; the message says what is expected.
inline CLI::Validator between(double low, double high, const std::string& expected) {
  return {[low, high, expected](std::string& text) {
            double value = 0;
            if (CLI::detail::lexical_cast(text, value) && value >= low && value <= high) return std::string();
            return "takes " + expected + ", not '" + text + "'";
          },
          ""};
}

}  // namespace program
