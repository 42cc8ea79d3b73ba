#ifndef TESTS_TOOLS_FILESWITHIN_H
#define TESTS_TOOLS_FILESWITHIN_H

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/Files.h"

namespace marrowfin::testing {

// What the files of an OTF2 archive hold, by their names in it; of the one with a random number its
// length.
inline std::map<std::string, std::string> FilesWithin(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      const std::string name = std::filesystem::relative(entry.path(), folder).string();
      files[name] = name == "traces.otf2" ? std::to_string(entry.file_size())
                                          : ReadFile(entry.path().string());
    }
  }
  return files;
}

}  // namespace marrowfin::testing

#endif
