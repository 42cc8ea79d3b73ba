#include "render/report/Sentences.h"

#include <algorithm>
#include <numeric>
#include <string>

#include "measure/NumberText.h"
#include "render/report/LinkTable.h"

namespace marrowfin {
namespace {

// A percentile over windows.
struct PercentileRange {
  uint64_t least = 0;
  uint64_t most = 0;
};

std::optional<PercentileRange> RangeOf(const PacketCounts& packets, uint32_t percent,
                                       uint64_t fromCycle) {
  std::optional<PercentileRange> range;
  for (const LatencyWindow& window : packets.Windows()) {
    const std::optional<uint64_t> value = window.latencies.Percentile(percent);
    if (value && window.firstCycle >= fromCycle) {
      range = range ? PercentileRange{std::min(range->least, *value), std::max(range->most, *value)}
                    : PercentileRange{*value, *value};
    }
  }
  return range;
}

bool IsHot(const Imbalance& imbalance) {
  return imbalance.maxOverMean >= HOT_TIMES_MEAN &&
         imbalance.maxOverMean >= 1 + HOT_DEVIATIONS * imbalance.cov;
}

uint64_t SumOf(std::span<const uint64_t> counts) {
  return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

}  // namespace

std::optional<RichText> TellBusiestLink(const LinkMeasures& links) {
  if (links.busiest.empty()) {
    return std::nullopt;
  }
  const LinkValue& busiest = links.busiest[0];
  RichText text("The busiest link, ");
  text.Strong(LinkName(links, busiest.node, busiest.heading))
      .Add(", carries ")
      .Strong(PercentText(busiest.load))
      .Add(" of its capacity, " + ThreeDigits(busiest.load / links.mean) + " times the mean of " +
           CountText(links.links) + " links");
  if (!links.observed) {
    text.Add(", as routes are modelled");
  }
  if (busiest.load >= HIGH_LOAD) {
    text.Add(": it is ").Strong(busiest.load >= FULL_LOAD ? "full" : "loaded");
  }
  return text.Add(".");
}

std::optional<RichText> TellWork(const Usage& elements, uint64_t quiet) {
  if (!elements.imbalance || elements.units < 2) {
    return std::nullopt;
  }
  const std::string times = ThreeDigits(elements.imbalance->maxOverMean);
  if (elements.imbalance->maxOverMean < EVEN_TIMES_MEAN) {
    return RichText("Work is spread evenly over the PEs (largest " + times + " × mean).");
  }
  if (!IsHot(*elements.imbalance)) {
    return std::nullopt;
  }
  const Place at = elements.busiest[0].at;
  return RichText("PE ")
      .Strong(PlaceText(at.column, at.row))
      .Add(" is ")
      .Strong("hot")
      .Add(": it fires " + times + " times as often as the mean" +
           (quiet == 0 ? "; no PE is idle." : "."));
}

std::optional<RichText> TellIdle(uint64_t units, uint64_t never, uint64_t idle) {
  if (never == 0 && idle == 0) {
    return std::nullopt;
  }
  RichText text;
  if (never > 0) {
    text.Strong(CountText(never) + " of " + CountText(units) + " PEs")
        .Add(never == 1 ? " never fires" : " never fire");
  }
  if (idle > 0) {
    text.Add(never > 0 ? "; " : "")
        .Strong(CountText(idle) + (never > 0 ? " more" : " of " + CountText(units) + " PEs"))
        .Add(idle == 1 ? " is " : " are ")
        .Strong("idle")
        .Add(": active in less than 1 % of the cycles");
  }
  return text.Add(".");
}

std::optional<RichText> TellLatency(const PacketCounts& packets) {
  const std::optional<uint64_t> median = packets.Latencies().Percentile(50);
  if (!median) {
    return std::nullopt;
  }
  RichText text("Half of the packets arrive within ");
  text.Strong(CountText(*median)).Add(" cycles");
  const bool enough = packets.Latencies().Percentile(99).has_value();
  if (const std::optional<uint64_t> most = packets.Latencies().Percentile(enough ? 99 : 95)) {
    text.Add(enough ? ", 99 % within " : ", 95 % within ").Strong(CountText(*most));
  }
  const PacketLife& slowest = *packets.Slowest();
  return text.Add("; the slowest, packet " + std::to_string(slowest.packet) + ", takes " +
                  CountText(slowest.Latency()) + ".");
}

std::optional<RichText> TellOnset(const PacketCounts& packets) {
  const std::optional<uint64_t> onset = packets.Onset();
  if (!onset) {
    return std::nullopt;
  }
  RichText text("The slowest 5 % ");
  text.Strong("saturate").Add(" from cycle ").Strong(CountText(*onset)).Add(" on");
  const std::optional<uint64_t> early = packets.EarlyPercentile();
  const std::optional<PercentileRange> later = RangeOf(packets, 95, *onset);
  if (early && later) {
    text.Add(": 95 % within " + CountText(*early) + " cycles at first, within up to " +
             CountText(later->most) + " after it");
  }
  if (const std::optional<PercentileRange> medians = RangeOf(packets, 50, 0)) {
    text.Add("; the median lies between " + CountText(medians->least) + " and " +
             CountText(medians->most));
  }
  return text.Add(".");
}

std::optional<RichText> TellEnd(const std::vector<Phase>& phases, const TimeColumns& columns,
                                std::span<const uint64_t> fires) {
  const double cycles = static_cast<double>(columns.last - columns.first) + 1;
  const double all = static_cast<double>(SumOf(fires));
  size_t thin = fires.size();
  for (size_t i = phases.size(); i-- > 0;) {
    const double rate = phases[i].mean / static_cast<double>(columns.width);
    if (rate >= THIN_RATE * all / cycles) {
      break;
    }
    thin = phases[i].firstColumn;
  }
  if (thin == fires.size() || thin == 0) {
    return std::nullopt;
  }
  const double time = (static_cast<double>(columns.last - columns.FirstOf(thin)) + 1) / cycles;
  if (time < THIN_SHARE) {
    return std::nullopt;
  }
  return RichText("The last ")
      .Strong(PercentText(time))
      .Add(" of the run make ")
      .Strong(PercentText(static_cast<double>(SumOf(fires.subspan(thin))) / all))
      .Add(" of the fires.");
}

uint64_t IdleElements(const RunCounts& counts, double cycles) {
  const std::vector<double> shares = ValuesOf(counts, PlaceMeasure::UTILISATION, cycles);
  return static_cast<uint64_t>(std::count_if(
      shares.begin(), shares.end(), [](double share) { return share > 0 && share < IDLE_SHARE; }));
}

std::vector<RichText> SentencesOf(const ReportedRun& reported) {
  const RunMeasures& m = reported.run.measures;
  const RunCounts& counts = *reported.run.counts;
  std::vector<RichText> sentences;
  const auto add = [&](std::optional<RichText> sentence) {
    if (sentence) {
      sentences.push_back(std::move(*sentence));
    }
  };
  add(TellBusiestLink(m.links));
  if (m.fires > 0) {
    const uint64_t idle = IdleElements(counts, m.cycles);
    add(TellWork(m.elements, m.elements.never + idle));
    add(TellIdle(m.elements.units, m.elements.never, idle));
  }
  if (reported.run.packets != nullptr) {
    add(TellLatency(*reported.run.packets));
    add(TellOnset(*reported.run.packets));
  }
  if (m.phases) {
    add(TellEnd(*m.phases, counts.Times().Columns(), counts.Times().OfType(FIRE_RECORD)));
  }
  return sentences;
}

}  // namespace marrowfin
