#ifndef MEASURE_EXPECT_MEASURE_H
#define MEASURE_EXPECT_MEASURE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountPairs.h"
#include "measure/LinkCounts.h"
#include "measure/PacketCounts.h"
#include "measure/RunCauses.h"
#include "measure/RunCounts.h"
#include "measure/RunMeasures.h"
#include "trace/ask/Ranges.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Whose number a measure is. Those of RUN, PACKETS, PAIRS (of messages and the fires that consumed
// them) and CAUSES (of what led to the end of the run) are one number; the others are one of each
// unit of the array, of TRAFFIC of each cluster and each other one that it sends to.
enum class MeasureOf {
  RUN,
  PACKETS,
  PAIRS,
  CAUSES,
  ELEMENT,
  DOMAIN,
  CLUSTER,
  SWITCH,
  LINK,
  TRAFFIC
};

// "run", "packets", "pairs", "causes", "element", "domain", ...
const char* MeasureOfName(MeasureOf of);

// What was counted. With the measures of packets, `packets` is there where anything tells packets;
// with those of pairs `pairs`, where notes tell what fires consumed; with those that need causes
// `causes`, where there are fires or messages.
struct RunFacts {
  const RunCounts* counts = nullptr;
  const RunMeasures* measures = nullptr;
  const PacketCounts* packets = nullptr;
  const PairCounts* pairs = nullptr;
  const RunCauses* causes = nullptr;
  std::optional<Region> region;       // that the events were chosen by
  std::optional<RegionWords> places;  // the units that a measure of each unit is asked of
  std::optional<RegionWords> to;      // of traffic, the clusters that it goes to
};

// The number of one unit.
struct PlacedNumber {
  Place at;  // of a domain, cluster or switch, the unit's column and row; of a link, its node's
  Heading heading = Heading::RIGHT;  // of a link
  double value = 0;
  std::optional<uint64_t> cycle;  // at which it came to be so
  Place to = {};                  // of traffic, the cluster that it goes to
};

// Where to look for what makes a number of the run as large, or as small, as it is.
enum class LookAt {
  FIRES,  // when most, or fewest, fires are
  SENDS,
  TRANSMISSIONS,
  ELEMENTS,  // the busiest, or the quietest
  NEVER,     // the first element that did nothing
  CLUSTERS,
  SWITCHES,
  LINKS,
  MESSAGES,          // those that go far
  PACKETS,           // the slowest
  PAIRS,             // the message that waits longest
  CHAIN,             // the end of the critical path
  MESSAGE_OF_CHAIN,  // its slowest message
  PEAK,
  QUIET,
  GAP,
  PHASES,
  END,
};

struct Measure {
  std::string name;
  MeasureOf of = MeasureOf::RUN;
  std::string unit;  // empty for counts and ratios
  std::string what;
  LookAt look = LookAt::END;
  bool isMoment = false;  // a cycle at which something was, which patterns leave out

  // The number of what is no unit; nothing where the run does not tell it.
  std::function<std::optional<double>(const RunFacts&)> number = {};

  // Those of the units that were asked for, row by row; units without one are left out.
  std::function<std::vector<PlacedNumber>(const RunFacts&)> numbers = {};

  bool needsCauses = false;  // whether it is about what led to the end of the run

  bool IsOfUnits() const {
    return of != MeasureOf::RUN && of != MeasureOf::PACKETS && of != MeasureOf::PAIRS &&
           of != MeasureOf::CAUSES;
  }
  bool NeedsElementPulses() const { return of == MeasureOf::ELEMENT && name == "element.peak"; }
  bool NeedsSwitchPulses() const {
    return of == MeasureOf::SWITCH && (name == "switch.peak" || name == "switch.quiet");
  }
};

// Rules share the measures of the table.
typedef std::shared_ptr<const Measure> MeasureEntry;

}  // namespace marrowfin

#endif
