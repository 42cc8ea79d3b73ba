#include "tools/program/DescriptorBuffer.h"

#include <unistd.h>

#include <cerrno>

namespace marrowfin {

DescriptorBuffer::DescriptorBuffer(int descriptor) : descriptor(descriptor) {
  setp(bytes.data(), bytes.data() + bytes.size());
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type c) {
  if (sync() != 0) {
    return traits_type::eof();
  }
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    sputc(traits_type::to_char_type(c));
  }
  return traits_type::not_eof(c);
}

int DescriptorBuffer::sync() {
  for (const char* next = pbase(); next != pptr() && error == 0;) {
    const ssize_t written = write(descriptor, next, static_cast<size_t>(pptr() - next));
    if (written > 0) {
      next += written;
    } else if (written == -1 && errno != EINTR) {
      error = errno;
    }
  }
  setp(bytes.data(), bytes.data() + bytes.size());
  return error == 0 ? 0 : -1;
}

}  // namespace marrowfin
