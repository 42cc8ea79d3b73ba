#ifndef TESTS_SUPPORT_FILES_H
#define TESTS_SUPPORT_FILES_H

#include <string>

namespace marrowfin::testing {

// A new, empty directory below the system's directory for temporary files. It is removed with all
// that it holds when the object goes.
class TempDir {
 public:
  // Throws std::filesystem::filesystem_error where no directory can be made.
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  const std::string& Path() const { return path; }

  // The path of `name` within the directory. Makes nothing.
  std::string File(const std::string& name) const { return path + "/" + name; }

 private:
  std::string path;
};

// Makes or replaces a file. Throws std::runtime_error with the path where that fails.
void WriteFile(const std::string& path, const std::string& bytes);

// The whole of a file, byte for byte. Throws std::runtime_error with the path where that fails.
std::string ReadFile(const std::string& path);

}  // namespace marrowfin::testing

#endif
