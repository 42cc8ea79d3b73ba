#include "trace/index/IndexWriter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "trace/index/Pack.h"

namespace marrowfin {

namespace {

constexpr const char* TEMPORARY = ".part-";
constexpr const char* RANDOM = "XXXXXX";

std::string FolderOf(const std::string& file) {
  const size_t slash = file.rfind('/');
  return slash == std::string::npos ? "." : file.substr(0, slash + 1);
}

std::string BaseOf(const std::string& file) { return file.substr(file.rfind('/') + 1); }

int OpenUnnamed(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor != -1) {
    return descriptor;
  }
  // Not every file system can make files without a name.
  std::string name = folder + "/marrowfin-" + RANDOM;
  const int named = mkostemp(name.data(), O_CLOEXEC);
  if (named != -1) {
    unlink(name.c_str());
  }
  return named;
}

}  // namespace

IndexWriter::~IndexWriter() {
  if (descriptor != -1) {
    close(descriptor);
  }
  if (!temporary.empty()) {
    unlink(temporary.c_str());
  }
}

Fault IndexWriter::Open(const std::string& name, mode_t permissions) {
  file = name;
  shownName = name;
  if (file.empty()) {
    const char* folder = getenv("TMPDIR");
    shownName = folder != nullptr && *folder != '\0' ? folder : "/tmp";
    descriptor = OpenUnnamed(shownName);
  } else {
    RemoveLeftovers();
    OpenTemporary(permissions);
  }
  if (descriptor == -1) {
    return SystemFault(shownName, "cannot write the index", errno);
  }
  Put(INDEX_MAGIC, sizeof(INDEX_MAGIC));
  return {};
}

void IndexWriter::OpenTemporary(mode_t permissions) {
  do {
    if (descriptor != -1) {
      close(descriptor);
    }
    temporary = file + TEMPORARY + RANDOM;
    descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor == -1) {
      temporary.clear();
      return;
    }
  } while (!IsOurs());
  fchmod(descriptor, (permissions & 0066) | 0600);
}

// Locks the temporary. Between its making and its locking another process may have taken it for a
// leftover: then it is removed or about to be. Where files cannot be locked at all, nobody takes
// any for leftovers.
bool IndexWriter::IsOurs() const {
  const bool taken = flock(descriptor, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK;
  struct stat status;
  const bool removed = fstat(descriptor, &status) == 0 && status.st_nlink == 0;
  return !taken && !removed;
}

// Temporaries that nobody holds a lock on were left by processes that were killed.
void IndexWriter::RemoveLeftovers() {
  const std::string folder = FolderOf(file);
  const std::string prefix = BaseOf(file) + TEMPORARY;
  DIR* entries = opendir(folder.c_str());
  if (entries == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(entries)) {
    const std::string base = entry->d_name;
    if (!base.starts_with(prefix) || base.size() != prefix.size() + strlen(RANDOM)) {
      continue;
    }
    const std::string path = folder + "/" + base;
    const int left = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (left != -1 && flock(left, LOCK_EX | LOCK_NB) == 0) {
      unlink(path.c_str());
    }
    if (left != -1) {
      close(left);
    }
  }
  closedir(entries);
}

void IndexWriter::Put(const uint8_t* bytes, size_t count) {
  if (!failure && !Write(bytes, count)) {
    failure = SystemFault(shownName, "cannot write the index", errno);
    failure.remedy = "make room, or set XDG_CACHE_HOME to a folder that has some";
    failed = true;
  }
  sum = static_cast<uint32_t>(crc32(sum, bytes, static_cast<uInt>(count)));
  size += count;
}

bool IndexWriter::Write(const uint8_t* bytes, size_t count) {
  // Beyond this limit (ulimit -f) a write would not fail but end the process.
  struct rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      size + count > limit.rlim_cur) {
    errno = EFBIG;
    return false;
  }
  for (size_t done = 0; done < count;) {
    const ssize_t put = write(descriptor, bytes + done, count - done);
    if (put == -1 && errno != EINTR) {
      return false;
    }
    done += put > 0 ? static_cast<size_t>(put) : 0;
  }
  return true;
}

IndexSection IndexWriter::Append(std::span<const uint8_t> raw) {
  const std::vector<uint8_t> packed = Pack(raw);
  const IndexSection section = {size, packed.size(), raw.size()};
  Put(packed.data(), packed.size());
  return section;
}

bool IndexWriter::CopyData(int from, uint64_t end) {
  std::vector<uint8_t> block(256 << 10);
  while (size < end && !Failed()) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(block.size(), end - size));
    const ssize_t got = pread(from, block.data(), wanted, static_cast<off_t>(size));
    if (got <= 0) {
      return false;
    }
    Put(block.data(), static_cast<size_t>(got));
  }
  return true;
}

Result<int> IndexWriter::Commit(const IndexDirectory& directory) {
  IndexFooter footer;
  footer.directory = Append(EncodeDirectory(directory));
  footer.sum = sum;
  uint8_t bytes[INDEX_FOOTER];
  EncodeFooter(footer, bytes);
  Put(bytes, sizeof(bytes));
  // A name that outlives a loss of power must not stand for a file whose bytes did not.
  if (!failure && !temporary.empty() &&
      (fdatasync(descriptor) == -1 || rename(temporary.c_str(), file.c_str()) == -1)) {
    failure = SystemFault(shownName, "cannot write the index", errno);
  }
  if (failure) {
    return failure;
  }
  temporary.clear();
  const int kept = descriptor;
  descriptor = -1;
  flock(kept, LOCK_UN);
  return kept;
}

}  // namespace marrowfin
