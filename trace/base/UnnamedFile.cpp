#include "trace/base/UnnamedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace marrowfin {

std::string TemporaryFolder() {
  const char* const folder = getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

int OpenUnnamedFile(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor != -1) {
    return descriptor;
  }
  // Not every file system can make files without a name.
  std::string name = folder + "/marrowfin-XXXXXX";
  const int named = mkostemp(name.data(), O_CLOEXEC);
  if (named != -1) {
    unlink(name.c_str());
  }
  return named;
}

}  // namespace marrowfin
