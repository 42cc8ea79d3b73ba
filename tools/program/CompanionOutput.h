#ifndef TOOLS_PROGRAM_COMPANIONOUTPUT_H
#define TOOLS_PROGRAM_COMPANIONOUTPUT_H

#include <string>

#include "tools/program/Failure.h"
#include "trace/base/About.h"
#include "trace/write/AtomicFile.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// The companion of a trace that a subcommand writes: both files are there whole, or neither is.
//
// They get their names before their trace gets its own, so that whoever waits for the trace finds
// them. Where the trace then does not get it, they go again (RemoveCompanion).
class CompanionOutput {
 public:
  // Begins the companion of the trace `name`, whose plain file `descriptor` is: others may read the
  // companion where they may read the trace.
  [[nodiscard]] MaybeFailure Open(const std::string& name, int descriptor);

  ByteSink& Notes() { return notes; }

  // Ends it, once all notes are written.
  [[nodiscard]] MaybeFailure Commit(const About& about);

 private:
  std::string trace;
  AtomicFile notes;
  AtomicFile about;
};

}  // namespace marrowfin

#endif
