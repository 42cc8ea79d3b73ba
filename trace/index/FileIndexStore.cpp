#include <fcntl.h>
#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "trace/base/UnnamedFile.h"
#include "trace/index/IndexStore.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {

namespace {

namespace fs = std::filesystem;

// Whether a folder holds no files of its own but stands for what the system has.
bool IsOfTheSystem(const fs::path& folder) {
  std::error_code error;
  const fs::path real = fs::canonical(folder, error);
  struct statfs system;
  return !error &&
         (real == "/dev" || (statfs(real.c_str(), &system) == 0 &&
                             (system.f_type == PROC_SUPER_MAGIC || system.f_type == SYSFS_MAGIC)));
}

fs::path FolderOf(const fs::path& file) {
  const fs::path folder = file.parent_path();
  return folder.empty() ? "." : folder;
}

// The name under which the trace is to be known: its own or, where that is one such as /dev/stdin,
// that of the file it stands for. Empty for a file that has no name any more.
std::string LastingName(const PositionedFile& trace) {
  if (!IsOfTheSystem(FolderOf(trace.Name()))) {
    return trace.Name();
  }
  std::error_code error;
  const fs::path real = fs::canonical(trace.Name(), error);
  if (error || IsOfTheSystem(FolderOf(real))) {
    return "";
  }
  const Result<std::unique_ptr<PositionedFile>> named =
      OpenPlainFile(real.string(), PlainAccess::READ);
  const bool same = named && (*named)->Identity().device == trace.Identity().device &&
                    (*named)->Identity().inode == trace.Identity().inode;
  return same ? real.string() : "";
}

std::string CacheFolder() {
  // A relative one counts as not set.
  if (const char* cache = getenv("XDG_CACHE_HOME"); cache != nullptr && *cache == '/') {
    return std::string(cache) + "/marrowfin";
  }
  const char* home = getenv("HOME");
  return home == nullptr || *home == '\0' ? "" : std::string(home) + "/.cache/marrowfin";
}

// Where an index of the trace may lie under a name, best first.
std::vector<std::string> Places(const std::string& traceName) {
  if (traceName.empty()) {
    return {};
  }
  std::vector<std::string> places = {traceName + ".mfindex"};
  const std::string folder = CacheFolder();
  if (!folder.empty()) {
    std::error_code error;
    const std::string path = fs::absolute(traceName, error).lexically_normal().string();
    const size_t hash = std::hash<std::string>()(path);
    places.push_back(folder + "/" + fs::path(traceName).filename().string() + "-" +
                     std::to_string(hash) + ".mfindex");
  }
  return places;
}

// Beyond this limit (ulimit -f) a write would not fail but end the process.
bool FitsLimit(uint64_t size) {
  struct rlimit limit;
  return getrlimit(RLIMIT_FSIZE, &limit) == -1 || limit.rlim_cur == RLIM_INFINITY ||
         size <= limit.rlim_cur;
}

// An index in one place while it is made.
class FileInPlace {
 public:
  FileInPlace() = default;
  FileInPlace(const FileInPlace&) = delete;
  FileInPlace& operator=(const FileInPlace&) = delete;
  ~FileInPlace() {
    if (kept != -1) {
      close(kept);
    }
  }

  // An empty name stands for a file without one.
  Fault Open(const std::string& place, uint32_t permissions) {
    name = place;
    if (place.empty()) {
      shownName = TemporaryFolder();
      kept = OpenUnnamedFile(shownName);
      return kept == -1 ? Reworded(SystemFault(shownName, "cannot create", errno), "") : Fault();
    }
    shownName = place;
    AtomicFileOptions options;
    options.chosen = false;
    options.permissions = (permissions & 0066) | 0600;
    return Reworded(named.Open(place, options), "");
  }

  Fault Append(std::span<const uint8_t> bytes) {
    ByteSink::Written written;
    if (!name.empty()) {
      written = named.Write(bytes.data(), bytes.size());
    } else if (FitsLimit(size + bytes.size())) {
      written = WriteTo(kept, shownName, bytes.data(), bytes.size());
    } else {
      written.fault = SystemFault(shownName, "cannot write", EFBIG);
    }
    size += written.fault ? 0 : bytes.size();
    return Reworded(written.fault, MAKE_ROOM);
  }

  uint64_t Size() const { return size; }

  Result<std::unique_ptr<PositionedFile>> Written() const {
    const int open = kept != -1 ? kept : named.Descriptor();
    const int copy = fcntl(open, F_DUPFD_CLOEXEC, 0);
    if (copy == -1) {
      return SystemFault(shownName, "cannot read", errno);
    }
    return OpenPlainFile(copy, name, PlainAccess::READ);
  }

  Fault CopyFrom(const FileInPlace& other) {
    const Result<std::unique_ptr<PositionedFile>> from = other.Written();
    if (!from) {
      return from.Why();
    }
    std::vector<uint8_t> block(256 << 10);
    while (size < other.size) {
      const size_t count = static_cast<size_t>(std::min<uint64_t>(block.size(), other.size - size));
      if (Fault fault = (*from)->ReadAt(size, count, block.data())) {
        return fault;
      }
      if (Fault fault = Append({block.data(), count})) {
        return fault;
      }
    }
    return {};
  }

  Fault Commit() {
    if (name.empty()) {
      return {};
    }
    const Result<int> committed = named.CommitAndKeep();
    if (committed) {
      kept = *committed;
    }
    return Reworded(committed.Why(), MAKE_ROOM);
  }

 private:
  // In words that say what could not be written: nobody who asked a question of a trace chose the
  // file.
  static Fault Reworded(Fault fault, const char* remedy) {
    if (fault) {
      fault.reason = "cannot write the index" + fault.reason.substr(fault.reason.find(':'));
      fault.remedy = remedy;
    }
    return fault;
  }

  static constexpr char MAKE_ROOM[] = "make room, or set XDG_CACHE_HOME to a folder that has some";

  std::string name;
  std::string shownName;  // for messages
  AtomicFile named;
  int kept = -1;  // the file when it is committed, or from the start where it has no name
  uint64_t size = 0;
};

// A draft that goes from one place to the next where it finds no room.
class MovingDraft : public IndexDraft {
 public:
  MovingDraft(std::vector<std::string> places, uint32_t permissions)
      : places(std::move(places)), permissions(permissions) {}

  // Goes to the next place that takes what there is so far; the fault of the last one.
  Fault Move() {
    Fault fault;
    while (next < places.size()) {
      fault = MoveTo(places[next++]);
      if (!fault) {
        return {};
      }
      Refuse(fault);
    }
    return fault;
  }

  Fault Append(std::span<const uint8_t> bytes) override {
    return InSomePlace([&] { return file->Append(bytes); });
  }

  uint64_t Size() const override { return file->Size(); }
  Result<std::unique_ptr<PositionedFile>> Written() const override { return file->Written(); }

  Result<std::unique_ptr<PositionedFile>> Commit() override {
    if (Fault fault = InSomePlace([&] { return file->Commit(); })) {
      return fault;
    }
    return file->Written();
  }

  Fault Refusal() const override { return refusal; }

 private:
  template <class Attempt>
  Fault InSomePlace(Attempt attempt) {
    Fault fault = attempt();
    while (fault && next < places.size()) {
      Refuse(fault);
      fault = Move();
      if (!fault) {
        fault = attempt();
      }
    }
    return fault;
  }

  void Refuse(const Fault& fault) {
    if (!refusal) {
      refusal = fault;
    }
  }

  Fault MoveTo(const std::string& place) {
    std::error_code error;
    if (next > 1) {  // the folder of the trace itself is there
      fs::create_directories(fs::path(place).parent_path(), error);
    }
    auto opened = std::make_unique<FileInPlace>();
    if (Fault fault = opened->Open(place, permissions)) {
      return fault;
    }
    if (file != nullptr) {
      if (Fault fault = opened->CopyFrom(*file)) {
        return fault;
      }
    }
    file = std::move(opened);
    return {};
  }

  std::vector<std::string> places;
  uint32_t permissions;
  size_t next = 0;  // the place after that of the file
  std::unique_ptr<FileInPlace> file;
  Fault refusal;
};

class FileStore : public IndexStore {
 public:
  // `trace` is null where no index can be packed with one.
  FileStore(std::vector<std::string> places, uint32_t permissions, const PositionedFile* trace)
      : places(std::move(places)), permissions(permissions), trace(trace) {}

  std::vector<std::unique_ptr<PositionedFile>> Find() const override {
    std::vector<std::unique_ptr<PositionedFile>> found;
    for (const std::string& place : places) {
      // The file without a name is no more, which is as good as one that never was.
      Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(place, PlainAccess::READ);
      if (file) {
        found.push_back(std::move(file).Take());
      }
    }
    // One that was built anew counts first: what is packed may be damaged.
    std::unique_ptr<PositionedFile> enclosed =
        trace != nullptr ? trace->Enclosed(Enclosure::INDEX) : nullptr;
    if (enclosed != nullptr) {
      found.push_back(std::move(enclosed));
    }
    return found;
  }

  Result<std::unique_ptr<IndexDraft>> Create() override {
    auto draft = std::make_unique<MovingDraft>(places, permissions);
    if (Fault fault = draft->Move()) {
      return fault;
    }
    return std::unique_ptr<IndexDraft>(std::move(draft));
  }

 private:
  std::vector<std::string> places;  // the empty one is a file without a name
  uint32_t permissions;
  const PositionedFile* trace;
};

}  // namespace

std::unique_ptr<IndexStore> IndexFilesOf(const PositionedFile& trace) {
  std::vector<std::string> places = Places(LastingName(trace));
  places.emplace_back();
  return std::make_unique<FileStore>(std::move(places), trace.Permissions(), &trace);
}

std::unique_ptr<IndexStore> IndexWithoutName() {
  return std::make_unique<FileStore>(std::vector<std::string>{""}, 0, nullptr);
}

std::unique_ptr<IndexStore> IndexFileAt(const std::string& file, uint32_t permissions) {
  return std::make_unique<FileStore>(std::vector<std::string>{file}, permissions, nullptr);
}

}  // namespace marrowfin
