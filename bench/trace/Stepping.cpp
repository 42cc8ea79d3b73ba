#include <algorithm>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/ask/StateCursor.h"

namespace marrowfin::bench {

namespace {

constexpr int PLACES = 9;
constexpr int FORWARD = 400;  // steps from each place
constexpr int BACK = 2000;

void Place(StateCursor& cursor, Draw& draw, uint64_t steps) {
  const Fault fault = cursor.MoveToStep(draw.Below(steps + 1), 0);
  Require(!fault, fault.Text());
}

// Seconds of processor time per step, from a place at random.
double TimePerStep(StateCursor& cursor, int moves, bool forward) {
  int moved = 0;
  const auto move = [&] {
    for (; moved < moves; ++moved) {
      const Result<bool> gone = forward ? cursor.Next() : cursor.Previous();
      Require(static_cast<bool>(gone), gone.Why().Text());
      if (!*gone) {
        break;
      }
    }
  };
  const double time = Measure(move).processor;
  return time / std::max(moved, 1);
}

}  // namespace

void MeasureSteps(const Subject& subject, const TraceSource& trace, const Index& index,
                  uint64_t steps, double scratch) {
  StateCursor cursor(trace, index, subject.options.shape);
  Draw draw;
  std::vector<double> forward;
  std::vector<double> back;
  for (int place = 0; place < PLACES; ++place) {
    Place(cursor, draw, steps - std::min<uint64_t>(steps, FORWARD));
    forward.push_back(TimePerStep(cursor, FORWARD, true));
    Place(cursor, draw, steps);
    back.push_back(TimePerStep(cursor, BACK, false));
  }
  const double bar = subject.options.shape.Columns() <= 64 ? 0.01 : 0.03;
  AtMost("next step, each of 400", Median(forward) * 1e3, "ms", bar);
  Note("  the state from scratch against it", scratch / Median(forward), "x");
  AtMost("previous step, each of 2,000", Median(back) * 1e3, "ms", bar);
  Note("  the state from scratch against it", scratch / Median(back), "x");
}

}  // namespace marrowfin::bench
