#ifndef TOOLS_PROGRAM_OUTPUTFILE_H
#define TOOLS_PROGRAM_OUTPUTFILE_H

#include <cstddef>
#include <string>

#include "tools/program/Failure.h"

namespace marrowfin {

// Whether both names stand for one file that exists: an output must not replace what it is made
// from.
bool IsSameFile(const std::string& a, const std::string& b);

// A file that is there whole or not at all.
//
// What is written goes to a temporary in the folder of the output, which takes the output's name
// when all of it is on the disk. Until then an output of that name stays as it was, and the
// temporary goes away whatever happens: with this object, and by a handler when a signal (SIGINT,
// SIGTERM, SIGHUP) ends the process. A link is followed: the file that it names is replaced.
//
// A device, pipe or socket cannot be replaced and is written directly; what has gone into it stays.
// At most one OutputFile may be open at a time: the handler knows one name.
class OutputFile {
 public:
  OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Begins the output `path`. "-" is a file name like any other.
  [[nodiscard]] MaybeFailure Open(const std::string& path);

  [[nodiscard]] MaybeFailure Write(const void* bytes, size_t size);

  // What is written goes here too; it stays the output's.
  int Descriptor() const { return fd; }

  // Ends the output: it is on the disk and has its name when this succeeds.
  [[nodiscard]] MaybeFailure Commit();

 private:
  MaybeFailure OpenDirectly();
  MaybeFailure OpenTemporary(bool replacing, unsigned mode);
  MaybeFailure CreateTemporary(const std::string& folder);
  MaybeFailure Fail(const std::string& act) const;

  std::string path;       // as the user gave it
  std::string target;     // with links followed
  std::string temporary;  // empty while there is none
  int fd;                 // -1 while closed
};

}  // namespace marrowfin

#endif
