#include "measure/AlignUnits.h"

#include <algorithm>
#include <tuple>

#include "measure/EqualRun.h"
#include "measure/RecordWalk.h"

namespace marrowfin {
namespace {

// What must be the same of two events that go together: their unit tells the rest.
auto KeyOf(const TraceEvent& event) {
  return std::make_tuple(event.type, event.thread, event.at.row, event.at.column, event.to.row,
                         event.to.column);
}

bool Before(const TraceEvent& a, const TraceEvent& b) { return KeyOf(a) < KeyOf(b); }

// Events that have no counterpart: of those that are alike the earlier ones go together. Both are
// in order of the trace, and are not any more.
struct Surplus {
  uint64_t onlyA = 0;
  uint64_t onlyB = 0;
  std::optional<TraceEvent> a;  // the first by record
  std::optional<TraceEvent> b;

  Surplus(std::vector<TraceEvent>& eventsA, std::vector<TraceEvent>& eventsB) {
    std::stable_sort(eventsA.begin(), eventsA.end(), Before);
    std::stable_sort(eventsB.begin(), eventsB.end(), Before);
    auto atA = eventsA.begin();
    auto atB = eventsB.begin();
    while (atA != eventsA.end() || atB != eventsB.end()) {
      const bool aFirst = atB == eventsB.end() || (atA != eventsA.end() && Before(*atA, *atB));
      const bool bFirst = atA == eventsA.end() || (!aFirst && Before(*atB, *atA));
      if (aFirst) {
        Add(*atA, onlyA, a);
      } else if (bFirst) {
        Add(*atB, onlyB, b);
      }
      atA += bFirst ? 0 : 1;
      atB += aFirst ? 0 : 1;
    }
  }

 private:
  static void Add(const TraceEvent& event, uint64_t& count, std::optional<TraceEvent>& first) {
    ++count;
    if (!first || event.record < first->record) {
      first = event;
    }
  }
};

// One of the two runs.
struct Side {
  Side(const TraceSource& trace, const EventFilter& filter) : walk(trace), filter(filter) {}

  // The cycle with which the viewer compares that of the next record: behind the one that its start
  // consumes, 0.
  uint64_t ViewerCycle() const { return walk.Record() <= 1 ? 0 : walk.LastCycle(); }

  RecordWalk walk;
  EventFilter filter;
  bool ended = false;            // whether its step has ended
  std::vector<TraceEvent> rest;  // of the unit, from the first on that is not as in the other run
};

class Aligner {
 public:
  Aligner(const TraceSource& traceA, const TraceSource& traceB, const AlignQuestion& question,
          const ProgressCallback& progress)
      : question(question),
        progress(progress),
        a(traceA, question.filterA),
        b(traceB, question.filterB),
        equal(a.walk, b.walk),
        steps(question.alignment == Alignment::STEP),
        alike(question.ChoosesAlike()),
        everything(IsEverything(question.filterA) && IsEverything(question.filterB)),
        identical(traceA.Size() == traceB.Size()) {}

  Result<RunAlignment> Align() {
    while (GoOn()) {
      if (Fault fault = PassEqual()) {
        return fault;
      }
      const bool moreA = a.walk.Load();
      const bool moreB = b.walk.Load();
      if ((!moreA && !moreB) || HasFault()) {
        break;
      }
      CompareUnit(moreA, moreB);
      if (question.firstOnly && answer.first) {
        break;
      }
    }
    if (stopped) {
      return CancelledFault(a.walk.Trace().Name());
    }
    if (HasFault() && !(question.firstOnly && answer.first)) {
      return a.walk.GetFault() ? a.walk.GetFault() : b.walk.GetFault();
    }
    answer.recordsA = a.walk.Record();
    answer.recordsB = b.walk.Record();
    answer.sameBytes = identical && a.walk.AtEnd() && b.walk.AtEnd();
    return answer;
  }

 private:
  static bool IsEverything(const EventFilter& filter) {
    return filter.HasEveryType() && filter.HasEveryCycle() && filter.firstRecord == 0 &&
           filter.lastRecord == ~uint64_t{0} && filter.HasEveryThread() && !filter.region &&
           filter.without.empty();
  }

  bool HasFault() const { return a.walk.GetFault() || b.walk.GetFault(); }

  // False where the caller asked to stop; he is asked once in a while.
  bool GoOn() {
    constexpr uint64_t OFTEN = 1 << 18;
    const uint64_t done = a.walk.Offset() + b.walk.Offset();
    const uint64_t all = a.walk.Trace().Size() + b.walk.Trace().Size();
    if (progress && !stopped && (done >= told + OFTEN || done == all)) {
      told = done;
      stopped = !progress({done, all, Progress::BYTES});
    }
    return !stopped;
  }

  Fault PassEqual() {
    // Where steps are told apart a record is to end one of both or of neither.
    if (!alike || (steps && (a.ViewerCycle() != b.ViewerCycle() ||
                             (a.walk.Record() <= 1) != (b.walk.Record() <= 1)))) {
      return {};
    }
    return equal.Pass([&](const Columns& columns) { PassBatch(columns); }, [&] { return GoOn(); });
  }

  void PassBatch(const Columns& columns) {
    if (!steps) {
      const bool goesOn = open && columns.cycle[0] == unit;
      answer.units += columns.changes + (goesOn ? 0 : 1);
      unit = columns.cycle[columns.size - 1];
      open = true;
      return;
    }
    uint64_t before = columns.firstRecord <= 1 ? 0 : passedCycle;
    for (size_t i = 0; i < columns.size; ++i) {
      const bool isFirst = columns.firstRecord + i == 0;
      answer.units += open ? 0 : 1;
      open = !isFirst && columns.cycle[i] == before;
      unit += open ? 0 : 1;
      before = isFirst ? 0 : columns.cycle[i];
    }
    passedCycle = columns.cycle[columns.size - 1];
  }

  // Whether the next record of a run is of the unit.
  bool IsWithin(Side& side) const {
    return steps ? !side.ended && side.walk.Load() : side.walk.Load() && side.walk.Cycle() == unit;
  }

  void Take(Side& side) const {
    side.ended = side.walk.Record() == 0 || side.walk.Cycle() != side.ViewerCycle();
    side.walk.Take();
  }

  // The same behind what is not held against anything.
  bool IsSelected(Side& side) const {
    while (IsWithin(side)) {
      if (everything || side.filter.Matches(side.walk.Event())) {
        return true;
      }
      Take(side);
    }
    return false;
  }

  // Compares what is left of the unit that is open, or of the next one.
  void CompareUnit(bool moreA, bool moreB) {
    if (!open) {
      unit = steps    ? unit
             : !moreA ? b.walk.Cycle()
             : !moreB ? a.walk.Cycle()
                      : std::min(a.walk.Cycle(), b.walk.Cycle());
      ++answer.units;
    }
    identical = false;
    a.ended = b.ended = false;
    bool withinA = IsSelected(a);
    bool withinB = IsSelected(b);
    while (withinA && withinB && a.walk.IsLike(b.walk)) {
      Take(a);
      Take(b);
      withinA = IsSelected(a);
      withinB = IsSelected(b);
    }
    for (Side* side : {&a, &b}) {
      side->rest.clear();
      while (IsSelected(*side)) {
        side->rest.push_back(side->walk.Event());
        Take(*side);
      }
    }
    if (!a.rest.empty() || !b.rest.empty()) {
      CompareRests();
    }
    open = false;
    passedCycle = a.walk.LastCycle();
    unit += steps ? 1 : 0;
  }

  void CompareRests() {
    const std::optional<TraceEvent> nextA = FirstOf(a.rest);
    const std::optional<TraceEvent> nextB = FirstOf(b.rest);
    const Surplus surplus(a.rest, b.rest);
    answer.onlyA += surplus.onlyA;
    answer.onlyB += surplus.onlyB;
    const bool differs = surplus.onlyA > 0 || surplus.onlyB > 0;
    if (!differs && !question.ordered) {
      ++answer.reordered;
      return;
    }
    ++answer.differing;
    if (!answer.first) {
      answer.first = question.ordered ? Divergence{unit, nextA, nextB, {}}
                                      : Divergence{unit, surplus.a, surplus.b, {}};
    }
  }

  static std::optional<TraceEvent> FirstOf(const std::vector<TraceEvent>& events) {
    return events.empty() ? std::nullopt : std::optional(events[0]);
  }

  const AlignQuestion& question;
  const ProgressCallback& progress;
  Side a;
  Side b;
  EqualRun equal;
  const bool steps;
  const bool alike;
  const bool everything;
  bool identical;     // whether all that was gone through was passed over byte by byte
  uint64_t unit = 0;  // the cycle, or the number of the step
  bool open = false;  // whether records of the unit were passed over already
  uint64_t passedCycle = 0;
  uint64_t told = 0;
  bool stopped = false;
  RunAlignment answer;
};

}  // namespace

Result<RunAlignment> AlignUnits(const TraceSource& a, const TraceSource& b,
                                const AlignQuestion& question, const ProgressCallback& progress) {
  return Aligner(a, b, question, progress).Align();
}

}  // namespace marrowfin
