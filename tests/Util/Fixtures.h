#ifndef TESTS_UTIL_FIXTURES_H
#define TESTS_UTIL_FIXTURES_H

#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "Util/File.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

// An empty directory that is the working directory while the object lives.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

 private:
  std::filesystem::path before;
  TempDir directory;
};

// A stream of its own in the place of one of the program's Files while the object lives.
class Redirected {
 public:
  explicit Redirected(File& place);
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;
  ~Redirected();

  // All that was printed so far.
  std::string Text() const { return TextOf(stream); }

  // All that a stream on a file holds, what is still in its buffer too.
  static std::string TextOf(FILE* stream);

 private:
  File& place;
  File before;
  FILE* stream;
};

// A stream on a nameless file, closed with the object.
class ScratchStream {
 public:
  ScratchStream() : stream(tmpfile()) {}
  ScratchStream(const ScratchStream&) = delete;
  ScratchStream& operator=(const ScratchStream&) = delete;
  ~ScratchStream() { fclose(stream); }

  FILE* Get() const { return stream; }
  std::string Text() const { return Redirected::TextOf(stream); }

 private:
  FILE* stream;
};

// The numbers, from 1, of the lines of a source of the project that hold `text`.
std::vector<int> LinesWith(const std::string& source, const std::string& text);

// What the process writes to standard output goes to standard error from here on: a test of a
// process's end sees only the latter.
void JoinOutputWithError();

// The open descriptors of this process.
std::set<int> OpenDescriptors();

}  // namespace marrowfin::testing

#endif
