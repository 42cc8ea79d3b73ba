#include "tests/measure/RunPair.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

namespace marrowfin::testing {
namespace {

// An event of a run and its number.
struct Numbered {
  Event event;
  uint64_t record;
};

TraceEvent AsTraceEvent(const Numbered& numbered) {
  const Event& event = numbered.event;
  return {numbered.record, event.cycle, event.thread, event.type, event.at, event.to};
}

bool AreAlike(Event a, const Event& b) {
  a.cycle = b.cycle;
  return a == b;
}

// The unit of each record: its cycle, or its step in the viewer.
std::vector<uint64_t> UnitsOf(const std::vector<Event>& run, bool steps) {
  std::vector<uint64_t> units;
  uint64_t step = 0;
  uint64_t shown = 0;
  for (size_t i = 0; i < run.size(); ++i) {
    units.push_back(steps ? step : run[i].cycle);
    if (i == 0) {
      step = 1;
    } else if (run[i].cycle != shown) {
      ++step;
      shown = run[i].cycle;
    }
  }
  return units;
}

// Records in a row that have one unit.
struct Group {
  uint64_t unit;
  std::vector<Numbered> events;
};

std::vector<Group> GroupsOf(const std::vector<Event>& run, bool steps, const EventFilter& filter) {
  const std::vector<uint64_t> units = UnitsOf(run, steps);
  std::vector<Group> groups;
  for (size_t i = 0; i < run.size(); ++i) {
    if (groups.empty() || groups.back().unit != units[i]) {
      groups.push_back({units[i], {}});
    }
    if (filter.Matches(AsTraceEvent({run[i], i}))) {
      groups.back().events.push_back({run[i], i});
    }
  }
  return groups;
}

// Strikes out what goes together, each event of `a` with the first one of `b` that is left.
void StrikeOut(std::vector<Numbered>& a, std::vector<Numbered>& b) {
  std::vector<Numbered> left;
  for (const Numbered& numbered : a) {
    const auto found = std::find_if(b.begin(), b.end(), [&](const Numbered& other) {
      return AreAlike(numbered.event, other.event);
    });
    if (found == b.end()) {
      left.push_back(numbered);
    } else {
      b.erase(found);
    }
  }
  a = left;
}

std::optional<uint64_t> FirstOf(const std::vector<Numbered>& events) {
  return events.empty() ? std::nullopt : std::optional(events[0].record);
}

void LookAtUnit(uint64_t unit, std::vector<Numbered> a, std::vector<Numbered> b, bool ordered,
                Looked& looked) {
  ++looked.units;
  std::vector<Numbered> nextA = a;
  std::vector<Numbered> nextB = b;
  while (!nextA.empty() && !nextB.empty() && AreAlike(nextA[0].event, nextB[0].event)) {
    nextA.erase(nextA.begin());
    nextB.erase(nextB.begin());
  }
  const bool sameOrder = nextA.empty() && nextB.empty();
  StrikeOut(a, b);
  looked.onlyA += a.size();
  looked.onlyB += b.size();
  if (a.empty() && b.empty() && (sameOrder || !ordered)) {
    looked.reordered += sameOrder ? 0 : 1;
    return;
  }
  ++looked.differing;
  if (!looked.firstUnit) {
    looked.firstUnit = unit;
    looked.firstA = FirstOf(ordered ? nextA : a);
    looked.firstB = FirstOf(ordered ? nextB : b);
  }
}

void Change(std::mt19937& random, std::vector<Event>& run) {
  if (run.empty()) {
    return;
  }
  const size_t at = random() % run.size();
  const auto place = run.begin() + static_cast<std::ptrdiff_t>(at);
  switch (random() % 8) {
    case 0:
      place->thread += 1;
      break;
    case 1:
      run.erase(place);
      break;
    case 2:
      run.insert(place, *place);
      break;
    case 3:
      place->at.column ^= 1;
      break;
    case 4:  // a stall
      for (size_t i = at; i < run.size(); ++i) {
        run[i].cycle += 3;
      }
      break;
    case 5:  // neighbours in another order
    case 6:
      if (at + 1 < run.size() && run[at].cycle == run[at + 1].cycle) {
        std::swap(run[at], run[at + 1]);
      }
      break;
    default:
      if (random() % 4 == 0) {
        run.resize(at);
      }
  }
}

}  // namespace

std::vector<Event> Changed(std::mt19937& random, std::vector<Event> run, unsigned most) {
  for (unsigned changes = random() % (most + 1); changes > 0; --changes) {
    Change(random, run);
  }
  return run;
}

Looked LookByUnits(const std::vector<Event>& a, const std::vector<Event>& b,
                   const AlignQuestion& question) {
  const bool steps = question.alignment == Alignment::STEP;
  const std::vector<Group> groupsA = GroupsOf(a, steps, question.filterA);
  const std::vector<Group> groupsB = GroupsOf(b, steps, question.filterB);
  Looked looked;
  size_t atA = 0;
  size_t atB = 0;
  while (atA < groupsA.size() || atB < groupsB.size()) {
    const bool takeA =
        atB == groupsB.size() || (atA < groupsA.size() && groupsA[atA].unit <= groupsB[atB].unit);
    const bool takeB =
        atA == groupsA.size() || (atB < groupsB.size() && groupsB[atB].unit <= groupsA[atA].unit);
    LookAtUnit(takeA ? groupsA[atA].unit : groupsB[atB].unit,
               takeA ? groupsA[atA].events : std::vector<Numbered>(),
               takeB ? groupsB[atB].events : std::vector<Numbered>(), question.ordered, looked);
    atA += takeA ? 1 : 0;
    atB += takeB ? 1 : 0;
  }
  return looked;
}

namespace {

FireSlip SlipOf(Place at, const std::vector<Numbered>& a, const std::vector<Numbered>& b) {
  FireSlip slip;
  slip.at = at;
  slip.firesA = a.size();
  slip.firesB = b.size();
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    slip.last = static_cast<int64_t>(a[i].event.cycle) - static_cast<int64_t>(b[i].event.cycle);
    slip.sum += static_cast<double>(slip.last);
    slip.largest = std::abs(slip.last) > std::abs(slip.largest) ? slip.last : slip.largest;
  }
  return slip;
}

}  // namespace

Looked LookByFires(const std::vector<Event>& a, const std::vector<Event>& b,
                   const AlignQuestion& question) {
  typedef std::map<std::pair<uint32_t, uint32_t>, std::vector<Numbered>[2]> Fires;
  Fires fires;
  for (const bool ofA : {true, false}) {
    const std::vector<Event>& run = ofA ? a : b;
    for (size_t i = 0; i < run.size(); ++i) {
      const Numbered numbered = {run[i], i};
      if (run[i].type == FIRE_RECORD &&
          (ofA ? question.filterA : question.filterB).Matches(AsTraceEvent(numbered))) {
        fires[{run[i].at.row, run[i].at.column}][ofA ? 0 : 1].push_back(numbered);
      }
    }
  }
  Looked looked;
  std::tuple<uint64_t, uint64_t, uint64_t> first;
  for (const auto& [place, both] : fires) {
    looked.slips.push_back(SlipOf({place.second, place.first}, both[0], both[1]));
    for (size_t i = 0; i < std::max(both[0].size(), both[1].size()); ++i) {
      ++looked.units;
      const bool inA = i < both[0].size();
      const bool inB = i < both[1].size();
      if (inA && inB && both[0][i].event.thread == both[1][i].event.thread) {
        continue;
      }
      ++looked.differing;
      looked.onlyA += inB ? 0 : 1;
      looked.onlyB += inA ? 0 : 1;
      const uint64_t none = ~uint64_t{0};
      const std::tuple<uint64_t, uint64_t, uint64_t> order = {
          std::min(inA ? both[0][i].event.cycle : none, inB ? both[1][i].event.cycle : none),
          inA ? both[0][i].record : none, inB ? both[1][i].record : none};
      if (!looked.firstUnit || order < first) {
        first = order;
        looked.firstUnit = i + 1;
        looked.firstA = inA ? std::optional(both[0][i].record) : std::nullopt;
        looked.firstB = inB ? std::optional(both[1][i].record) : std::nullopt;
      }
    }
  }
  return looked;
}

}  // namespace marrowfin::testing
