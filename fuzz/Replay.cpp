#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"

namespace {

// The files of a folder, in an order that is always the same; or the one file that is named.
std::vector<std::filesystem::path> FilesOf(const char* name) {
  if (!std::filesystem::is_directory(name)) {
    return {name};
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(name)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

bool TryFile(const std::filesystem::path& file) {
  // Told ahead, so that whoever reads the output of a crash sees its input last.
  printf("%s\n", file.c_str());
  fflush(stdout);
  std::ifstream stream(file, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)),
                                std::istreambuf_iterator<char>());
  if (!stream) {
    fprintf(stderr, "replay: cannot read %s\n", file.c_str());
    return false;
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

// Tries every file that is named, and every file of the folders that are. A folder without files is
// a mistake.
int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::vector<std::filesystem::path> files = FilesOf(argv[i]);
    if (files.empty() || !std::all_of(files.begin(), files.end(), TryFile)) {
      fprintf(stderr, "replay: nothing to try in %s\n", argv[i]);
      return 1;
    }
    printf("%zu inputs in %s\n", files.size(), argv[i]);
  }
  return argc > 1 ? 0 : 1;
}
