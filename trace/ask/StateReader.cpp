#include "trace/ask/StateReader.h"

#include <algorithm>
#include <array>
#include <string>

#include "trace/ask/ActivityReader.h"
#include "trace/ask/OnArray.h"
#include "trace/ask/PieceCode.h"
#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

// The codes of a keyframe, by those of a state: what the age of an event with so many changes
// before it is, `age` tells.
template <class Codes, class Age>
std::array<uint8_t, 256> Translate(unsigned cap, uint64_t changes, Age age) {
  std::array<uint8_t, 256> translated = {};
  for (unsigned code = 1; code < translated.size(); ++code) {
    const TouchCode touch(cap, static_cast<uint8_t>(code));
    const uint64_t before = changes - std::min<uint64_t>(touch.age, changes);
    // An age that the code caps may come out one too small or, from before a skip, below zero; what
    // is capped rests, and what was skipped is forgotten below.
    translated[code] =
        Codes::Encode(touch.thread, touch.age >= cap ? Codes::OLDEST : age(before, touch.change));
  }
  return translated;
}

// When a piece was touched, and by which thread as far as a code tells. Steps begin at 1.
uint64_t Remember(uint64_t step, uint32_t thread) {
  return step * ElementCodes::THREADS + thread % ElementCodes::THREADS;
}

template <class Codes>
std::vector<uint8_t> Recalled(const std::vector<uint64_t>& touches, uint64_t step) {
  std::vector<uint8_t> codes(touches.size());
  std::transform(touches.begin(), touches.end(), codes.begin(), [&](uint64_t touch) {
    const uint64_t then = touch / Codes::THREADS;
    const uint32_t thread = static_cast<uint32_t>(touch % Codes::THREADS);
    return then == 0 ? Codes::UNTOUCHED : Codes::Encode(thread, step - then);
  });
  return codes;
}

Fault NoSuchStep(const std::string& name, uint64_t step, uint64_t steps) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = name;
  fault.reason = "there is no step " + std::to_string(step) + ": the trace ends in step " +
                 std::to_string(steps + 1);
  fault.remedy = "ask for a step up to that";
  return fault;
}

// A question takes up to three walks, of which each may go through all records: finding its
// records, checking their locations and applying them. Their progress is told as one.
enum Stage { FINDING = 0, CHECKING = 1, APPLYING = 2 };
constexpr uint64_t STAGES = 3;

ProgressCallback ProgressOf(Stage stage, const ProgressCallback& progress) {
  if (!progress) {
    return {};
  }
  return [stage, &progress](const Progress& walk) {
    return progress({stage * walk.all + walk.done, STAGES * walk.all, Progress::RECORDS});
  };
}

// Ends a question: its progress too, where there was anything to read.
Fault End(const TraceSource& trace, const Index& index, const Fault& found,
          const ProgressCallback& progress) {
  const uint64_t all = STAGES * index.GetSummary().records;
  if (!found && progress && all > 0 && !progress({all, all, Progress::RECORDS})) {
    return CancelledFault(trace.Name());
  }
  return Settle(trace, index, found);
}

}  // namespace

// How records map to steps: those of a viewer, or those of the natural reading, which begins with
// record 0 and in which all steps are changes.
struct StateReader::Clock : ViewerSteps {
  bool natural = false;
  uint64_t step = 0;  // the one that is asked for

  // The age of an event that came after `changesBefore` changes. In the natural reading the change
  // that the event makes itself is in front of it, in the viewer's behind.
  uint64_t Age(uint64_t record, uint64_t changesBefore, bool change) const {
    if (natural) {
      return step - 1 - changesBefore - (change ? 1 : 0);
    }
    return record == start ? step - 1 : step - 1 - early - (changesBefore - changes);
  }
};

Result<uint64_t> StateReader::CountSteps(uint64_t skipTo, const ProgressCallback& progress) const {
  const auto steps = FindSteps(trace, index, skipTo, ProgressOf(FINDING, progress));
  if (Fault fault = End(trace, index, steps.Why(), progress)) {
    return fault;
  }
  return steps->count;
}

Result<ArrayState> StateReader::AtStep(uint64_t step, uint64_t skipTo,
                                       const ProgressCallback& progress) const {
  ArrayState state;
  if (Fault fault = End(trace, index, FillStep(step, skipTo, state, progress), progress)) {
    return fault;
  }
  return state;
}

Fault StateReader::FillStep(uint64_t step, uint64_t skipTo, ArrayState& state,
                            const ProgressCallback& progress) const {
  const auto steps = FindSteps(trace, index, skipTo, ProgressOf(FINDING, progress));
  if (!steps) {
    return steps.Why();
  }
  const Clock clock = {*steps, false, step};
  if (step > clock.count + 1) {
    return NoSuchStep(trace.Name(), step, clock.count);
  }
  const Result<uint64_t> end = FindStepEnd(trace, index, clock, step);
  if (!end) {
    return end.Why();
  }
  state.first = clock.start;
  state.last = *end;
  state.shown = step <= clock.count;
  if (Fault fault = CheckLocations(state, ProgressOf(CHECKING, progress))) {
    return fault;
  }
  return Fill(clock, state, progress);
}

Result<ArrayState> StateReader::FillKnown(const ViewerSteps& steps, bool natural, uint64_t step,
                                          const ProgressCallback& progress) const {
  const Clock clock = {steps, natural, step};
  const Result<uint64_t> end =
      natural ? FindChange(trace, index, step) : FindStepEnd(trace, index, clock, step);
  if (!end) {
    return end.Why();
  }
  ArrayState state;
  state.first = clock.start;
  state.last = *end;
  if (Fault fault = Fill(clock, state, progress)) {
    return fault;
  }
  return state;
}

Result<ArrayState> StateReader::AtCycle(uint64_t cycle, const ProgressCallback& progress) const {
  ArrayState state;
  const Fault found = index.GetSummary().Ordered() ? FillCycle(cycle, state, progress)
                                                   : FillCycleUnordered(cycle, state, progress);
  if (Fault fault = End(trace, index, found, progress)) {
    return fault;
  }
  return state;
}

Fault StateReader::FillCycle(uint64_t cycle, ArrayState& state,
                             const ProgressCallback& progress) const {
  const Result<uint64_t> end = cycle == ~uint64_t{0} ? Result<uint64_t>(index.GetSummary().records)
                                                     : FindCycle(trace, index, cycle + 1);
  if (!end) {
    return end.Why();
  }
  state.last = *end;
  Clock clock;
  clock.natural = true;
  if (state.last > 0) {
    const Result<Preceding> before = FindPreceding(trace, index, state.last);
    if (!before) {
      return before.Why();
    }
    clock.step = before->changes + 1;
  }
  if (Fault fault = CheckLocations(state, ProgressOf(CHECKING, progress))) {
    return fault;
  }
  return Fill(clock, state, progress);
}

Fault StateReader::Fill(const Clock& clock, ArrayState& state,
                        const ProgressCallback& progress) const {
  state.shape = shape;
  state.step = clock.step;
  state.elementCodes.assign(shape.Elements(), ElementCodes::UNTOUCHED);
  state.switchCodes.assign(shape.Switches(), SwitchCodes::UNTOUCHED);
  const Result<uint64_t> next = FromKeyframe(clock, state);
  if (!next) {
    return next.Why();
  }
  if (Fault fault =
          ApplyRecords(clock, *next, state.last, false, state, ProgressOf(APPLYING, progress))) {
    return fault;
  }
  if (Fault fault = AddMessages(clock, state)) {
    return fault;
  }
  if (state.last > state.first) {
    const Result<Preceding> before = FindPreceding(trace, index, state.last);
    if (!before) {
      return before.Why();
    }
    state.cycle = before->cycle;
  }
  Paint(state);
  return {};
}

// Starts from the last keyframe before the moment, where one is worth it; returns the first record
// that it does not know.
Result<uint64_t> StateReader::FromKeyframe(const Clock& clock, ArrayState& state) const {
  const auto boundaries = index.Boundaries();
  const bool skips = !clock.natural && clock.start > 1;
  if (skips && !index.HasBoundaries()) {
    return state.first;  // nothing tells what a keyframe has from before the skip
  }
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= state.last; });
  if (above == boundaries.begin() || (above - 1)->record <= clock.start + 2) {
    return state.first;
  }
  const IndexBoundary& boundary = *(above - 1);
  const auto keyframe = index.Keyframe(static_cast<size_t>(above - boundaries.begin()));
  if (!keyframe) {
    return keyframe.Why();
  }
  TakeKeyframe(clock, boundary, *keyframe, state);
  if (skips) {
    if (Fault fault = ForgetSkipped(clock, boundary.record, state)) {
      return fault;
    }
  }
  const uint64_t older = clock.natural ? 2 : clock.start + 1;
  if (Fault fault = ApplyRecords(clock, clock.start, older, true, state)) {
    return fault;
  }
  return boundary.record;
}

void StateReader::TakeKeyframe(const Clock& clock, const IndexBoundary& boundary,
                               std::span<const uint8_t> keyframe, ArrayState& state) const {
  const auto age = [&](uint64_t before, bool change) {
    return clock.Age(~uint64_t{0}, before, change);
  };
  const auto elementCode = Translate<ElementCodes>(TouchCode::ELEMENT_CAP, boundary.changes, age);
  for (uint32_t row = 0; row < std::min(boundary.rows, shape.Rows()); ++row) {
    const uint8_t* from = keyframe.data() + static_cast<size_t>(row) * boundary.columns;
    std::transform(from, from + std::min(boundary.columns, shape.Columns()),
                   state.elementCodes.data() + shape.ElementNumber({0, row}),
                   [&](uint8_t code) { return elementCode[code]; });
  }
  const auto switchCode = Translate<SwitchCodes>(TouchCode::SWITCH_CAP, boundary.changes, age);
  const uint8_t* from = keyframe.data() + static_cast<size_t>(boundary.columns) * boundary.rows;
  for (uint32_t slot = 0; slot < boundary.switches; ++slot) {
    const Place place = index.GetSummary().switchPlaces[slot];
    if (shape.HasSwitch(place)) {
      state.switchCodes[shape.SwitchNumber(place)] = switchCode[from[slot]];
    }
  }
}

// A keyframe knows the whole trace before it. Where the viewer skipped some of that, pieces that no
// event touched between the skip and the keyframe are as built.
Fault StateReader::ForgetSkipped(const Clock& clock, uint64_t until, ArrayState& state) const {
  const ActivityReader activity(trace, index);
  std::vector<uint64_t> fires;
  std::vector<uint64_t> transmissions;
  if (Fault fault = activity.Count(clock.start + 1, until, FIRES, fires)) {
    return fault;
  }
  if (Fault fault = activity.Count(clock.start + 1, until, TRANSMISSIONS, transmissions)) {
    return fault;
  }
  for (uint32_t row = 0; row < shape.Rows(); ++row) {
    for (uint32_t column = 0; column < shape.Columns(); ++column) {
      const bool inside = row < activity.RowCount() && column < activity.ColumnCount();
      if (!inside || fires[static_cast<size_t>(row) * activity.ColumnCount() + column] == 0) {
        state.elementCodes[shape.ElementNumber({column, row})] = ElementCodes::UNTOUCHED;
      }
    }
  }
  for (size_t slot = 0; slot < transmissions.size(); ++slot) {
    const Place place = index.GetSummary().switchPlaces[slot];
    if (transmissions[slot] == 0 && shape.HasSwitch(place)) {
      state.switchCodes[shape.SwitchNumber(place)] = SwitchCodes::UNTOUCHED;
    }
  }
  return {};
}

// Applies fires and switch transmissions in order; those that are `older` than what is known touch
// only what nothing has touched, the last of them first.
Fault StateReader::ApplyRecords(const Clock& clock, uint64_t first, uint64_t last, bool older,
                                ArrayState& state, const ProgressCallback& progress) const {
  if (first >= last) {
    return {};
  }
  if (older && last - first > 1) {
    if (Fault fault = ApplyRecords(clock, last - 1, last, true, state)) {
      return fault;
    }
    return ApplyRecords(clock, first, last - 1, true, state);
  }
  Result<Preceding> preceding = FindPreceding(trace, index, first);
  if (!preceding) {
    return preceding.Why();
  }
  Preceding& before = *preceding;
  bool hasBefore = first > 0;
  Fault contradiction;
  const Fault fault = Walk(
      trace, index, first, last,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          const bool change = hasBefore && columns.cycle[i] != before.cycle;
          const uint32_t type = columns.tag[i].type;
          const Place at = columns.at[i];
          const auto touch = [&](uint8_t& code, uint8_t (*encode)(uint32_t, uint64_t)) {
            if (!older || code == 0) {
              code = encode(columns.tag[i].thread,
                            clock.Age(columns.firstRecord + i, before.changes, change));
            }
          };
          if (type == FIRE_RECORD && shape.HasElement(at)) {
            touch(state.elementCodes[shape.ElementNumber(at)], ElementCodes::Encode);
          } else if (type == SWITCH_RECORD && shape.HasSwitch(at)) {
            touch(state.switchCodes[shape.SwitchNumber(at)], SwitchCodes::Encode);
          } else if (type != SEND_RECORD) {
            contradiction = Contradiction(trace, index);
            return false;
          }
          before.changes += change;
          before.cycle = columns.cycle[i];
          hasBefore = true;
        }
        return true;
      },
      progress);
  return fault ? fault : contradiction;
}

// The first record whose message, if it has one, is still to be seen.
Result<uint64_t> StateReader::FirstMessage(const Clock& clock, const ArrayState& state) const {
  if (clock.step <= LAST_MESSAGE_AGE + 1) {
    return state.first;
  }
  const uint64_t oldest = clock.step - LAST_MESSAGE_AGE;  // the step of what is about to go
  const uint64_t changes = clock.changes + oldest - 1 - clock.early;
  if (!clock.natural && changes == clock.changes) {
    return state.first + 1;
  }
  const Result<uint64_t> change = FindChange(trace, index, changes);
  if (!change) {
    return change.Why();
  }
  return *change + (clock.natural ? 0 : 1);
}

Fault StateReader::AddMessages(const Clock& clock, ArrayState& state) const {
  const Result<uint64_t> first = FirstMessage(clock, state);
  if (!first || *first >= state.last) {
    return first.Why();
  }
  Result<Preceding> preceding = FindPreceding(trace, index, *first);
  if (!preceding) {
    return preceding.Why();
  }
  Preceding& before = *preceding;
  bool hasBefore = *first > 0;
  return Walk(
      trace, index, *first, state.last, [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          const bool change = hasBefore && columns.cycle[i] != before.cycle;
          const uint64_t record = columns.firstRecord + i;
          if (columns.tag[i].type == SEND_RECORD) {
            const uint64_t age = clock.Age(record, before.changes, change);
            state.messages.push_back(
                {record, clock.step - age, columns.tag[i].thread, columns.at[i], columns.to[i]});
          }
          before.changes += change;
          before.cycle = columns.cycle[i];
          hasBefore = true;
        }
        return true;
      });
}

// A fire or a switch transmission at a location that the array lacks ends the viewer.
Fault StateReader::CheckLocations(const ArrayState& state, const ProgressCallback& progress) const {
  const Summary& summary = index.GetSummary();
  const bool switchesFit = summary.switchesComplete &&
                           std::all_of(summary.switchPlaces.begin(), summary.switchPlaces.end(),
                                       [&](Place place) { return shape.HasSwitch(place); });
  if (switchesFit && summary.fired.columns <= shape.Columns() &&
      summary.fired.rows <= shape.Rows()) {
    return {};
  }
  Fault outside;
  const Fault fault = Walk(
      trace, index, state.first, state.last,
      [&](const Columns& columns, size_t from, size_t to) {
        size_t i = from;
        while (i < to && IsOnArray(shape, columns, i)) {
          ++i;
        }
        outside = i < to ? OutsideArray(trace, shape, columns, i) : Fault();
        return i == to;
      },
      progress);
  return fault ? fault : outside;
}

// Where cycles fall, the events up to a cycle are no range of the trace: all of it is gone through.
Fault StateReader::FillCycleUnordered(uint64_t cycle, ArrayState& state,
                                      const ProgressCallback& progress) const {
  state.shape = shape;
  // By piece, its step and the thread of the last event, as Remember packs them; 0 for none.
  std::vector<uint64_t> elements(shape.Elements());
  std::vector<uint64_t> switches(shape.Switches());
  const auto take = [&](const Columns& columns, size_t i) {
    if (state.step == 0 || columns.cycle[i] != state.cycle) {
      ++state.step;
    }
    state.cycle = columns.cycle[i];
    state.last = columns.firstRecord + i + 1;
    const Place at = columns.at[i];
    const uint32_t thread = columns.tag[i].thread;
    if (columns.tag[i].type == FIRE_RECORD) {
      elements[shape.ElementNumber(at)] = Remember(state.step, thread);
    } else if (columns.tag[i].type == SWITCH_RECORD) {
      switches[shape.SwitchNumber(at)] = Remember(state.step, thread);
    } else {
      state.messages.push_back({columns.firstRecord + i, state.step, thread, at, columns.to[i]});
    }
    while (!state.messages.empty() && state.AgeOf(state.messages.front()) > LAST_MESSAGE_AGE) {
      state.messages.pop_front();
    }
  };
  Fault outside;
  const Fault fault = Walk(
      trace, index, 0, index.GetSummary().records,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          if (columns.cycle[i] > cycle) {
            continue;
          }
          if (!IsOnArray(shape, columns, i)) {
            outside = OutsideArray(trace, shape, columns, i);
            return false;
          }
          take(columns, i);
        }
        return true;
      },
      ProgressOf(APPLYING, progress));
  if (fault || outside) {
    return fault ? fault : outside;
  }
  state.elementCodes = Recalled<ElementCodes>(elements, state.step);
  state.switchCodes = Recalled<SwitchCodes>(switches, state.step);
  Paint(state);
  return {};
}

}  // namespace marrowfin
