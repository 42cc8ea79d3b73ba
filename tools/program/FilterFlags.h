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

// The flags that choose events: all conditions of an EventFilter. They are declared here and
// nowhere else, so that events are asked for in the same words everywhere.
struct FilterFlags {
  std::optional<NumberRange> records;
  std::optional<NumberRange> cycles;
  std::optional<NumberRange> steps;
  std::optional<int> skipTo;
  std::vector<std::string> types;
  std::optional<std::vector<ThreadRange>> threads;

  // Where events happen; of several what they have in common.
  std::optional<RegionWords> region;
  std::optional<RegionWords> cluster;
  std::optional<RegionWords> domain;
  std::optional<RegionWords> pe;
  std::optional<RegionWords> rectangle;

  bool inverted = false;  // whether the events are asked for that do not meet all of this

  // With `numbered`, also those that name records and steps.
  void Declare(CLI::App& app, bool numbered = true);

  // A refusal of flags that say nothing together.
  MaybeFailure Check() const;

  // Whether there is any condition; whether there is one besides a range of cycles.
  bool AskForAll() const { return !cycles && !AskForMoreThanCycles(); }
  bool AskForMoreThanCycles() const;

  // Whether places are asked for, and such as only an array has.
  bool AskForPlaces() const { return !Places().empty(); }
  bool NeedArray() const;

  // The cycles outside of which there is nothing that is asked for.
  NumberRange CyclesAround() const {
    return inverted ? NumberRange() : cycles.value_or(NumberRange());
  }

  // The filter that they stand for; a failure where the array that shows `trace` lacks the region,
  // or there is none.
  MaybeFailure FilterFor(const std::string& trace, const std::optional<ArrayShape>& shape,
                         EventFilter& filter) const;

 private:
  std::vector<RegionWords> Places() const;
  MaybeFailure ChosenFor(const std::string& trace, const std::optional<ArrayShape>& shape,
                         EventFilter& filter) const;
};

// The flags that choose events by what is noted of them.
struct NoteFlags {
  std::optional<std::string> kind;
  std::optional<uint64_t> packet;
  std::vector<std::string> where;

  void Declare(CLI::App& app);

  bool AskForAll() const { return !kind && !packet && where.empty(); }

  // The conditions as they were written, "kind=load".
  std::vector<std::string> Texts() const;

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
