#ifndef TOOLS_PROGRAM_UNPACKEDINPUT_H
#define TOOLS_PROGRAM_UNPACKEDINPUT_H

#include <string>

#include "tools/program/Failure.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommand.h"
#include "tools/program/TraceInput.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// Does something with a line of progress about bytes.
template <class Do>
auto WatchBytes(const std::string& task, const Console& console, Do work) {
  const Interruption interruption;
  ProgressLine line(console.terminal, task, "MB", 1e6);
  return work([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

// Traces that may be packed, for subcommands that ask an index: they are unpacked into a file
// without a name.

// Opens a trace; `packed` tells IndexUnpacked what it was.
[[nodiscard]] MaybeFailure OpenUnpackedTrace(const std::string& name, const Console& console,
                                             IndexedTrace& trace, bool& packed);

// Its index. Of one that was packed it is kept in memory: what is unpacked is another file each
// time.
[[nodiscard]] MaybeFailure IndexUnpacked(const std::string& name, bool packed,
                                         const Console& console, IndexedTrace& trace);

}  // namespace marrowfin

#endif
