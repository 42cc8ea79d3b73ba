#include <numeric>

#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

// Segment 0 holds the numbers, segment 1 their sum.
class Reduction : public Program {
 public:
  explicit Reduction(uint32 n) {
    const uint32 input = graph.AddSegment(n, false);
    std::vector<Value> level;
    for (uint32 i = 0; i < n; ++i) {
      const Value load = graph.AddMemory(Opcode::LOAD, input, {Later()});
      graph.Start(load, 0, i);
      level.push_back(load);
    }
    while (level.size() > 1) {
      level = AddLevel(level);
    }
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), level[0]});
  }

  void ComputePlainly(SegmentData& data) const override {
    data[1][0] = std::accumulate(data[0].begin(), data[0].end(), 0.0);
  }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (double& word : data[0]) {
      word = random.Below(1000);
    }
  }

 private:
  // Adds the values in pairs; an odd one goes up as it is.
  std::vector<Value> AddLevel(const std::vector<Value>& values) {
    std::vector<Value> sums;
    for (size_t i = 0; i + 1 < values.size(); i += 2) {
      sums.push_back(graph.Sum(values[i], values[i + 1]));
    }
    if (values.size() % 2 == 1) {
      sums.push_back(values.back());
    }
    return sums;
  }
};

}  // namespace

std::unique_ptr<Program> MakeReduction(const ProgramSize& size) {
  return std::make_unique<Reduction>(size.size);
}

}  // namespace marrowfin::sim
