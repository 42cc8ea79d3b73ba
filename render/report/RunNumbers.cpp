#include "render/report/RunNumbers.h"

#include <string>
#include <utility>

#include "measure/NumberText.h"
#include "render/report/LinkTable.h"
#include "render/report/ReportFaults.h"

namespace marrowfin {
namespace {

// Rows of the table.
class Lines {
 public:
  explicit Lines(ReportTable& table) : table(table) {}

  void Add(std::string what, std::string value, std::string basis = "") {
    table.rows.push_back({std::move(what), std::move(value), std::move(basis)});
  }

 private:
  ReportTable& table;
};

std::string At(const PlaceValue& place) { return PlaceText(place.at.column, place.at.row); }

std::string ImbalanceText(const Imbalance& imbalance) {
  return ThreeDigits(imbalance.maxOverMean) + " / " + ThreeDigits(imbalance.gini) + " / " +
         ThreeDigits(imbalance.cov);
}

constexpr char IMBALANCE_BASIS[] = "max ÷ mean / Gini / CoV of ";

// "36 / 142 / 449", and what these are: of few values some are missing.
void AddPercentiles(Lines& lines, const std::string& what, const ValueCounts& counts,
                    const std::string& unit) {
  const std::string basis = unit + "; largest " + CountText(counts.Largest());
  std::string names;
  std::string values;
  for (const auto& [percent, name] : {std::pair{50U, "median"}, {95U, "95 %"}, {99U, "99 %"}}) {
    if (const std::optional<uint64_t> value = counts.Percentile(percent)) {
      names += std::string(names.empty() ? "" : " / ") + name;
      values += (values.empty() ? "" : " / ") + CountText(*value);
    }
  }
  if (values.empty()) {
    lines.Add(what, ThreeDigits(counts.Mean()), "mean, " + basis);
  } else {
    lines.Add(what, values, names + ", " + basis);
  }
}

std::string OrNo(uint64_t count, const std::string& word) {
  return count == 0 ? "no " + word + "s" : CountOf(count, word);
}

void AddRun(Lines& lines, const ReportedRun& reported) {
  const RunMeasures& m = reported.run.measures;
  const ArrayShape& shape = reported.run.counts->Places().Shape();
  lines.Add("Run",
            CountText(static_cast<uint64_t>(m.cycles)) + (m.cycles == 1 ? " cycle" : " cycles"),
            CountText(m.range.first) + " to " + CountText(m.range.last));
  const std::string all = AxesText({shape.Columns(), shape.Rows()}) + " PEs";
  lines.Add("Array", all, ArrayWords(shape) == all ? "" : ArrayWords(shape));
  lines.Add("Records", CountText(m.records),
            OrNo(m.fires, "fire") + ", " + OrNo(m.sends, "send") + ", " +
                OrNo(m.transmissions, "transmission"));
}

void AddWork(Lines& lines, const RunMeasures& m) {
  const std::string units = CountOf(m.elements.units, "PE");
  lines.Add("Fires per cycle", ThreeDigits(m.firesPerCycle), "of all PEs together");
  lines.Add("Fire rate", ThreeDigits(m.elements.rate), "fires per PE per cycle");
  lines.Add("Utilisation of PEs", PercentText(m.utilisation),
            "share of cycles with a fire, mean of " + units);
  const PlaceValue& busiest = m.elements.busiest[0];
  lines.Add("Busiest PE", At(busiest) + " " + ThreeDigits(busiest.value),
            "fires per cycle; " + ThreeDigits(busiest.value / m.elements.rate) + " × mean");
  const PlaceValue& quietest = m.elements.quietest[0];
  lines.Add("Quietest PE", At(quietest) + " " + ThreeDigits(quietest.value),
            "fires per cycle, of those that fire");
  lines.Add("PEs that never fire", CountText(m.elements.never), "of " + units);
  if (m.elements.imbalance) {
    lines.Add("Imbalance of fires", ImbalanceText(*m.elements.imbalance), IMBALANCE_BASIS + units);
  }
  lines.Add("Busiest cycle", CountText(m.peakCycle), "with " + CountOf(m.peakFires, "fire"));
  if (m.longestGap) {
    lines.Add("Longest gap of a PE", CountOf(static_cast<uint64_t>(m.longestGap->value), "cycle"),
              At(*m.longestGap) + ", from one fire to the next, up to cycle " +
                  CountText(m.longestGapEnd));
  }
  if (m.quietCycles > 0) {
    lines.Add("Quiet spell", CountOf(m.quietCycles, "cycle"),
              "without any fire, from cycle " + CountText(m.quietFirst) + " on");
  }
}

void AddLinks(Lines& lines, const RunMeasures& m) {
  const LinkMeasures& links = m.links;
  const std::string basis = links.observed ? "observed" : "as routes are modelled";
  if (!links.observed && !m.distances.IsEmpty()) {
    AddPercentiles(lines, "Distance of messages", m.distances, "columns and rows between the ends");
  }
  if (links.busiest.empty()) {
    return;
  }
  const LinkValue& busiest = links.busiest[0];
  lines.Add("Busiest link",
            LinkName(links, busiest.node, busiest.heading) + " " + PercentText(busiest.load),
            "of " + AmountOf(links.capacity, "message") + " per cycle, " + basis);
  lines.Add("Mean link load", PercentText(links.mean),
            CountText(links.links) + " links, " + CountText(links.unused) + " unused");
  if (links.imbalance) {
    lines.Add("Imbalance of links", ImbalanceText(*links.imbalance),
              IMBALANCE_BASIS + CountOf(links.links, "link"));
  }
  lines.Add("Bisection traffic", ThreeDigits(links.bisectionRate),
            std::string("messages per cycle between the ") +
                (links.bisection.ofColumns ? "left and the right" : "lower and the upper") +
                " half, both ways, " + PercentText(links.bisectionShare) + " of " +
                CountOf(links.bisection.links, "link"));
  if (links.modelError) {
    lines.Add("Model error", PercentText(*links.modelError),
              "modelled passes against the transmissions of the switches");
  }
}

void AddSwitches(Lines& lines, const RunMeasures& m) {
  const PlaceValue& busiest = m.switches.busiest[0];
  lines.Add("Busiest switch", At(busiest) + " " + ThreeDigits(busiest.value),
            "transmissions per cycle; " + ThreeDigits(busiest.value / m.switches.rate) +
                " × mean of " + CountText(m.switches.units) +
                (m.switches.units == 1 ? " switch" : " switches"));
  if (m.switchLoads && !m.switchLoads->busiest.empty()) {
    const PlaceValue& fullest = m.switchLoads->busiest[0];
    lines.Add("Load of switches", PercentText(m.switchLoads->mean),
              "of what they can pass on, mean; largest " + PercentText(fullest.value) + " at " +
                  At(fullest));
  }
}

void AddPackets(Lines& lines, const ReportedRun& reported) {
  const PacketCounts& packets = *reported.run.packets;
  const std::string way = packets.UnderWay() == 0
                              ? "none still under way"
                              : CountText(packets.UnderWay()) + " still under way";
  lines.Add("Packets", CountText(packets.Delivered()),
            (reported.packetsAreThreads ? "a thread each; " : "") + way);
  if (packets.Delivered() == 0) {
    return;
  }
  AddPercentiles(lines, "Latency", packets.Latencies(), "cycles");
  if (!packets.TotalLatencies().IsEmpty()) {
    AddPercentiles(lines, "Latency since created", packets.TotalLatencies(), "cycles");
  }
  AddPercentiles(lines, "Hops of packets", packets.Hops(), "links");
}

}  // namespace

ReportTable RunNumbers(const ReportedRun& reported) {
  ReportTable table;
  table.name = "numbers";
  table.caption = "Numbers";
  table.columns = {{"What"}, {"Value"}, {"Unit, basis"}};
  table.folded = false;
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
  table.all = table.rows.size();
  return table;
}

}  // namespace marrowfin
