#ifndef TOOLS_PROGRAM_TRACEINPUT_H
#define TOOLS_PROGRAM_TRACEINPUT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "trace/base/ArrayShape.h"
#include "trace/index/Index.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What the subcommands that work on a trace share.

// The failure of a fault that was met while `trace` was indexed: where it is the index that cannot
// be written, it is the output's.
Failure IndexingFailureOf(const Fault& fault, const std::string& trace);

// Reads a trace (plain, packed, or a FIFO) from front to back with a line of progress. A fault of
// the trace itself is put into summary.end and is no failure. `also`, if given, sees every batch.
MaybeFailure Summarize(const std::string& name, const ReadOptions& options, const Console& console,
                       Summary& summary, const std::function<void(const Columns&)>& also = {});

// A trace that can be read anywhere, with its index, which is built or extended where it has to be.
// A signal that ends the program meanwhile leaves nothing half written.
struct IndexedTrace {
  std::unique_ptr<TraceFile> file;
  std::unique_ptr<Index> index;
};
MaybeFailure OpenIndexed(const std::string& name, const Console& console, IndexedTrace& trace);

// Builds the index of an open trace anew: where a question met a DAMAGED_INDEX fault it can be
// asked again then.
MaybeFailure RebuildIndex(const Console& console, IndexedTrace& trace);

// The flags -c, -d and -p, any of which may be left out.
struct ShapeFlags {
  std::optional<uint32_t> clusters;
  std::optional<uint32_t> domains;
  std::optional<uint32_t> pes;

  void Declare(CLI::App& app);
  bool Given() const { return clusters || domains || pes; }

  // A refusal where what was given is larger than any array that can be shown.
  MaybeFailure Check() const;

  // What was given, the viewer's defaults for the rest.
  ArrayShape Shape() const;

  // What was given, else what shows the whole trace; a failure where nothing does.
  MaybeFailure ShapeFor(const std::string& name, const Summary& summary, ArrayShape& shape) const;
};

}  // namespace marrowfin

#endif
