#ifndef RENDER_REPORT_SENTENCES_H
#define RENDER_REPORT_SENTENCES_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "measure/LinkCounts.h"
#include "measure/PacketCounts.h"
#include "measure/Phases.h"
#include "measure/RunMeasures.h"
#include "measure/Timeline.h"
#include "render/report/HtmlText.h"
#include "render/report/ReportedRun.h"

namespace marrowfin {

// What is said of a run before all numbers. Each sentence stands only where its number is beyond
// what is told here; words in bold are for what a reader should look at.

constexpr double FULL_LOAD = 0.9;     // of what a link can carry, or more
constexpr double HIGH_LOAD = 0.6;     // likewise
constexpr double HOT_TIMES_MEAN = 2;  // of the fires of all elements, and
constexpr double HOT_DEVIATIONS = 3;  // above the mean
constexpr double IDLE_SHARE = 0.01;   // of the cycles with a fire, and less
constexpr double EVEN_TIMES_MEAN = 1.25;
constexpr double THIN_RATE = 0.5;   // of the mean rate, at the end of a run
constexpr double THIN_SHARE = 0.1;  // of the run, or more

// The link that carries most, whether it is full or loaded; nothing where no link carries anything.
std::optional<RichText> TellBusiestLink(const LinkMeasures& links);

// The element that is hot, or that work is spread evenly. `quiet` is how many elements never fire
// or hardly ever.
std::optional<RichText> TellWork(const Usage& elements, uint64_t quiet);

// How many elements never fire, and how many others hardly ever.
std::optional<RichText> TellIdle(uint64_t units, uint64_t never, uint64_t idle);

// Within how many cycles packets arrive; nothing of fewer than 20.
std::optional<RichText> TellLatency(const PacketCounts& packets);

// From when on the network saturates.
std::optional<RichText> TellOnset(const PacketCounts& packets);

// A thin end of a run: phases at its end with less than half of the mean rate.
std::optional<RichText> TellEnd(const std::vector<Phase>& phases, const TimeColumns& columns,
                                std::span<const uint64_t> fires);

// Elements that fire, but in less than IDLE_SHARE of the cycles.
uint64_t IdleElements(const RunCounts& counts, double cycles);

// All of these that there are to say, six at most.
std::vector<RichText> SentencesOf(const ReportedRun& run);

}  // namespace marrowfin

#endif
