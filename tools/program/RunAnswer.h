#ifndef TOOLS_PROGRAM_RUNANSWER_H
#define TOOLS_PROGRAM_RUNANSWER_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountGroups.h"
#include "measure/PacketCounts.h"
#include "measure/RunCounts.h"
#include "measure/RunMeasures.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// What `stats` tells of a run.
struct RunAnswer {
  std::string trace;
  ArrayShape shape;
  RunMeasures measures;
  const RunCounts* counts = nullptr;
  std::optional<PacketCounts> packets;  // where something tells packets
  bool packetsAreThreads = false;
  std::vector<GroupedTraffic> groups;
};

// Tables for people.
std::string StatsText(const RunAnswer& answer);

// The same and more for machines; numbers are not rounded.
nlohmann::json StatsJson(const RunAnswer& answer);

// One line for each unit of a table, with a line of names before.
enum class StatsTable {
  ELEMENTS,
  DOMAINS,
  CLUSTERS,
  LINKS,
  TIME,
  DISTANCES,
  TRAFFIC,
  LATENCY,
  GROUPS
};
std::string StatsCsv(const RunAnswer& answer, StatsTable table);

}  // namespace marrowfin

#endif
