#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "client/Recording.h"

namespace test {

inline void writeRecording(const std::string& path, const std::vector<::corvalux::client::Record>& records) {
  ::corvalux::client::RecordingWriter writer(path, {{}, "mixer:50005"});
  for (const ::corvalux::client::Record& record : records) writer.Write(record);
  writer.Flush();
}

/// All records of an undamaged recording.
inline std::vector<::corvalux::client::Record> readRecording(const std::string& path) {
  ::corvalux::client::RecordingReader reader(path);
  std::vector<::corvalux::client::Record> records;
  while (auto record = reader.Next()) records.push_back(std::move(*record));
  return records;
}

/// The first `size` bytes of a file as another one.
inline void copyBeginning(const std::string& from, const std::string& to, std::size_t size) {
  std::ostringstream bytes;
  bytes << std::ifstream(from, std::ios::binary).rdbuf();
  std::ofstream(to, std::ios::binary) << bytes.str().substr(0, size);
}

}  // namespace test
