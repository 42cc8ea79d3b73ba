#ifndef MEASURE_EXPECT_RULE_H
#define MEASURE_EXPECT_RULE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "measure/expect/Limits.h"
#include "measure/expect/Measure.h"
#include "trace/ask/Ranges.h"

namespace marrowfin {

// The part of a run that a rule is about. Two that are equal share one count.
struct RuleScope {
  std::string cycles;  // as they were written, for messages; empty for all of them
  NumberRange range;
  uint64_t every = 0;  // cycles of each window that must meet the rule by itself; 0 for the range
  std::string regionText;
  std::optional<RegionWords> region;
  std::optional<std::variant<uint32_t, std::string>> thread;  // a number, or a name of the run's
  std::vector<std::string> where;                             // conditions on notes

  // Whether all events of the run are meant.
  bool IsWholeRun() const;

  // Words that are the same for equal scopes alone.
  std::string Key() const;
};

// One thing that is expected of a run.
struct Rule {
  std::string name;
  std::string description;
  size_t line = 0;
  std::vector<MeasureEntry> measures;
  bool patterned = false;  // whether a measure that the run does not tell may be missing
  RuleScope scope;
  std::optional<RegionWords> to;  // of traffic, the clusters that it goes to
  Bound bound;
  std::string baseline;  // the file, as a name from where the program runs; empty for none
  std::optional<std::string> skip;  // why the rule is not asked
  bool optional = false;            // skipped where the run does not tell the measure
};

constexpr size_t MOST_RULES = 1000;  // of a file

// A file of rules, in its order. Threads: a value, which one thread writes or any number read.
struct RuleFile {
  std::string name;
  std::vector<Rule> rules;
};

}  // namespace marrowfin

#endif
