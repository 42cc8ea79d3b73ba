#ifndef MEASURE_RUNALIGNMENT_H
#define MEASURE_RUNALIGNMENT_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/PlaceCounts.h"
#include "trace/ask/EventFilter.h"

namespace marrowfin {

// What of one run is held against what of another, and what may differ all the same.
//
// - CYCLE: the events of each cycle; nothing may differ but their order within it.
// - STEP: those of each animation step of the viewer; their cycles may differ.
// - FIRE: the n-th fire of each element; its cycle may differ, and what other elements do between.
//   Messages and switches are not looked at.
// - PHASE: how much each unit of the array did in the n-th phase; in which order, and how long the
//   phase took, may differ.
enum class Alignment { CYCLE, STEP, FIRE, PHASE };

// "cycle", "step", "fire", "phase".
const char* AlignmentName(Alignment alignment);

struct AlignQuestion {
  Alignment alignment = Alignment::CYCLE;  // not PHASE, which is AlignPhases
  bool ordered = false;    // whether the order of events within a cycle or step counts
  bool firstOnly = false;  // whether to stop where it is clear that the runs differ

  // Which events are held against each other, of each run; steps are not looked at.
  EventFilter filterA = {};
  EventFilter filterB = {};

  // Whether events that are the same are chosen in both runs or in neither, wherever they stand.
  bool ChoosesAlike() const;
};

// A unit of the array that did not do as much in one run as in the other.
struct PlaceDifference {
  Place at;               // of a switch, that of its cluster
  bool isSwitch = false;  // then `fires` are transmissions
  ElementCounts a;
  ElementCounts b;
};

// Where two runs part.
struct Divergence {
  // The cycle; the step; which fire of its element, counted from 1; or which phase, from 0.
  uint64_t unit = 0;

  // The first event of that unit that the other run lacks there, by the order in which runs have
  // events: of two that are alike the earlier ones go together. Nothing where a run lacks none.
  std::optional<TraceEvent> a;
  std::optional<TraceEvent> b;

  std::optional<PlaceDifference> counts;  // of a phase
};

// How far the fires of an element lie apart in two runs: cycle in `a` less cycle in `b`.
struct FireSlip {
  Place at;
  uint64_t firesA = 0;
  uint64_t firesB = 0;
  double sum = 0;       // of all that have a counterpart
  int64_t last = 0;     // of the last such
  int64_t largest = 0;  // the one that is farthest from 0, the first of those

  // Of those that have a counterpart; 0 where there are none.
  double Mean() const {
    const uint64_t matched = firesA < firesB ? firesA : firesB;
    return matched > 0 ? sum / static_cast<double>(matched) : 0;
  }

  friend bool operator==(const FireSlip&, const FireSlip&) = default;
};

// What became of holding one run against another.
struct RunAlignment {
  // Every byte is the same. Not told where other events of one run are chosen than of the other.
  bool sameBytes = false;

  uint64_t recordsA = 0;  // gone through
  uint64_t recordsB = 0;
  uint64_t units = 0;      // cycles, steps, fires of an element, or phases, that either run has
  uint64_t differing = 0;  // of them
  uint64_t reordered = 0;  // of those that do not differ: the same events in another order
  uint64_t onlyA = 0;      // events without a counterpart in the other run
  uint64_t onlyB = 0;
  std::optional<Divergence> first;

  // Of FIRE: elements row by row, and the first fire, by cycle, that has not the same cycle in
  // both.
  std::vector<FireSlip> slips;
  std::optional<Divergence> firstSlip;

  bool AreEqual() const { return differing == 0; }
};

}  // namespace marrowfin

#endif
