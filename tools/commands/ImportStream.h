#ifndef TOOLS_COMMANDS_IMPORTSTREAM_H
#define TOOLS_COMMANDS_IMPORTSTREAM_H

#include <cstdint>
#include <optional>
#include <string>

#include "convert/import/EventStream.h"
#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// An import of an input that is read as a stream.
struct StreamJob {
  const StreamFormat& format;
  std::string input;
  std::string output;
  std::string command;  // the command line, as far as it says what stands in the trace
  StreamOptions options;
  std::optional<ArrayShape> switchesOf;
  uint64_t mostRecords = 0;
  bool frame = true;
  bool companion = true;
  bool pack = false;
  bool json = false;
};

// Writes the trace and what stands beside it, and prints the account.
[[nodiscard]] MaybeFailure ImportStream(const StreamJob& job, const Console& console);

}  // namespace marrowfin

#endif
