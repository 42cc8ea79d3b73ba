#include "sim/FileIdentity.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace marrowfin::sim {

namespace {

namespace fs = std::filesystem;

constexpr int MOST_LINKS = 40;  // as the system follows

std::optional<FileIdentity> FromStatus(const struct stat& status) {
  if (S_ISCHR(status.st_mode)) {
    return {};
  }
  return FileIdentity{status.st_dev, status.st_ino, ""};
}

}  // namespace

std::string TargetOf(const std::string& name) {
  fs::path path = name;
  std::error_code error;
  for (int links = 0; links < MOST_LINKS && fs::is_symlink(path, error) && !fs::exists(path, error);
       ++links) {
    const fs::path target = fs::read_symlink(path, error);
    if (error) {
      break;
    }
    path = path.parent_path() / target;  // which is the target alone where that is absolute
  }
  return path.string();
}

std::optional<FileIdentity> IdentityOf(const std::string& name) {
  struct stat status;
  if (stat(name.c_str(), &status) == 0) {
    return FromStatus(status);
  }
  const fs::path target = TargetOf(name);
  const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
  if (stat(folder.c_str(), &status) != 0) {
    return {};
  }
  return FileIdentity{status.st_dev, status.st_ino, target.filename().string()};
}

std::optional<FileIdentity> IdentityOf(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 ? FromStatus(status) : std::optional<FileIdentity>();
}

}  // namespace marrowfin::sim
