#include "measure/expect/MeasureTable.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "measure/expect/CauseNumbers.h"
#include "measure/expect/UnitNumbers.h"

namespace marrowfin {
namespace {

typedef std::function<std::optional<double>(const RunFacts&)> Number;

// Where the parts of a table are found in what was counted; null where a run does not tell them.
typedef std::function<const ValueCounts*(const RunFacts&)> Values;
typedef std::function<const std::optional<Imbalance>*(const RunFacts&)> Unevenness;

class Maker {
 public:
  Maker(std::vector<Measure>& all, MeasureOf of) : all(all), of(of) {}

  void Add(const std::string& name, const std::string& unit, const std::string& what, LookAt look,
           Number number, bool isMoment = false) {
    all.push_back({name, of, unit, what, look, isMoment, std::move(number)});
  }

 private:
  std::vector<Measure>& all;
  MeasureOf of;
};

std::optional<double> AsNumber(uint64_t count) { return static_cast<double>(count); }

void AddRange(Maker make) {
  make.Add("firstCycle", "", "the first cycle of the range", LookAt::END,
           [](const RunFacts& facts) { return AsNumber(facts.measures->range.first); });
  make.Add("lastCycle", "", "the last cycle of the range, as far as the run goes", LookAt::END,
           [](const RunFacts& facts) { return AsNumber(facts.measures->range.last); });
  make.Add("cycles", "cycles", "how many cycles the range has", LookAt::END,
           [](const RunFacts& facts) { return std::optional(facts.measures->cycles); });
  make.Add("records", "records", "records of the trace", LookAt::END,
           [](const RunFacts& facts) { return AsNumber(facts.measures->records); });
  make.Add("outside", "places", "places of events that the array does not have", LookAt::END,
           [](const RunFacts& facts) { return AsNumber(facts.measures->outside); });
}

void AddWork(Maker make) {
  make.Add("fires", "fires", "fires of all elements", LookAt::FIRES,
           [](const RunFacts& facts) { return AsNumber(facts.measures->fires); });
  make.Add("firesPerCycle", "1/cycle", "fires a cycle", LookAt::FIRES,
           [](const RunFacts& facts) { return std::optional(facts.measures->firesPerCycle); });
  make.Add("utilisation", "", "share of the cycles in which an element fires, mean of all",
           LookAt::FIRES,
           [](const RunFacts& facts) { return std::optional(facts.measures->utilisation); });
  make.Add("peakFires", "fires", "most fires of one cycle", LookAt::PEAK,
           [](const RunFacts& facts) { return AsNumber(facts.measures->peakFires); });
  make.Add(
      "peakCycle", "", "the first cycle that has them", LookAt::PEAK,
      [](const RunFacts& facts) {
        return facts.measures->peakFires > 0 ? AsNumber(facts.measures->peakCycle) : std::nullopt;
      },
      true);
  make.Add("quietCycles", "cycles",
           "most cycles in a row without any fire, between two that have one", LookAt::QUIET,
           [](const RunFacts& facts) { return AsNumber(facts.measures->quietCycles); });
  make.Add(
      "quietFirst", "", "the first of them", LookAt::QUIET,
      [](const RunFacts& facts) {
        return facts.measures->quietCycles > 0 ? AsNumber(facts.measures->quietFirst)
                                               : std::nullopt;
      },
      true);
  make.Add("longestGap.cycles", "cycles", "most cycles from a fire of an element to its next one",
           LookAt::GAP, [](const RunFacts& facts) {
             return facts.measures->longestGap ? std::optional(facts.measures->longestGap->value)
                                               : std::nullopt;
           });
  make.Add(
      "longestGap.end", "", "the cycle that ends it", LookAt::GAP,
      [](const RunFacts& facts) {
        return facts.measures->longestGap ? AsNumber(facts.measures->longestGapEnd) : std::nullopt;
      },
      true);
  make.Add("phases.count", "phases", "how many phases the fires have", LookAt::PHASES,
           [](const RunFacts& facts) {
             return facts.measures->phases ? AsNumber(facts.measures->phases->size())
                                           : std::nullopt;
           });
}

void AddUnevenness(Maker make, const std::string& name, const std::string& of, LookAt look,
                   const Unevenness& unevenness) {
  const auto add = [&](const char* part, const std::string& what, double Imbalance::*number) {
    make.Add(name + "." + part, "", what + " of " + of, look,
             [unevenness, number](const RunFacts& facts) {
               const std::optional<Imbalance>& imbalance = *unevenness(facts);
               return imbalance ? std::optional((*imbalance).*number) : std::nullopt;
             });
  };
  add("maxOverMean", "largest over mean", &Imbalance::maxOverMean);
  add("gini", "Gini coefficient", &Imbalance::gini);
  add("cov", "coefficient of variation", &Imbalance::cov);
}

void AddUsage(Maker make, const std::string& name, const std::string& of, const std::string& unit,
              LookAt look, Usage RunMeasures::*usage) {
  make.Add(name + ".units", "", "how many there are", LookAt::END,
           [usage](const RunFacts& facts) { return AsNumber((facts.measures->*usage).units); });
  make.Add(name + ".total", unit, of + ", together", look, [usage](const RunFacts& facts) {
    return std::optional((facts.measures->*usage).total);
  });
  make.Add(name + ".rate", "1/cycle", of + " a cycle, mean of all", look,
           [usage](const RunFacts& facts) { return std::optional((facts.measures->*usage).rate); });
  make.Add(name + ".never", "", "how many did nothing at all", LookAt::NEVER,
           [usage](const RunFacts& facts) { return AsNumber((facts.measures->*usage).never); });
  AddUnevenness(make, name + ".imbalance", of, look,
                [usage](const RunFacts& facts) { return &(facts.measures->*usage).imbalance; });
}

Measure PercentileOf(const std::string& name, MeasureOf of, const std::string& unit,
                     const std::string& what, LookAt look, const Values& values, uint32_t percent) {
  const std::string which = std::to_string(percent);
  return {name + ".p" + which,
          of,
          unit,
          what + ", the " + which + "th percentile",
          look,
          false,
          [values, percent](const RunFacts& facts) -> std::optional<double> {
            const ValueCounts* const counts = values(facts);
            const std::optional<uint64_t> value =
                counts != nullptr ? counts->Percentile(percent) : std::nullopt;
            return value ? AsNumber(*value) : std::nullopt;
          }};
}

// What there is one of for every distribution, which all percentiles are made from.
struct DistributionEntry {
  std::string name;
  MeasureOf of;
  std::string unit;
  std::string what;
  LookAt look;
  Values values;
};

const std::vector<DistributionEntry>& Distributions() {
  const auto packets = [](const ValueCounts& (PacketCounts::*values)() const) {
    return [values](const RunFacts& facts) {
      return facts.packets != nullptr ? &(facts.packets->*values)() : nullptr;
    };
  };
  static const std::vector<DistributionEntry> all = {
      {"distance", MeasureOf::RUN, "links", "columns and rows between the ends of a message",
       LookAt::MESSAGES, [](const RunFacts& facts) { return &facts.measures->distances; }},
      {"packets.latency", MeasureOf::PACKETS, "cycles", "from entry to exit", LookAt::PACKETS,
       packets(&PacketCounts::Latencies)},
      {"packets.totalLatency", MeasureOf::PACKETS, "cycles", "from creation to exit",
       LookAt::PACKETS, packets(&PacketCounts::TotalLatencies)},
      {"packets.sourceWait", MeasureOf::PACKETS, "cycles", "from creation to entry",
       LookAt::PACKETS, packets(&PacketCounts::SourceWaits)},
      {"packets.hops", MeasureOf::PACKETS, "links", "links that a packet went over",
       LookAt::PACKETS, packets(&PacketCounts::Hops)},
      {"packets.hopTime", MeasureOf::PACKETS, "cycles",
       "from a hop of a packet to its next one, or to its exit", LookAt::PACKETS,
       packets(&PacketCounts::HopTimes)},
      {"packets.distance", MeasureOf::PACKETS, "links",
       "columns and rows between the places of entry and exit", LookAt::PACKETS,
       packets(&PacketCounts::Distances)},
      {"sendToFire", MeasureOf::PAIRS, "cycles", "from a message to the fire that consumed it",
       LookAt::PAIRS, [](const RunFacts& facts) {
         return facts.pairs != nullptr ? &facts.pairs->cycles : nullptr;
       }}};
  return all;
}

void AddDistribution(std::vector<Measure>& all, const DistributionEntry& entry) {
  Maker make(all, entry.of);
  const auto add = [&](const char* part, const std::string& unit, const std::string& what,
                       double (*number)(const ValueCounts&)) {
    make.Add(entry.name + "." + part, unit, what, entry.look,
             [values = entry.values, number](const RunFacts& facts) -> std::optional<double> {
               const ValueCounts* const counts = values(facts);
               return counts != nullptr && !counts->IsEmpty() ? std::optional(number(*counts))
                                                              : std::nullopt;
             });
  };
  add("count", "", "of how many the others tell: " + entry.what,
      [](const ValueCounts& counts) { return static_cast<double>(counts.Size()); });
  add("mean", entry.unit, entry.what + ", the mean",
      [](const ValueCounts& counts) { return counts.Mean(); });
  add("min", entry.unit, entry.what + ", the least",
      [](const ValueCounts& counts) { return static_cast<double>(counts.Smallest()); });
  for (const uint32_t percent : {50U, 95U, 99U}) {
    all.push_back(PercentileOf(entry.name, entry.of, entry.unit, entry.what, entry.look,
                               entry.values, percent));
  }
  add("max", entry.unit, entry.what + ", the most",
      [](const ValueCounts& counts) { return static_cast<double>(counts.Largest()); });
}

void AddMessages(Maker make) {
  make.Add("sends", "messages", "messages", LookAt::SENDS,
           [](const RunFacts& facts) { return AsNumber(facts.measures->sends); });
  make.Add("transmissions", "transmissions", "transmissions of all switches", LookAt::TRANSMISSIONS,
           [](const RunFacts& facts) { return AsNumber(facts.measures->transmissions); });
}

void AddLinks(Maker make) {
  make.Add("links.links", "links", "how many there are", LookAt::END,
           [](const RunFacts& facts) { return AsNumber(facts.measures->links.links); });
  make.Add("links.unused", "links", "how many carried nothing", LookAt::LINKS,
           [](const RunFacts& facts) { return AsNumber(facts.measures->links.unused); });
  make.Add("links.meanLoad", "", "load of a link, mean of all", LookAt::LINKS,
           [](const RunFacts& facts) { return std::optional(facts.measures->links.mean); });
  make.Add("links.maxLoad", "", "load of the busiest link", LookAt::LINKS,
           [](const RunFacts& facts) {
             const std::vector<LinkValue>& busiest = facts.measures->links.busiest;
             return std::optional(busiest.empty() ? 0.0 : busiest[0].load);
           });
  AddUnevenness(make, "links.imbalance", "the loads of links", LookAt::LINKS,
                [](const RunFacts& facts) { return &facts.measures->links.imbalance; });
  make.Add("links.bisection.messages", "messages", "messages over the cut through the middle",
           LookAt::SENDS, [](const RunFacts& facts) {
             return AsNumber(facts.measures->links.bisection.messages);
           });
  make.Add(
      "links.bisection.rate", "1/cycle", "the same a cycle", LookAt::SENDS,
      [](const RunFacts& facts) { return std::optional(facts.measures->links.bisectionRate); });
  make.Add(
      "links.bisection.share", "", "the same as a share of what the cut can carry", LookAt::SENDS,
      [](const RunFacts& facts) { return std::optional(facts.measures->links.bisectionShare); });
  make.Add("links.modelError", "", "how far modelled loads are from what switches transmitted",
           LookAt::SWITCHES,
           [](const RunFacts& facts) { return facts.measures->links.modelError; });
}

void AddSwitchLoads(Maker make) {
  const auto add = [&](const char* name, const char* what, double (*number)(const SwitchLoads&)) {
    make.Add(name, "", what, LookAt::SWITCHES,
             [number](const RunFacts& facts) -> std::optional<double> {
               const std::optional<SwitchLoads>& loads = facts.measures->switchLoads;
               return loads ? std::optional(number(*loads)) : std::nullopt;
             });
  };
  add("switches.meanLoad", "transmissions of a switch as a share of what it can pass on, mean",
      [](const SwitchLoads& loads) { return loads.mean; });
  add("switches.maxLoad", "the same of the busiest switch",
      [](const SwitchLoads& loads) { return loads.busiest.empty() ? 0 : loads.busiest[0].value; });
}

void AddPackets(Maker make) {
  const auto add = [&](const char* name, const char* what,
                       uint64_t (PacketCounts::*count)() const) {
    make.Add(name, "packets", what, LookAt::PACKETS, [count](const RunFacts& facts) {
      return facts.packets != nullptr ? AsNumber((facts.packets->*count)()) : std::nullopt;
    });
  };
  add("packets.delivered", "packets that left the network", &PacketCounts::Delivered);
  add("packets.underWay", "packets that entered and did not leave", &PacketCounts::UnderWay);
  make.Add(
      "packets.onset", "", "the cycle from which on the network is saturated", LookAt::PACKETS,
      [](const RunFacts& facts) -> std::optional<double> {
        const std::optional<uint64_t> onset =
            facts.packets != nullptr ? facts.packets->Onset() : std::nullopt;
        return onset ? AsNumber(*onset) : std::nullopt;
      },
      true);
}

std::vector<Measure> MakeAll() {
  std::vector<Measure> all;
  AddRange({all, MeasureOf::RUN});
  AddWork({all, MeasureOf::RUN});
  AddUsage({all, MeasureOf::RUN}, "elements", "fires of an element", "fires", LookAt::ELEMENTS,
           &RunMeasures::elements);
  AddUsage({all, MeasureOf::RUN}, "clusters", "fires of a cluster", "fires", LookAt::CLUSTERS,
           &RunMeasures::clusters);
  AddUsage({all, MeasureOf::RUN}, "switches", "transmissions of a switch", "transmissions",
           LookAt::SWITCHES, &RunMeasures::switches);
  AddSwitchLoads({all, MeasureOf::RUN});
  AddMessages({all, MeasureOf::RUN});
  AddLinks({all, MeasureOf::RUN});
  AddPackets({all, MeasureOf::PACKETS});
  for (const DistributionEntry& entry : Distributions()) {
    AddDistribution(all, entry);
  }
  for (std::vector<Measure> (*make)() : {UnitMeasures, CauseMeasures}) {
    std::vector<Measure> more = make();
    std::move(more.begin(), more.end(), std::back_inserter(all));
  }
  return all;
}

// The percentile that a name ends with: 95 of "distance.p95".
MeasureEntry FindPercentile(const std::string& name) {
  for (const DistributionEntry& entry : Distributions()) {
    const std::string start = entry.name + ".p";
    if (!name.starts_with(start) || name.size() == start.size() || name[start.size()] == '0') {
      continue;
    }
    uint32_t percent = 0;
    const char* const end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + start.size(), end, percent);
    if (parsed.ec == std::errc() && parsed.ptr == end && percent <= 99) {
      return std::make_shared<Measure>(PercentileOf(entry.name, entry.of, entry.unit, entry.what,
                                                    entry.look, entry.values, percent));
    }
  }
  return nullptr;
}

}  // namespace

const std::vector<MeasureEntry>& AllMeasures() {
  static const std::vector<MeasureEntry> all = [] {
    std::vector<MeasureEntry> entries;
    std::vector<Measure> made = MakeAll();
    for (Measure& measure : made) {
      entries.push_back(std::make_shared<Measure>(std::move(measure)));
    }
    return entries;
  }();
  return all;
}

MeasureEntry FindMeasure(const std::string& name) {
  for (const MeasureEntry& measure : AllMeasures()) {
    if (measure->name == name) {
      return measure;
    }
  }
  return FindPercentile(name);
}

bool IsPattern(const std::string& name) { return name.find('*') != std::string::npos; }

bool MeetsPattern(const std::string& name, const std::string& pattern) {
  // The usual way with one star to come back to: what stands before it has been met.
  size_t at = 0;
  size_t next = 0;
  size_t star = std::string::npos;
  size_t taken = 0;
  while (at < name.size()) {
    if (next < pattern.size() && pattern[next] == '*') {
      star = next++;
      taken = at;
    } else if (next < pattern.size() && pattern[next] == name[at]) {
      ++next;
      ++at;
    } else if (star != std::string::npos) {
      next = star + 1;
      at = ++taken;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', next) == std::string::npos;
}

}  // namespace marrowfin
