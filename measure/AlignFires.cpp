#include "measure/AlignFires.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <tuple>
#include <utility>

#include "measure/EqualRun.h"
#include "measure/RecordWalk.h"
#include "trace/base/PlaceTable.h"

namespace marrowfin {
namespace {

// A fire whose counterpart was not met yet.
struct Waiting {
  uint64_t record;
  uint64_t cycle;
  uint32_t thread;
};

// What is known of an element: its fires go together in order, so those that wait are all of the
// run that is ahead there.
struct Element {
  FireSlip slip;
  std::vector<Waiting> waiting;
  size_t next = 0;  // of those that wait
  bool ofA = false;
  uint64_t passedBefore = 0;  // how many fires were passed over before the last two that met

  bool Waits() const { return next < waiting.size(); }
};

// `a` less `b`; of cycles that are farther apart than a signed number tells, the farthest it does.
int64_t SlipOf(uint64_t a, uint64_t b) {
  constexpr uint64_t FARTHEST = std::numeric_limits<int64_t>::max();
  return a >= b ? static_cast<int64_t>(std::min(a - b, FARTHEST))
                : -static_cast<int64_t>(std::min(b - a, FARTHEST));
}

class Aligner {
 public:
  Aligner(const TraceSource& traceA, const TraceSource& traceB, const AlignQuestion& question,
          const ProgressCallback& progress)
      : question(question),
        progress(progress),
        a(traceA),
        b(traceB),
        equal(a, b),
        alike(question.ChoosesAlike()),
        everything(alike && question.filterA == EventFilter()),
        identical(traceA.Size() == traceB.Size()) {}

  Result<RunAlignment> Align() {
    while (GoOn()) {
      if (alike && waitingA == 0 && waitingB == 0) {
        if (Fault fault = equal.Pass([&](const Columns& columns) { PassBatch(columns); },
                                     [&] { return GoOn(); })) {
          return fault;
        }
      }
      const bool moreA = a.Load();
      const bool moreB = b.Load();
      if ((!moreA && !moreB) || a.GetFault() || b.GetFault() || IsDecided()) {
        break;
      }
      // The run that is behind goes on, so that little waits.
      const bool takeA = moreA && (!moreB || waitingA < waitingB ||
                                   (waitingA == waitingB && a.Record() <= b.Record()));
      TakeOne(takeA ? a : b, takeA);
    }
    if (stopped) {
      return CancelledFault(a.Trace().Name());
    }
    if (!IsDecided() && (a.GetFault() || b.GetFault())) {
      return a.GetFault() ? a.GetFault() : b.GetFault();
    }
    Finish();
    return answer;
  }

 private:
  bool IsDecided() const { return question.firstOnly && answer.differing > 0; }

  bool GoOn() {
    constexpr uint64_t OFTEN = 1 << 18;
    const uint64_t done = a.Offset() + b.Offset();
    const uint64_t all = a.Trace().Size() + b.Trace().Size();
    if (progress && !stopped && (done >= told + OFTEN || done == all)) {
      told = done;
      stopped = !progress({done, all, Progress::BYTES});
    }
    return !stopped;
  }

  uint32_t NumberOf(Place place) {
    const uint32_t number = places.Add(place);
    if (number == elements.size()) {
      elements.emplace_back();
      elements.back().slip.at = place;
      passed.push_back(0);
    }
    return number;
  }

  // The same fires of both: only counted, element by element.
  void PassBatch(const Columns& columns) {
    for (size_t i = 0; i < columns.size; ++i) {
      if (columns.tag[i].type == FIRE_RECORD && (everything || IsChosen(columns, i))) {
        ++passed[NumberOf(columns.at[i])];
        ++answer.units;
      }
    }
  }

  bool IsChosen(const Columns& columns, size_t i) const {
    return question.filterA.Matches({columns.firstRecord + i, columns.cycle[i],
                                     columns.tag[i].thread, columns.tag[i].type, columns.at[i],
                                     columns.to[i]});
  }

  void TakeOne(RecordWalk& walk, bool ofA) {
    const TraceEvent event = walk.Event();
    identical = false;
    walk.Take();
    if (event.type != FIRE_RECORD || !(ofA ? question.filterA : question.filterB).Matches(event)) {
      return;
    }
    const uint32_t number = NumberOf(event.at);
    Element& element = elements[number];
    ++(ofA ? element.slip.firesA : element.slip.firesB);
    if (!element.Waits() || element.ofA == ofA) {
      element.ofA = ofA;
      element.waiting.push_back({event.record, event.cycle, event.thread});
      ++(ofA ? waitingA : waitingB);
      ++answer.units;
      return;
    }
    const TraceEvent other = TakeWaiting(element);
    Match(number, ofA ? event : other, ofA ? other : event);
  }

  TraceEvent TakeWaiting(Element& element) {
    const Waiting& first = element.waiting[element.next++];
    const TraceEvent event = {first.record, first.cycle,     first.thread,
                              FIRE_RECORD,  element.slip.at, {}};
    --(element.ofA ? waitingA : waitingB);
    if (!element.Waits()) {
      element.waiting.clear();
      element.next = 0;
    } else if (element.next >= 1024 && element.next * 2 > element.waiting.size()) {
      const auto begin = element.waiting.begin();
      element.waiting.erase(begin, begin + static_cast<std::ptrdiff_t>(element.next));
      element.next = 0;
    }
    return event;
  }

  void Match(uint32_t element, const TraceEvent& inA, const TraceEvent& inB) {
    FireSlip& slip = elements[element].slip;
    const uint64_t number = passed[element] + std::min(slip.firesA, slip.firesB);
    elements[element].passedBefore = passed[element];
    slip.last = SlipOf(inA.cycle, inB.cycle);
    slip.sum += static_cast<double>(slip.last);
    if (std::abs(slip.last) > std::abs(slip.largest)) {
      slip.largest = slip.last;
    }
    if (slip.last != 0) {
      Consider({number, inA, inB, {}}, answer.firstSlip);
    }
    if (inA.thread != inB.thread) {
      ++answer.differing;
      Consider({number, inA, inB, {}}, answer.first);
    }
  }

  // The lower of the cycles of both sides; where that is the same, the record in the first run, and
  // then in the other.
  static auto OrderOf(const Divergence& found) {
    const uint64_t none = ~uint64_t{0};
    return std::make_tuple(
        std::min(found.a ? found.a->cycle : none, found.b ? found.b->cycle : none),
        found.a ? found.a->record : none, found.b ? found.b->record : none);
  }

  static void Consider(const Divergence& found, std::optional<Divergence>& first) {
    if (!first || OrderOf(found) < OrderOf(*first)) {
      first = found;
    }
  }

  // What still waits has no counterpart.
  void Finish() {
    for (size_t i = 0; i < elements.size(); ++i) {
      Element& element = elements[i];
      element.slip.firesA += passed[i];
      element.slip.firesB += passed[i];
      if (passed[i] > element.passedBefore) {
        element.slip.last = 0;
      }
      uint64_t number = std::min(element.slip.firesA, element.slip.firesB);
      while (element.Waits()) {
        const bool ofA = element.ofA;
        const TraceEvent event = TakeWaiting(element);
        ++(ofA ? answer.onlyA : answer.onlyB);
        ++answer.differing;
        ++number;
        Consider({number,
                  ofA ? std::optional(event) : std::nullopt,
                  ofA ? std::nullopt : std::optional(event),
                  {}},
                 answer.first);
      }
      answer.slips.push_back(element.slip);
    }
    std::sort(answer.slips.begin(), answer.slips.end(), [](const FireSlip& x, const FireSlip& y) {
      return std::make_pair(x.at.row, x.at.column) < std::make_pair(y.at.row, y.at.column);
    });
    answer.recordsA = a.Record();
    answer.recordsB = b.Record();
    answer.sameBytes = identical && a.AtEnd() && b.AtEnd();
  }

  const AlignQuestion& question;
  const ProgressCallback& progress;
  RecordWalk a;
  RecordWalk b;
  EqualRun equal;
  const bool alike;
  const bool everything;
  bool identical;  // whether all that was gone through was passed over byte by byte
  PlaceTable places;
  std::vector<Element> elements;  // by the numbers of their places
  std::vector<uint64_t> passed;   // fires of each that were passed over, which are in no slip yet
  uint64_t waitingA = 0;
  uint64_t waitingB = 0;
  uint64_t told = 0;
  bool stopped = false;
  RunAlignment answer;
};

}  // namespace

Result<RunAlignment> AlignFires(const TraceSource& a, const TraceSource& b,
                                const AlignQuestion& question, const ProgressCallback& progress) {
  return Aligner(a, b, question, progress).Align();
}

}  // namespace marrowfin
