#include "measure/PacketHistory.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <utility>

#include "measure/CausalChain.h"
#include "measure/Pace.h"
#include "measure/RecordSet.h"
#include "trace/ask/NotedCursor.h"

namespace marrowfin {
namespace {

// The events of a packet, and what used the last of them.
class PacketEvents {
 public:
  PacketEvents(const Causes& causes, NotesOfTrace& notes, uint64_t packet, uint32_t attribute)
      : causes(causes), notes(notes), packet(packet), attribute(attribute) {}

  Fault Find(const ProgressCallback& progress) {
    records = RecordSet(causes.graph.Records());
    NotedCursor cursor(causes.trace.Source(), causes.trace.GetIndex(), notes,
                       {{}, {{attribute, NoteCondition::EQUAL, packet, 0}}}, progress);
    Selection found;
    while (cursor.Next(found)) {
      for (size_t i = 0; i < found.Size(); ++i) {
        records.Add(found.Record(i));
        first = std::min(first, found.Record(i));
        last = found.Record(i);
      }
    }
    return cursor.GetFault();
  }

  bool IsEmpty() const { return first == ~uint64_t{0}; }
  bool Has(uint64_t record) const { return records.Has(record); }
  uint64_t First() const { return first; }

  // The fire that used the last of them, where that is a message on its way; else the last itself.
  Result<uint64_t> End(Pace& pace) const {
    CausalGraph::Reader reader(causes.graph);
    for (uint64_t record = last + 1; record < causes.graph.Records(); ++record) {
      const CausalGraph::Node node = reader.Read(record);
      if (std::find(node.causes.begin(), node.causes.end(), last) != node.causes.end()) {
        return record;
      }
      if (!pace.GoOn(record)) {
        return CancelledFault(causes.trace.Source().Name());
      }
    }
    return last;
  }

 private:
  const Causes& causes;
  NotesOfTrace& notes;
  uint64_t packet;
  uint32_t attribute;
  RecordSet records;
  uint64_t first = ~uint64_t{0};
  uint64_t last = 0;
};

// Who used what a step waited for.
class HolderFinder {
 public:
  HolderFinder(const Causes& causes, NotesOfTrace& notes, uint32_t attribute)
      : causes(causes), notes(notes), attribute(attribute) {}

  // Looks at the records behind `from` and before the step, from the time on at which it could
  // have been there.
  Fault Find(uint64_t from, Pace& pace, PacketStep& step) {
    const uint64_t since = step.time - step.wait;
    std::map<uint64_t, size_t> numbers;
    for (size_t number = causes.trace.BatchOf(from);
         number <= causes.trace.BatchOf(step.event.record); ++number) {
      if (Fault fault = causes.trace.Reload(number, *batch)) {
        return fault;
      }
      Choose(from, since, step);
      if (Fault fault = Take(step, numbers)) {
        return fault;
      }
      if (!pace.GoOn(batch->columns.firstRecord, batch->columns.size)) {
        return CancelledFault(causes.trace.Source().Name());
      }
    }
    return {};
  }

 private:
  void Choose(uint64_t from, uint64_t since, const PacketStep& step) {
    const Columns& columns = batch->columns;
    count = 0;
    for (size_t i = 0; i < columns.size; ++i) {
      const uint64_t record = columns.firstRecord + i;
      if (record > from && record < step.event.record && batch->time[i] >= since &&
          columns.tag[i].type == step.event.type && columns.at[i] == step.event.at &&
          (step.event.type != SEND_RECORD || columns.to[i] == step.event.to)) {
        rows[count++] = static_cast<uint16_t>(i);
      }
    }
  }

  Fault Take(PacketStep& step, std::map<uint64_t, size_t>& numbers) {
    const Columns& columns = batch->columns;
    const Selection chosen = {&columns, std::span(rows).first(count), columns.firstRecord,
                              columns.firstRecord + columns.size};
    const Result<const NoteValues*> values = notes.Of(chosen, attribute);
    if (!values) {
      return values.Why();
    }
    for (size_t i = 0; i < count; ++i) {
      if (!(*values)->Has(i)) {
        ++step.untold;
        continue;
      }
      const uint64_t cycle = columns.cycle[rows[i]];
      const auto [found, isNew] = numbers.try_emplace((*values)->Value(i), step.holders.size());
      if (isNew) {
        step.holders.push_back({(*values)->Value(i), 0, cycle, cycle});
      }
      PacketHolder& holder = step.holders[found->second];
      ++holder.events;
      holder.lastCycle = cycle;
    }
    return {};
  }

  const Causes& causes;
  NotesOfTrace& notes;
  uint32_t attribute;
  std::unique_ptr<TimedBatch> batch = std::make_unique<TimedBatch>();
  std::array<uint16_t, Columns::CAPACITY> rows;
  size_t count = 0;
};

// The steps from the end of a packet back to where it began.
Fault WalkBack(const Causes& causes, const PacketEvents& events, Pace& pace,
               PacketHistory& history) {
  BindingFinder finder(causes);
  const Result<uint64_t> end = events.End(pace);
  if (!end) {
    return end.Why();
  }
  std::optional<uint64_t> record = *end;
  while (record) {
    const Result<TimedRecords::Timed> timed = finder.Records().Read(*record);
    if (!timed) {
      return timed.Why();
    }
    PacketStep step;
    step.event = timed->event;
    step.time = timed->time;
    const CausalGraph::Node node = finder.Node(*record);
    std::vector<uint64_t> own;
    std::copy_if(node.causes.begin(), node.causes.end(), std::back_inserter(own),
                 [&](uint64_t cause) { return events.Has(cause); });
    const Result<std::optional<Binding>> binding =
        finder.Of({own, node.evidence, node.work}, step.time);
    if (!binding) {
      return binding.Why();
    }
    record = *binding ? std::optional((*binding)->cause) : std::nullopt;
    if (*binding) {
      step.since = (*binding)->since.Sum();
      step.wait = (*binding)->since.wait;
      history.certain = history.certain && node.evidence != Evidence::INFERRED;
    }
    history.waited += step.wait;
    history.steps.push_back(std::move(step));
  }
  std::reverse(history.steps.begin(), history.steps.end());
  return {};
}

// When the packet was created, as its first event tells.
Result<std::optional<uint64_t>> CreationOf(const Causes& causes, NotesOfTrace& notes,
                                           uint64_t record) {
  const std::optional<uint32_t> attribute = notes.Declarations().Attribute(CREATED_ATTRIBUTE);
  if (!attribute) {
    return std::optional<uint64_t>();
  }
  const auto batch = std::make_unique<TimedBatch>();
  if (Fault fault = causes.trace.Reload(causes.trace.BatchOf(record), *batch)) {
    return fault;
  }
  const Columns& columns = batch->columns;
  const uint16_t row = static_cast<uint16_t>(record - columns.firstRecord);
  const Result<const NoteValues*> values =
      notes.Of({&columns, std::span(&row, 1), record, record + 1}, *attribute);
  if (!values) {
    return values.Why();
  }
  return (*values)->Has(0) ? std::optional((*values)->Value(0)) : std::nullopt;
}

}  // namespace

Result<PacketHistory> FollowPacket(const Causes& causes, NotesOfTrace& notes, uint64_t packet,
                                   const ProgressCallback& progress) {
  PacketHistory history;
  history.packet = packet;
  const std::optional<uint32_t> attribute = notes.Declarations().Attribute(PACKET_ATTRIBUTE);
  if (!attribute) {
    return history;
  }
  PacketEvents events(causes, notes, packet, *attribute);
  if (Fault fault = events.Find(progress)) {
    return fault;
  }
  if (events.IsEmpty()) {
    return history;
  }
  Pace pace(progress, causes.graph.Records());
  if (Fault fault = WalkBack(causes, events, pace, history)) {
    return fault;
  }
  const Result<std::optional<uint64_t>> created = CreationOf(causes, notes, events.First());
  if (!created) {
    return created.Why();
  }
  history.created = *created;
  HolderFinder holders(causes, notes, *attribute);
  for (size_t i = 1; i < history.steps.size(); ++i) {
    if (history.steps[i].wait > 0) {
      if (Fault fault = holders.Find(history.steps[i - 1].event.record, pace, history.steps[i])) {
        return fault;
      }
    }
  }
  return history;
}

}  // namespace marrowfin
