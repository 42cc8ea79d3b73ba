#include "trace/StateReader.h"

#include <algorithm>
#include <deque>
#include <string>

#include "trace/ActivityReader.h"
#include "trace/Walk.h"

namespace marrowfin {

namespace {

// A piece's last event: the thread modulo 6 and, in the low byte, its age in steps. All colours
// rest long before an age fills the byte.
typedef uint16_t Touch;
constexpr Touch NEVER = 0xFFFF;
constexpr uint64_t OLD = 255;

Touch MakeTouch(uint32_t thread, uint64_t age) {
  return static_cast<Touch>((thread % 6) << 8 | std::min(age, OLD));
}

// The number of the switch that is filed at `place`, row by row; nothing but -1 for other places.
int64_t SwitchNumber(const ArrayShape& shape, Place place) {
  if (!shape.HasSwitch(place)) {
    return -1;
  }
  const uint32_t column = (place.column - 4) / shape.ClusterSide();
  const uint32_t row = (place.row - 4) / shape.ClusterSide();
  return static_cast<int64_t>(row) * shape.clusters + column;
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

// Whoever makes up an index can make its checksums right, so what it says of the trace is no more
// believed than the trace.
Fault NotOfTrace(const Index& index) {
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = index.FileName();
  fault.reason = "the index contradicts its trace";
  fault.remedy = "remove it, it is built again";
  return fault;
}

}  // namespace

// How records map to steps. A viewer starts with record `start` (record 0 in the natural reading);
// `changes` counts changes of cycle up to `start`, and `early` is 1 where record `start` is itself
// a change for the viewer, whose display starts at cycle 0.
struct StateReader::Clock {
  bool natural = false;
  uint64_t start = 0;
  uint64_t changes = 0;
  uint64_t early = 0;
  uint64_t steps = 0;  // the step that is asked for

  // The age of an event that came after `changesBefore` changes. In the natural reading the change
  // that the event makes itself is in front of it, in the viewer's behind.
  uint64_t Age(uint64_t record, uint64_t changesBefore, bool change) const {
    if (natural) {
      return steps - 1 - changesBefore - (change ? 1 : 0);
    }
    return record == start ? steps - 1 : steps - 1 - early - (changesBefore - changes);
  }
};

struct StateReader::Touches {
  std::vector<Touch> elements;
  std::vector<Touch> switches;
};

bool StateReader::Start(uint64_t skipTo, Clock& clock, Fault& fault) const {
  const uint64_t records = index.GetSummary().records;
  uint64_t reached = 0;
  if (!FindCycle(trace, index, skipTo, reached, fault)) {
    return false;
  }
  // The event that is reached is consumed as well.
  clock.start = std::min(reached + 1, records);
  if (clock.start == records) {
    return true;
  }
  IndexEntry entry;
  if (!Locate(trace, index, clock.start, entry, fault)) {
    return false;
  }
  clock.changes = entry.changes;
  clock.early = entry.cycle != 0 ? 1 : 0;
  return true;
}

bool StateReader::CountSteps(uint64_t skipTo, uint64_t& steps, Fault& fault) const {
  Clock clock;
  if (!Start(skipTo, clock, fault)) {
    return false;
  }
  const Summary& summary = index.GetSummary();
  steps = clock.start == summary.records ? 0 : clock.early + summary.changes - clock.changes;
  return true;
}

bool StateReader::AtStep(uint64_t step, uint64_t skipTo, ArrayState& state, Fault& fault) const {
  Clock clock;
  if (!Start(skipTo, clock, fault)) {
    return false;
  }
  clock.steps = step;
  state = ArrayState();
  return LastRecord(step, clock, state, fault) && Fill(clock, state, fault);
}

// Finds the records that the first `step` steps apply.
bool StateReader::LastRecord(uint64_t step, Clock& clock, ArrayState& state, Fault& fault) const {
  const uint64_t records = index.GetSummary().records;
  const uint64_t steps =
      clock.start == records ? 0 : clock.early + index.GetSummary().changes - clock.changes;
  state.first = clock.start;
  state.last = clock.start;
  if (step > steps + 1) {
    fault = NoSuchStep(trace.Name(), step, steps);
    return false;
  }
  state.shown = step <= steps;
  if (step > steps) {
    state.last = records;
  } else if (step > 0 && step == clock.early) {
    state.last = clock.start + 1;
  } else if (step > 0) {
    if (!FindChange(trace, index, clock.changes + step - clock.early, state.last, fault)) {
      return false;
    }
    ++state.last;
  }
  return true;
}

bool StateReader::AtCycle(uint64_t cycle, ArrayState& state, Fault& fault) const {
  state = ArrayState();
  if (!index.GetSummary().Ordered()) {
    return AtCycleUnordered(cycle, state, fault);
  }
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
    clock.steps = entry.changes + 1;
  }
  return Fill(clock, state, fault);
}

bool StateReader::Fill(const Clock& clock, ArrayState& state, Fault& fault) const {
  state.shape = shape;
  state.step = clock.steps;
  if (!CheckLocations(state, fault)) {
    return false;
  }
  Touches touches;
  touches.elements.assign(static_cast<size_t>(shape.Side()) * shape.Side(), NEVER);
  touches.switches.assign(static_cast<size_t>(shape.clusters) * shape.clusters, NEVER);
  uint64_t next = state.first;
  if (!FromKeyframe(clock, state, touches, next, fault) ||
      !ApplyRecords(clock, next, state.last, false, touches, fault) ||
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
  Paint(clock, touches, state);
  return true;
}

// Starts from the last keyframe before the moment, where one is worth it; `next` is the first
// record that it does not know.
bool StateReader::FromKeyframe(const Clock& clock, const ArrayState& state, Touches& touches,
                               uint64_t& next, Fault& fault) const {
  const auto boundaries = index.Boundaries();
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= state.last; });
  if (above == boundaries.begin() || (above - 1)->record <= clock.start + 2) {
    return true;
  }
  const IndexBoundary& boundary = *(above - 1);
  std::vector<uint8_t> codes;
  if (!index.Keyframe(static_cast<size_t>(above - boundaries.begin()), codes, fault)) {
    return false;
  }
  const auto touchOf = [&](unsigned cap, uint8_t code) {
    const TouchCode touch(cap, code);
    const uint64_t before = boundary.changes - std::min<uint64_t>(touch.age, boundary.changes);
    // An age that the code caps may come out one too small or, from before a skip, below zero; what
    // is capped rests, and what was skipped is forgotten below.
    const uint64_t age = touch.age >= cap ? OLD : clock.Age(~uint64_t{0}, before, touch.change);
    return touch.touched ? MakeTouch(touch.thread, age) : NEVER;
  };
  const uint32_t side = shape.Side();
  for (uint32_t row = 0; row < std::min(boundary.rows, side); ++row) {
    for (uint32_t column = 0; column < std::min(boundary.columns, side); ++column) {
      touches.elements[static_cast<size_t>(row) * side + column] = touchOf(
          TouchCode::ELEMENT_CAP, codes[static_cast<size_t>(row) * boundary.columns + column]);
    }
  }
  const size_t elements = static_cast<size_t>(boundary.columns) * boundary.rows;
  for (uint32_t slot = 0; slot < boundary.switches; ++slot) {
    const int64_t number = SwitchNumber(shape, index.GetSummary().switchPlaces[slot]);
    if (number >= 0) {
      touches.switches[static_cast<size_t>(number)] =
          touchOf(TouchCode::SWITCH_CAP, codes[elements + slot]);
    }
  }
  next = boundary.record;
  const uint64_t older = clock.natural ? 2 : clock.start + 1;
  return ForgetSkipped(clock, boundary.record, touches, fault) &&
         ApplyRecords(clock, clock.start, older, true, touches, fault);
}

// A keyframe knows the whole trace before it. Where the viewer skipped some of that, pieces that no
// event touched between the skip and the keyframe are as built.
bool StateReader::ForgetSkipped(const Clock& clock, uint64_t until, Touches& touches,
                                Fault& fault) const {
  if (clock.natural || clock.start <= 1) {
    return true;
  }
  const ActivityReader activity(trace, index);
  std::vector<uint64_t> fires;
  std::vector<uint64_t> transmissions;
  if (!activity.Count(clock.start + 1, until, FIRES, fires, fault) ||
      !activity.Count(clock.start + 1, until, TRANSMISSIONS, transmissions, fault)) {
    return false;
  }
  const uint32_t side = shape.Side();
  for (uint32_t row = 0; row < side; ++row) {
    for (uint32_t column = 0; column < side; ++column) {
      const bool inside = row < activity.RowCount() && column < activity.ColumnCount();
      if (!inside || fires[static_cast<size_t>(row) * activity.ColumnCount() + column] == 0) {
        touches.elements[static_cast<size_t>(row) * side + column] = NEVER;
      }
    }
  }
  for (size_t slot = 0; slot < transmissions.size(); ++slot) {
    const int64_t number = SwitchNumber(shape, index.GetSummary().switchPlaces[slot]);
    if (number >= 0 && transmissions[slot] == 0) {
      touches.switches[static_cast<size_t>(number)] = NEVER;
    }
  }
  return true;
}

// Applies fires and switch transmissions in order; those that are `older` than what is known touch
// only what nothing has touched, the last of them first.
bool StateReader::ApplyRecords(const Clock& clock, uint64_t first, uint64_t last, bool older,
                               Touches& touches, Fault& fault) const {
  if (first >= last) {
    return true;
  }
  IndexEntry before;
  if (first > 0 && !Locate(trace, index, first - 1, before, fault)) {
    return false;
  }
  if (older && last - first > 1) {
    return ApplyRecords(clock, last - 1, last, true, touches, fault) &&
           ApplyRecords(clock, first, last - 1, true, touches, fault);
  }
  const uint32_t side = shape.Side();
  bool hasBefore = first > 0;
  const bool walked = Walk(
      trace, index, first, last,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          const bool change = hasBefore && columns.cycle[i] != before.cycle;
          const uint32_t type = columns.tag[i].type;
          const Place at = columns.at[i];
          Touch* touched = nullptr;
          if (type == FIRE_RECORD && shape.HasElement(at)) {
            touched = &touches.elements[static_cast<size_t>(at.row) * side + at.column];
          } else if (type == SWITCH_RECORD && shape.HasSwitch(at)) {
            touched = &touches.switches[static_cast<size_t>(SwitchNumber(shape, at))];
          } else if (type != SEND_RECORD) {
            fault = NotOfTrace(index);
            return false;
          }
          if (touched != nullptr && (!older || *touched == NEVER)) {
            *touched = MakeTouch(columns.tag[i].thread,
                                 clock.Age(columns.firstRecord + i, before.changes, change));
          }
          before.changes += change;
          before.cycle = columns.cycle[i];
          hasBefore = true;
        }
        return true;
      },
      fault);
  return walked && !fault;
}

bool StateReader::AddMessages(const Clock& clock, ArrayState& state, Fault& fault) const {
  uint64_t first = state.first;
  if (clock.steps > LAST_MESSAGE_AGE + 1) {
    const uint64_t oldest = clock.steps - LAST_MESSAGE_AGE;  // the step of what is about to go
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
bool StateReader::CheckLocations(const ArrayState& state, Fault& fault) const {
  const Summary& summary = index.GetSummary();
  const bool switchesFit = summary.switchesComplete &&
                           std::all_of(summary.switchPlaces.begin(), summary.switchPlaces.end(),
                                       [&](Place place) { return shape.HasSwitch(place); });
  if (switchesFit && std::max(summary.fired.columns, summary.fired.rows) <= shape.Side()) {
    return true;
  }
  return Walk(
             trace, index, state.first, state.last,
             [&](const Columns& columns, size_t from, size_t to) {
               for (size_t i = from; i < to && !fault; ++i) {
                 const bool fire = columns.tag[i].type == FIRE_RECORD;
                 const Place at = columns.at[i];
                 if (columns.tag[i].type == SEND_RECORD ||
                     (fire ? shape.HasElement(at) : shape.HasSwitch(at))) {
                   continue;
                 }
                 fault.kind = Fault::OUTSIDE_ARRAY;
                 fault.file = trace.Name();
                 fault.record = columns.firstRecord + i;
                 fault.reason = "column " + std::to_string(at.column) + ", row " +
                                std::to_string(at.row) + " is no " +
                                (fire ? "processing element" : "switch") + " of the array";
                 fault.remedy = "give the counts of the array that wrote the trace";
               }
               return !fault;
             },
             fault) &&
         !fault;
}

void StateReader::Paint(const Clock& clock, const Touches& touches, ArrayState& state) const {
  const auto paint = [&](const std::vector<Touch>& from, Color untouched,
                         Color (*color)(uint32_t, uint64_t), std::vector<Color>& to) {
    to.reserve(from.size());
    for (const Touch touch : from) {
      to.push_back(touch == NEVER ? untouched : color(touch >> 8, touch & 0xFF));
    }
  };
  paint(touches.elements, UntouchedElementColor(clock.steps), ElementColor, state.elements);
  paint(touches.switches, UntouchedSwitchColor(clock.steps), SwitchColor, state.switches);
}

// Where cycles fall, the events up to a cycle are no range of the trace: all of it is gone through.
bool StateReader::AtCycleUnordered(uint64_t cycle, ArrayState& state, Fault& fault) const {
  state.shape = shape;
  const uint32_t side = shape.Side();
  struct Seen {
    uint64_t step = 0;
    uint32_t thread = 0;
  };
  std::vector<Seen> elements(static_cast<size_t>(side) * side);
  std::vector<Seen> switches(static_cast<size_t>(shape.clusters) * shape.clusters);
  std::deque<LiveMessage> messages;  // with their steps for ages
  const auto take = [&](const Columns& columns, size_t i) {
    if (state.step == 0 || columns.cycle[i] != state.cycle) {
      ++state.step;
    }
    state.cycle = columns.cycle[i];
    state.last = columns.firstRecord + i + 1;
    const Place at = columns.at[i];
    const uint32_t thread = columns.tag[i].thread;
    if (columns.tag[i].type == FIRE_RECORD && shape.HasElement(at)) {
      elements[static_cast<size_t>(at.row) * side + at.column] = {state.step, thread};
    } else if (columns.tag[i].type == SWITCH_RECORD && shape.HasSwitch(at)) {
      switches[static_cast<size_t>(SwitchNumber(shape, at))] = {state.step, thread};
    } else if (columns.tag[i].type == SEND_RECORD) {
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
          if (columns.cycle[i] <= cycle) {
            take(columns, i);
          }
        }
        return true;
      },
      fault);
  for (const Seen& seen : elements) {
    state.elements.push_back(seen.step == 0 ? UntouchedElementColor(state.step)
                                            : ElementColor(seen.thread, state.step - seen.step));
  }
  for (const Seen& seen : switches) {
    state.switches.push_back(seen.step == 0 ? UntouchedSwitchColor(state.step)
                                            : SwitchColor(seen.thread, state.step - seen.step));
  }
  for (LiveMessage& message : messages) {
    message.age = state.step - message.age;
    message.color = MessageColor(message.age);
    state.messages.push_back(message);
  }
  return walked;
}

}  // namespace marrowfin
