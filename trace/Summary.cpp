#include "trace/Summary.h"

#include <algorithm>
#include <numeric>

namespace marrowfin {

namespace {

constexpr uint64_t MAX_SIDE = 4096;

// The largest distance that separates all switch positions along both axes, 0 for a single one.
// Nothing where a position is below the first switch's.
std::optional<uint32_t> SwitchDistance(const std::vector<Place>& places) {
  uint32_t distance = 0;
  for (const Place& place : places) {
    if (place.column < 4 || place.row < 4) {
      return std::nullopt;
    }
    distance = std::gcd(distance, std::gcd(place.column - 4, place.row - 4));
  }
  return distance;
}

// Domains of four are what the viewer shows by default; any other split shows the same locations.
ArrayShape ShapeOf(uint32_t clusters, uint32_t clusterSide) {
  for (const uint32_t domains : {2U, 1U}) {
    if (clusterSide % domains == 0) {
      return {clusters, domains, clusterSide / domains};
    }
  }
  return {clusters, 1, clusterSide};
}

}  // namespace

Summarizer::Summarizer(const Summary& start) : summary(start) {
  for (uint32_t thread = 0; thread < SMALL_THREADS; ++thread) {
    const auto found = summary.threads.find(thread);
    smallThreads[thread] = found == summary.threads.end() ? 0 : found->second;
  }
  for (const Place& place : summary.switchPlaces) {
    switchPlaces.Add(place);
  }
}

void Summarizer::Add(const Columns& columns, size_t from, size_t to) {
  if (from == to) {
    return;
  }
  Summary& s = summary;
  if (s.records == 0) {
    s.firstCycle = columns.cycle[from];
    s.lastCycle = s.firstCycle;
  }
  uint64_t last = s.lastCycle;
  uint64_t counts[3] = {};
  for (size_t i = from; i < to; ++i) {
    const uint64_t cycle = columns.cycle[i];
    s.changes += cycle != last;
    if (cycle < last) {
      s.firstFall = s.falls == 0 ? s.records + (i - from) : s.firstFall;
      ++s.falls;
    }
    last = cycle;
    s.maxCycle = std::max(s.maxCycle, cycle);
    const uint32_t type = columns.tag[i].type;
    ++counts[type - SWITCH_RECORD];
    CountThread(columns.tag[i].thread);
    if (type == FIRE_RECORD) {
      s.fired.Include(columns.at[i]);
    } else if (type == SEND_RECORD) {
      s.sent.Include(columns.at[i]);
      s.sent.Include(columns.to[i]);
    } else {
      AddSwitch(columns.at[i]);
    }
  }
  s.lastCycle = last;
  s.records += to - from;
  s.switches += counts[0];
  s.fires += counts[1];
  s.sends += counts[2];
  s.bytes = s.records * SMALL_RECORD + s.sends * PLACE_SIZE;
}

void Summarizer::CountThread(uint32_t thread) {
  if (thread < SMALL_THREADS) {
    ++smallThreads[thread];
    return;
  }
  const auto found = summary.threads.find(thread);
  if (found != summary.threads.end()) {
    ++found->second;
  } else if (summary.threads.size() < Summary::MAX_THREADS) {
    summary.threads.emplace(thread, 1);
  } else {
    ++summary.otherThreads;
  }
}

void Summarizer::AddSwitch(Place place) {
  if (switchPlaces.Places().size() < Summary::MAX_SWITCHES) {
    switchPlaces.Add(place);
  } else if (switchPlaces.Find(place) == PlaceTable::NONE) {
    summary.switchesComplete = false;
  }
}

void Summarizer::Finish() {
  for (uint32_t thread = 0; thread < SMALL_THREADS; ++thread) {
    if (smallThreads[thread] != 0) {
      summary.threads[thread] = smallThreads[thread];
    }
  }
  summary.switchPlaces = switchPlaces.Places();
}

std::optional<ArrayShape> SuggestShape(const Summary& summary) {
  const uint64_t side = std::max({summary.fired.columns, summary.fired.rows, summary.sent.columns,
                                  summary.sent.rows, uint64_t{1}});
  const std::optional<uint32_t> distance = SwitchDistance(summary.switchPlaces);
  if (!distance || side > MAX_SIDE || !summary.switchesComplete) {
    return std::nullopt;
  }
  uint32_t last = 0;  // the farthest switch, from the first
  for (const Place& place : summary.switchPlaces) {
    last = std::max({last, place.column - 4, place.row - 4});
  }
  // Without switches, or with a single one, clusters of eight as in the viewer's own default.
  const uint32_t clusterSide = *distance != 0 ? *distance : 8;
  const uint64_t clusters =
      std::max((side + clusterSide - 1) / clusterSide, uint64_t{last} / clusterSide + 1);
  if (clusters * clusterSide > MAX_SIDE) {
    return std::nullopt;
  }
  return ShapeOf(static_cast<uint32_t>(clusters), clusterSide);
}

}  // namespace marrowfin
