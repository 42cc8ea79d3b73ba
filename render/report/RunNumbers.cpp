#include "render/report/RunNumbers.h"

#include <string>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/report/LinkTable.h"
#include "render/report/ReportFaults.h"

namespace marrowfin {
namespace {

// Rows of the table: those that are asked for first, and more.
class Lines {
 public:
  explicit Lines(ReportTable& table) : table(table) {}

  void Add(std::string what, std::string value, std::string basis = "") {
    table.rows.push_back({std::move(what), std::move(value), std::move(basis)});
  }
  void AddMore(std::string what, std::string value, std::string basis = "") {
    more.push_back({std::move(what), std::move(value), std::move(basis)});
  }

  void End() {
    table.atOnce = table.onPaper = table.rows.size();
    table.rows.insert(table.rows.end(), more.begin(), more.end());
    table.all = table.rows.size();
  }

 private:
  ReportTable& table;
  std::vector<std::vector<std::string>> more;
};

std::string At(const PlaceValue& place) { return PlaceText(place.at.column, place.at.row); }

std::string ImbalanceText(const Imbalance& imbalance) {
  return ThreeDigits(imbalance.maxOverMean) + " / " + ThreeDigits(imbalance.gini) + " / " +
         ThreeDigits(imbalance.cov);
}

constexpr char IMBALANCE_BASIS[] = "max ÷ mean / Gini / CoV of ";

// "36 / 142 / 449", and what these are: of few values some are missing.
struct Percentiles {
  std::string values;
  std::string basis;
};

Percentiles PercentilesOf(const ValueCounts& counts, const std::string& unit) {
  const std::string basis = unit + "; largest " + CountText(counts.Largest());
  std::string names;
  std::string values;
  for (const auto& [percent, name] : {std::pair{50U, "median"}, {95U, "95 %"}, {99U, "99 %"}}) {
    if (const std::optional<uint64_t> value = counts.Percentile(percent)) {
      names += std::string(names.empty() ? "" : " / ") + name;
      values += (values.empty() ? "" : " / ") + CountText(*value);
    }
  }
  return values.empty() ? Percentiles{ThreeDigits(counts.Mean()), "mean, " + basis}
                        : Percentiles{values, names + ", " + basis};
}

void AddMorePercentiles(Lines& lines, const std::string& what, const ValueCounts& counts,
                        const std::string& unit) {
  const Percentiles told = PercentilesOf(counts, unit);
  lines.AddMore(what, told.values, told.basis);
}

std::string OrNo(uint64_t count, const std::string& word) {
  return count == 0 ? "no " + word + "s" : CountOf(count, word);
}

void AddRun(Lines& lines, const ReportedRun& reported) {
  const RunMeasures& m = reported.run.measures;
  const ArrayShape& shape = reported.run.counts->Places().Shape();
  lines.Add("Run", CountOf(WholeOf(m.cycles), "cycle"),
            CountText(m.range.first) + " to " + CountText(m.range.last));
  const std::string all = AxesText({shape.Columns(), shape.Rows()}) + " PEs";
  lines.Add("Array", all, ArrayWords(shape) == all ? "" : ArrayWords(shape));
  lines.Add("Records", CountText(m.records),
            OrNo(m.fires, "fire") + ", " + OrNo(m.sends, "send") + ", " +
                OrNo(m.transmissions, "transmission"));
}

void AddWork(Lines& lines, const RunMeasures& m) {
  const std::string units = CountOf(m.elements.units, "PE");
  lines.Add("Utilisation of PEs", PercentText(m.utilisation),
            "share of cycles with a fire, mean of " + units);
  lines.Add("Fire rate", ThreeDigits(m.elements.rate), "fires per PE per cycle");
  const PlaceValue& busiest = m.elements.busiest[0];
  lines.Add("Busiest PE", At(busiest) + " " + ThreeDigits(busiest.value),
            "fires per cycle; " + ThreeDigits(busiest.value / m.elements.rate) + " × mean");
  lines.Add("PEs that never fire", CountText(m.elements.never), "of " + units);
  if (m.elements.imbalance) {
    lines.Add("Imbalance of fires", ImbalanceText(*m.elements.imbalance), IMBALANCE_BASIS + units);
  }
  lines.AddMore("Fires per cycle", ThreeDigits(m.firesPerCycle), "of all PEs together");
  const PlaceValue& quietest = m.elements.quietest[0];
  lines.AddMore("Quietest PE", At(quietest) + " " + ThreeDigits(quietest.value),
                "fires per cycle, of those that fire");
  lines.AddMore("Busiest cycle", CountText(m.peakCycle), "with " + CountOf(m.peakFires, "fire"));
  if (m.longestGap) {
    lines.AddMore("Longest gap of a PE", CountOf(WholeOf(m.longestGap->value), "cycle"),
                  At(*m.longestGap) + ", from one fire to the next, up to cycle " +
                      CountText(m.longestGapEnd));
  }
  if (m.quietCycles > 0) {
    lines.AddMore("Quiet spell", CountOf(m.quietCycles, "cycle"),
                  "without any fire, from cycle " + CountText(m.quietFirst) + " on");
  }
}

void AddLinks(Lines& lines, const RunMeasures& m) {
  const LinkMeasures& links = m.links;
  if (!links.observed && !m.distances.IsEmpty()) {
    AddMorePercentiles(lines, "Distance of messages", m.distances,
                       "columns and rows between the ends");
  }
  if (links.busiest.empty()) {
    return;
  }
  const LinkValue& busiest = links.busiest[0];
  lines.Add("Busiest link",
            LinkName(links, busiest.node, busiest.heading) + " " + PercentText(busiest.load),
            "of " + AmountOf(links.capacity, "message") + " per cycle, " +
                (links.observed ? "observed" : "as routes are modelled"));
  lines.Add("Mean link load", PercentText(links.mean),
            CountText(links.links) + " links, " + CountText(links.unused) + " unused");
  lines.Add("Bisection traffic", ThreeDigits(links.bisectionRate),
            std::string("messages per cycle between the ") +
                (links.bisection.ofColumns ? "left and the right" : "lower and the upper") +
                " half, both ways, " + PercentText(links.bisectionShare) + " of " +
                CountOf(links.bisection.links, "link"));
  if (links.imbalance) {
    lines.AddMore("Imbalance of links", ImbalanceText(*links.imbalance),
                  IMBALANCE_BASIS + CountOf(links.links, "link"));
  }
  if (links.modelError) {
    lines.AddMore("Model error", PercentText(*links.modelError),
                  "modelled passes against the transmissions of the switches");
  }
}

void AddSwitches(Lines& lines, const RunMeasures& m) {
  const PlaceValue& busiest = m.switches.busiest[0];
  lines.AddMore("Busiest switch", At(busiest) + " " + ThreeDigits(busiest.value),
                "transmissions per cycle; " + ThreeDigits(busiest.value / m.switches.rate) +
                    " × mean of " + CountText(m.switches.units) +
                    (m.switches.units == 1 ? " switch" : " switches"));
  if (m.switchLoads && !m.switchLoads->busiest.empty()) {
    const PlaceValue& fullest = m.switchLoads->busiest[0];
    lines.AddMore("Load of switches", PercentText(m.switchLoads->mean),
                  "of what they can pass on, mean; largest " + PercentText(fullest.value) + " at " +
                      At(fullest));
  }
}

void AddPackets(Lines& lines, const ReportedRun& reported) {
  const PacketCounts& packets = *reported.run.packets;
  if (packets.Delivered() > 0) {
    const Percentiles latency = PercentilesOf(packets.Latencies(), "cycles");
    lines.Add("Latency", latency.values,
              latency.basis + "; " + CountOf(packets.Delivered(), "packet"));
  }
  const std::string way = packets.UnderWay() == 0
                              ? "none still under way"
                              : CountText(packets.UnderWay()) + " still under way";
  lines.AddMore("Packets", CountText(packets.Delivered()),
                (reported.packetsAreThreads ? "a thread each; " : "") + way);
  if (packets.Delivered() == 0) {
    return;
  }
  if (!packets.TotalLatencies().IsEmpty()) {
    AddMorePercentiles(lines, "Latency since created", packets.TotalLatencies(), "cycles");
  }
  AddMorePercentiles(lines, "Hops of packets", packets.Hops(), "links");
  if (!packets.HopTimes().IsEmpty()) {
    AddMorePercentiles(lines, "Time of a hop", packets.HopTimes(), "cycles");
  }
}

}  // namespace

ReportTable RunNumbers(const ReportedRun& reported) {
  ReportTable table;
  table.name = "numbers";
  table.caption = "Numbers";
  table.columns = {{"What"}, {"Value"}, {"Unit, basis"}};
  table.sortable = false;
  const RunMeasures& m = reported.run.measures;
  Lines lines(table);
  AddRun(lines, reported);
  if (m.fires > 0) {
    AddWork(lines, m);
  }
  if (m.sends > 0) {
    AddLinks(lines, m);
  }
  if (m.transmissions > 0) {
    AddSwitches(lines, m);
  }
  if (reported.run.packets != nullptr) {
    AddPackets(lines, reported);
  }
  const size_t faults = FaultsOf(reported).size();
  lines.Add("Faults", faults == 0 ? "none" : CountText(faults),
            "of the trace and what is beside it");
  lines.End();
  return table;
}

}  // namespace marrowfin
