#pragma once

#include <google/protobuf/message_lite.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace test {

/// Bytes as text: "0a 01 61".
inline std::string hex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (!text.empty()) text += ' ';
    text += digits[byte / 16];
    text += digits[byte % 16];
  }
  return text;
}

/// The bytes of a message on the wire, as text.
inline std::string wire(const google::protobuf::MessageLite& message) {
  const std::string bytes = message.SerializeAsString();
  EXPECT_EQ(message.ByteSizeLong(), bytes.size());
  return hex(bytes);
}

}  // namespace test
