#pragma once

#include <filesystem>
#include <string>

namespace test {

/// A folder of its own, removed at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return path; }

  /// A listening address that nobody else has.
  std::string UnixAddress(const std::string& name = "socket") const { return "unix:" + (path / name).string(); }

 private:
  std::filesystem::path path;
};

}  // namespace test
