#include "trace/IndexWriter.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

#include "trace/Pack.h"

namespace marrowfin {

namespace {

constexpr const char* TEMPORARY = ".part-";

std::string FolderOf(const std::string& file) {
  const size_t slash = file.rfind('/');
  return slash == std::string::npos ? "." : file.substr(0, slash + 1);
}

std::string BaseOf(const std::string& file) { return file.substr(file.rfind('/') + 1); }

int OpenUnnamed() {
  const char* folder = getenv("TMPDIR");
  std::string name = std::string(folder != nullptr ? folder : "/tmp") + "/marrowfin-XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor != -1) {
    unlink(name.c_str());
  }
  return descriptor;
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

bool IndexWriter::Open(const std::string& name, Fault& fault) {
  file = name;
  if (file.empty()) {
    descriptor = OpenUnnamed();
  } else {
    RemoveLeftovers(file);
    OpenTemporary();
  }
  if (descriptor == -1) {
    fault = SystemFault(file, "cannot write the index", errno);
    return false;
  }
  Put(INDEX_MAGIC, sizeof(INDEX_MAGIC));
  return true;
}

// Between the making and the locking of a temporary, another process may take it for a leftover and
// remove it: then the next one is tried.
void IndexWriter::OpenTemporary() {
  struct stat status = {};
  while (status.st_nlink == 0) {
    if (descriptor != -1) {
      close(descriptor);
    }
    temporary = file + TEMPORARY + "XXXXXX";
    descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor == -1) {
      temporary.clear();
      return;
    }
    flock(descriptor, LOCK_EX | LOCK_NB);
    fchmod(descriptor, 0644);
    if (fstat(descriptor, &status) == -1) {
      return;
    }
  }
}

// Temporaries that nobody holds a lock on were left by processes that were killed.
void IndexWriter::RemoveLeftovers(const std::string& name) {
  const std::string folder = FolderOf(name);
  const std::string prefix = BaseOf(name) + TEMPORARY;
  DIR* entries = opendir(folder.c_str());
  if (entries == nullptr) {
    return;
  }
  while (const dirent* entry = readdir(entries)) {
    const std::string base = entry->d_name;
    if (!base.starts_with(prefix)) {
      continue;
    }
    const std::string path = folder + "/" + base;
    const int left = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
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
  size_t done = 0;
  while (done < count && !failure) {
    const ssize_t put = write(descriptor, bytes + done, count - done);
    if (put == -1 && errno != EINTR) {
      failure = SystemFault(file, "cannot write the index", errno);
      failure.remedy = "make room, or set XDG_CACHE_HOME to a folder that has some";
    }
    done += put > 0 ? static_cast<size_t>(put) : 0;
  }
  size += count;
}

IndexSection IndexWriter::Append(std::span<const uint8_t> raw) {
  const std::vector<uint8_t> packed = Pack(raw);
  const IndexSection section = {size, packed.size(), raw.size()};
  Put(packed.data(), packed.size());
  return section;
}

bool IndexWriter::CopyData(int from, uint64_t end) {
  std::vector<uint8_t> block(256 << 10);
  while (size < end) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(block.size(), end - size));
    const ssize_t got = pread(from, block.data(), wanted, static_cast<off_t>(size));
    if (got <= 0) {
      return false;
    }
    Put(block.data(), static_cast<size_t>(got));
  }
  return true;
}

int IndexWriter::Commit(const IndexDirectory& directory, Fault& fault) {
  const std::vector<uint8_t> raw = EncodeDirectory(directory);
  const IndexSection section = Append(raw);
  uint8_t footer[INDEX_FOOTER];
  EncodeFooter(section, footer);
  Put(footer, sizeof(footer));
  // A name that outlives a loss of power must not stand for a file whose bytes did not.
  if (!failure && !temporary.empty() &&
      (fdatasync(descriptor) == -1 || rename(temporary.c_str(), file.c_str()) == -1)) {
    failure = SystemFault(file, "cannot write the index", errno);
  }
  if (failure) {
    fault = failure;
    return -1;
  }
  temporary.clear();
  const int kept = descriptor;
  descriptor = -1;
  flock(kept, LOCK_UN);
  return kept;
}

}  // namespace marrowfin
