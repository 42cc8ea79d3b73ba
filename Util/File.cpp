#include "Util/File.h"

#include <fcntl.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Util/AppendFormat.h"
#include "Util/Assert.h"
#include "Util/InitOrder.h"
#include "Util/Types.h"

const int File::READ_WRITE_FLAGS = O_RDWR | O_CREAT;
const int File::WRITE_FLAGS = O_WRONLY | O_CREAT | O_TRUNC;
const int File::READ_FLAGS = O_RDONLY;
const unsigned short File::DEFAULT_MODE = 0666;
int File::tmpFileCount = 0;

[[gnu::init_priority(INIT_OUTPUT)]] File File::Stdout(stdout, false);
[[gnu::init_priority(INIT_OUTPUT)]] File File::Stderr(stderr, false);
[[gnu::init_priority(INIT_OUTPUT)]] File File::Stdin(stdin, false);

File::File(bool crashOnError)
    : fDes(-1), fFile(nullptr), myErrno(0), crashOnError(crashOnError), isTmpFile(false) {}

File::File(FILE* stream, bool crashOnError) : File(false) {
  SetFile(stream);
  this->crashOnError = crashOnError;
}

File::File(int fd, const char* mode, bool crashOnError) : File(false) {
  SetFile(fd, mode);
  this->crashOnError = crashOnError;
}

File::~File() = default;

File::FileStatus File::Fail() {
  myErrno = errno;
  if (crashOnError) {
    Crash();
  }
  return ERROR;
}

void File::Crash() {
  fprintf(stderr, "%s\n", strerror(myErrno));
  abort();
}

File::FileStatus File::Open(const char* name, int flags, unsigned short mode) {
  myErrno = 0;
  fDes = open(name, flags, mode);
  if (fDes == -1) {
    return Fail();
  }
  // The flags may allow only one direction: take the first kind of stream that the descriptor
  // takes.
  fFile = fdopen(fDes, "r+");
  if (fFile == nullptr && errno == EINVAL) {
    fFile = fdopen(fDes, "r");
  }
  if (fFile == nullptr && errno == EINVAL) {
    fFile = fdopen(fDes, "w");
  }
  return fFile == nullptr ? Fail() : SUCCESS;
}

File::FileStatus File::Open(const std::string& name, int flags, unsigned short /*mode*/) {
  return Open(name.c_str(), flags, DEFAULT_MODE);
}

File::FileStatus File::SetFile(FILE* stream) {
  myErrno = 0;
  fDes = fileno(stream);
  if (fDes == -1) {
    return Fail();
  }
  fFile = stream;
  return SUCCESS;
}

File::FileStatus File::SetFile(int fd, const char* mode) {
  myErrno = 0;
  fFile = fdopen(fd, mode);
  if (fFile == nullptr) {
    return Fail();
  }
  fDes = fd;
  return SUCCESS;
}

File::FileStatus File::WriteN(const void* buf, unsigned long size, unsigned long count,
                              unsigned long* written) {
  myErrno = 0;
  const ssize_t bytes = write(fDes, buf, size * count);
  if (bytes == -1) {
    return Fail();
  }
  if (written != nullptr) {
    *written = static_cast<unsigned long>(bytes);
  }
  return SUCCESS;
}

File::FileStatus File::ReadN(void* buf, unsigned long size, unsigned long count,
                             unsigned long* got) {
  myErrno = 0;
  const unsigned long wanted = size * count;
  const ssize_t bytes = read(fDes, buf, wanted);
  if (bytes == -1) {
    return Fail();
  }
  if (got != nullptr) {
    *got = size == 0 ? 0 : static_cast<unsigned long>(bytes) / size;
  }
  return static_cast<unsigned long>(bytes) < wanted ? END_OF_FILE : SUCCESS;
}

File::FileStatus File::Write(const void* buf, unsigned long n, unsigned long* written) {
  return WriteN(buf, 1, n, written);
}

File::FileStatus File::Write(const std::string& s) {
  return WriteN(s.c_str(), s.size(), 1, nullptr);
}

File::FileStatus File::Write(char c) { return WriteN(&c, 1, 1, nullptr); }

File::FileStatus File::Read(void* buf, unsigned long n, unsigned long* got) {
  return ReadN(buf, 1, n, got);
}

File::FileStatus File::Read(char& c) { return ReadN(&c, 1, 1, nullptr); }

File::FileStatus File::Read(std::string& s, char delimiter) {
  s.clear();
  char c = 0;
  FileStatus status = Read(c);
  while (status == SUCCESS) {
    s += c;
    if (c == delimiter) {
      break;
    }
    status = Read(c);
  }
  return status;
}

int File::Print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int printed = PrintList(format, args);
  va_end(args);
  return printed;
}

int File::PrintList(const char* format, va_list args) {
  return fFile == nullptr ? -1 : vfprintf(fFile, format, args);
}

File::FileStatus File::Seek(long long offset, int whence) {
  SIM_ASSERT(offset < INT_MAX);
  myErrno = 0;
  const uint32 low = static_cast<uint32>(offset);
  return lseek(fDes, low, whence) == -1 ? Fail() : SUCCESS;
}

File::FileStatus File::Tell(long long& pos) {
  myErrno = 0;
  errno = 0;
  pos = lseek(fDes, 0, SEEK_CUR);
  return errno != 0 ? Fail() : SUCCESS;
}

File::FileStatus File::Rewind() { return Seek(0, SEEK_SET); }

File::FileStatus File::Close() {
  myErrno = 0;
  if (fFile != nullptr) {
    // The stream stays set after a close, and the C library aborts when it is closed again.
    if (fDes == -1) {
      return SUCCESS;
    }
    // The descriptor and the stream are gone even where fclose reports a failure.
    const bool failed = fclose(fFile) != 0;
    fDes = -1;
    return failed ? Fail() : SUCCESS;
  }
  if (fDes == -1) {
    return SUCCESS;
  }
  if (close(fDes) == -1) {
    return Fail();
  }
  fDes = -1;
  fFile = nullptr;
  return SUCCESS;
}

bool File::IsOpen() { return fFile != nullptr; }

FILE* File::GetFILE() { return fFile; }

int File::GetFD() { return fDes; }

bool File::IsTmpFile() { return isTmpFile != 0; }

bool File::operator==(const File& other) const { return fDes == other.fDes; }

File::FileStatus File::OpenTmpFile(const char* prefix, int flags) {
  myErrno = 0;
  std::string name = prefix;
  timeval now;
  if (gettimeofday(&now, nullptr) == -1) {
    return Fail();
  }
  AppendFormat(name, "%d-%lu-%d.tmp", static_cast<int>(getpid()),
               static_cast<unsigned long>(now.tv_sec), tmpFileCount);
  ++tmpFileCount;
  tmpFileName = name;
  isTmpFile = true;
  return Open(name, flags, DEFAULT_MODE);
}

File::FileStatus File::DestroyTmpFile() {
  SIM_ASSERT(isTmpFile);
  const FileStatus status = Close();
  if (status == SUCCESS && unlink(tmpFileName.c_str()) == -1) {
    return Fail();
  }
  isTmpFile = false;
  return status;
}

File::FileStatus File::WriteFileContents(File& source, long long length, long long* copied) {
  myErrno = 0;
  uint32 remaining = static_cast<uint32>(length);
  uint32 total = 0;
  FileStatus status;
  do {
    char buf[4096];
    unsigned long got = 0;
    status = source.Read(buf, std::min<unsigned long>(remaining, sizeof(buf)), &got);
    if (status == ERROR) {
      return Fail();
    }
    if (Write(buf, got) != SUCCESS) {
      return Fail();
    }
    remaining -= static_cast<uint32>(got);
    total += static_cast<uint32>(got);
  } while (remaining != 0 && status != END_OF_FILE);
  if (copied != nullptr) {
    *copied = total;
  }
  return status;
}
