#include "support/TempDir.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "corvalux-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::system_error(errno, std::generic_category(), "mkdtemp");
  path = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace test
