#include <algorithm>

#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

// Segment 0 holds the numbers, one segment for each result follows.
class BitonicSort : public Program {
 public:
  explicit BitonicSort(uint32 n) : n(n) {
    const uint32 input = graph.AddSegment(n, false);
    for (uint32 i = 0; i < n; ++i) {
      const Value load = graph.AddMemory(Opcode::LOAD, input, {Later()});
      graph.Start(load, 0, i);
      wires.push_back(load);
    }
    Sort(0, n, true);
    for (const Value& wire : wires) {
      graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), wire});
    }
  }

  void ComputePlainly(SegmentData& data) const override {
    std::vector<double> sorted = data[0];
    std::sort(sorted.begin(), sorted.end());
    for (uint32 i = 0; i < n; ++i) {
      data[1 + i][0] = sorted[i];
    }
  }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (double& word : data[0]) {
      word = random.Below(4 * n);
    }
  }

 private:
  // Sorts both halves in opposite directions, which makes the whole bitonic, and merges it.
  void Sort(uint32 first, uint32 count, bool isAscending) {
    if (count > 1) {
      const uint32 half = count / 2;
      Sort(first, half, !isAscending);
      Sort(first + half, count - half, isAscending);
      Merge(first, count, isAscending);
    }
  }

  // The distance is the largest power of two below the count: with it the network sorts any number
  // of wires.
  void Merge(uint32 first, uint32 count, bool isAscending) {
    if (count > 1) {
      uint32 distance = 1;
      while (distance * 2 < count) {
        distance *= 2;
      }
      for (uint32 i = first; i < first + count - distance; ++i) {
        Compare(i, i + distance, isAscending);
      }
      Merge(first, distance, isAscending);
      Merge(first + distance, count - distance, isAscending);
    }
  }

  void Compare(uint32 a, uint32 b, bool isAscending) {
    const Value isLess = graph.Add(Opcode::LESS, {wires[a], wires[b]});
    const Value lower = graph.Add(Opcode::SELECT, {isLess, wires[a], wires[b]});
    const Value upper = graph.Add(Opcode::SELECT, {isLess, wires[b], wires[a]});
    wires[a] = isAscending ? lower : upper;
    wires[b] = isAscending ? upper : lower;
  }

  uint32 n;
  std::vector<Value> wires;
};

}  // namespace

std::unique_ptr<Program> MakeBitonicSort(const ProgramSize& size) {
  return std::make_unique<BitonicSort>(size.size);
}

}  // namespace marrowfin::sim
