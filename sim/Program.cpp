#include "sim/Program.h"

namespace marrowfin::sim {

SegmentData Program::MakeData(Random& random) const {
  SegmentData data;
  for (const Segment& segment : graph.Segments()) {
    data.emplace_back(segment.words);
  }
  FillInput(data, random);
  return data;
}

}  // namespace marrowfin::sim
