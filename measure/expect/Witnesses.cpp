#include "measure/expect/Witnesses.h"

#include <string>
#include <vector>

#include "measure/expect/MeasureTable.h"

namespace marrowfin {
namespace {

// The last cycle of the column that has most, or least, of something for its width.
uint64_t ExtremeCycle(const Timeline& times, uint32_t type, bool most) {
  const TimeColumns& columns = times.Columns();
  const std::vector<uint64_t>& counts = times.OfType(type);
  size_t extreme = 0;
  double found = 0;
  for (size_t i = 0; i < counts.size(); ++i) {
    const double rate = static_cast<double>(counts[i]) / static_cast<double>(columns.WidthOf(i));
    if (i == 0 || (most ? rate > found : rate < found)) {
      extreme = i;
      found = rate;
    }
  }
  return columns.FirstOf(extreme) + (columns.WidthOf(extreme) - 1);
}

uint32_t TypeOf(LookAt look) {
  switch (look) {
    case LookAt::SENDS:
    case LookAt::LINKS:
    case LookAt::MESSAGES:
      return SEND_RECORD;
    case LookAt::TRANSMISSIONS:
    case LookAt::SWITCHES:
      return SWITCH_RECORD;
    default:
      return FIRE_RECORD;
  }
}

Place PositionOf(const ArrayShape& shape, const Witness& witness) {
  switch (witness.of) {
    case MeasureOf::DOMAIN:
      return shape.FirstOfDomain(witness.at);
    case MeasureOf::CLUSTER:
    case MeasureOf::TRAFFIC:
      return shape.FirstOfCluster(witness.at);
    case MeasureOf::SWITCH:
      return shape.SwitchOf(witness.at);
    case MeasureOf::LINK:
      return witness.linkLevel == Level::PE ? witness.at : shape.FirstOfCluster(witness.at);
    default:
      return witness.at;
  }
}

void TakePlace(const RunFacts& facts, MeasureOf of, Place at, Witness& witness) {
  witness.of = of;
  witness.at = at;
  witness.position = PositionOf(facts.counts->Places().Shape(), witness);
}

void TakeUnit(const RunFacts& facts, MeasureOf of, const Usage& usage, bool tooLarge,
              Witness& witness) {
  const std::vector<PlaceValue>& places = tooLarge ? usage.busiest : usage.quietest;
  if (!places.empty()) {
    TakePlace(facts, of, places[0].at, witness);
  }
}

// The first unit of a kind that did nothing.
void TakeNever(const Measure& measure, const RunFacts& facts, Witness& witness) {
  const MeasureOf of = measure.name.starts_with("elements")   ? MeasureOf::ELEMENT
                       : measure.name.starts_with("clusters") ? MeasureOf::CLUSTER
                                                              : MeasureOf::SWITCH;
  const std::string fires =
      std::string(MeasureOfName(of)) + (of == MeasureOf::SWITCH ? ".transmissions" : ".fires");
  RunFacts asked = facts;
  if (facts.region) {
    asked.places = RegionWords{RegionWords::POSITIONS, facts.region->first, facts.region->last};
  }
  for (const PlacedNumber& number : FindMeasure(fires)->numbers(asked)) {
    if (number.value == 0) {
      TakePlace(facts, of, number.at, witness);
      return;
    }
  }
}

void TakePhases(const RunFacts& facts, Witness& witness) {
  if (facts.measures->phases && !facts.measures->phases->empty()) {
    const Phase& last = facts.measures->phases->back();
    witness.cycle = facts.counts->Times().Columns().FirstOf(last.firstColumn);
  }
}

void TakeLink(const RunFacts& facts, Witness& witness) {
  const LinkMeasures& links = facts.measures->links;
  if (!links.busiest.empty()) {
    witness.heading = links.busiest[0].heading;
    witness.linkLevel = links.level;
    TakePlace(facts, MeasureOf::LINK, links.busiest[0].node, witness);
  }
}

// When the critical path ends.
void TakeChain(const RunFacts& facts, Witness& witness) {
  if (facts.causes != nullptr) {
    witness.cycle = facts.causes->chain.lastTime;
  }
}

void TakeMoment(const Measure& measure, const RunFacts& facts, bool tooLarge, Witness& witness) {
  const RunMeasures& measures = *facts.measures;
  switch (measure.look) {
    case LookAt::ELEMENTS:
      return TakeUnit(facts, MeasureOf::ELEMENT, measures.elements, tooLarge, witness);
    case LookAt::CLUSTERS:
      return TakeUnit(facts, MeasureOf::CLUSTER, measures.clusters, tooLarge, witness);
    case LookAt::SWITCHES:
      return TakeUnit(facts, MeasureOf::SWITCH, measures.switches, tooLarge, witness);
    case LookAt::NEVER:
      return TakeNever(measure, facts, witness);
    case LookAt::LINKS:
      return TakeLink(facts, witness);
    case LookAt::PHASES:
      return TakePhases(facts, witness);
    case LookAt::PEAK:
      witness.cycle = measures.peakCycle;
      return;
    case LookAt::QUIET:
      if (measures.quietCycles > 0) {
        witness.cycle = measures.quietFirst + measures.quietCycles - 1;
      }
      return;
    case LookAt::GAP:
      if (measures.longestGap) {
        TakePlace(facts, MeasureOf::ELEMENT, measures.longestGap->at, witness);
        witness.cycle = measures.longestGapEnd;
      }
      return;
    case LookAt::PACKETS:
      if (facts.packets != nullptr && facts.packets->Slowest()) {
        witness.packet = facts.packets->Slowest()->packet;
        witness.cycle = facts.packets->Slowest()->ejected;
      }
      return;
    case LookAt::PAIRS:
      if (facts.pairs != nullptr && facts.pairs->slowest) {
        witness.message = facts.pairs->slowest->message;
        witness.cycle = facts.pairs->slowest->consumed;
      }
      return;
    case LookAt::CHAIN:
      TakeChain(facts, witness);
      return;
    case LookAt::MESSAGE_OF_CHAIN:
      TakeChain(facts, witness);
      if (facts.causes != nullptr && facts.causes->longestMessage) {
        witness.message = facts.causes->longestMessage;
        witness.cycle = witness.message->cycle + facts.causes->chain.longestMessage;
      }
      return;
    case LookAt::END:
      witness.cycle = measures.range.last;
      return;
    default:
      return;
  }
}

// Where nothing better is known, when there is most or least of it.
void TakeColumn(LookAt look, const RunFacts& facts, bool tooLarge, Witness& witness) {
  if (!witness.cycle) {
    witness.cycle = ExtremeCycle(facts.counts->Times(), TypeOf(look), tooLarge);
  }
}

}  // namespace

Witness WitnessOf(const Measure& measure, const RunFacts& facts, bool tooLarge) {
  Witness witness;
  witness.range = facts.measures->range;
  TakeMoment(measure, facts, tooLarge, witness);
  TakeColumn(measure.look, facts, tooLarge, witness);
  return witness;
}

Witness WitnessOf(const Measure& measure, const RunFacts& facts, const PlacedNumber& number,
                  bool tooLarge) {
  Witness witness;
  witness.range = facts.measures->range;
  witness.heading = number.heading;
  witness.to = number.to;
  witness.linkLevel = facts.measures->links.level;
  TakePlace(facts, measure.of, number.at, witness);
  witness.cycle = number.cycle;
  if (measure.look == LookAt::CHAIN) {
    TakeChain(facts, witness);
  }
  TakeColumn(measure.look, facts, tooLarge, witness);
  return witness;
}

}  // namespace marrowfin
