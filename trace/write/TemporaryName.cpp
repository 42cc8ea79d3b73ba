#include "trace/write/TemporaryName.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cstdint>

namespace marrowfin {

namespace {

constexpr char MARK[] = ".mfpart-";
constexpr size_t RANDOM_LENGTH = 6;

// With the slash; empty for the current folder.
std::string ParentOf(const std::string& target) { return target.substr(0, target.rfind('/') + 1); }

const char* PathOf(const std::string& folder) { return folder.empty() ? "." : folder.c_str(); }

// What temporary names begin with. A long name is cut: the rest has to fit.
std::string PrefixOf(const std::string& target) {
  const std::string base = target.substr(target.rfind('/') + 1);
  return base.substr(0, NAME_MAX - (sizeof(MARK) - 1) - RANDOM_LENGTH) + MARK;
}

std::string RandomWord() {
  constexpr char LETTERS[] = "abcdefghijklmnopqrstuvwxyz012345";
  uint8_t numbers[RANDOM_LENGTH] = {};
  // Without chance all words are the same, and one process at a time can write under a name.
  static_cast<void>(getentropy(numbers, sizeof(numbers)));
  std::string word;
  for (const uint8_t number : numbers) {
    word += LETTERS[number % (sizeof(LETTERS) - 1)];
  }
  return word;
}

}  // namespace

std::string TemporaryName(const std::string& target) {
  return ParentOf(target) + PrefixOf(target) + RandomWord();
}

void ForEachTemporary(const std::string& target,
                      const std::function<void(const std::string& name)>& found) {
  const std::string folder = ParentOf(target);
  const std::string prefix = PrefixOf(target);
  DIR* const entries = opendir(PathOf(folder));
  if (entries == nullptr) {
    return;
  }
  while (const dirent* const entry = readdir(entries)) {
    const std::string base = entry->d_name;
    if (base.starts_with(prefix) && base.size() == prefix.size() + RANDOM_LENGTH) {
      found(folder + base);
    }
  }
  closedir(entries);
}

void SyncNames(const std::string& target) {
  const int opened = open(PathOf(ParentOf(target)), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened != -1) {
    fsync(opened);
    close(opened);
  }
}

}  // namespace marrowfin
