#include "trace/write/LinkTarget.h"

#include <filesystem>
#include <system_error>

namespace marrowfin {

std::string LinkTarget(const std::string& name) {
  constexpr int MOST_LINKS = 40;  // as the system follows
  std::filesystem::path path = name;
  std::error_code error;
  for (int links = 0; links < MOST_LINKS && std::filesystem::is_symlink(path, error); ++links) {
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) {
      break;
    }
    path = path.parent_path() / target;  // which is the target alone where that is absolute
  }
  return path.string();
}

}  // namespace marrowfin
