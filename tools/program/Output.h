#ifndef TOOLS_PROGRAM_OUTPUT_H
#define TOOLS_PROGRAM_OUTPUT_H

#include <iosfwd>
#include <optional>
#include <string>

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "trace/write/AtomicFile.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// What stands for standard output, and where a stream is read for standard input, as in many
// programs; a file of that name is ./- .
constexpr char STANDARD_STREAM[] = "-";

// Whether `path` names the file, pipe or terminal that is this program's standard output: what is
// written there and what the program says would be mixed up.
bool IsStandardOutput(const std::string& path);

// Where a subcommand that writes to `path` says what it did: on standard output, but for an output
// that goes there itself.
std::ostream& AccountStream(const Console& console, const std::string& path);

// The file that a subcommand writes: there whole or not at all, unless it is no plain file or
// standard output, which is written as it comes.
class Output {
 public:
  // STANDARD_STREAM that is a terminal is refused, since what is written is for no reader.
  [[nodiscard]] MaybeFailure Open(const std::string& path);

  ByteSink& Sink();

  // The descriptor of a plain file; nothing for what is written as it comes.
  std::optional<int> PlainDescriptor() const;

  // Ends the output: it is on the disk and has its name when this succeeds.
  [[nodiscard]] MaybeFailure Commit();

 private:
  MaybeFailure OpenStandard();

  std::optional<DescriptorSink> standard;
  AtomicFile file;
};

}  // namespace marrowfin

#endif
