#include "sim/FileIdentity.h"

#include <sys/stat.h>

#include <filesystem>

#include "trace/write/LinkTarget.h"

namespace marrowfin::sim {

namespace {

std::optional<FileIdentity> FromStatus(const struct stat& status) {
  if (S_ISCHR(status.st_mode)) {
    return {};
  }
  return FileIdentity{status.st_dev, status.st_ino, ""};
}

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& name) {
  struct stat status;
  if (stat(name.c_str(), &status) == 0) {
    return FromStatus(status);
  }
  const std::filesystem::path target = LinkTarget(name);
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
