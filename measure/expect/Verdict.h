#ifndef MEASURE_EXPECT_VERDICT_H
#define MEASURE_EXPECT_VERDICT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountRun.h"
#include "measure/Level.h"
#include "measure/LinkCounts.h"
#include "measure/expect/Limits.h"
#include "measure/expect/Measure.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Where and when a number came to be what it is.
struct Witness {
  CycleRange range;               // that was counted: that of the rule, or one of its windows
  std::optional<uint64_t> cycle;  // a moment at which to look at the array
  MeasureOf of = MeasureOf::RUN;  // what `at` is a place of; of RUN there is none
  Place at;                       // as PlacedNumber has it
  Heading heading = Heading::RIGHT;
  Place to;                           // of traffic, the cluster that it goes to
  Level linkLevel = Level::PE;        // of a link: what its nodes are
  std::optional<Place> position;      // where records have the unit, or its first element
  std::optional<TraceEvent> message;  // that goes as far, or waits until `cycle`
  std::optional<uint64_t> packet;     // the slowest one
};

// One measure that a rule bounds.
struct Finding {
  std::string measure;
  std::string unit;
  std::optional<double> value;     // of several the one that is furthest from what is wanted
  std::optional<double> baseline;  // what was measured when the baseline was made
  Limits wanted;
  bool holds = false;
  std::string untold;     // why there is no value
  Witness witness;        // of the value
  uint64_t compared = 0;  // numbers: units, windows, or one
  uint64_t beyond = 0;    // that are not as wanted
  uint64_t messages = 0;  // that go further than wanted
  bool windows = false;   // whether each window of cycles is compared by itself
};

enum class Outcome { HOLDS, FAILS, UNTOLD, SKIPPED };

// "holds", "fails", "untold", "skipped".
const char* OutcomeName(Outcome outcome);

// What became of a rule.
struct Verdict {
  size_t rule = 0;  // its number in the file, counted from 0
  Outcome outcome = Outcome::HOLDS;
  std::string reason;  // why it was skipped
  std::vector<Finding> findings;
};

// How many rules came out how.
struct VerdictCounts {
  size_t holds = 0;
  size_t fails = 0;
  size_t untold = 0;
  size_t skipped = 0;

  bool AllHold() const { return fails == 0 && untold == 0; }
};
VerdictCounts CountVerdicts(const std::vector<Verdict>& verdicts);

// "element (3, 7)", "switch of cluster (0, 0) at (4, 4)", "link right of element (2, 0)"; empty
// where there is none.
std::string WitnessPlaceText(const Witness& witness);

// What was found and what is wanted, in a sentence without its full stop: "distance.max is 9 links,
// wanted at most 6".
std::string FindingText(const Finding& finding);

// Where and when, likewise; empty where there is nothing to say.
std::string FindingPlaceText(const Finding& finding);

// What stands before the findings of a rule: "5 measures hold" of many, or the one that there is.
std::string VerdictText(const Verdict& verdict);

}  // namespace marrowfin

#endif
