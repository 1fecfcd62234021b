#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

#include "client/Stream.h"

namespace corvalux::client {

/// The header of `recording.proto`, for C++.
struct RecordingHeader {
  std::chrono::system_clock::time_point start;
  std::string source;
};

struct Record {
  Stream stream = Stream::fast;
  std::chrono::nanoseconds time{0};  ///< since the start
  std::string message;               ///< the bytes of a Meter, or of a Notification for the changes

  bool operator==(const Record&) const = default;
};

/// Writes a recording. After a crash of the program all but the last second of it is readable.
/// Threads: one at a time. Errors: std::runtime_error with a sentence that names the file, at once or at a later call.
class RecordingWriter {
 public:
  /// Replaces an existing file.
  RecordingWriter(const std::string& path, const RecordingHeader& header);

  void Write(const Record& record);
  /// Flushes all that was written to the file.
  void Flush();

 private:
  void Check();

  std::string path;
  std::ofstream file;
  std::chrono::steady_clock::time_point flushed;
};

/// Reads a recording. From a file that is damaged or cut off it returns everything before the damage.
/// Threads: one at a time.
class RecordingReader {
 public:
  /// Throws std::runtime_error with a sentence when the file cannot be opened or is not a recording.
  explicit RecordingReader(const std::string& path);

  const RecordingHeader& Header() const { return header; }
  /// Nothing at the end, and where the damage begins.
  std::optional<Record> Next();
  /// After the end: one sentence about the damage, empty when there is none.
  const std::string& Damage() const { return damage; }

 private:
  std::optional<std::string> NextMessage();
  std::nullopt_t Spoil(const std::string& what);

  std::string path;
  std::ifstream file;
  RecordingHeader header;
  std::string damage;
  uint64_t records = 0;
  uint64_t begin = 0;  ///< of the message that is being read
};

}  // namespace corvalux::client
