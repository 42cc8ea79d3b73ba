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
  const std::vector<size_t> asked = UnitsIn(places.Shape(), Level::PE, reported.run.region);
  std::vector<uint64_t> fires;
  for (const size_t element : asked) {
    fires.push_back(places.Elements()[element].fires);
  }
  const std::vector<double> shares =
      ValuesOf(*reported.run.counts, PlaceMeasure::UTILISATION, m.cycles);
  const double mean =
      static_cast<double>(m.fires) / static_cast<double>(std::max<size_t>(1, fires.size()));
  table.all = fires.size();
  for (const size_t number : LargestFirst(fires)) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    const size_t i = asked[number];
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
  table.atOnce = table.onPaper = ReportTable::MOST_ROWS;  // there are few, and an order
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
    table.rows.push_back({PhaseName(i), CyclesText(first, last),
                          CountText(WholeOf(CycleRange{first, last}.Length())),
                          ThreeDigits(phases[i].mean / static_cast<double>(columns.width))});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable SlowestTable(const ReportedRun& reported) {
  ReportTable table;
  table.name = "table-slowest";
  table.caption = "Slowest packets";
  table.columns = {{"Packet"}, {"From→to"}, {"Injected", true}, {"Latency", true}, {"Hops", true}};
  if (reported.run.packets == nullptr) {
    return table;
  }
  for (const PacketLife& life : reported.run.packets->SlowestOnes()) {
    table.rows.push_back(
        {std::to_string(life.packet),
         PlaceText(life.from.column, life.from.row) + "→" + PlaceText(life.to.column, life.to.row),
         CountText(life.injected), CountText(life.Latency()), CountText(life.hops)});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable LatencyTable(const ReportedRun& reported) {
  ReportTable table;
  table.name = "table-latency";
  table.onPaper = 0;  // of windows in a row a part says little, and the picture has all
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
  ReportTable table;
  table.name = "table-threads";
  table.caption = "Fires by thread";
  table.columns = {{"Thread"}, {"Fires", true}, {"Share", true}, {"Per cycle", true}};
  if (!reported.threads) {
    return table;
  }
  const ThreadMap& map = *reported.threads;
  std::vector<std::string> names;
  std::vector<uint64_t> fires;
  for (size_t slot = 0; slot < map.fires.size(); ++slot) {
    if (map.fires[slot] > 0) {
      names.push_back(slot < map.threads.size() ? ThreadName(reported.about, map.threads[slot])
                                                : "others");
      fires.push_back(map.fires[slot]);
    }
  }
  table.all = fires.size();
  // All fires, also those at places that the array does not have.
  const double all = static_cast<double>(std::accumulate(fires.begin(), fires.end(), uint64_t{0}));
  const RunMeasures& m = reported.run.measures;
  for (const size_t i : LargestFirst(fires)) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    const double count = static_cast<double>(fires[i]);
    table.rows.push_back(
        {names[i], CountText(fires[i]), PercentText(count / all), ThreeDigits(count / m.cycles)});
  }
  return table;
}

}  // namespace marrowfin
