#ifndef TESTS_CORE_CAPTURE_H
#define TESTS_CORE_CAPTURE_H

#include <cstdio>
#include <cstdlib>
#include <string>

// What `write` writes to the stream that it is given.
template <class Writer>
std::string WrittenBy(Writer write) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  write(stream);
  fclose(stream);
  const std::string written(text, size);
  free(text);
  return written;
}

#endif
