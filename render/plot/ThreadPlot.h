#ifndef RENDER_PLOT_THREADPLOT_H
#define RENDER_PLOT_THREADPLOT_H

#include <cstddef>
#include <string>
#include <vector>

#include "measure/CountThreads.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/Page.h"

namespace marrowfin {

// The threads of a map that have a colour: all where there are colours for all, else the eleven
// with most fires, and all others together.
class ThreadColors {
 public:
  explicit ThreadColors(const ThreadMap& map);

  struct Entry {
    std::string name;   // the thread, or "others"
    size_t places = 0;  // where it has most fires
    uint64_t fires = 0;
  };
  const std::vector<Entry>& Entries() const { return entries; }

  // The entry of a slot of the map.
  size_t OfSlot(size_t slot) const { return ofSlot[slot]; }

 private:
  std::vector<Entry> entries;
  std::vector<size_t> ofSlot;
};

// Which thread lives where? A cell has the colour of the thread with most fires, and a dot where
// that has less than nine of ten. Where no thread has so many anywhere, there is no map: it says
// so, and tells the share of each thread.
class ThreadPlot : public PlotBody {
 public:
  explicit ThreadPlot(ThreadMap map);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  void DrawSquare(Canvas& canvas, const Box& box, size_t entry, const PlotStyle& style) const;
  void DrawMap(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawShares(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  std::string PlacesText(const ThreadColors::Entry& entry) const;

  ThreadMap map;
  ThreadColors colors;
  bool shared;  // by all threads, everywhere
};

// Whether some place fires, and none has a thread of its own.
bool ShareAllPlaces(const ThreadMap& map);

}  // namespace marrowfin

#endif
