#ifndef TOOLS_PROGRAM_CUTINPUT_H
#define TOOLS_PROGRAM_CUTINPUT_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "tools/program/EditInput.h"
#include "tools/program/EditOutput.h"
#include "tools/program/FilterFlags.h"
#include "trace/edit/CutTrace.h"

namespace marrowfin {

// The flags of the subcommands that copy a part of a trace.
struct CutFlags {
  std::string trace;
  FilterFlags filter;
  NoteFlags notes;
  ShapeFlags shape;
  EditFlags edit;
  bool leadIn = false;

  // Those but for the outputs, which the subcommands name.
  void Declare(CLI::App& app);
  [[nodiscard]] MaybeFailure Check() const;
};

// A trace of which parts are cut, and what is asked of it.
struct CutSource {
  EditedTrace edited;
  NotedFilter filter;
  std::optional<ArrayShape> shape;  // that a viewer shows it as, and each part of it
};

// Makes what is asked of the flags, once the trace and its companion are open.
MaybeFailure DescribeCut(const CutFlags& flags, const Console& console, CutSource& source);

// Opens the trace, whatever it comes from, with its companion, and describes it.
MaybeFailure OpenCut(const CutFlags& flags, const Console& console, CutSource& source);

// Cuts a part into a trace of that name. `question` has its filter already.
MaybeFailure CutPart(const CutFlags& flags, const CutQuestion& question, const std::string& output,
                     const Console& console, CutSource& source, CutAccount& cut,
                     EditAccount& account);

// That the trace breaks off before all that was asked for: told behind the answer.
MaybeFailure CheckCutWhole(const CutSource& source, const EventFilter& filter);

}  // namespace marrowfin

#endif
