#include "sim/CanWrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Util/File.h"

namespace marrowfin::sim {

bool CanWrite(const std::string& name) {
  struct stat info;
  if (stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    errno = EISDIR;
    return false;
  }
  // A pipe is not opened to find out: its reader would take the end of the attempt for the end of
  // the output.
  if (stat(name.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    return access(name.c_str(), W_OK) == 0;
  }
  File probe(false);
  if (probe.Open(name, O_WRONLY | O_CREAT, File::DEFAULT_MODE) != File::SUCCESS) {
    return false;
  }
  probe.Close();
  return true;
}

}  // namespace marrowfin::sim
