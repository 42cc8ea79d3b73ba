#include "measure/expect/UnitNumbers.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "measure/Level.h"
#include "measure/expect/AskedUnits.h"
#include "measure/expect/TrafficNumbers.h"

namespace marrowfin {
namespace {

typedef std::vector<PlacedNumber> Numbers;

// Elements.

typedef std::optional<PlacedNumber> (*ElementNumberOf)(const ElementCounts&, const RunFacts&);

PlacedNumber Told(double value, std::optional<uint64_t> cycle = {}) {
  return {{}, Heading::RIGHT, value, cycle};
}

std::optional<uint64_t> LastFire(const ElementCounts& element) {
  return element.fires > 0 ? std::optional(element.last) : std::nullopt;
}

double Utilisation(const ElementCounts& element, const RunFacts& facts) {
  return std::min(1.0, static_cast<double>(element.active) / facts.measures->cycles);
}

// The most cycles in a row without a fire, before the first and behind the last one as well, and
// the last of them.
PlacedNumber LongestSpell(const ElementCounts& element, const RunFacts& facts) {
  const CycleRange& range = facts.measures->range;
  if (element.fires == 0) {
    return Told(facts.measures->cycles, range.last);
  }
  PlacedNumber longest = Told(static_cast<double>(element.gap > 0 ? element.gap - 1 : 0),
                              element.gap > 0 ? element.gapEnd - 1 : element.last);
  const auto take = [&](uint64_t idle, uint64_t end) {
    if (static_cast<double>(idle) > longest.value) {
      longest = Told(static_cast<double>(idle), end);
    }
  };
  if (element.first > range.first) {
    take(element.first - range.first, element.first - 1);
  }
  if (element.last < range.last) {
    take(range.last - element.last, range.last);
  }
  return longest;
}

Numbers OfElements(const RunFacts& facts, ElementNumberOf number) {
  const ArrayShape& shape = ShapeOf(facts);
  Numbers numbers;
  for (const size_t i : UnitsIn(shape, Level::PE, PositionsOf(facts))) {
    if (std::optional<PlacedNumber> told = number(facts.counts->Places().Elements()[i], facts)) {
      told->at = shape.ElementAt(i);
      numbers.push_back(*told);
    }
  }
  return numbers;
}

Numbers PeaksOfElements(const RunFacts& facts) {
  const ArrayShape& shape = ShapeOf(facts);
  Numbers numbers;
  for (const size_t i : UnitsIn(shape, Level::PE, PositionsOf(facts))) {
    const PulseCounts& pulses = facts.counts->ElementPulses()[i];
    PlacedNumber told = Told(static_cast<double>(pulses.Peak()));
    told.at = shape.ElementAt(i);
    told.cycle = pulses.Peak() > 0 ? std::optional(pulses.PeakCycle()) : std::nullopt;
    numbers.push_back(told);
  }
  return numbers;
}

// Domains and clusters.

typedef double (*CountOfElement)(const ElementCounts&, const RunFacts&);

Numbers OfGroups(const RunFacts& facts, Level level, Reduction reduction, CountOfElement count) {
  const ArrayShape& shape = ShapeOf(facts);
  std::vector<double> values;
  for (const ElementCounts& element : facts.counts->Places().Elements()) {
    values.push_back(count(element, facts));
  }
  const std::vector<double> reduced = Reduce(shape, level, reduction, values);
  Numbers numbers;
  for (const size_t i : UnitsIn(shape, level, PositionsOf(facts))) {
    PlacedNumber told = Told(reduced[i]);
    told.at = PlaceOf(i, UnitsOf(shape, level).columns);
    numbers.push_back(told);
  }
  return numbers;
}

// Switches.

template <class Number>
Numbers OfSwitches(const RunFacts& facts, Number number) {
  const ArrayShape& shape = ShapeOf(facts);
  Numbers numbers;
  for (const size_t i : SwitchesOf(facts)) {
    PlacedNumber told = number(i);
    told.at = PlaceOf(i, shape.clusters.columns);
    numbers.push_back(told);
  }
  return numbers;
}

Numbers Transmissions(const RunFacts& facts, double by) {
  return OfSwitches(facts, [&](size_t i) {
    return Told(static_cast<double>(facts.counts->Places().Transmissions()[i]) / by);
  });
}

Numbers LoadsOfSwitches(const RunFacts& facts) {
  const std::optional<SwitchLoads>& loads = facts.measures->switchLoads;
  if (!loads) {
    return {};
  }
  return OfSwitches(facts, [&](size_t i) {
    return Told(static_cast<double>(facts.counts->Places().Transmissions()[i]) /
                (facts.measures->cycles * loads->capacities[i]));
  });
}

Numbers PeaksOfSwitches(const RunFacts& facts) {
  return OfSwitches(facts, [&](size_t i) {
    const PulseCounts& pulses = facts.counts->SwitchPulses()[i];
    return Told(static_cast<double>(pulses.Peak()),
                pulses.Peak() > 0 ? std::optional(pulses.PeakCycle()) : std::nullopt);
  });
}

Numbers QuietOfSwitches(const RunFacts& facts) {
  return OfSwitches(facts, [&](size_t i) {
    const PulseCounts& pulses = facts.counts->SwitchPulses()[i];
    const uint64_t quiet = pulses.Quiet();
    return Told(static_cast<double>(quiet),
                quiet > 0 ? std::optional(pulses.QuietFirst() + quiet - 1) : std::nullopt);
  });
}

// Links.

Numbers OfLinks(const RunFacts& facts, double by) {
  const LinkMeasures& links = facts.measures->links;
  const LinkLoads& loads = links.loads;
  const ArrayShape& shape = ShapeOf(facts);
  Numbers numbers;
  for (const size_t i : UnitsIn(shape, links.level, PositionsOf(facts))) {
    const Place node = PlaceOf(i, loads.mesh.nodes.columns);
    for (const Heading heading : {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN}) {
      if (loads.mesh.HasLink(node, heading)) {
        numbers.push_back(
            {node, heading, static_cast<double>(loads.Of(node, heading)) / by, std::nullopt});
      }
    }
  }
  return numbers;
}

void AddElements(std::vector<Measure>& all) {
  const auto add = [&](const char* name, const char* unit, const char* what, LookAt look,
                       ElementNumberOf number) {
    all.push_back(OfUnit(MeasureOf::ELEMENT, name, unit, what, look,
                         [number](const RunFacts& facts) { return OfElements(facts, number); }));
  };
  add("fires", "fires", "fires", LookAt::FIRES, [](const ElementCounts& e, const RunFacts&) {
    return std::optional(Told(static_cast<double>(e.fires), LastFire(e)));
  });
  add("rate", "1/cycle", "fires a cycle", LookAt::FIRES,
      [](const ElementCounts& e, const RunFacts& facts) {
        return std::optional(
            Told(static_cast<double>(e.fires) / facts.measures->cycles, LastFire(e)));
      });
  add("sends", "messages", "messages that it sent", LookAt::SENDS,
      [](const ElementCounts& e, const RunFacts&) {
        return std::optional(Told(static_cast<double>(e.sends)));
      });
  add("receives", "messages", "messages that were sent to it", LookAt::SENDS,
      [](const ElementCounts& e, const RunFacts&) {
        return std::optional(Told(static_cast<double>(e.receives)));
      });
  add("utilisation", "", "share of the cycles in which it fired", LookAt::FIRES,
      [](const ElementCounts& e, const RunFacts& facts) {
        return std::optional(Told(Utilisation(e, facts), LastFire(e)));
      });
  add("idle", "", "share of the cycles in which it did not fire", LookAt::FIRES,
      [](const ElementCounts& e, const RunFacts& facts) {
        return std::optional(Told(1 - Utilisation(e, facts), LastFire(e)));
      });
  add("gap", "cycles", "most cycles from a fire to the next one", LookAt::GAP,
      [](const ElementCounts& e, const RunFacts&) {
        return e.gap > 0 ? std::optional(Told(static_cast<double>(e.gap), e.gapEnd)) : std::nullopt;
      });
  add("spell", "cycles",
      "most cycles in a row without a fire, ends of the range too; all where it never fires",
      LookAt::GAP, [](const ElementCounts& e, const RunFacts& facts) {
        return std::optional(LongestSpell(e, facts));
      });
  all.push_back(OfUnit(MeasureOf::ELEMENT, "peak", "fires", "most fires of one cycle", LookAt::PEAK,
                       PeaksOfElements));
}

void AddGroups(std::vector<Measure>& all, MeasureOf of, Level level) {
  const auto add = [&](const char* name, const char* unit, const char* what, LookAt look,
                       Reduction reduction, CountOfElement count) {
    all.push_back(OfUnit(of, name, unit, what, look, [=](const RunFacts& facts) {
      return OfGroups(facts, level, reduction, count);
    }));
  };
  add("fires", "fires", "fires of its elements", LookAt::FIRES, Reduction::SUM,
      [](const ElementCounts& e, const RunFacts&) { return static_cast<double>(e.fires); });
  add("rate", "1/cycle", "fires of its elements a cycle", LookAt::FIRES, Reduction::SUM,
      [](const ElementCounts& e, const RunFacts& facts) {
        return static_cast<double>(e.fires) / facts.measures->cycles;
      });
  add("sends", "messages", "messages that its elements sent", LookAt::SENDS, Reduction::SUM,
      [](const ElementCounts& e, const RunFacts&) { return static_cast<double>(e.sends); });
  add("receives", "messages", "messages that were sent to its elements", LookAt::SENDS,
      Reduction::SUM,
      [](const ElementCounts& e, const RunFacts&) { return static_cast<double>(e.receives); });
  add("utilisation", "", "mean of the utilisation of its elements", LookAt::FIRES, Reduction::MEAN,
      [](const ElementCounts& e, const RunFacts& facts) { return Utilisation(e, facts); });
}

void AddSwitchesAndLinks(std::vector<Measure>& all) {
  all.push_back(OfUnit(MeasureOf::SWITCH, "transmissions", "transmissions", "transmissions",
                       LookAt::TRANSMISSIONS,
                       [](const RunFacts& facts) { return Transmissions(facts, 1); }));
  all.push_back(
      OfUnit(MeasureOf::SWITCH, "rate", "1/cycle", "transmissions a cycle", LookAt::TRANSMISSIONS,
             [](const RunFacts& facts) { return Transmissions(facts, facts.measures->cycles); }));
  all.push_back(OfUnit(MeasureOf::SWITCH, "load", "",
                       "transmissions a cycle, as a share of what it can pass on",
                       LookAt::TRANSMISSIONS, LoadsOfSwitches));
  all.push_back(OfUnit(MeasureOf::SWITCH, "peak", "transmissions",
                       "most transmissions of one cycle", LookAt::PEAK, PeaksOfSwitches));
  all.push_back(OfUnit(MeasureOf::SWITCH, "quiet", "cycles",
                       "most cycles in a row without a transmission, between two", LookAt::QUIET,
                       QuietOfSwitches));
  all.push_back(OfUnit(MeasureOf::LINK, "messages", "messages", "messages over it", LookAt::SENDS,
                       [](const RunFacts& facts) { return OfLinks(facts, 1); }));
  all.push_back(OfUnit(
      MeasureOf::LINK, "load", "", "messages over it a cycle, as a share of what it can carry",
      LookAt::SENDS, [](const RunFacts& facts) {
        return OfLinks(facts, facts.measures->cycles * facts.measures->links.capacity);
      }));
}

}  // namespace

std::vector<Measure> UnitMeasures() {
  std::vector<Measure> all;
  AddElements(all);
  AddGroups(all, MeasureOf::DOMAIN, Level::DOMAIN);
  AddGroups(all, MeasureOf::CLUSTER, Level::CLUSTER);
  AddSwitchesAndLinks(all);
  std::vector<Measure> traffic = TrafficMeasures();
  std::move(traffic.begin(), traffic.end(), std::back_inserter(all));
  return all;
}

}  // namespace marrowfin
