#ifndef SIM_FILEIDENTITY_H
#define SIM_FILEIDENTITY_H

#include <sys/types.h>

#include <optional>
#include <string>

namespace marrowfin::sim {

// What tells a file apart from all others, however it is named: two names are one file where their
// identities are equal. A file that is not there yet is known by its folder and its name in it.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;    // of the file, or of the folder that it would be made in
  std::string entry;  // its name in that folder; empty where the file is there

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The identity of what would be written under `name`. None where nothing can be, and for devices,
// such as a terminal or /dev/null, which any number of outputs may share. Touches nothing.
std::optional<FileIdentity> IdentityOf(const std::string& name);

// The same of an open descriptor.
std::optional<FileIdentity> IdentityOf(int descriptor);

}  // namespace marrowfin::sim

#endif
