#include "trace/ask/StateReader.h"

#include <algorithm>
#include <array>
#include <deque>
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
bool End(const TraceFile& trace, const Index& index, bool answered,
         const ProgressCallback& progress, Fault& fault) {
  const uint64_t all = STAGES * index.GetSummary().records;
  if (answered && progress && all > 0 && !progress({all, all, Progress::RECORDS})) {
    fault = CancelledFault(trace.Name());
    return false;
  }
  return Settle(trace, index, answered, fault);
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

bool StateReader::CountSteps(uint64_t skipTo, uint64_t& steps, Fault& fault,
                             const ProgressCallback& progress) const {
  ViewerSteps viewer;
  const bool found = FindSteps(trace, index, skipTo, viewer, fault, ProgressOf(FINDING, progress));
  steps = viewer.count;
  return End(trace, index, found, progress, fault);
}

bool StateReader::AtStep(uint64_t step, uint64_t skipTo, ArrayState& state, Fault& fault,
                         const ProgressCallback& progress) const {
  return End(trace, index, FillStep(step, skipTo, state, fault, progress), progress, fault);
}

bool StateReader::FillStep(uint64_t step, uint64_t skipTo, ArrayState& state, Fault& fault,
                           const ProgressCallback& progress) const {
  Clock clock;
  if (!FindSteps(trace, index, skipTo, clock, fault, ProgressOf(FINDING, progress))) {
    return false;
  }
  clock.step = step;
  state = ArrayState();
  state.first = clock.start;
  state.shown = step <= clock.count;
  if (step > clock.count + 1) {
    fault = NoSuchStep(trace.Name(), step, clock.count);
    return false;
  }
  return FindStepEnd(trace, index, clock, step, state.last, fault) &&
         CheckLocations(state, fault, ProgressOf(CHECKING, progress)) &&
         Fill(clock, state, fault, progress);
}

bool StateReader::FillKnown(const ViewerSteps& steps, bool natural, uint64_t step,
                            ArrayState& state, Fault& fault,
                            const ProgressCallback& progress) const {
  Clock clock;
  static_cast<ViewerSteps&>(clock) = steps;
  clock.natural = natural;
  clock.step = step;
  state = ArrayState();
  state.first = clock.start;
  const bool found = natural ? FindChange(trace, index, step, state.last, fault)
                             : FindStepEnd(trace, index, clock, step, state.last, fault);
  return found && Fill(clock, state, fault, progress);
}

bool StateReader::AtCycle(uint64_t cycle, ArrayState& state, Fault& fault,
                          const ProgressCallback& progress) const {
  state = ArrayState();
  const bool filled = index.GetSummary().Ordered()
                          ? FillCycle(cycle, state, fault, progress)
                          : FillCycleUnordered(cycle, state, fault, progress);
  return End(trace, index, filled, progress, fault);
}

bool StateReader::FillCycle(uint64_t cycle, ArrayState& state, Fault& fault,
                            const ProgressCallback& progress) const {
  state.last = index.GetSummary().records;
  if (cycle != ~uint64_t{0} && !FindCycle(trace, index, cycle + 1, state.last, fault)) {
    return false;
  }
  Clock clock;
  clock.natural = true;
  if (state.last > 0) {
    IndexEntry entry;
    if (!Locate(trace, index, state.last - 1, entry, fault)) {
      return false;
    }
    clock.step = entry.changes + 1;
  }
  return CheckLocations(state, fault, ProgressOf(CHECKING, progress)) &&
         Fill(clock, state, fault, progress);
}

bool StateReader::Fill(const Clock& clock, ArrayState& state, Fault& fault,
                       const ProgressCallback& progress) const {
  state.shape = shape;
  state.step = clock.step;
  state.elementCodes.assign(shape.Elements(), ElementCodes::UNTOUCHED);
  state.switchCodes.assign(shape.Switches(), SwitchCodes::UNTOUCHED);
  uint64_t next = state.first;
  if (!FromKeyframe(clock, state, next, fault) ||
      !ApplyRecords(clock, next, state.last, false, state, fault, ProgressOf(APPLYING, progress)) ||
      !AddMessages(clock, state, fault)) {
    return false;
  }
  if (state.last > state.first) {
    IndexEntry entry;
    if (!Locate(trace, index, state.last - 1, entry, fault)) {
      return false;
    }
    state.cycle = entry.cycle;
  }
  Paint(state);
  return true;
}

// Starts from the last keyframe before the moment, where one is worth it; `next` is the first
// record that it does not know.
bool StateReader::FromKeyframe(const Clock& clock, ArrayState& state, uint64_t& next,
                               Fault& fault) const {
  const auto boundaries = index.Boundaries();
  const bool skips = !clock.natural && clock.start > 1;
  if (skips && !index.HasBoundaries()) {
    return true;  // nothing tells what a keyframe has from before the skip
  }
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= state.last; });
  if (above == boundaries.begin() || (above - 1)->record <= clock.start + 2) {
    return true;
  }
  const IndexBoundary& boundary = *(above - 1);
  const auto keyframe = index.Keyframe(static_cast<size_t>(above - boundaries.begin()));
  if (!keyframe) {
    fault = keyframe.Why();
    return false;
  }
  TakeKeyframe(clock, boundary, *keyframe, state);
  next = boundary.record;
  const uint64_t older = clock.natural ? 2 : clock.start + 1;
  return (!skips || ForgetSkipped(clock, boundary.record, state, fault)) &&
         ApplyRecords(clock, clock.start, older, true, state, fault);
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
bool StateReader::ForgetSkipped(const Clock& clock, uint64_t until, ArrayState& state,
                                Fault& fault) const {
  const ActivityReader activity(trace, index);
  std::vector<uint64_t> fires;
  std::vector<uint64_t> transmissions;
  if (!activity.Count(clock.start + 1, until, FIRES, fires, fault) ||
      !activity.Count(clock.start + 1, until, TRANSMISSIONS, transmissions, fault)) {
    return false;
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
  return true;
}

// Applies fires and switch transmissions in order; those that are `older` than what is known touch
// only what nothing has touched, the last of them first.
bool StateReader::ApplyRecords(const Clock& clock, uint64_t first, uint64_t last, bool older,
                               ArrayState& state, Fault& fault,
                               const ProgressCallback& progress) const {
  if (first >= last) {
    return true;
  }
  IndexEntry before;
  if (first > 0 && !Locate(trace, index, first - 1, before, fault)) {
    return false;
  }
  if (older && last - first > 1) {
    return ApplyRecords(clock, last - 1, last, true, state, fault) &&
           ApplyRecords(clock, first, last - 1, true, state, fault);
  }
  bool hasBefore = first > 0;
  const bool walked = Walk(
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
            fault = Contradiction(trace, index);
            return false;
          }
          before.changes += change;
          before.cycle = columns.cycle[i];
          hasBefore = true;
        }
        return true;
      },
      fault, progress);
  return walked && !fault;
}

bool StateReader::AddMessages(const Clock& clock, ArrayState& state, Fault& fault) const {
  uint64_t first = state.first;
  if (clock.step > LAST_MESSAGE_AGE + 1) {
    const uint64_t oldest = clock.step - LAST_MESSAGE_AGE;  // the step of what is about to go
    const uint64_t changes = clock.changes + oldest - 1 - clock.early;
    if (!clock.natural && changes == clock.changes) {
      ++first;
    } else {
      if (!FindChange(trace, index, changes, first, fault)) {
        return false;
      }
      first += clock.natural ? 0 : 1;
    }
  }
  if (first >= state.last) {
    return true;
  }
  IndexEntry before;
  if (first > 0 && !Locate(trace, index, first - 1, before, fault)) {
    return false;
  }
  bool hasBefore = first > 0;
  return Walk(
      trace, index, first, state.last,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          const bool change = hasBefore && columns.cycle[i] != before.cycle;
          const uint64_t record = columns.firstRecord + i;
          if (columns.tag[i].type == SEND_RECORD) {
            const uint64_t age = clock.Age(record, before.changes, change);
            state.messages.push_back({record, columns.tag[i].thread, columns.at[i], columns.to[i],
                                      age, MessageColor(age)});
          }
          before.changes += change;
          before.cycle = columns.cycle[i];
          hasBefore = true;
        }
        return true;
      },
      fault);
}

// A fire or a switch transmission at a location that the array lacks ends the viewer.
bool StateReader::CheckLocations(const ArrayState& state, Fault& fault,
                                 const ProgressCallback& progress) const {
  const Summary& summary = index.GetSummary();
  const bool switchesFit = summary.switchesComplete &&
                           std::all_of(summary.switchPlaces.begin(), summary.switchPlaces.end(),
                                       [&](Place place) { return shape.HasSwitch(place); });
  if (switchesFit && summary.fired.columns <= shape.Columns() &&
      summary.fired.rows <= shape.Rows()) {
    return true;
  }
  const bool walked = Walk(
      trace, index, state.first, state.last,
      [&](const Columns& columns, size_t from, size_t to) {
        size_t i = from;
        while (i < to && IsOnArray(shape, columns, i)) {
          ++i;
        }
        fault = i < to ? OutsideArray(trace, columns, i) : Fault();
        return i == to;
      },
      fault, progress);
  return walked && !fault;
}

// Where cycles fall, the events up to a cycle are no range of the trace: all of it is gone through.
bool StateReader::FillCycleUnordered(uint64_t cycle, ArrayState& state, Fault& fault,
                                     const ProgressCallback& progress) const {
  state.shape = shape;
  // By piece, its step and the thread of the last event, as Remember packs them; 0 for none.
  std::vector<uint64_t> elements(shape.Elements());
  std::vector<uint64_t> switches(shape.Switches());
  std::deque<LiveMessage> messages;  // with their steps for ages
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
      messages.push_back({columns.firstRecord + i, thread, at, columns.to[i], state.step, Color()});
    }
    while (!messages.empty() && state.step - messages.front().age > LAST_MESSAGE_AGE) {
      messages.pop_front();
    }
  };
  const bool walked = Walk(
      trace, index, 0, index.GetSummary().records,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          if (columns.cycle[i] > cycle) {
            continue;
          }
          if (!IsOnArray(shape, columns, i)) {
            fault = OutsideArray(trace, columns, i);
            return false;
          }
          take(columns, i);
        }
        return true;
      },
      fault, ProgressOf(APPLYING, progress));
  if (!walked || fault) {
    return false;
  }
  state.elementCodes = Recalled<ElementCodes>(elements, state.step);
  state.switchCodes = Recalled<SwitchCodes>(switches, state.step);
  Paint(state);
  for (LiveMessage& message : messages) {
    message.age = state.step - message.age;
    message.color = MessageColor(message.age);
    state.messages.push_back(message);
  }
  return true;
}

}  // namespace marrowfin
