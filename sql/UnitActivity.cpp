#include "sql/UnitActivity.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "trace/ask/ActivityReader.h"
#include "trace/ask/BatchCursor.h"
#include "trace/base/About.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

constexpr uint64_t END = ~uint64_t{0};

struct InUnitOrder {
  bool operator()(const std::pair<bool, Place>& a, const std::pair<bool, Place>& b) const {
    return a.first != b.first ? a.first < b.first : InRowOrder()(a.second, b.second);
  }
};
typedef std::map<std::pair<bool, Place>, UnitActivity, InUnitOrder> Units;

void AddRecord(const Columns& columns, size_t i, Units& units) {
  const uint32_t type = columns.tag[i].type;
  UnitActivity& unit = units[{type == SWITCH_RECORD, columns.at[i]}];
  unit.fires += type == FIRE_RECORD ? 1 : 0;
  unit.sends += type == SEND_RECORD ? 1 : 0;
  unit.transmissions += type == SWITCH_RECORD ? 1 : 0;
  if (type == SEND_RECORD) {
    ++units[{false, columns.to[i]}].receives;
  }
}

std::vector<UnitActivity> InOrder(const Units& units) {
  std::vector<UnitActivity> all;
  for (const auto& [key, unit] : units) {
    all.push_back(unit);
    all.back().isSwitch = key.first;
    all.back().at = key.second;
  }
  return all;
}

// Whether the sums of the index hold every event.
bool IsToldByIndex(const Index& index, bool allCycles) {
  const Summary& summary = index.GetSummary();
  return index.HasBoundaries() && summary.far.count == 0 && summary.switchesComplete &&
         (allCycles || summary.Ordered());
}

// Takes up counts of the index.
class IndexedUnits {
 public:
  IndexedUnits(const SqlTrace& trace, uint64_t first, uint64_t last, SqlWork& work)
      : reader(trace.file, trace.index),
        summary(trace.index.GetSummary()),
        first(first),
        last(last),
        work(work) {}

  Fault Count(Activity activity) {
    const ProgressCallback progress = [this](const Progress& now) {
      return work.Report(this, now);
    };
    const Fault fault = first == 0 && last == END
                            ? reader.Count(0, summary.records, activity, counts[activity], progress)
                            : reader.CountCycles(first, last, activity, counts[activity], progress);
    work.Leave(this);
    return fault;
  }

  std::vector<UnitActivity> Take() const {
    std::vector<UnitActivity> all;
    const uint64_t columns = reader.ColumnCount();
    for (size_t i = 0; i < counts[FIRES].size(); ++i) {
      const UnitActivity unit = {
          false,
          {static_cast<uint32_t>(i % columns), static_cast<uint32_t>(i / columns)},
          counts[FIRES][i],
          counts[SENDS][i],
          counts[RECEIVES][i]};
      if (unit.fires + unit.sends + unit.receives > 0) {
        all.push_back(unit);
      }
    }
    AddSwitches(all);
    return all;
  }

 private:
  void AddSwitches(std::vector<UnitActivity>& all) const {
    const size_t elements = all.size();
    for (size_t i = 0; i < counts[TRANSMISSIONS].size(); ++i) {
      if (counts[TRANSMISSIONS][i] > 0) {
        all.push_back({true, summary.switchPlaces[i], 0, 0, 0, counts[TRANSMISSIONS][i]});
      }
    }
    std::sort(
        all.begin() + static_cast<std::ptrdiff_t>(elements), all.end(),
        [](const UnitActivity& a, const UnitActivity& b) { return InRowOrder()(a.at, b.at); });
  }

  const ActivityReader reader;
  const Summary& summary;
  const uint64_t first;
  const uint64_t last;
  SqlWork& work;
  std::array<std::vector<uint64_t>, TRANSMISSIONS + 1> counts;
};

}  // namespace

Result<std::vector<UnitActivity>> ActivityOfRecords(const SqlTrace& trace, uint64_t first,
                                                    uint64_t last, SqlWork& work) {
  EventFilter filter;
  filter.firstCycle = first;
  filter.lastCycle = last;
  Units units;
  BatchCursor batches(trace.file, trace.index, filter,
                      [&](const Progress& now) { return work.Report(&units, now); });
  Selection found;
  while (batches.Next(found)) {
    for (const uint16_t i : found.rows) {
      AddRecord(*found.columns, i, units);
    }
  }
  work.Leave(&units);
  if (batches.GetFault()) {
    return batches.GetFault();
  }
  return InOrder(units);
}

Result<std::vector<UnitActivity>> ActivityOfUnits(const SqlTrace& trace, uint64_t first,
                                                  uint64_t last, SqlWork& work) {
  if (first > last) {
    return std::vector<UnitActivity>();
  }
  if (!IsToldByIndex(trace.index, first == 0 && last == END)) {
    return ActivityOfRecords(trace, first, last, work);
  }
  IndexedUnits units(trace, first, last, work);
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
    if (Fault fault = units.Count(activity)) {
      return fault;
    }
  }
  return units.Take();
}

}  // namespace marrowfin
