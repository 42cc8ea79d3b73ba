#include "measure/RunCounts.h"

#include <algorithm>
#include <numeric>

namespace marrowfin {
namespace {

void AddEach(std::vector<PulseCounts>& pulses, const std::vector<PulseCounts>& later) {
  for (size_t i = 0; i < pulses.size(); ++i) {
    pulses[i].Add(later[i]);
  }
}

Mesh MeshOf(const RunShape& shape, PerAxis nodes) {
  return {nodes, shape.wrapColumns, shape.wrapRows, shape.columnFirst};
}

}  // namespace

RunCounts::RunCounts(const RunShape& shape)
    : places(shape.shape),
      times(shape.columns),
      elementPulses(shape.elementPulses ? shape.shape.Elements() : 0),
      switchPulses(shape.switchPulses ? shape.shape.Switches() : 0),
      messages(shape.shape, MeshOf(shape, {shape.shape.Columns(), shape.shape.Rows()}),
               MeshOf(shape, shape.shape.clusters), shape.elementLinks) {}

// Without looking at the type, which nobody can foresee: other records have a receiver, too, which
// is always the same.
void RunCounts::Fetch(const Columns& columns, size_t row) const {
  places.Fetch(columns.at[row]);
  places.Fetch(columns.to[row]);
}

void RunCounts::AddPulses(const Selection& selected) {
  const ArrayShape& shape = places.Shape();
  const Columns& columns = *selected.columns;
  for (const uint16_t row : selected.rows) {
    const Place at = columns.at[row];
    const uint32_t type = columns.tag[row].type;
    if (type == FIRE_RECORD && !elementPulses.empty() && shape.HasElement(at)) {
      elementPulses[shape.ElementNumber(at)].AddFire(columns.cycle[row]);
    } else if (type == SWITCH_RECORD && !switchPulses.empty() && shape.HasSwitch(at)) {
      switchPulses[shape.SwitchNumber(at)].AddFire(columns.cycle[row]);
    }
  }
}

void RunCounts::AddCycles(const Selection& selected) {
  if (selected.rows.empty()) {
    return;
  }
  const Columns& columns = *selected.columns;
  records += selected.Size();
  if (!columns.fell) {
    firstCycle = std::min(firstCycle, columns.cycle[selected.rows.front()]);
    lastCycle = std::max(lastCycle, columns.cycle[selected.rows.back()]);
    return;
  }
  for (const uint16_t row : selected.rows) {
    firstCycle = std::min(firstCycle, columns.cycle[row]);
    lastCycle = std::max(lastCycle, columns.cycle[row]);
  }
}

void RunCounts::Add(const Selection& selected) {
  AddCycles(selected);
  if (!elementPulses.empty() || !switchPulses.empty()) {
    AddPulses(selected);
  }
  // One loop for all: what type comes next nobody can foresee, and that costs once this way.
  const Columns& columns = *selected.columns;
  const std::span<const uint16_t> rows = selected.rows;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (i + AHEAD < rows.size()) {
      Fetch(columns, rows[i + AHEAD]);
    }
    const uint16_t row = rows[i];
    const Columns::Tag tag = columns.tag[row];
    const uint64_t cycle = columns.cycle[row];
    const Place at = columns.at[row];
    if (tag.type == SEND_RECORD) {
      times.Add(SEND_RECORD, cycle, tag.thread);
      places.AddSend(at, columns.to[row]);
      messages.Add(at, columns.to[row]);
    } else if (tag.type == FIRE_RECORD) {
      times.Add(FIRE_RECORD, cycle, tag.thread);
      places.AddFire(at, cycle);
      pulses.AddFire(cycle);
    } else {
      times.Add(SWITCH_RECORD, cycle, tag.thread);
      places.AddTransmissions(at, 1);
    }
  }
}

void RunCounts::AddAt(Place place, Activity activity, uint64_t count) {
  places.AddAt(place, activity, count);
}

void RunCounts::AddRecords(std::optional<uint32_t> thread, uint32_t type, size_t column,
                           uint64_t count) {
  if (count == 0) {
    return;
  }
  times.AddRecords(thread, type, column, count);
  records += count;
  firstCycle = times.Columns().first;
  lastCycle = times.Columns().last;
}

void RunCounts::CountOutside() {
  const auto all = [this](uint32_t type) {
    const std::vector<uint64_t>& columns = times.OfType(type);
    return std::accumulate(columns.begin(), columns.end(), uint64_t{0});
  };
  places.CountOutside(all(FIRE_RECORD) + 2 * all(SEND_RECORD) + all(SWITCH_RECORD));
}

void RunCounts::Add(const RunCounts& later) {
  places.Add(later.places);
  times.Add(later.times);
  pulses.Add(later.pulses);
  AddEach(elementPulses, later.elementPulses);
  AddEach(switchPulses, later.switchPulses);
  messages.Add(later.messages);
  records += later.records;
  firstCycle = std::min(firstCycle, later.firstCycle);
  lastCycle = std::max(lastCycle, later.lastCycle);
}

}  // namespace marrowfin
