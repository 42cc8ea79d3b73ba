#ifndef RENDER_PLOT_HISTOGRAMOFRUN_H
#define RENDER_PLOT_HISTOGRAMOFRUN_H

#include <string>
#include <vector>

#include "measure/AttributeValues.h"
#include "render/plot/PlottedRun.h"

namespace marrowfin {

// What a histogram is of. All but FIRES, DISTANCE and ATTRIBUTE are of packets, which must have
// been followed; the distance is of packets where they were, else of messages.
enum class HistogramOf { HOPS, DISTANCE, LATENCY, TOTAL_LATENCY, SOURCE_WAIT, FIRES, ATTRIBUTE };

// One of the distributions of a picture.
struct HistogramWish {
  HistogramOf of = HistogramOf::LATENCY;
  std::string attribute;                    // its name
  const AttributeValues* values = nullptr;  // and its values
};

// How far, how long, how much: one distribution, or two beside each other.
Plot PlotHistogram(const PlottedRun& run, const std::vector<HistogramWish>& wishes);

}  // namespace marrowfin

#endif
