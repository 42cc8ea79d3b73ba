#ifndef TOOLS_PROGRAM_WATCHBYTES_H
#define TOOLS_PROGRAM_WATCHBYTES_H

#include <string>

#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommand.h"
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

}  // namespace marrowfin

#endif
