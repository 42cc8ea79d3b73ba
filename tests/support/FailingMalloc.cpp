// Preloaded into a program: lets memory run out at an allocation of choice.
//
// FAILING_MALLOC_FROM  the number of the first allocation that fails, counted from 0
// FAILING_MALLOC_ONLY  set where it fails alone; else all that follow fail too
// FAILING_MALLOC_COUNT the file to which the number of all allocations is written at the end

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

}  // extern "C"

namespace {

std::atomic<long> allocations = 0;
long first = -1;
bool only = false;

[[gnu::constructor]] void Begin() {
  const char* const from = getenv("FAILING_MALLOC_FROM");
  first = from == nullptr ? -1 : atol(from);
  only = getenv("FAILING_MALLOC_ONLY") != nullptr;
  allocations = 0;
}

[[gnu::destructor]] void WriteCount() {
  const char* const name = getenv("FAILING_MALLOC_COUNT");
  const int file =
      name == nullptr ? -1 : open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file != -1) {
    dprintf(file, "%ld\n", allocations.load());
    close(file);
  }
}

bool Fails() {
  const long number = allocations++;
  const bool fails = first >= 0 && (only ? number == first : number >= first);
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
}

}  // namespace

extern "C" {

void* malloc(size_t size) noexcept { return Fails() ? nullptr : __libc_malloc(size); }

void* calloc(size_t count, size_t size) noexcept {
  return Fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) noexcept {
  return Fails() ? nullptr : __libc_realloc(memory, size);
}

void* memalign(size_t alignment, size_t size) noexcept {
  return Fails() ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
  void* const got = memalign(alignment, size);
  if (got == nullptr) {
    return ENOMEM;
  }
  *memory = got;
  return 0;
}

}  // extern "C"
