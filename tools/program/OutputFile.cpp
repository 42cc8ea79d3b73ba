#include "tools/program/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>

namespace marrowfin {
namespace {

constexpr char remedy[] = "Choose another output with -o, or make this one writable.";
constexpr char writeRemedy[] = "Free space there, or choose another place with -o.";

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The temporary that a signal has to remove; empty while there is none.
char doomed[PATH_MAX];

void RemoveAndEnd(int signal) {
  unlink(doomed);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

// A signal that is ignored (as nohup does) or handled stays so.
void SwitchHandler(void (*from)(int), void (*to)(int)) {
  for (const int signal : endingSignals) {
    struct sigaction action;
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == from) {
      std::signal(signal, to);
    }
  }
}

// Holds the ending signals back while a temporary exists that the handler does not know.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : endingSignals) {
      sigaddset(&held, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &before);
  }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
  ~SignalsHeldBack() { sigprocmask(SIG_SETMASK, &before, nullptr); }

 private:
  sigset_t before;
};

void Arm(const std::string& temporary) {
  doomed[temporary.copy(doomed, sizeof(doomed) - 1)] = '\0';
  SwitchHandler(SIG_DFL, RemoveAndEnd);
}

void Disarm() {
  SwitchHandler(RemoveAndEnd, SIG_DFL);
  doomed[0] = '\0';
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// The new name survives a loss of power once its folder is on the disk. Not every file system lets
// a folder be synchronised; the file itself is safe by then.
void SyncFolder(const std::string& folder) {
  const int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd != -1) {
    fsync(fd);
    close(fd);
  }
}

}  // namespace

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first;
  struct stat second;
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

OutputFile::OutputFile() : fd(-1) {}

OutputFile::~OutputFile() {
  if (fd != -1) {
    close(fd);
  }
  if (!temporary.empty()) {
    unlink(temporary.c_str());
    Disarm();
  }
}

MaybeFailure OutputFile::Fail(const std::string& act) const {
  return SystemFailure(EXIT_SYSTEM, path, act, remedy);
}

MaybeFailure OutputFile::Open(const std::string& name) {
  path = name;
  target = name;
  struct stat existing;
  if (stat(path.c_str(), &existing) == -1) {
    return errno == ENOENT ? OpenTemporary(false, 0) : Fail("create");
  }
  if (!S_ISREG(existing.st_mode)) {
    return OpenDirectly();
  }
  // Replacing would succeed where only the folder is writable: whoever protected the file meant it.
  if (access(path.c_str(), W_OK) == -1) {
    return Fail("replace");
  }
  if (char* const resolved = realpath(path.c_str(), nullptr)) {
    target = resolved;
    free(resolved);
  }
  return OpenTemporary(true, existing.st_mode);
}

MaybeFailure OutputFile::OpenDirectly() {
  fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  return fd == -1 ? Fail("write") : std::nullopt;
}

MaybeFailure OutputFile::OpenTemporary(bool replacing, unsigned mode) {
  MaybeFailure failure = CreateTemporary(FolderOf(target));
  if (!failure && replacing) {
    // Where the permissions of the old file cannot be given, the new one has those of any new file.
    static_cast<void>(fchmod(fd, mode & 07777));
  }
  return failure;
}

MaybeFailure OutputFile::CreateTemporary(const std::string& folder) {
  const SignalsHeldBack heldBack;
  for (unsigned attempt = 0; fd == -1; ++attempt) {
    const std::string name =
        folder + ".marrowfin-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
    fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd == -1 && errno != EEXIST) {
      return Fail("create");
    }
    if (fd != -1) {
      temporary = name;
    }
  }
  Arm(temporary);
  return std::nullopt;
}

MaybeFailure OutputFile::Write(const void* bytes, size_t size) {
  const char* next = static_cast<const char*>(bytes);
  while (size != 0) {
    const ssize_t written = write(fd, next, size);
    if (written == -1 && errno == EINTR) {
      continue;
    }
    if (written == -1) {
      return SystemFailure(EXIT_SYSTEM, path, "write", writeRemedy);
    }
    next += written;
    size -= static_cast<size_t>(written);
  }
  return std::nullopt;
}

MaybeFailure OutputFile::Commit() {
  if (!temporary.empty() && fsync(fd) == -1) {
    return SystemFailure(EXIT_SYSTEM, path, "write", writeRemedy);
  }
  const int status = close(fd);
  fd = -1;
  if (status == -1) {
    return SystemFailure(EXIT_SYSTEM, path, "write", writeRemedy);
  }
  if (temporary.empty()) {
    return std::nullopt;
  }
  if (rename(temporary.c_str(), target.c_str()) == -1) {
    return Fail("create");
  }
  temporary.clear();
  Disarm();
  SyncFolder(FolderOf(target));
  return std::nullopt;
}

}  // namespace marrowfin
