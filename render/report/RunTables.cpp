#include "render/report/RunTables.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

// Puts numbers of rows in order of their values, the largest first, and of equal ones the first.
std::vector<size_t> LargestFirst(const std::vector<uint64_t>& values) {
  std::vector<size_t> order(values.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](size_t a, size_t b) { return values[a] > values[b]; });
  return order;
}

std::string PercentileText(const ValueCounts& counts, uint32_t percent) {
  const std::optional<uint64_t> value = counts.Percentile(percent);
  return value ? CountText(*value) : "–";
}

std::string CyclesText(uint64_t first, uint64_t last) {
  return CountText(first) + " to " + CountText(last);
}

// How many packets entered, and of how many the latency is not known.
std::string PacketsText(const LatencyWindow& window) {
  const uint64_t missing = window.injected - window.latencies.Size();
  return CountText(window.injected) +
         (missing == 0 ? "" : ", " + CountText(missing) + " under way");
}

// A letter, as the picture has it.
std::string PhaseName(size_t phase) { return std::string(1, static_cast<char>('A' + phase)); }

std::string ThreadName(const About* about, uint32_t thread) {
  if (about != nullptr) {
    const auto found = about->threads.find(thread);
    if (found != about->threads.end() && !found->second.name.empty()) {
      return std::to_string(thread) + " " + found->second.name;
    }
  }
  return std::to_string(thread);
}

}  // namespace

ReportTable ElementTable(const ReportedRun& reported) {
  const RunMeasures& m = reported.run.measures;
  const PlaceCounts& places = reported.run.counts->Places();
  ReportTable table;
  table.name = "table-pes";
  table.caption = "Busiest PEs";
  table.columns = {{"PE"},          {"Fires", true},   {"× mean", true}, {"Utilisation", true},
                   {"Sends", true}, {"Receives", true}};
  table.others = "marrowfin-trace stats " + reported.file + " --csv pes";
  std::vector<uint64_t> fires;
  for (const ElementCounts& element : places.Elements()) {
    fires.push_back(element.fires);
  }
  const std::vector<double> shares =
      ValuesOf(*reported.run.counts, PlaceMeasure::UTILISATION, m.cycles);
  const double mean = static_cast<double>(m.fires) / static_cast<double>(fires.size());
  table.all = fires.size();
  for (const size_t i : LargestFirst(fires)) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    const Place at = places.Shape().ElementAt(i);
    const ElementCounts& element = places.Elements()[i];
    table.rows.push_back({PlaceText(at.column, at.row), CountText(element.fires),
                          mean > 0 ? ThreeDigits(static_cast<double>(element.fires) / mean) : "–",
                          PercentText(shares[i]), CountText(element.sends),
                          CountText(element.receives)});
  }
  return table;
}

ReportTable PhaseTable(const ReportedRun& reported) {
  ReportTable table;
  table.name = "table-phases";
  table.caption = "Phases";
  table.columns = {{"Phase"}, {"Cycles", true}, {"Length", true}, {"Fires per cycle", true}};
  if (!reported.run.measures.phases) {
    return table;
  }
  const std::vector<Phase>& phases = *reported.run.measures.phases;
  const TimeColumns& columns = reported.run.counts->Times().Columns();
  for (size_t i = 0; i < phases.size(); ++i) {
    const size_t end = phases[i].firstColumn + phases[i].columns - 1;
    const uint64_t first = columns.FirstOf(phases[i].firstColumn);
    const uint64_t last = columns.FirstOf(end) + columns.WidthOf(end) - 1;
    table.rows.push_back({PhaseName(i), CyclesText(first, last), CountText(last - first + 1),
                          ThreeDigits(phases[i].mean / static_cast<double>(columns.width))});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable LatencyTable(const ReportedRun& reported) {
  ReportTable table;
  table.name = "table-latency";
  table.caption = "Latency in cycles, by cycle of injection";
  table.columns = {{"Injected"},   {"Packets", true}, {"Median", true},
                   {"95 %", true}, {"99 %", true},    {"Longest", true}};
  if (reported.run.packets == nullptr) {
    return table;
  }
  for (const LatencyWindow& window : reported.run.packets->Windows()) {
    const ValueCounts& arrived = window.latencies;
    table.rows.push_back({CyclesText(window.firstCycle, window.lastCycle), PacketsText(window),
                          PercentileText(arrived, 50), PercentileText(arrived, 95),
                          PercentileText(arrived, 99),
                          arrived.IsEmpty() ? "–" : CountText(arrived.Largest())});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable ThreadTable(const ReportedRun& reported) {
  const Timeline& times = reported.run.counts->Times();
  ReportTable table;
  table.name = "table-threads";
  table.caption = "Fires by thread";
  table.columns = {{"Thread"}, {"Fires", true}, {"Share", true}, {"Per cycle", true}};
  const std::vector<uint32_t> threads = times.Threads();
  std::vector<std::string> names;
  std::vector<uint64_t> fires;
  const auto add = [&](const std::string& name, const std::vector<uint64_t>& counts) {
    const uint64_t sum = std::accumulate(counts.begin(), counts.end(), uint64_t{0});
    if (sum > 0) {
      names.push_back(name);
      fires.push_back(sum);
    }
  };
  for (const uint32_t thread : threads) {
    add(ThreadName(reported.about, thread), times.OfThread(thread));
  }
  add("others", times.OfOthers());
  table.all = fires.size();
  const RunMeasures& m = reported.run.measures;
  for (const size_t i : LargestFirst(fires)) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    const double count = static_cast<double>(fires[i]);
    table.rows.push_back({names[i], CountText(fires[i]),
                          PercentText(count / static_cast<double>(m.fires)),
                          ThreeDigits(count / m.cycles)});
  }
  return table;
}

}  // namespace marrowfin
