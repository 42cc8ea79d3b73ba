#ifndef TESTS_SIM_RANDOMPROGRAM_H
#define TESTS_SIM_RANDOMPROGRAM_H

#include <vector>

#include "sim/Program.h"

namespace marrowfin::sim::testing {

// A program drawn from a seed: loops of a few carried values, a body of operations at random,
// branches that meet again, loads at the start, and a segment that is stored to and loaded from in
// every iteration.
class RandomProgram : public Program {
 public:
  explicit RandomProgram(unsigned long long seed);

  // Lets tokens meet in any order, one thread at a time, with no machine at all.
  void ComputePlainly(SegmentData& data) const override;

  // The fires of a thread, found by the plain computation.
  unsigned long long FiresOf(SegmentData data) const;

 protected:
  void FillInput(SegmentData& data, Random& random) const override;

 private:
  Value Pick();
  Value PickToken();
  void AddLoopValues();
  void AddBody();
  void AddOne();
  void AddBranch();
  void AddScratchMemory();
  void CloseLoops();

  Random random;
  uint32 iterations;
  std::vector<Value> heads;   // of the carried values; the first one counts the iterations
  std::vector<Value> values;  // that are there in every iteration
};

}  // namespace marrowfin::sim::testing

#endif
