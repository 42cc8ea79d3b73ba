#include "tests/support/Files.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace marrowfin::testing {

TempDir::TempDir() : path(std::filesystem::temp_directory_path() / "marrowfin-test-XXXXXX") {
  if (mkdtemp(path.data()) == nullptr) {
    throw std::filesystem::filesystem_error("can't make a directory", path,
                                            std::error_code(errno, std::generic_category()));
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream << bytes << std::flush;
  if (!stream) {
    throw std::runtime_error("can't write " + path);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream bytes;
  // An empty file sets the failure bit of the stream that it is copied to, not of its own.
  bytes << stream.rdbuf();
  if (!stream) {
    throw std::runtime_error("can't read " + path);
  }
  return bytes.str();
}

}  // namespace marrowfin::testing
