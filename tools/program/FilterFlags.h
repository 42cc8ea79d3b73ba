#ifndef TOOLS_PROGRAM_FILTERFLAGS_H
#define TOOLS_PROGRAM_FILTERFLAGS_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/Failure.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/Ranges.h"
#include "trace/base/ArrayShape.h"
#include "trace/read/Companion.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The flags that choose events: all conditions of an EventFilter.
struct FilterFlags {
  std::optional<NumberRange> records;
  std::optional<NumberRange> cycles;
  std::optional<NumberRange> steps;
  std::optional<int> skipTo;
  std::vector<std::string> types;
  std::optional<uint32_t> thread;
  std::optional<RegionWords> region;

  // With `numbered`, also those that name records and steps.
  void Declare(CLI::App& app, bool numbered = true);

  // A refusal of flags that say nothing together.
  MaybeFailure Check() const;

  // The filter that they stand for; a failure where the array that shows `trace` lacks the region,
  // or there is none.
  MaybeFailure FilterFor(const std::string& trace, const std::optional<ArrayShape>& shape,
                         EventFilter& filter) const;
};

// The flags that choose events by what is noted of them.
struct NoteFlags {
  std::optional<std::string> kind;
  std::optional<uint64_t> packet;
  std::vector<std::string> where;

  void Declare(CLI::App& app);

  // The conditions on notes; a failure where there are some and no notes that are believed, or such
  // that cannot be asked so.
  MaybeFailure ConditionsFor(const TraceSource& trace, const Companion& companion,
                             std::vector<NoteCondition>& conditions) const;
};

// A flag that takes a region.
void AddRegion(CLI::App& app, const std::string& name, std::optional<RegionWords>& region,
               const std::string& help);

// The positions of a region of `trace`, likewise.
MaybeFailure PositionsOf(const RegionWords& region, const std::string& trace,
                         const std::optional<ArrayShape>& shape, Region& positions);

}  // namespace marrowfin

#endif
