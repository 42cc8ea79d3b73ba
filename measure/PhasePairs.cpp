#include "measure/PhasePairs.h"

#include <algorithm>
#include <array>

namespace marrowfin {
namespace {

std::vector<PhaseSpan> SpansOf(const RunMeasures& run, const TimeColumns& columns) {
  std::vector<PhaseSpan> spans;
  for (const Phase& phase : *run.phases) {
    const size_t last = phase.firstColumn + phase.columns - 1;
    spans.push_back(
        {{columns.FirstOf(phase.firstColumn), columns.FirstOf(last) + (columns.WidthOf(last) - 1)},
         phase.mean / static_cast<double>(columns.width)});
  }
  return spans;
}

// A difference at one unit of the array, and how large it is.
struct Found {
  PlaceDifference place;
  std::array<uint64_t, 3> sizes = {};
};

uint64_t Apart(uint64_t a, uint64_t b) { return a > b ? a - b : b - a; }

ElementCounts ElementOf(const PlaceCounts& counts, Place at) {
  return counts.Shape().HasElement(at) ? counts.Elements()[counts.Shape().ElementNumber(at)]
                                       : ElementCounts();
}

ElementCounts SwitchOf(const PlaceCounts& counts, Place cluster) {
  const PerAxis clusters = counts.Shape().clusters;
  ElementCounts as;
  if (cluster.column < clusters.columns && cluster.row < clusters.rows) {
    as.fires =
        counts
            .Transmissions()[static_cast<size_t>(cluster.row) * clusters.columns + cluster.column];
  }
  return as;
}

void Consider(const PlaceDifference& place, std::optional<Found>& found) {
  const Found now = {place,
                     {Apart(place.a.fires, place.b.fires), Apart(place.a.sends, place.b.sends),
                      Apart(place.a.receives, place.b.receives)}};
  if (now.sizes > (found ? found->sizes : std::array<uint64_t, 3>())) {
    found = now;
  }
}

std::optional<Found> FindDifference(const PlaceCounts& a, const PlaceCounts& b) {
  std::optional<Found> found;
  const auto elements = [](const ArrayShape& shape) {
    return PerAxis{shape.Columns(), shape.Rows()};
  };
  ForEachPlaceOfEither(elements(a.Shape()), elements(b.Shape()), [&](Place at) {
    Consider({at, false, ElementOf(a, at), ElementOf(b, at)}, found);
  });
  if (!found) {
    ForEachPlaceOfEither(a.Shape().clusters, b.Shape().clusters, [&](Place cluster) {
      Consider({cluster, true, SwitchOf(a, cluster), SwitchOf(b, cluster)}, found);
    });
  }
  return found;
}

// What a run did in a phase; nothing where it has no such phase.
Result<PlaceCounts> CountPhase(const PhasedRun& run, const std::optional<PhaseSpan>& span,
                               const ProgressCallback& progress) {
  if (!span) {
    return PlaceCounts(run.question.shape);
  }
  RunQuestion question = run.question;
  question.mostColumns = 1;
  question.sumsSuffice = true;
  EventFilter& filter = question.filter;
  filter.firstCycle = std::max(filter.firstCycle, span->cycles.first);
  filter.lastCycle = std::min(filter.lastCycle, span->cycles.last);
  const Result<RunCounts> counts = CountRun(run.trace, run.index, question, progress);
  if (!counts) {
    return counts.Why();
  }
  return counts->Places();
}

}  // namespace

std::optional<double> PhasePair::SpeedUp() const {
  return a && b ? std::optional(b->cycles.Length() / a->cycles.Length()) : std::nullopt;
}

std::vector<PhasePair> PairPhases(const RunMeasures& a, const TimeColumns& columnsA,
                                  const RunMeasures& b, const TimeColumns& columnsB) {
  if (!a.phases || !b.phases) {
    return {{PhaseSpan{a.range, a.firesPerCycle}, PhaseSpan{b.range, b.firesPerCycle}}};
  }
  const std::vector<PhaseSpan> ofA = SpansOf(a, columnsA);
  const std::vector<PhaseSpan> ofB = SpansOf(b, columnsB);
  std::vector<PhasePair> pairs(std::max(ofA.size(), ofB.size()));
  for (size_t i = 0; i < pairs.size(); ++i) {
    pairs[i].a = i < ofA.size() ? std::optional(ofA[i]) : std::nullopt;
    pairs[i].b = i < ofB.size() ? std::optional(ofB[i]) : std::nullopt;
  }
  return pairs;
}

Result<RunAlignment> AlignPhases(const PhasedRun& a, const PhasedRun& b,
                                 const std::vector<PhasePair>& pairs, bool firstOnly,
                                 const ProgressCallback& progress) {
  RunAlignment answer;
  for (size_t i = 0; i < pairs.size(); ++i) {
    const Result<PlaceCounts> inA = CountPhase(a, pairs[i].a, progress);
    if (!inA) {
      return inA.Why();
    }
    const Result<PlaceCounts> inB = CountPhase(b, pairs[i].b, progress);
    if (!inB) {
      return inB.Why();
    }
    ++answer.units;
    const std::optional<Found> found = FindDifference(*inA, *inB);
    if (!found && pairs[i].a && pairs[i].b) {
      continue;
    }
    ++answer.differing;
    if (!answer.first) {
      answer.first.emplace();
      answer.first->unit = i;
      answer.first->counts = found ? std::optional(found->place) : std::nullopt;
    }
    if (firstOnly) {
      break;
    }
  }
  return answer;
}

}  // namespace marrowfin
