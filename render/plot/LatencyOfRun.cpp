#include "render/plot/LatencyOfRun.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/plot/LatencyPlot.h"

namespace marrowfin {
namespace {

constexpr uint64_t FEWEST = 20;  // packets of a window that has percentiles

LatencyPoint PointOf(const LatencyWindow& window) {
  LatencyPoint point;
  point.median = window.latencies.Percentile(50);
  point.most95 = window.latencies.Percentile(95);
  point.most99 = window.latencies.Percentile(99);
  if (window.latencies.Size() >= FEWEST) {
    point.longest = window.latencies.Largest();
  }
  point.incomplete = window.IsIncomplete();
  return point;
}

// What is told of latencies from there on.
struct Since {
  const LatencyWindows& windows;
  const ValueCounts& latencies;
  const char* axis;
  const char* definition;
};

Since SinceOf(const PlottedRun& run, LatencySince since) {
  const PacketCounts& packets = *run.packets;
  if (since == LatencySince::CREATION) {
    return {packets.SinceCreation(), packets.TotalLatencies(), "cycle of creation",
            "creation to ejection of each packet, time in the source queue in it"};
  }
  return {packets.SinceInjection(), packets.Latencies(), "cycle of injection",
          "injection to ejection of each packet, time in the source queue not in it"};
}

LatencyCurves CurvesOf(const Since& since) {
  LatencyCurves curves;
  curves.windows = since.windows.Columns();
  for (const LatencyWindow& window : since.windows.All()) {
    curves.points.push_back(PointOf(window));
  }
  curves.onset = since.windows.Onset();
  curves.early = since.windows.EarlyPercentile().value_or(0);
  curves.axis = since.axis;
  return curves;
}

std::string FindingOf(const PlottedRun& run, const ValueCounts& latencies) {
  if (latencies.IsEmpty()) {
    return "no packet arrives in cycles " + CountText(run.measures.range.first) + " to " +
           CountText(run.measures.range.last);
  }
  std::string finding = CountOf(latencies.Size(), "packet") + ": ";
  if (const auto median = latencies.Percentile(50)) {
    finding += "median " + CountOf(*median, "cycle") + ", 95 % within " +
               CountText(*latencies.Percentile(95)) + ", ";
  }
  if (const auto most = latencies.Percentile(99)) {
    finding += "99 % within " + CountText(*most) + ", ";
  }
  return finding + "longest " + CountText(latencies.Largest());
}

std::string WindowWords(const LatencyCurves& curves) {
  return "by " + curves.axis + ", windows of " + CountOf(curves.windows.width, "cycle") +
         ", at least 20 packets each, 100 for the 99 % · nearest-rank percentiles";
}

std::string IncompleteWords(const LatencyCurves& curves) {
  const bool any = std::any_of(curves.points.begin(), curves.points.end(),
                               [](const LatencyPoint& point) { return point.incomplete; });
  return any ? "hatched: over 1 % of the window's packets are under way, so it looks better than "
               "it is"
             : "";
}

PlotNumbers NumbersOf(const PlottedRun& run, const Since& since) {
  const auto cell = [](const std::optional<uint64_t>& value) {
    return value ? NumberCell(*value) : NumberCell();
  };
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(numbers.facts.end(), {{"delivered", run.packets->Delivered()},
                                             {"underWay", run.packets->UnderWay()},
                                             {"onset", cell(since.windows.Onset())},
                                             {"earlyP95", cell(since.windows.EarlyPercentile())}});
  NumberTable table = {"windows",
                       {"firstCycle", "lastCycle", "injected", "delivered", "p50", "p95", "p99",
                        "max", "incomplete"},
                       {}};
  for (const LatencyWindow& window : since.windows.All()) {
    const ValueCounts& latencies = window.latencies;
    table.Add({window.firstCycle, window.lastCycle, window.injected, latencies.Size(),
               cell(latencies.Percentile(50)), cell(latencies.Percentile(95)),
               cell(latencies.Percentile(99)),
               latencies.IsEmpty() ? NumberCell() : NumberCell(latencies.Largest()),
               uint64_t{window.IsIncomplete() ? 1U : 0U}});
  }
  numbers.tables.push_back(std::move(table));
  return numbers;
}

}  // namespace

Plot PlotLatency(const PlottedRun& run, LatencySince from) {
  const Since since = SinceOf(run, from);
  LatencyCurves curves = CurvesOf(since);
  Plot plot;
  plot.words.title = "Packet latency over time";
  plot.words.finding = FindingOf(run, since.latencies);
  plot.words.caption = CaptionOf(
      run,
      {since.definition,
       curves.windows.first == curves.windows.last ? "one cycle" : WindowWords(curves),
       curves.onset ? "onset: first of three windows whose 95 % exceeds twice the median of "
                      "the first quarter’s"
                    : "no onset: no three windows in a row whose 95 % exceeds twice the median "
                      "of the first quarter’s",
       IncompleteWords(curves),
       CountOf(run.packets->UnderWay(), "packet") + " never ejected, not counted"});
  plot.numbers = [&run, since] { return NumbersOf(run, since); };
  plot.body = std::make_unique<LatencyPlot>(std::move(curves));
  return plot;
}

}  // namespace marrowfin
