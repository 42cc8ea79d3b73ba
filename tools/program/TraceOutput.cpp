#include "tools/program/TraceOutput.h"

#include "tools/program/PackedName.h"

namespace marrowfin {

void AddPack(CLI::App& app, bool& pack) {
  app.add_flag("--pack", pack, "Pack the trace, as if its name ended in .mfz");
}

MaybeFailure TraceOutput::Open(const std::string& path, bool pack) {
  if (MaybeFailure failure = output.Open(path)) {
    return failure;
  }
  if (pack || IsPackedName(path)) {
    packed.emplace(output.Sink(), path);
  }
  return std::nullopt;
}

ByteSink& TraceOutput::Sink() { return packed ? *packed : output.Sink(); }

MaybeFailure TraceOutput::Commit() {
  if (packed) {
    if (const Fault fault = packed->End()) {
      return OutputFailureOf(fault);
    }
  }
  return output.Commit();
}

}  // namespace marrowfin
