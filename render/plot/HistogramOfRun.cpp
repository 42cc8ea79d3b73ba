#include "render/plot/HistogramOfRun.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/HistogramPlot.h"

namespace marrowfin {
namespace {

constexpr size_t MOST_BARS = 60;
constexpr size_t MOST_NAMES = 12;

// A distribution with its words.
struct Told {
  std::string noun;   // "latency"
  std::string thing;  // that has a value: "packet"
  std::string unit;   // "cycle"; may be empty
  std::string longest = "largest";
  std::string definition;  // for the caption
  ValueCounts values;
  bool reals = false;
  bool named = false;
  std::map<uint64_t, std::string> names;

  double Number(uint64_t value) const { return reals ? RealOf(value) : static_cast<double>(value); }
  std::string Text(uint64_t value) const {
    return reals ? ThreeDigits(RealOf(value)) : CountText(value);
  }
  double Mean() const {
    double sum = 0;
    for (const auto& [value, times] : values.Counts()) {
      sum += Number(value) * static_cast<double>(times);
    }
    return sum / static_cast<double>(values.Size());
  }
};

Told OfPackets(const char* noun, const char* unit, const char* definition,
               const ValueCounts& values) {
  Told told;
  told.noun = noun;
  told.thing = "packet";
  told.unit = unit;
  told.definition = definition;
  told.values = values;
  if (std::string(unit) == "cycle") {
    told.longest = "longest";
  }
  return told;
}

Told Distances(const PlottedRun& run) {
  if (run.packets != nullptr) {
    return OfPackets("distance", "link",
                     "distance: columns + rows between the PEs of injection and ejection",
                     run.packets->Distances());
  }
  Told told =
      OfPackets("distance", "link", "distance: columns + rows between the ends of a message",
                run.measures.distances);
  told.thing = "message";
  return told;
}

Told Fires(const PlottedRun& run) {
  Told told;
  told.noun = "fires";
  told.thing = "PE";
  told.unit = "fire";
  for (const ElementCounts& element : run.counts->Places().Elements()) {
    told.values.Add(element.fires);
  }
  return told;
}

std::string DefinitionOf(const HistogramWish& wish) {
  switch (wish.values->type) {
    case NoteType::CYCLE:
      return wish.attribute + ": how many cycles before its event it lies";
    case NoteType::RECORDS:
      return wish.attribute + ": how many records an event names";
    default:
      return "";
  }
}

Told OfAttribute(const HistogramWish& wish) {
  const AttributeValues& values = *wish.values;
  Told told;
  told.noun = wish.attribute;
  told.thing = "event";
  told.unit = values.type == NoteType::CYCLE ? "cycle" : values.unit;
  told.definition = DefinitionOf(wish);
  if (values.without > 0) {
    told.definition += (told.definition.empty() ? "" : " · ") + CountOf(values.without, "event") +
                       " without " + wish.attribute + " not counted";
  }
  told.values = values.counts;
  told.reals = values.type == NoteType::REAL;
  told.named = values.type == NoteType::NAME;
  told.names = values.names;
  return told;
}

Told ToldOf(const PlottedRun& run, const HistogramWish& wish) {
  switch (wish.of) {
    case HistogramOf::HOPS:
      return OfPackets("hops", "link", "hops: messages of the packet between entry and exit",
                       run.packets->Hops());
    case HistogramOf::DISTANCE:
      return Distances(run);
    case HistogramOf::LATENCY:
      return OfPackets("latency", "cycle", "latency: injection to ejection",
                       run.packets->Latencies());
    case HistogramOf::TOTAL_LATENCY:
      return OfPackets("total latency", "cycle", "total latency: creation to ejection",
                       run.packets->TotalLatencies());
    case HistogramOf::SOURCE_WAIT:
      return OfPackets("wait at the source", "cycle", "wait: creation to injection",
                       run.packets->SourceWaits());
    case HistogramOf::FIRES:
      return Fires(run);
    case HistogramOf::ATTRIBUTE:
      break;
  }
  return OfAttribute(wish);
}

// Bars of names: those that have most, from the left, and all others together.
void NameBars(const Told& told, HistogramPanel& panel) {
  std::vector<std::pair<uint64_t, uint64_t>> order;  // times and value
  for (const auto& [value, times] : told.values.Counts()) {
    order.emplace_back(times, value);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  uint64_t others = 0;
  for (size_t i = 0; i < order.size(); ++i) {
    const auto& [times, value] = order[i];
    if (order.size() > MOST_NAMES && i + 1 >= MOST_NAMES) {
      others += times;
      continue;
    }
    const auto name = told.names.find(value);
    panel.names.push_back(name == told.names.end() ? CountText(value) : name->second);
    panel.bars.counts.push_back(times);
  }
  if (others > 0) {
    panel.names.push_back("others");
    panel.bars.counts.push_back(others);
  }
}

std::string EndText(const Told& told, const Bars& bars) {
  const std::string largest = told.longest + " " + told.Text(told.values.Largest());
  return bars.above == 0
             ? largest
             : CountText(bars.above) + " above " + ThreeDigits(bars.End()) + ", " + largest;
}

// "latency, cycles (bars of 10)".
std::string AxisText(const Told& told, const Bars& bars) {
  const std::string unit =
      told.unit == "link" || told.unit == "cycle" ? told.unit + "s" : told.unit;
  std::string text = told.noun;
  if (!unit.empty() && told.thing != "PE") {
    text += ", " + unit;
  }
  return bars.single || told.named ? text : text + " (bars of " + ThreeDigits(bars.width) + ")";
}

HistogramPanel PanelOf(const Told& told) {
  HistogramPanel panel;
  panel.total = told.values.Size();
  panel.shares = "share of " + told.thing + "s, %";
  if (told.named) {
    NameBars(told, panel);
    panel.axis = AxisText(told, panel.bars);
    return panel;
  }
  panel.bars = told.reals ? BarsOfReals(told.values, MOST_BARS) : BarsOf(told.values, MOST_BARS);
  panel.axis = AxisText(told, panel.bars);
  for (const auto& [percent, name] : {std::pair<uint32_t, const char*>{50, "median"},
                                      std::pair<uint32_t, const char*>{95, "95 %"},
                                      std::pair<uint32_t, const char*>{99, "99 %"}}) {
    if (const std::optional<uint64_t> value = told.values.Percentile(percent)) {
      panel.marks.push_back({told.Number(*value), std::string(name) + "  " + told.Text(*value)});
    }
  }
  if (!told.values.IsEmpty()) {
    panel.end = EndText(told, panel.bars);
  }
  return panel;
}

// "latency mean 73.1 cycles, median 61, 99 % within 258, longest 517".
std::string FindingOf(const Told& told, const HistogramPanel& panel) {
  if (told.named) {
    return "most have " + told.noun + " " + panel.names[0] + ", " +
           PercentText(static_cast<double>(panel.bars.counts[0]) /
                       static_cast<double>(panel.total));
  }
  const bool counted = told.unit == "link" || told.unit == "cycle" || told.unit == "fire";
  std::string finding = told.noun == "fires" ? "mean " : told.noun + " mean ";
  finding += ThreeDigits(told.Mean());
  if (!told.unit.empty()) {
    finding += " " + told.unit + (counted ? "s" : "");
  }
  if (const std::optional<uint64_t> median = told.values.Percentile(50)) {
    finding += ", median " + told.Text(*median);
  }
  if (const std::optional<uint64_t> most = told.values.Percentile(99)) {
    finding += ", 99 % within " + told.Text(*most);
  }
  return finding + ", " + told.longest + " " + told.Text(told.values.Largest());
}

std::string Findings(const PlottedRun& run, const std::vector<Told>& all,
                     const std::vector<HistogramPanel>& panels) {
  std::string findings;
  for (size_t i = 0; i < all.size(); ++i) {
    const bool again = i > 0 && all[i].thing == all[i - 1].thing &&
                       all[i].values.Size() == all[i - 1].values.Size();
    findings += i == 0 ? "" : "; ";
    if (all[i].values.IsEmpty()) {
      findings += "no " + all[i].thing + " with " + all[i].noun + " in cycles " +
                  CountText(run.measures.range.first) + " to " + CountText(run.measures.range.last);
    } else {
      findings += (again ? "" : CountOf(all[i].values.Size(), all[i].thing) + ": ") +
                  FindingOf(all[i], panels[i]);
    }
  }
  return findings;
}

// "Distance and latency of packets".
std::string TitleOf(const std::vector<Told>& all) {
  std::string title;
  for (size_t i = 0; i < all.size(); ++i) {
    const bool last = i + 1 == all.size();
    title += (i == 0 ? "" : " and ") + all[i].noun;
    if (last || all[i].thing != all[i + 1].thing) {
      title += all[i].thing == "PE" ? " of each PE" : " of " + all[i].thing + "s";
    }
  }
  title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
  return title;
}

std::string Caption(const PlottedRun& run, const std::vector<Told>& all,
                    const std::vector<HistogramPanel>& panels) {
  std::vector<std::string> parts;
  for (const Told& told : all) {
    parts.push_back(told.definition);
  }
  const bool percentiles = std::any_of(panels.begin(), panels.end(),
                                       [](const auto& panel) { return !panel.marks.empty(); });
  const bool few = std::any_of(all.begin(), all.end(), [](const Told& told) {
    return !told.named && !told.values.IsEmpty() && !told.values.Percentile(50);
  });
  parts.push_back(percentiles ? "nearest-rank percentiles" : "");
  parts.push_back(few ? "fewer than 20 values have no percentiles" : "");
  if (run.packets != nullptr && std::any_of(all.begin(), all.end(), [](const Told& told) {
        return told.thing == "packet";
      })) {
    parts.push_back(CountOf(run.packets->UnderWay(), "packet") + " never ejected, not counted");
  }
  return CaptionOf(run, parts);
}

PlotNumbers NumbersOf(const PlottedRun& run, const std::vector<Told>& all,
                      const std::vector<HistogramPanel>& panels) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  NumberTable bars = {"bars", {"distribution", "from", "to", "name", "count", "share"}, {}};
  NumberTable told = {
      "distributions", {"distribution", "of", "count", "mean", "p50", "p95", "p99", "max"}, {}};
  for (size_t i = 0; i < all.size(); ++i) {
    const Bars& of = panels[i].bars;
    for (size_t bar = 0; bar < of.counts.size(); ++bar) {
      const double from = of.first + of.width * static_cast<double>(bar);
      const bool named = all[i].named;
      bars.Add({all[i].noun, named ? NumberCell() : NumberCell(from),
                named ? NumberCell() : NumberCell(from + of.width),
                named ? NumberCell(panels[i].names[bar]) : NumberCell(), of.counts[bar],
                static_cast<double>(of.counts[bar]) / static_cast<double>(panels[i].total)});
    }
    const auto percentile = [&](uint32_t percent) {
      const std::optional<uint64_t> value =
          all[i].named ? std::nullopt : all[i].values.Percentile(percent);
      return value ? NumberCell(all[i].Number(*value)) : NumberCell();
    };
    const bool none = all[i].named || all[i].values.IsEmpty();
    told.Add({all[i].noun, all[i].thing, all[i].values.Size(),
              none ? NumberCell() : NumberCell(all[i].Mean()), percentile(50), percentile(95),
              percentile(99),
              none ? NumberCell() : NumberCell(all[i].Number(all[i].values.Largest()))});
  }
  numbers.tables = {std::move(bars), std::move(told)};
  return numbers;
}

}  // namespace

Plot PlotHistogram(const PlottedRun& run, const std::vector<HistogramWish>& wishes) {
  std::vector<Told> all;
  std::vector<HistogramPanel> panels;
  for (const HistogramWish& wish : wishes) {
    all.push_back(ToldOf(run, wish));
    panels.push_back(PanelOf(all.back()));
    // What is the same on both is told once.
    if (panels.size() > 1 && panels[0].shares == panels.back().shares) {
      panels.back().shares.clear();
    }
  }
  Plot plot;
  plot.words.title = TitleOf(all);
  plot.words.finding = Findings(run, all, panels);
  plot.words.caption = Caption(run, all, panels);
  plot.body = std::make_unique<HistogramPlot>(panels);
  plot.numbers = [&run, all, panels] { return NumbersOf(run, all, panels); };
  return plot;
}

}  // namespace marrowfin
