// The numbers of a run, and its phases.

#include "explorer/core/Answers.h"
#include "explorer/core/CountPart.h"
#include "measure/NetworkModel.h"
#include "measure/RunMeasures.h"

namespace marrowfin {
namespace {

void PutPlaces(const char* name, const std::vector<PlaceValue>& places, JsonText& head) {
  head.Key(name).Array();
  for (const PlaceValue& place : places) {
    head.Object().Key("at").At(place.at).Key("value").Real(place.value).End();
  }
  head.End();
}

void PutImbalance(const std::optional<Imbalance>& imbalance, JsonText& head) {
  head.Key("imbalance");
  if (!imbalance) {
    head.Null();
    return;
  }
  head.Object();
  head.Key("maxOverMean").Real(imbalance->maxOverMean);
  head.Key("gini").Real(imbalance->gini);
  head.Key("cov").Real(imbalance->cov).End();
}

void PutUsage(const char* name, const Usage& usage, JsonText& head) {
  head.Key(name).Object();
  head.Key("units").Number(usage.units);
  head.Key("total").Real(usage.total);
  head.Key("rate").Real(usage.rate);
  head.Key("never").Number(usage.never);
  PutImbalance(usage.imbalance, head);
  PutPlaces("busiest", usage.busiest, head);
  PutPlaces("quietest", usage.quietest, head);
  head.End();
}

void PutDistances(const ValueCounts& distances, JsonText& head) {
  head.Key("distance");
  if (distances.IsEmpty()) {
    head.Null();
    return;
  }
  head.Object();
  head.Key("count").Number(distances.Size());
  head.Key("mean").Real(distances.Mean());
  head.Key("min").Number(distances.Smallest());
  head.Key("max").Number(distances.Largest()).End();
}

void PutMeasures(const RunMeasures& m, JsonText& head) {
  head.Key("firstCycle").Wide(m.range.first);
  head.Key("lastCycle").Wide(m.range.last);
  head.Key("records").Number(m.records);
  head.Key("fires").Number(m.fires);
  head.Key("sends").Number(m.sends);
  head.Key("transmissions").Number(m.transmissions);
  head.Key("outside").Number(m.outside);
  head.Key("firesPerCycle").Real(m.firesPerCycle);
  head.Key("utilisation").Real(m.utilisation);
  PutPlaces("mostUtilised", m.mostUtilised, head);
  PutUsage("elements", m.elements, head);
  PutUsage("clusters", m.clusters, head);
  PutUsage("switches", m.switches, head);
  head.Key("peakFires").Number(m.peakFires);
  head.Key("peakCycle").Wide(m.peakCycle);
  head.Key("quietCycles").Wide(m.quietCycles);
  head.Key("quietFirst").Wide(m.quietFirst);
  PutDistances(m.distances, head);
  head.Key("longestGap");
  if (m.longestGap) {
    head.Object().Key("at").At(m.longestGap->at);
    head.Key("cycles").Real(m.longestGap->value);
    head.Key("end").Wide(m.longestGapEnd).End();
  } else {
    head.Null();
  }
}

Result<std::shared_ptr<const RunCounts>> CountWhole(const Asking& asking, const ArrayShape& shape) {
  return CountPart(asking, {shape, 0, ~uint64_t{0}, false});
}

}  // namespace

MaybeRefusal AnswerMeasures(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedCycles cycles = TakeCycles(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const auto counts = CountPart(asking, {shape, cycles.first, cycles.last, false});
  if (!counts) {
    return RefusalOf(counts.Why());
  }
  PutMeasures(MeasuresOf(**counts, NetworkOf(asking.view.Beside().GetAbout())), answer.Head());
  return std::nullopt;
}

MaybeRefusal AnswerPhases(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  JsonText& head = answer.Head();
  if (asking.GetSummary().records == 0) {
    head.Key("phases").Array().End();
    return std::nullopt;
  }
  const auto counts = CountWhole(asking, shape);
  if (!counts) {
    return RefusalOf(counts.Why());
  }
  const TimeColumns& columns = (*counts)->Times().Columns();
  const std::optional<std::vector<Phase>> phases =
      FindPhases(columns, (*counts)->Times().OfType(FIRE_RECORD));
  head.Key("phases").Array();
  for (const Phase& phase : phases.value_or(std::vector<Phase>())) {
    const size_t last = phase.firstColumn + phase.columns - 1;
    head.Object();
    head.Key("first").Wide(columns.FirstOf(phase.firstColumn));
    head.Key("last").Wide(columns.FirstOf(last) + columns.WidthOf(last) - 1);
    head.Key("firesPerCycle").Real(phase.mean / static_cast<double>(columns.width)).End();
  }
  head.End();
  return std::nullopt;
}

}  // namespace marrowfin
