#ifndef TOOLS_PROGRAM_NOTEDOUTPUT_H
#define TOOLS_PROGRAM_NOTEDOUTPUT_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/CompanionOutput.h"
#include "tools/program/Failure.h"
#include "tools/program/TraceOutput.h"
#include "trace/base/About.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// The flags that say how a trace is written that a subcommand makes with its companion.
struct NotedOutputFlags {
  bool force = false;
  bool noCompanion = false;
  bool pack = false;

  void DeclareHow(CLI::App& app);
};

// The trace that a subcommand makes, and its companion: all there whole, or none of it. The
// companion lies beside the trace or, where that is packed, within; it goes with plain files only
// and with what is packed.
class NotedOutput {
 public:
  NotedOutput() = default;
  NotedOutput(const NotedOutput&) = delete;
  NotedOutput& operator=(const NotedOutput&) = delete;
  ~NotedOutput();

  // With `companion` also its notes and what tells of the run, where they can be. The trace is
  // packed where that is asked for or its name says so.
  [[nodiscard]] MaybeFailure Open(const std::string& name, bool companion, bool pack);

  ByteSink& Trace() { return output.Sink(); }

  // For the notes; null where there is no companion.
  ByteSink* Notes();

  bool IsPacked() { return output.Packed() != nullptr; }

  // The files that hold the companion: two, or the packed trace itself; none without.
  std::vector<std::string> CompanionFiles();

  // Ends all of it, once all is written. `about` counts where there is a companion.
  [[nodiscard]] MaybeFailure Commit(const About& about);

 private:
  MaybeFailure OpenNotes();
  MaybeFailure CommitCompanion(const About& about);
  MaybeFailure Enclose(const About& about);

  std::string name;
  TraceOutput output;
  std::optional<CompanionOutput> companion;
  int scratch = -1;  // holds notes that are to be packed, until they are handed over
  std::optional<DescriptorSink> enclosedNotes;
};

}  // namespace marrowfin

#endif
