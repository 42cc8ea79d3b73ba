#ifndef TESTS_MEASURE_RUNPAIR_H
#define TESTS_MEASURE_RUNPAIR_H

#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "measure/AlignRuns.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {

// Two runs that have much in common: the second is the first with up to `most` changes of all
// kinds. Cycles of neither fall unless those of `run` do.
std::vector<Event> Changed(std::mt19937& random, std::vector<Event> run, unsigned most);

// What holding one run against the other amounts to, by looking at all events of both, with the
// numbers of records where AlignRuns tells events.
struct Looked {
  uint64_t units = 0;
  uint64_t differing = 0;
  uint64_t reordered = 0;
  uint64_t onlyA = 0;
  uint64_t onlyB = 0;
  std::optional<uint64_t> firstUnit;
  std::optional<uint64_t> firstA;
  std::optional<uint64_t> firstB;
  std::vector<FireSlip> slips;
};
Looked LookByUnits(const std::vector<Event>& a, const std::vector<Event>& b,
                   const AlignQuestion& question);
Looked LookByFires(const std::vector<Event>& a, const std::vector<Event>& b,
                   const AlignQuestion& question);

}  // namespace marrowfin::testing

#endif
