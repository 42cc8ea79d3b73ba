#include "convert/export/AtomicFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "trace/write/LinkTarget.h"
#include "trace/write/TemporaryName.h"

namespace marrowfin {
namespace {

void RemoveTree(int at, const char* name);

// What lies in an open folder. Takes no memory, of which there may be none.
void RemoveEntries(int folder) {
  alignas(dirent64) char entries[4096];
  ssize_t got = 0;
  while ((got = getdents64(folder, entries, sizeof(entries))) > 0) {
    for (ssize_t at = 0; at < got;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(entries + at);
      at += entry->d_reclen;
      if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
        RemoveTree(folder, entry->d_name);
      }
    }
  }
}

// A file or link, or a folder and all in it.
void RemoveTree(int at, const char* name) {
  if (unlinkat(at, name, 0) == 0) {
    return;
  }
  const int folder = openat(at, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
  if (folder != -1) {
    RemoveEntries(folder);
    close(folder);
    unlinkat(at, name, AT_REMOVEDIR);
  }
}

// Removes the temporary folder unless some process holds its lock.
void RemoveLeftover(const std::string& name) {
  const int left = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
  if (left == -1) {
    return;
  }
  if (flock(left, LOCK_EX | LOCK_NB) == 0) {
    RemoveTree(AT_FDCWD, name.c_str());
  }
  close(left);
}

}  // namespace

AtomicFolder::~AtomicFolder() {
  if (!temporary.empty()) {
    RemoveTree(AT_FDCWD, temporary.c_str());
  }
  if (descriptor != -1) {
    close(descriptor);
  }
}

Fault AtomicFolder::Refused(const char* action) const {
  Fault fault = SystemFault(path, action, errno);
  fault.remedy = "choose another place, or make this one writable";
  return fault;
}

Fault AtomicFolder::Open(const std::string& name, const MayReplace& mayGo) {
  path = name;
  mayReplace = mayGo;
  while (path.size() > 1 && path.ends_with('/')) {
    path.pop_back();
  }
  target = LinkTarget(path);
  ForEachTemporary(target, RemoveLeftover);
  return MakeTemporary() ? Fault() : Refused("cannot create");
}

// Between its making and its locking another process may have taken the temporary for a leftover:
// then another is made.
bool AtomicFolder::MakeTemporary() {
  constexpr int ATTEMPTS = 100;
  errno = EEXIST;
  for (int attempt = 0; attempt < ATTEMPTS && errno == EEXIST; ++attempt) {
    const std::string made = TemporaryName(target);
    if (mkdir(made.c_str(), 0777) == -1) {
      continue;
    }
    temporary = made;
    if (Lock()) {
      return true;
    }
    temporary.clear();
    if (errno != EEXIST) {
      const int why = errno;
      rmdir(made.c_str());
      errno = why;
    }
  }
  return false;
}

// Where folders cannot be locked at all, nobody takes any for leftovers. errno is EEXIST where
// another process has it, or had.
bool AtomicFolder::Lock() {
  descriptor = open(temporary.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor == -1) {
    errno = errno == ENOENT ? EEXIST : errno;
    return false;
  }
  const bool taken = flock(descriptor, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK;
  struct stat status;
  const bool removed = fstat(descriptor, &status) == 0 && status.st_nlink == 0;
  if (taken || removed) {
    close(std::exchange(descriptor, -1));
    errno = EEXIST;
  }
  return descriptor != -1;
}

bool AtomicFolder::TakeName() const {
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  struct stat existing;
  const bool isThere = lstat(target.c_str(), &existing) == 0;
  if (!isThere) {
    // Not every file system knows how not to replace.
    return rename(temporary.c_str(), target.c_str()) == 0;
  }
  if (!mayReplace(target)) {
    errno = EEXIST;
    return false;
  }
  return Replace();
}

// Both names change at once where the file system can do that; else there is neither for a moment.
bool AtomicFolder::Replace() const {
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) {
    return true;
  }
  const std::string old = TemporaryName(target);
  if (errno != EINVAL || rename(target.c_str(), old.c_str()) == -1) {
    return false;
  }
  const bool taken = rename(temporary.c_str(), target.c_str()) == 0;
  return rename(old.c_str(), (taken ? temporary : target).c_str()) == 0 && taken;
}

Fault AtomicFolder::Commit() {
  // A name that outlives a loss of power must not stand for files whose bytes did not. One by one
  // that takes as long for each of thousands of files as for all.
  if (syncfs(descriptor) == -1) {
    return Refused("cannot write");
  }
  if (!TakeName()) {
    return Refused("cannot create");
  }
  SyncNames(target);
  flock(descriptor, LOCK_UN);
  // What had the name before has that of the temporary now.
  RemoveTree(AT_FDCWD, temporary.c_str());
  temporary.clear();
  return {};
}

}  // namespace marrowfin
