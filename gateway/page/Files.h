#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "gateway/http/Reply.h"

namespace corvalux::gateway {

/// The page's files, all in memory: a request finds a name in a table, never a file.
/// Threads: any.
class Files {
 public:
  static constexpr std::size_t mostBytes = 16UL << 20;  ///< of all of them

  /// No files.
  Files() = default;
  /// Those of a folder and of the folders in it, whose kind is known. NAME.gz is NAME, compressed. Throws
  /// std::runtime_error with a sentence when they cannot be read or are too large.
  explicit Files(const std::filesystem::path& folder);

  bool Empty() const { return files.empty(); }
  /// The one of a request's path, index.html for an empty one; null if there is none.
  const Response* Find(const std::vector<std::string>& path, bool gzip) const;

 private:
  struct File {
    Response plain;
    Response gzipped;  ///< without a body if there is none
  };

  std::map<std::string, File> files;  ///< by their path
};

}  // namespace corvalux::gateway
