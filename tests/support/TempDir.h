#pragma once

#include <filesystem>
#include <string>

namespace test {

/// A new folder, removed by the destructor.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return path; }

  /// A listening address in this folder.
  std::string UnixAddress(const std::string& name = "socket") const { return "unix:" + (path / name).string(); }

 private:
  std::filesystem::path path;
};

}  // namespace test
