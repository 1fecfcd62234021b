#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "recording/Recording.h"

namespace test {

inline void writeRecording(const std::string& path, const std::vector<recording::Record>& records) {
  recording::Writer writer(path, {{}, "mixer:50005"});
  for (const recording::Record& record : records) writer.Write(record);
  writer.Flush();
}

/// All records of an undamaged recording.
inline std::vector<recording::Record> readRecording(const std::string& path) {
  recording::Reader reader(path);
  std::vector<recording::Record> records;
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
