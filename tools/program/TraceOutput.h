#ifndef TOOLS_PROGRAM_TRACEOUTPUT_H
#define TOOLS_PROGRAM_TRACEOUTPUT_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "tools/program/Failure.h"
#include "tools/program/Output.h"
#include "trace/index/PackedSink.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// The flag --pack, by which a trace that is made is packed whatever its name ends in.
void AddPack(CLI::App& app, bool& pack);

// The trace that a subcommand makes: packed, with its index, where that is asked for or its name
// ends in PACKED_ENDING.
class TraceOutput {
 public:
  [[nodiscard]] MaybeFailure Open(const std::string& path, bool pack);

  // For the bytes of the trace, packed or not.
  ByteSink& Sink();

  // What packs it, for what is to be packed with it; null where nothing does.
  PackedSink* Packed() { return packed ? &*packed : nullptr; }

  // See Output.
  std::optional<int> PlainDescriptor() const { return output.PlainDescriptor(); }
  [[nodiscard]] MaybeFailure Commit();

 private:
  Output output;
  std::optional<PackedSink> packed;
};

}  // namespace marrowfin

#endif
