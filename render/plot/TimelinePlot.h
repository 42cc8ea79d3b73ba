#ifndef RENDER_PLOT_TIMELINEPLOT_H
#define RENDER_PLOT_TIMELINEPLOT_H

#include <optional>
#include <string>
#include <vector>

#include "measure/Phases.h"
#include "measure/Timeline.h"
#include "render/plot/Axis.h"
#include "render/plot/Page.h"

namespace marrowfin {

// A layer of a stack: counts of each column.
struct TimelineLayer {
  std::string name;
  std::vector<uint64_t> counts;
};

// What happened when: counts a cycle in steps, stacked, the first layer at the bottom; borders of
// phases with a letter and their mean. At most Theme::CATEGORIES layers.
class TimelinePlot : public PlotBody {
 public:
  TimelinePlot(const TimeColumns& columns, std::vector<TimelineLayer> layers,
               std::optional<std::vector<Phase>> phases, std::string axis, std::string legend);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  double LeastHeight(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  std::string ShareOf(size_t layer) const;
  double RateOf(uint64_t count, size_t column) const;
  void DrawLayers(Canvas& canvas, const CycleScale& x, const Scale& y,
                  const PlotStyle& style) const;
  void DrawPhases(Canvas& canvas, const Box& area, const CycleScale& x, const Scale& y,
                  const PlotStyle& style) const;
  size_t LinesOfLegend(const PlotStyle& style) const;
  void DrawLayerNames(Canvas& canvas, Spot bottom, const PlotStyle& style) const;

  TimeColumns columns;
  std::vector<TimelineLayer> layers;
  std::optional<std::vector<Phase>> phases;
  std::string axis;
  std::string legend;
  double highest = 0;  // of all columns
};

// Fires by thread: one layer for each of up to 12 threads, of more the 11 with most and "others".
std::vector<TimelineLayer> LayersByThread(const Timeline& times);

// Records by type: transmissions, sends, fires.
std::vector<TimelineLayer> LayersByType(const Timeline& times);

}  // namespace marrowfin

#endif
