#include "trace/write/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "trace/write/LinkTarget.h"
#include "trace/write/TemporaryName.h"

namespace marrowfin {

namespace {

constexpr char CHOOSE[] = "choose another place, or make this one writable";
constexpr char MAKE_ROOM[] = "make room there, or choose another place";

// Removes the temporary unless some process holds its lock.
void RemoveLeftover(const std::string& name) {
  const int left = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (left == -1) {
    return;
  }
  struct stat status;
  if (fstat(left, &status) == 0 && S_ISREG(status.st_mode) && flock(left, LOCK_EX | LOCK_NB) == 0) {
    unlink(name.c_str());
  }
  close(left);
}

// Holds the signals that end a process back while a temporary exists that nobody remembers.
class SignalsHeldBack {
 public:
  SignalsHeldBack() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &before);
  }
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
  ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

 private:
  sigset_t before;
};

}  // namespace

// A temporary that has to go when a signal ends the process. Entries are reused and never freed: a
// handler may walk the list at any moment.
struct AtomicFile::Temporary {
  enum State { FREE, TAKEN, NAMED };

  std::atomic<int> state = FREE;
  pid_t owner = 0;  // a child that a fork made must leave it alone
  char name[PATH_MAX] = "";
  Temporary* next = nullptr;

  static std::atomic<Temporary*> first;

  // A free entry, taken.
  static Temporary* Take() {
    for (Temporary* entry = first; entry != nullptr; entry = entry->next) {
      int expected = FREE;
      if (entry->state.compare_exchange_strong(expected, TAKEN)) {
        return entry;
      }
    }
    auto* const entry = new Temporary;
    entry->state = TAKEN;
    entry->next = first;
    while (!first.compare_exchange_weak(entry->next, entry)) {
    }
    return entry;
  }
};

std::atomic<AtomicFile::Temporary*> AtomicFile::Temporary::first = nullptr;
static_assert(std::atomic<int>::is_always_lock_free);
static_assert(std::atomic<void*>::is_always_lock_free);

void RemoveTemporaries() {
  using Temporary = AtomicFile::Temporary;
  for (Temporary* entry = Temporary::first; entry != nullptr; entry = entry->next) {
    if (entry->state == Temporary::NAMED && entry->owner == getpid()) {
      unlink(entry->name);
    }
  }
}

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first;
  struct stat second;
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

AtomicFile::~AtomicFile() {
  if (temporary != nullptr) {
    unlink(temporaryName.c_str());
    Forget();
  }
  if (descriptor != -1) {
    close(descriptor);
  }
}

Fault AtomicFile::Refused(const std::string& action, const std::string& remedy) const {
  Fault fault = SystemFault(path, action, errno);
  fault.remedy = remedy;
  return fault;
}

Fault AtomicFile::Open(const std::string& name, const AtomicFileOptions& options) {
  path = name;
  target = name;
  size = 0;
  largestPiece = 0;
  return options.chosen ? OpenChosen(options) : OpenTemporary(options.permissions);
}

Fault AtomicFile::OpenChosen(const AtomicFileOptions& options) {
  struct stat existing;
  if (stat(path.c_str(), &existing) == -1) {
    if (errno != ENOENT) {
      return Refused("cannot create", CHOOSE);
    }
    target = LinkTarget(path);
    return OpenTemporary(options.permissions);
  }
  if (!S_ISREG(existing.st_mode)) {
    return OpenDirectly();
  }
  // Replacing would succeed where only the folder is writable: whoever protected the file meant it.
  if (access(path.c_str(), W_OK) == -1) {
    return Refused("cannot replace", CHOOSE);
  }
  if (char* const resolved = realpath(path.c_str(), nullptr)) {
    target = resolved;
    free(resolved);
  }
  return OpenTemporary(options.permissions.value_or(existing.st_mode & 07777));
}

Fault AtomicFile::OpenDirectly() {
  descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor == -1) {
    return Refused("cannot write", CHOOSE);
  }
  largestPiece = LargestPieceOf(descriptor);
  return {};
}

// Where there are permissions to give, nobody else may look in before they are given.
Fault AtomicFile::OpenTemporary(std::optional<mode_t> permissions) {
  struct stat existing;
  if (stat(target.c_str(), &existing) == 0 && S_ISDIR(existing.st_mode)) {
    errno = EISDIR;
    return Refused("cannot create", CHOOSE);
  }
  ForEachTemporary(target, RemoveLeftover);
  if (!CreateTemporary(permissions ? 0600 : 0666)) {
    return Refused("cannot create", CHOOSE);
  }
  if (permissions) {
    // Where they cannot be given, the file stays its owner's.
    static_cast<void>(fchmod(descriptor, *permissions));
  }
  return {};
}

// Between its making and its locking another process may have taken the temporary for a leftover:
// then it is removed or about to be, and another is made.
bool AtomicFile::CreateTemporary(mode_t mode) {
  constexpr int ATTEMPTS = 100;
  Temporary* const entry = Temporary::Take();
  const SignalsHeldBack heldBack;
  errno = EEXIST;
  for (int attempt = 0; attempt < ATTEMPTS && descriptor == -1 && errno == EEXIST; ++attempt) {
    temporaryName = TemporaryName(target);
    descriptor = open(temporaryName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor != -1 && !IsOurs()) {
      close(std::exchange(descriptor, -1));
      errno = EEXIST;
    }
  }
  if (descriptor == -1) {
    entry->state = Temporary::FREE;
    return false;
  }
  entry->name[temporaryName.copy(entry->name, sizeof(entry->name) - 1)] = '\0';
  entry->owner = getpid();
  entry->state = Temporary::NAMED;
  temporary = entry;
  return true;
}

// Locks the temporary. Where files cannot be locked at all, nobody takes any for leftovers.
bool AtomicFile::IsOurs() const {
  const bool taken = flock(descriptor, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK;
  struct stat status;
  const bool removed = fstat(descriptor, &status) == 0 && status.st_nlink == 0;
  return !taken && !removed;
}

void AtomicFile::Forget() {
  temporary->state = Temporary::FREE;
  temporary = nullptr;
}

// Beyond this limit (ulimit -f) a write would not fail but end the process.
bool AtomicFile::Fits(size_t count) const {
  struct rlimit limit;
  return temporary == nullptr || getrlimit(RLIMIT_FSIZE, &limit) == -1 ||
         limit.rlim_cur == RLIM_INFINITY || size + count <= limit.rlim_cur;
}

ByteSink::Written AtomicFile::Write(const uint8_t* bytes, size_t count) {
  Written written;
  if (Fits(count)) {
    written = WriteTo(descriptor, path, bytes, count);
  } else {
    written.fault = SystemFault(path, "cannot write", EFBIG);
  }
  size += written.taken;
  if (written.fault) {
    written.fault.remedy = MAKE_ROOM;
  }
  return written;
}

Fault AtomicFile::Finish() {
  if (temporary == nullptr) {
    return {};
  }
  // A name that outlives a loss of power must not stand for a file whose bytes did not.
  if (fsync(descriptor) == -1) {
    return Refused("cannot write", MAKE_ROOM);
  }
  if (rename(temporaryName.c_str(), target.c_str()) == -1) {
    return Refused("cannot create", CHOOSE);
  }
  Forget();
  flock(descriptor, LOCK_UN);
  SyncNames(target);
  return {};
}

Fault AtomicFile::Commit() {
  Fault fault = Finish();
  if (!fault) {
    const bool failed = close(descriptor) == -1;
    descriptor = -1;
    fault = failed ? Refused("cannot write", MAKE_ROOM) : Fault();
  }
  return fault;
}

Result<int> AtomicFile::CommitAndKeep() {
  if (Fault fault = Finish()) {
    return fault;
  }
  return std::exchange(descriptor, -1);
}

}  // namespace marrowfin
