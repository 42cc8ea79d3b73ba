#include "measure/expect/CauseNumbers.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "measure/Level.h"
#include "measure/expect/AskedUnits.h"

namespace marrowfin {
namespace {

typedef std::vector<PlacedNumber> Numbers;

// A part of the time of a chain.
struct Part {
  const char* name;
  const char* what;
  uint64_t (*cycles)(const TimeSplit&);
};

constexpr Part PARTS[] = {{"work", "work", [](const TimeSplit& time) { return time.work; }},
                          {"travel", "travel", [](const TimeSplit& time) { return time.travel; }},
                          {"wait", "waiting", [](const TimeSplit& time) { return time.wait; }}};

// Numbers of the run.

class Maker {
 public:
  typedef std::function<std::optional<double>(const RunCauses&)> Number;
  typedef uint64_t (*Count)(const RunCauses&);

  explicit Maker(std::vector<Measure>& all) : all(all) {}

  Measure& Add(const std::string& name, const std::string& unit, const std::string& what,
               Number number) {
    Measure& measure = all.emplace_back();
    measure.name = name;
    measure.of = MeasureOf::CAUSES;
    measure.unit = unit;
    measure.what = what;
    measure.look = LookAt::CHAIN;
    measure.needsCauses = true;
    measure.number = [number = std::move(number)](const RunFacts& facts) {
      return facts.causes != nullptr ? number(*facts.causes) : std::nullopt;
    };
    return measure;
  }

  Measure& AddCount(const std::string& name, const std::string& unit, const std::string& what,
                    Count count) {
    return Add(name, unit, what, [count](const RunCauses& causes) {
      return std::optional(static_cast<double>(count(causes)));
    });
  }

 private:
  std::vector<Measure>& all;
};

void AddEvidence(Maker make) {
  make.AddCount("causes.told", "", "causes of events that the companion tells",
                [](const RunCauses& causes) { return causes.counts.told; });
  make.AddCount("causes.byPacket", "", "causes that packets tell",
                [](const RunCauses& causes) { return causes.counts.byPacket; });
  make.AddCount("causes.inferred", "", "causes that are inferred from thread and place",
                [](const RunCauses& causes) { return causes.counts.inferred; });
  make.AddCount("causes.unusedMessages", "messages", "messages that led to nothing known",
                [](const RunCauses& causes) { return causes.counts.unused; });
  make.AddCount("causes.forgottenMessages", "messages",
                "those of them that were given up for want of memory",
                [](const RunCauses& causes) { return causes.counts.forgotten; });
  make.AddCount("causes.contradicting", "", "told causes that cannot be",
                [](const RunCauses& causes) { return causes.counts.contradicting; });
}

void AddChain(Maker make) {
  make.AddCount("chain.firstCycle", "", "the cycle at which the critical path begins",
                [](const RunCauses& causes) { return causes.chain.firstTime; })
      .isMoment = true;
  make.AddCount("chain.lastCycle", "", "the cycle at which it ends, with the last fire of the run",
                [](const RunCauses& causes) { return causes.chain.lastTime; })
      .isMoment = true;
  make.AddCount("chain.before", "cycles", "from the first cycle of the run to the critical path",
                [](const RunCauses& causes) { return causes.chain.firstTime - causes.firstTime; });
  make.AddCount("chain.fires", "fires", "fires of the critical path",
                [](const RunCauses& causes) { return causes.chain.fires; });
  make.AddCount("chain.messages", "messages", "messages of the critical path",
                [](const RunCauses& causes) { return causes.chain.messages; });
  make.AddCount("chain.transmissions", "transmissions", "transmissions of the critical path",
                [](const RunCauses& causes) { return causes.chain.transmissions; });
  make.AddCount("chain.inferred", "steps", "steps of the critical path that are inferred",
                [](const RunCauses& causes) { return causes.chain.inferred; });
  for (const Part& part : PARTS) {
    make.Add(std::string("chain.time.") + part.name, "cycles",
             std::string("time of the critical path that is ") + part.what,
             [part](const RunCauses& causes) {
               return std::optional(static_cast<double>(part.cycles(causes.chain.time)));
             });
  }
  for (const Part& part : PARTS) {
    make.Add(std::string("chain.share.") + part.name, "",
             std::string("share of the critical path that is ") + part.what,
             [part](const RunCauses& causes) -> std::optional<double> {
               const uint64_t all = causes.chain.time.Sum();
               return all > 0 ? std::optional(static_cast<double>(part.cycles(causes.chain.time)) /
                                              static_cast<double>(all))
                              : std::nullopt;
             });
  }
  make.AddCount("chain.longestMessage", "cycles",
                "most cycles from a message of the critical path to what it caused",
                [](const RunCauses& causes) { return causes.chain.longestMessage; })
      .look = LookAt::MESSAGE_OF_CHAIN;
}

void AddBounds(Maker make) {
  make.AddCount("bounds.end", "", "the cycle of the last fire",
                [](const RunCauses& causes) { return causes.bounds.end; });
  make.AddCount("bounds.noWaits", "", "the earliest it could be, did nothing wait",
                [](const RunCauses& causes) { return causes.bounds.noWaits; });
  make.AddCount("bounds.freeMessages", "", "and did messages take no time",
                [](const RunCauses& causes) { return causes.bounds.freeMessages; });
  make.AddCount("bounds.instantWork", "", "the same, did work take no time instead",
                [](const RunCauses& causes) { return causes.bounds.instantWork; });
}

// Numbers of units.

PlacedNumber At(Place at, double value) {
  PlacedNumber number;
  number.at = at;
  number.value = value;
  return number;
}

// A number for each unit that was asked for: 0 for those off the chain.
Numbers OnChain(const std::vector<ChainPlace>& places, const std::vector<size_t>& units,
                uint32_t columns, const Part& part) {
  std::map<size_t, uint64_t> cycles;
  for (const ChainPlace& place : places) {
    if (place.at.column < columns) {
      cycles[static_cast<size_t>(place.at.row) * columns + place.at.column] +=
          part.cycles(place.time);
    }
  }
  Numbers numbers;
  for (const size_t unit : units) {
    const auto found = cycles.find(unit);
    numbers.push_back(
        At(PlaceOf(unit, columns), found == cycles.end() ? 0 : static_cast<double>(found->second)));
  }
  return numbers;
}

Numbers OfLevel(const RunFacts& facts, Level level, const Part& part) {
  const ArrayShape& shape = ShapeOf(facts);
  const std::vector<ChainPlace>& places = facts.causes->chain.places;
  return OnChain(level == Level::PE ? OfKind(places, false) : ByLevel(places, shape, level),
                 UnitsIn(shape, level, PositionsOf(facts)), UnitsOf(shape, level).columns, part);
}

Numbers OfSwitches(const RunFacts& facts, const Part& part) {
  return OnChain(OfKind(facts.causes->chain.places, true), SwitchesOf(facts),
                 ShapeOf(facts).clusters.columns, part);
}

void AddUnits(MeasureOf of, const std::string& what, std::vector<Measure>& all,
              Numbers (*numbers)(const RunFacts&, const Part&)) {
  for (const Part& part : PARTS) {
    Measure measure =
        OfUnit(of, std::string("chain.") + part.name, "cycles", what + ", as " + part.what,
               LookAt::CHAIN, [numbers, part](const RunFacts& facts) {
                 return facts.causes != nullptr ? numbers(facts, part) : Numbers();
               });
    measure.needsCauses = true;
    all.push_back(std::move(measure));
  }
}

// Of elements that fired.
Numbers Slack(const RunFacts& facts, double (*slack)(const PlaceSlack&)) {
  if (facts.causes == nullptr) {
    return {};
  }
  const ArrayShape& shape = ShapeOf(facts);
  std::map<size_t, double> of;
  for (const PlaceSlack& place : facts.causes->slack.places) {
    if (place.at.column < shape.Columns()) {
      of[static_cast<size_t>(place.at.row) * shape.Columns() + place.at.column] = slack(place);
    }
  }
  Numbers numbers;
  for (const size_t unit : UnitsIn(shape, Level::PE, PositionsOf(facts))) {
    if (const auto found = of.find(unit); found != of.end()) {
      numbers.push_back(At(shape.ElementAt(unit), found->second));
    }
  }
  return numbers;
}

void AddSlack(std::vector<Measure>& all) {
  const auto add = [&](const char* name, const char* what, double (*slack)(const PlaceSlack&)) {
    Measure measure = OfUnit(MeasureOf::ELEMENT, name, "cycles", what, LookAt::CHAIN,
                             [slack](const RunFacts& facts) { return Slack(facts, slack); });
    measure.needsCauses = true;
    all.push_back(std::move(measure));
  };
  add("slack.least", "by how much later any of its fires could have been, the run no longer",
      [](const PlaceSlack& place) { return static_cast<double>(place.least); });
  add("slack.mean", "the same, mean of its fires",
      [](const PlaceSlack& place) { return place.mean; });
}

}  // namespace

std::vector<Measure> CauseMeasures() {
  std::vector<Measure> all;
  AddEvidence(Maker(all));
  AddChain(Maker(all));
  AddBounds(Maker(all));
  AddUnits(MeasureOf::ELEMENT, "time of the critical path at it", all,
           [](const RunFacts& facts, const Part& part) { return OfLevel(facts, Level::PE, part); });
  AddUnits(
      MeasureOf::DOMAIN, "time of the critical path at its elements", all,
      [](const RunFacts& facts, const Part& part) { return OfLevel(facts, Level::DOMAIN, part); });
  AddUnits(
      MeasureOf::CLUSTER, "time of the critical path at its elements and its switch", all,
      [](const RunFacts& facts, const Part& part) { return OfLevel(facts, Level::CLUSTER, part); });
  AddUnits(MeasureOf::SWITCH, "time of the critical path at it", all, OfSwitches);
  AddSlack(all);
  return all;
}

}  // namespace marrowfin
