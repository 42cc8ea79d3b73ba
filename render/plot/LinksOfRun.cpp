#include "render/plot/LinksOfRun.h"

#include <algorithm>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/CompassPlot.h"
#include "render/plot/LinkPlot.h"

namespace marrowfin {
namespace {

bool IsOfClusters(const LinkMeasures& links) { return links.level == Level::CLUSTER; }

// What the load of a switch is a share of: where nothing tells that, it is transmissions a cycle.
double SwitchCapacity(const PlottedRun& run, size_t number) {
  const std::optional<SwitchLoads>& loads = run.measures.switchLoads;
  return loads ? loads->capacities[number] : 1;
}

LinkMap MapOf(const PlottedRun& run, const LinkMeasures& links, std::optional<double> scaleMax) {
  LinkMap map;
  map.mesh = links.loads.mesh;
  map.scaleMax = scaleMax;
  map.unit = links.capacity == 1 ? "load, messages per cycle" : "load, share of capacity";
  map.names = IsOfClusters(links) ? " of clusters" : "";
  const double carried = run.measures.cycles * links.capacity;
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    for (const uint64_t messages : links.loads.messages[heading]) {
      map.loads[heading].push_back(static_cast<double>(messages) / carried);
    }
  }
  if (IsOfClusters(links) && run.measures.transmissions > 0) {
    const std::vector<uint64_t>& transmissions = run.counts->Places().Transmissions();
    for (size_t i = 0; i < transmissions.size(); ++i) {
      map.nodes.push_back(static_cast<double>(transmissions[i]) /
                          (run.measures.cycles * SwitchCapacity(run, i)));
    }
  }
  return map;
}

std::string LinkText(const Mesh& mesh, Place node, Heading heading) {
  const PerAxis n = mesh.nodes;
  Place to = node;
  if (heading == Heading::RIGHT || heading == Heading::LEFT) {
    to.column = (node.column + (heading == Heading::RIGHT ? 1 : n.columns - 1)) % n.columns;
  } else {
    to.row = (node.row + (heading == Heading::UP ? 1 : n.rows - 1)) % n.rows;
  }
  return PlaceText(node.column, node.row) + "→" + PlaceText(to.column, to.row);
}

std::string LoadText(const LinkMeasures& links, double load) {
  const std::string text = ThreeDigits(load);
  return links.capacity == 1 ? text + (text == "1" ? " message" : " messages") + " per cycle"
                             : PercentText(load) + " of its capacity";
}

std::string FindingOf(const PlottedRun& run, const LinkMeasures& links) {
  if (links.links == 0) {
    return "One node has no links";
  }
  if (links.busiest.empty()) {
    return "no messages over links in cycles " + CountText(run.measures.range.first) + " to " +
           CountText(run.measures.range.last);
  }
  const LinkValue& hottest = links.busiest[0];
  return "Link " + LinkText(links.loads.mesh, hottest.node, hottest.heading) + " carries " +
         LoadText(links, hottest.load) + ", " + ThreeDigits(hottest.load / links.mean) +
         " times the mean of all " + CountText(links.links) + " links";
}

// Whose way each message takes is known, or thought to be.
std::string ModelOf(const PlottedRun& run, const LinkMeasures& links) {
  const std::string sends = CountOf(run.measures.sends, "send");
  if (links.observed) {
    return sends + ", each over one link (observed)";
  }
  const bool columnFirst = links.loads.mesh.columnFirst;
  std::string text = sends + ", modelled: each goes along its " + (columnFirst ? "column" : "row") +
                     ", then along its " + (columnFirst ? "row" : "column") +
                     (IsOfClusters(links) ? ", from switch to switch" : "");
  if (links.modelError && *links.modelError > 0.01) {
    text += " (" + PercentText(*links.modelError) + " off the switches' transmissions)";
  }
  return text;
}

std::string ClippingOf(const HeatScale& scale) {
  return ClippingText(scale, CountOf(scale.above, "link"));
}

PlotNumbers NumbersOf(const PlottedRun& run, const LinkMeasures& links, const LinkMap& map,
                      const HeatScale& scale) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(
      numbers.facts.end(),
      {{"level", LevelName(links.level)},
       {"routing", links.observed                 ? "observed"
                   : links.loads.mesh.columnFirst ? "yx"
                                                  : "xy"},
       {"capacity", links.capacity},
       {"meanLoad", links.mean},
       {"modelError", links.modelError ? NumberCell(*links.modelError) : NumberCell()},
       {"scaleEnd", scale.end}});
  NumberTable table = {"links", {"column", "row", "heading", "messages", "load"}, {}};
  for (const LoadOfLink& link : LoadsOf(map)) {
    table.Add({uint64_t{link.node.column}, uint64_t{link.node.row}, HeadingName(link.heading),
               links.loads.Of(link.node, link.heading), link.load});
  }
  numbers.tables.push_back(std::move(table));
  NumberTable switches = {"switches", {"column", "row", "transmissions", "capacity", "load"}, {}};
  for (size_t i = 0; i < map.nodes.size(); ++i) {
    switches.Add({uint64_t{i % map.mesh.nodes.columns}, uint64_t{i / map.mesh.nodes.columns},
                  run.counts->Places().Transmissions()[i], SwitchCapacity(run, i), map.nodes[i]});
  }
  numbers.tables.push_back(std::move(switches));
  return numbers;
}

// What of the array can be a cell of a map, in nodes.
std::vector<PerAxis> GroupsOf(const ArrayShape& shape, const LinkMeasures& links) {
  std::vector<PerAxis> groups = {{1, 1}};
  if (!IsOfClusters(links)) {
    groups.push_back(shape.pes);
    groups.push_back(
        {shape.pes.columns * shape.domains.columns, shape.pes.rows * shape.domains.rows});
  }
  return groups;
}

// The plot of many links, and what a cell of it is.
std::string PlotCompass(const PlottedRun& run, const LinkMeasures& links, LinkMap map,
                        const PlotStyle& style, Plot& plot) {
  const ArrayShape& shape = run.counts->Places().Shape();
  const PerAxis group = CompassPlot::GroupFor(map.mesh, GroupsOf(shape, links), style);
  plot.body = std::make_unique<CompassPlot>(std::move(map), group);
  const bool whole = group.columns * group.rows > 1;
  return whole ? "a cell is " + AxesText(group) + " PEs: the busiest link that leaves one of them"
         : IsOfClusters(links) ? "a cell is the link that leaves a switch"
                               : "a cell is the link that leaves a PE";
}

}  // namespace

Plot PlotLinks(const PlottedRun& run, const LinksWish& wish, const PlotStyle& style) {
  const LinkMeasures links =
      LinksOf(*run.counts, run.measures.cycles, run.measures.links.capacity, wish.level);
  LinkMap map = MapOf(run, links, wish.scaleMax);
  const HeatScale scale = ScaleOf(map);
  const PerAxis nodes = map.mesh.nodes;
  Plot plot;
  plot.numbers = [&run, links, map, scale] { return NumbersOf(run, links, map, scale); };
  plot.words.finding = FindingOf(run, links);
  const bool switches = !map.nodes.empty();
  std::string how;
  if (std::max(nodes.columns, nodes.rows) > LinkPlot::MOST_NODES) {
    plot.words.title = "Load of links by direction";
    how = PlotCompass(run, links, std::move(map), style, plot);
  } else {
    plot.words.title = IsOfClusters(links) ? "Load of each link between switches"
                                           : "Load of each link, both directions";
    how = std::string("traffic keeps right: the lane on the right of its direction · width and ") +
          "colour show load" +
          (!switches                  ? ""
           : run.measures.switchLoads ? " · in nodes: share of what the switch can pass on"
                                      : " · in nodes: transmissions per cycle");
    plot.body = std::make_unique<LinkPlot>(std::move(map));
  }
  plot.words.caption = CaptionOf(
      run, {ModelOf(run, links), "capacity " + AmountOf(links.capacity, "message") + " per cycle",
            how, ClippingOf(scale), "(column, row), row 0 below"});
  return plot;
}

}  // namespace marrowfin
