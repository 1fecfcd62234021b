#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace fuzz {

/// Takes values from a fuzzer's input; zeros when it is used up.
class ByteReader {
 public:
  ByteReader(const uint8_t* data, std::size_t size) : data(data), left(size) {}

  bool Empty() const { return left == 0; }

  template <typename T>
  T Take() {
    T value{};
    const std::size_t size = std::min(left, sizeof value);
    std::memcpy(&value, data, size);
    Skip(size);
    return value;
  }

  /// Up to `limit` bytes.
  std::string TakeBytes(std::size_t limit) {
    std::string bytes(reinterpret_cast<const char*>(data), std::min(left, limit));
    Skip(bytes.size());
    return bytes;
  }
  /// The same without NULs.
  std::string TakeText(std::size_t limit) {
    std::string text = TakeBytes(limit);
    std::erase(text, '\0');
    return text;
  }

 private:
  void Skip(std::size_t size) {
    data += size;
    left -= size;
  }

  const uint8_t* data;
  std::size_t left;
};

}  // namespace fuzz
