#ifndef RENDER_PLOT_LINKPLOT_H
#define RENDER_PLOT_LINKPLOT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "measure/LinkCounts.h"
#include "render/plot/Page.h"
#include "render/plot/ScaleBar.h"

namespace marrowfin {

// The loads of the links of a mesh, and of its nodes where something tells them.
struct LinkMap {
  Mesh mesh;
  std::vector<double> loads[HEADINGS];  // by heading and the node that a link leaves
  std::vector<double> nodes;            // by node; empty where nothing tells them
  std::string unit;                     // of the scale: "load, messages per cycle"
  std::string names;                    // of the axes, behind "column": "of clusters"
  std::optional<double> scaleMax;

  double Of(Place node, Heading heading) const {
    return loads[static_cast<size_t>(heading)][mesh.Number(node)];
  }
};

// The loads of all links that there are, row by row of the nodes that they leave.
struct LoadOfLink {
  Place node;
  Heading heading;
  double load = 0;
};
std::vector<LoadOfLink> LoadsOf(const LinkMap& map);

// The largest loads above 0, at most so many; of equal ones those of the lower row, then column.
std::vector<LoadOfLink> HottestOf(const LinkMap& map, size_t most);

// The scale of a map of links, and what explains it.
HeatScale ScaleOf(const LinkMap& map);
ScaleBar BarOf(const LinkMap& map, const HeatScale& scale);

// Numbers with so many digits behind the point that the largest shows that many that count.
std::string AlikeText(double value, double largest, int digits = 2);

// Which links fill? Two lanes between neighbours, traffic keeps right and lanes narrow towards
// their end. Width and colour are the load. Links around the edge are drawn at both ends. The four
// hottest have their numbers, nodes as well where there is room.
class LinkPlot : public PlotBody {
 public:
  // So many nodes along an axis can be told apart.
  static constexpr uint32_t MOST_NODES = 16;

  explicit LinkPlot(LinkMap map);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  struct Lines;

  Lines LinesIn(const Box& area) const;
  void DrawLink(Canvas& canvas, const Lines& lines, const LoadOfLink& link,
                const PlotStyle& style) const;
  void DrawLane(Canvas& canvas, Spot from, Spot to, double widest, double load,
                const PlotStyle& style) const;
  std::string NodeText(double value, double side, const PlotStyle& style) const;
  Spot PlaceOfNumber(const Lines& lines, const LoadOfLink& link, double width, double size,
                     const std::vector<Box>& taken) const;
  void DrawNodes(Canvas& canvas, const Lines& lines, const PlotStyle& style) const;
  void DrawHottest(Canvas& canvas, const Lines& lines, const PlotStyle& style) const;
  void DrawNumbers(Canvas& canvas, const Lines& lines, const PlotStyle& style) const;

  LinkMap map;
  HeatScale scale;
  ScaleBar bar;
};

}  // namespace marrowfin

#endif
