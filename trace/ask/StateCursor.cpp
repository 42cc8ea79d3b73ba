#include "trace/ask/StateCursor.h"

#include <algorithm>
#include <utility>

#include "trace/ask/OnArray.h"
#include "trace/ask/StateLog.h"
#include "trace/ask/StepReader.h"

namespace marrowfin {

namespace {

// A stretch that is gone through again has so many records, if it can have: two or three times as
// long as what stands between a keyframe and the next, so that finding its start costs little.
constexpr uint64_t STRETCH_RECORDS = 131072;
constexpr uint64_t FIRST_STRETCH = 16;
constexpr uint64_t LONGEST_STRETCH = 4096;

// Part `part` of `parts` of something whose progress is told as one.
ProgressCallback PartOf(uint64_t part, uint64_t parts, uint64_t records,
                        const ProgressCallback& progress) {
  if (!progress) {
    return {};
  }
  return [=, &progress](const Progress& told) {
    const double share =
        told.all == 0 ? 0 : static_cast<double>(told.done) / static_cast<double>(told.all);
    const uint64_t done = static_cast<uint64_t>(share * static_cast<double>(records));
    return progress({part * records + std::min(done, records), parts * records, Progress::RECORDS});
  };
}

// The cycles that have events, about one that may have none.
struct Cycles {
  std::optional<uint64_t> before;
  std::optional<uint64_t> now;  // the last one up to it
  std::optional<uint64_t> after;

  void Add(uint64_t cycle, const std::optional<uint64_t>& about) {
    if (!about || cycle > *about) {
      after = after ? std::min(*after, cycle) : cycle;
    } else if (!now || cycle > *now) {
      before = now;
      now = cycle;
    } else if (cycle < *now) {
      before = before ? std::max(*before, cycle) : cycle;
    }
  }
};

Result<Cycles> FindCycles(const TraceSource& trace, const Index& index,
                          const std::optional<uint64_t>& about, const ProgressCallback& progress) {
  Cycles found;
  Fault fault = Walk(
      trace, index, 0, index.GetSummary().records,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          found.Add(columns.cycle[i], about);
        }
        return true;
      },
      progress);
  if (fault) {
    return fault;
  }
  return found;
}

}  // namespace

struct StateCursor::Track {
  Track(ArrayState state, size_t keptBytes, const TraceSource& trace, const Index& index)
      : log(std::move(state), keptBytes), records(trace, index) {}

  StateLog log;
  StepReader records;
};

StateCursor::StateCursor(const TraceSource& trace, const Index& index, ArrayShape shape,
                         size_t keptBytes)
    : trace(trace),
      index(index),
      shape(shape),
      keptBytes(keptBytes),
      reader(trace, index, shape),
      track(NewTrack(AsBuilt(shape))),
      stretch(FIRST_STRETCH) {}

StateCursor::~StateCursor() = default;

std::unique_ptr<StateCursor::Track> StateCursor::NewTrack(ArrayState state) const {
  return std::make_unique<Track>(std::move(state), keptBytes, trace, index);
}

const ArrayState& StateCursor::State() const { return track->log.State(); }

const StateChanges& StateCursor::Changes() const {
  return hasJumped ? jumped : track->log.Changes();
}

uint64_t StateCursor::RecordsRead() const { return recordsRead + track->records.RecordsRead(); }

void StateCursor::Change(std::unique_ptr<Track> to) {
  recordsRead += track->records.RecordsRead();
  track = std::move(to);
}

Fault StateCursor::MoveToStep(uint64_t step, uint64_t skipTo, const ProgressCallback& progress) {
  const uint64_t records = index.GetSummary().records;
  const auto found = FindSteps(trace, index, skipTo, PartOf(0, 2, records, progress));
  if (!found) {
    return found.Why();
  }
  Result<ArrayState> state = reader.AtStep(step, skipTo, PartOf(1, 2, records, progress));
  if (!state) {
    return state.Why();
  }
  Place({false, *found, found->count + 1}, std::move(state).Take());
  return Fault();
}

Fault StateCursor::MoveToCycle(uint64_t to, const ProgressCallback& progress) {
  Result<ArrayState> state = reader.AtCycle(to, progress);
  if (!state) {
    return state.Why();
  }
  const Summary& summary = index.GetSummary();
  Place({true, {}, summary.records > 0 ? summary.changes + 1 : 0}, std::move(state).Take());
  cycle = to;
  return Fault();
}

void StateCursor::Place(const Reading& of, ArrayState state) {
  reading = of;
  Change(NewTrack(std::move(state)));
  stretch = FIRST_STRETCH;
  hasJumped = false;
}

Result<bool> StateCursor::Next(const ProgressCallback& progress) {
  if (reading.natural && !index.GetSummary().Ordered()) {
    return Jump(true, progress);
  }
  if (State().step >= reading.lastStep) {
    return false;
  }
  if (track->log.CanRedo()) {
    track->log.Redo();
    return true;
  }
  if (Fault fault = Advance(*track, progress)) {
    return fault;
  }
  return true;
}

Result<bool> StateCursor::Previous(const ProgressCallback& progress) {
  if (reading.natural && !index.GetSummary().Ordered()) {
    return Jump(false, progress);
  }
  if (State().step == 0) {
    return false;
  }
  if (!track->log.CanUndo()) {
    if (Fault fault = Rewind(progress)) {
      return fault;
    }
  }
  track->log.Undo();
  return true;
}

// Takes the step behind all that are kept.
Fault StateCursor::Advance(Track& on, const ProgressCallback& progress) const {
  const ArrayState& state = on.log.State();
  const auto take = [&](const Columns& columns, size_t from, size_t to) {
    return Gather(columns, from, to, on.log);
  };
  const Result<StepReader::End> end =
      reading.natural ? on.records.NaturalStep(state.last, take, progress)
                      : on.records.ViewerStep(state.last, state.cycle, take, progress);
  Fault fault = end.Why();
  // The step in which the trace ends is the only one of a viewer that meets no change.
  const bool shown = reading.natural || state.step + 1 < reading.lastStep;
  const bool agrees =
      end && (end->changed || state.step + 1 == reading.lastStep) && (shown || !end->changed);
  if (!fault && !agrees) {
    fault = Contradiction(trace, index);
  }
  if (!fault) {
    fault = CheckStillIndexed(trace, index);
  }
  if (!fault) {
    on.log.Commit(end->last, end->cycle, shown);
    return Fault();
  }
  on.log.Drop();
  return fault;
}

Fault StateCursor::Gather(const Columns& columns, size_t from, size_t to, StateLog& log) const {
  for (size_t i = from; i < to; ++i) {
    if (!IsOnArray(shape, columns, i)) {
      return OutsideArray(trace, shape, columns, i);
    }
    const auto [thread, type] = columns.tag[i];
    if (type == FIRE_RECORD) {
      log.Fire(columns.at[i], thread);
    } else if (type == SWITCH_RECORD) {
      log.Transmit(columns.at[i], thread);
    } else {
      log.Send(columns.firstRecord + i, thread, columns.at[i], columns.to[i]);
    }
  }
  return Fault();
}

// Begins anew at a moment before and goes forward to this one, so that steps before it are kept.
Fault StateCursor::Rewind(const ProgressCallback& progress) {
  const uint64_t step = State().step;
  const uint64_t records = index.GetSummary().records;
  const Result<uint64_t> start = StartBefore(State());
  if (!start) {
    return start.Why();
  }
  Result<ArrayState> state =
      reader.FillKnown(reading.steps, reading.natural, *start, PartOf(0, 2, records, progress));
  if (!state) {
    return state.Why();
  }
  std::unique_ptr<Track> fresh = NewTrack(std::move(state).Take());
  while (fresh->log.State().step < step) {
    if (Fault fault = Advance(*fresh, PartOf(1, 2, records, progress))) {
      return fault;
    }
  }
  // Where there was no room for all of them, a shorter stretch will do.
  const uint64_t kept = fresh->log.KeptSteps();
  stretch =
      kept < step - *start ? std::max<uint64_t>(kept, 1) : std::min(stretch * 4, LONGEST_STRETCH);
  Change(std::move(fresh));
  return Fault();
}

// The step at which a stretch begins that leads to `state`.
Result<uint64_t> StateCursor::StartBefore(const ArrayState& state) const {
  uint64_t record = state.last - std::min(state.last - state.first, STRETCH_RECORDS);
  const auto boundaries = index.Boundaries();
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; });
  if (above != boundaries.begin() && state.last - (above - 1)->record <= 2 * STRETCH_RECORDS) {
    record = std::max(state.first, (above - 1)->record);
  }
  uint64_t start = 0;
  if (record > state.first && record < state.last) {
    const Result<uint64_t> step = StepOf(record);
    if (!step) {
      return step.Why();
    }
    start = *step;
  }
  const uint64_t nearest = state.step - std::min(state.step, stretch);
  return std::min(std::max(start, nearest), state.step - 1);
}

// The step that takes a record; not the first one that the steps have.
Result<uint64_t> StateCursor::StepOf(uint64_t record) const {
  const Result<Preceding> before =
      FindPreceding(trace, index, reading.natural ? record + 1 : record);
  if (!before) {
    return before.Why();
  }
  return before->changes - reading.steps.changes + reading.steps.early + 1;
}

// Where cycles fall, the events of the next cycle stand anywhere in the trace.
Result<bool> StateCursor::Jump(bool forward, const ProgressCallback& progress) {
  const uint64_t records = index.GetSummary().records;
  const Result<Cycles> found = FindCycles(trace, index, cycle, PartOf(0, 2, records, progress));
  if (!found) {
    return found.Why();
  }
  if (forward ? !found->after : !found->now) {
    return false;
  }
  const std::optional<uint64_t> to = forward ? found->after : found->before;
  Result<ArrayState> state =
      to ? reader.AtCycle(*to, PartOf(1, 2, records, progress)) : AsBuilt(shape);
  if (!state) {
    return state.Why();
  }
  StateChanges changes = Difference(State(), *state);
  Place(reading, std::move(state).Take());
  cycle = to;
  jumped = std::move(changes);
  hasJumped = true;
  return true;
}

}  // namespace marrowfin
