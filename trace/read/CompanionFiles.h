#ifndef TRACE_READ_COMPANIONFILES_H
#define TRACE_READ_COMPANIONFILES_H

#include <memory>
#include <string>

#include "trace/base/Result.h"
#include "trace/read/MfzFile.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// A packed trace in a plain file; null for a file that is none, or not there. Threads: any number
// may call these at a time.
[[nodiscard]] Result<std::shared_ptr<const MfzFile>> OpenPackedFile(const std::string& name);

// The files that tell of a trace, as they are: those that are packed with it, or else lie beside
// it. Null stands for what is not there.
struct CompanionFiles {
  std::unique_ptr<PositionedFile> about;
  std::unique_ptr<PositionedFile> notes;
};
[[nodiscard]] Result<CompanionFiles> CompanionFilesOf(const std::string& trace);

}  // namespace marrowfin

#endif
