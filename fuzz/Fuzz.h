#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "trace/read/ByteSource.h"

// Tries one input; an input that breaks a promise of the library ends the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace marrowfin::fuzz {

inline void Require(bool holds, const char* promise) {
  if (!holds) {
    fprintf(stderr, "broken: %s\n", promise);
    abort();
  }
}

// Takes an input apart. Past its end there are zeros.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : next(data), end(data + size) {}

  uint8_t Byte() { return next == end ? 0 : *next++; }

  uint64_t Word() {
    uint64_t word = 0;
    for (int i = 0; i < 8; ++i) {
      word = word << 8 | Byte();
    }
    return word;
  }

  const uint8_t* Rest() const { return next; }
  size_t Left() const { return static_cast<size_t>(end - next); }

 private:
  const uint8_t* next;
  const uint8_t* end;
};

// Bytes in memory that come a few at a time, as from a pipe.
class Trickle : public ByteSource {
 public:
  // `most` bytes at a time; 0 for as many as are asked for.
  Trickle(const uint8_t* data, size_t size, size_t most) : input(data, size), most(most) {}

  Result<size_t> Read(uint8_t* bytes, size_t size) override {
    const size_t got = std::min({size, input.Left(), most == 0 ? size : most});
    for (size_t i = 0; i < got; ++i) {
      bytes[i] = input.Byte();
    }
    return got;
  }

  std::optional<uint64_t> InputSize() const override { return std::nullopt; }
  uint64_t InputRead() const override { return 0; }

 private:
  Input input;
  size_t most;
};

// A folder of its own, which goes with the object.
class TempFolder {
 public:
  TempFolder() : path(std::filesystem::temp_directory_path() / "marrowfin-fuzz-XXXXXX") {
    Require(mkdtemp(path.data()) != nullptr, "a folder for files");
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() { std::filesystem::remove_all(path); }

  std::string File(const char* name) const { return path + "/" + name; }

 private:
  std::string path;
};

}  // namespace marrowfin::fuzz

#endif
