// Where a run is busy, and what its links carry.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "explorer/core/Answers.h"
#include "explorer/core/CountPart.h"
#include "measure/NetworkModel.h"
#include "measure/RunMeasures.h"

namespace marrowfin {
namespace {

enum class Heat { FIRES, SENDS, RECEIVES, TRANSMISSIONS, IDLE };

Heat TakeWhat(Members& members) {
  const std::string what = members.Text("what");
  const std::pair<const char*, Heat> all[] = {{"fires", Heat::FIRES},
                                              {"sends", Heat::SENDS},
                                              {"receives", Heat::RECEIVES},
                                              {"transmissions", Heat::TRANSMISSIONS},
                                              {"idle", Heat::IDLE}};
  for (const auto& [name, heat] : all) {
    if (what == name) {
      return heat;
    }
  }
  members.Refuse(
      "`what` is none of \"fires\", \"sends\", \"receives\", \"transmissions\" and \"idle\"");
  return Heat::FIRES;
}

double CyclesOf(const RunCounts& counts) {
  const TimeColumns& columns = counts.Times().Columns();
  return static_cast<double>(columns.last - columns.first) + 1;
}

std::vector<double> ValuesOf(const RunCounts& counts, Heat what) {
  if (what == Heat::TRANSMISSIONS) {
    const std::vector<uint64_t>& switches = counts.Places().Transmissions();
    return {switches.begin(), switches.end()};
  }
  std::vector<double> values;
  for (const ElementCounts& element : counts.Places().Elements()) {
    const uint64_t count = what == Heat::FIRES      ? element.fires
                           : what == Heat::SENDS    ? element.sends
                           : what == Heat::RECEIVES ? element.receives
                                                    : element.active;
    values.push_back(what == Heat::IDLE ? CyclesOf(counts) - static_cast<double>(count)
                                        : static_cast<double>(count));
  }
  return values;
}

// The value below or at which 98 of a hundred of those above 0 lie.
double EndOfScale(std::vector<double> values) {
  std::erase_if(values, [](double value) { return value <= 0; });
  if (values.empty()) {
    return 0;
  }
  const auto rank = static_cast<size_t>(std::ceil(0.98 * static_cast<double>(values.size())));
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

// Loads of all links, by heading.
struct Loads {
  std::array<std::vector<double>, HEADINGS> of;
  std::vector<LinkValue> links;  // those that there are
  double highest = 0;
};

Loads LoadsOf(const LinkMeasures& links, double cycles) {
  Loads loads;
  const Mesh& mesh = links.loads.mesh;
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    for (size_t node = 0; node < links.loads.messages[heading].size(); ++node) {
      const uint64_t messages = links.loads.messages[heading][node];
      const double load = static_cast<double>(messages) / cycles / links.capacity;
      loads.of[heading].push_back(load);
      const Place at = {static_cast<uint32_t>(node % mesh.nodes.columns),
                        static_cast<uint32_t>(node / mesh.nodes.columns)};
      if (mesh.HasLink(at, static_cast<Heading>(heading))) {
        loads.links.push_back({at, static_cast<Heading>(heading), messages, load});
        loads.highest = std::max(loads.highest, load);
      }
    }
  }
  return loads;
}

void PutFullest(Loads& loads, JsonText& head) {
  constexpr size_t MOST = 6;
  std::stable_sort(loads.links.begin(), loads.links.end(),
                   [](const LinkValue& a, const LinkValue& b) { return a.messages > b.messages; });
  head.Key("fullest").Array();
  for (size_t i = 0; i < std::min(MOST, loads.links.size()); ++i) {
    const LinkValue& link = loads.links[i];
    head.Object().Key("node").At(link.node);
    head.Key("heading").Text(HeadingName(link.heading));
    head.Key("messages").Number(link.messages);
    head.Key("load").Real(link.load).End();
  }
  head.End();
}

// How many links have a load in each sixteenth of the scale.
void PutHistogram(const Loads& loads, double end, JsonText& head) {
  constexpr size_t BARS = 16;
  std::array<uint64_t, BARS> bars = {};
  for (const LinkValue& link : loads.links) {
    const double part = end > 0 ? link.load / end * BARS : 0;
    ++bars[std::min(BARS - 1, static_cast<size_t>(part))];
  }
  head.Key("histogram").Array();
  for (const uint64_t bar : bars) {
    head.Number(bar);
  }
  head.End();
}

}  // namespace

MaybeRefusal AnswerHeat(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedCycles cycles = TakeCycles(asking.members);
  const Heat what = TakeWhat(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const auto counts = CountPart(asking, {shape, cycles.first, cycles.last, what != Heat::IDLE});
  if (!counts) {
    return RefusalOf(counts.Why());
  }
  const std::vector<double> values = ValuesOf(**counts, what);
  const double end = EndOfScale(values);
  JsonText& head = answer.Head();
  head.Key("total").Real(std::accumulate(values.begin(), values.end(), 0.0));
  head.Key("highest").Real(values.empty() ? 0 : *std::max_element(values.begin(), values.end()));
  head.Key("p98").Real(end);
  head.Key("end").Real(end);
  head.Key("cycles").Real(CyclesOf(**counts));
  answer.Column("count", values);
  return std::nullopt;
}

MaybeRefusal AnswerLinks(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const AskedCycles cycles = TakeCycles(asking.members);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const auto counts = CountPart(asking, {shape, cycles.first, cycles.last, false});
  if (!counts) {
    return RefusalOf(counts.Why());
  }
  const double length = CyclesOf(**counts);
  const double capacity = NetworkOf(asking.view.Beside().GetAbout()).linkMessages;
  const LinkMeasures links = LinksOf(**counts, length, capacity);
  Loads loads = LoadsOf(links, length);
  const double end = std::ceil(loads.highest * 10) / 10;
  JsonText& head = answer.Head();
  head.Key("mesh").Object();
  head.Key("columns").Number(links.loads.mesh.nodes.columns);
  head.Key("rows").Number(links.loads.mesh.nodes.rows);
  head.Key("of").Text(links.level == Level::CLUSTER ? "clusters" : "elements").End();
  head.Key("observed").Flag(links.observed);
  head.Key("capacity").Real(links.capacity);
  head.Key("unit").Text("messages a cycle");
  head.Key("highest").Real(loads.highest);
  head.Key("end").Real(end);
  head.Key("links").Number(links.links);
  PutFullest(loads, head);
  PutHistogram(loads, end, head);
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    answer.Column(HeadingName(static_cast<Heading>(heading)), loads.of[heading]);
  }
  const std::vector<uint64_t>& passes = links.loads.passes;
  answer.Column("passes", std::vector<double>(passes.begin(), passes.end()));
  return std::nullopt;
}

}  // namespace marrowfin
