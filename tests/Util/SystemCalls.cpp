#include "tests/Util/SystemCalls.h"

#include <fcntl.h>
#include <regex.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <iterator>

namespace marrowfin::testing {

namespace {

SystemCalls* current = nullptr;

// Filled before any constructor has run.
FILE* firstStreams[16];
size_t firstStreamCount = 0;

// Notes a call where somebody listens. True, with errno set, where it is to fail.
template <class... Arguments>
bool MustFail(const char* name, const Arguments&... arguments) {
  return current != nullptr && current->Note(name, SystemCalls::Call(name, arguments...));
}

int SignalsIn(const sigset_t& mask) {
  int count = 0;
  for (int number = 1; number <= SIGRTMAX; ++number) {
    count += sigismember(&mask, number) == 1 ? 1 : 0;
  }
  return count;
}

}  // namespace

SystemCalls::SystemCalls() { current = this; }

SystemCalls::~SystemCalls() { current = nullptr; }

void SystemCalls::Fail(const std::string& name, std::initializer_list<int> errors) {
  failures[name].assign(errors);
}

bool SystemCalls::Note(const char* name, const std::string& call) {
  made.push_back(call);
  std::deque<int>& errors = failures[name];
  const int error = errors.empty() ? 0 : errors.front();
  if (!errors.empty()) {
    errors.pop_front();
  }
  if (error != 0) {
    errno = error;
  }
  return error != 0;
}

SystemCalls* SystemCalls::Current() { return current; }

std::vector<FILE*> SystemCalls::FirstStreams() {
  return std::vector<FILE*>(firstStreams, firstStreams + firstStreamCount);
}

extern "C" {

int __real_close(int descriptor);
int __wrap_close(int descriptor) {
  return MustFail("close", descriptor) ? -1 : __real_close(descriptor);
}

int __real_fclose(FILE* stream);
int __wrap_fclose(FILE* stream) { return MustFail("fclose", stream) ? EOF : __real_fclose(stream); }

FILE* __real_fdopen(int descriptor, const char* mode);
FILE* __wrap_fdopen(int descriptor, const char* mode) {
  return MustFail("fdopen", descriptor, mode) ? nullptr : __real_fdopen(descriptor, mode);
}

int __real_fileno(FILE* stream);
int __wrap_fileno(FILE* stream) {
  if (firstStreamCount < std::size(firstStreams)) {
    firstStreams[firstStreamCount++] = stream;
  }
  return MustFail("fileno", stream) ? -1 : __real_fileno(stream);
}

int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone) {
  if (MustFail("gettimeofday")) {
    return -1;
  }
  const int result = __real_gettimeofday(now, zone);
  if (current != nullptr && current->Time() != 0) {
    now->tv_sec = current->Time();
  }
  return result;
}

off_t __real_lseek(int descriptor, off_t offset, int whence);
off_t __wrap_lseek(int descriptor, off_t offset, int whence) {
  return MustFail("lseek", descriptor, offset, whence) ? -1
                                                       : __real_lseek(descriptor, offset, whence);
}

int __real_open(const char* name, int flags, ...);
int __wrap_open(const char* name, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
  va_end(args);
  return MustFail("open", name, flags, mode) ? -1 : __real_open(name, flags, mode);
}

ssize_t __real_read(int descriptor, void* bytes, size_t size);
ssize_t __wrap_read(int descriptor, void* bytes, size_t size) {
  return MustFail("read", descriptor, size) ? -1 : __real_read(descriptor, bytes, size);
}

size_t __real_regerror(int error, const regex_t* pattern, char* text, size_t size);
size_t __wrap_regerror(int error, const regex_t* pattern, char* text, size_t size) {
  MustFail("regerror", size);
  return __real_regerror(error, pattern, text, size);
}

void __real_regfree(regex_t* pattern);
void __wrap_regfree(regex_t* pattern) {
  MustFail("regfree");
  __real_regfree(pattern);
}

int __real_sigaction(int number, const struct sigaction* action, struct sigaction* before);
int __wrap_sigaction(int number, const struct sigaction* action, struct sigaction* before) {
  const bool fails = action != nullptr &&
                     MustFail("sigaction", number, reinterpret_cast<void*>(action->sa_handler),
                              action->sa_flags, SignalsIn(action->sa_mask));
  return fails ? -1 : __real_sigaction(number, action, before);
}

char* __real_strdup(const char* text);
char* __wrap_strdup(const char* text) {
  MustFail("strdup", text);
  return __real_strdup(text);
}

int __real_unlink(const char* name);
int __wrap_unlink(const char* name) { return MustFail("unlink", name) ? -1 : __real_unlink(name); }

ssize_t __real_write(int descriptor, const void* bytes, size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, size_t size) {
  return MustFail("write", descriptor, size) ? -1 : __real_write(descriptor, bytes, size);
}

void* __real__Znam(size_t size);
void* __wrap__Znam(size_t size) {
  MustFail("new[]", size);
  return __real__Znam(size);
}

void __real__ZdaPv(void* array);
void __wrap__ZdaPv(void* array) {
  MustFail("delete[]");
  __real__ZdaPv(array);
}

}  // extern "C"

}  // namespace marrowfin::testing
