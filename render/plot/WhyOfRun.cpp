#include "render/plot/WhyOfRun.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "measure/ShareText.h"
#include "render/plot/ArrayAndMapPlot.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/CauseWords.h"
#include "render/plot/SpaceTimePlot.h"
#include "render/plot/WhyPlot.h"

namespace marrowfin {
namespace {

constexpr char ARRAY_WORDS[] =
    "on the array: straight lines are not routes, width = how often the chain goes that way, ring "
    "= start, square = end";

std::string FindingOf(const PlottedChain& of) {
  const CausalChain& chain = of.chain;
  const uint64_t cycles = chain.time.Sum();
  std::string finding = CountOf(chain.fires, "fire") + " and " +
                        CountOf(chain.messages, "message") + " over " + CountText(cycles) + " of " +
                        CountOf(of.lastTime - of.firstTime, "cycle");
  if (cycles > 0) {
    finding += ": " + ShareText(chain.time.work, cycles) + " work, " +
               ShareText(chain.time.travel, cycles) + " travel, " +
               ShareText(chain.time.wait, cycles) + " wait";
  }
  if (chain.longestMessage > 0) {
    finding += "; longest single message " + CountOf(chain.longestMessage, "cycle");
  }
  return finding;
}

PlotNumbers NumbersOf(const PlottedRun& run, const PlottedChain& of) {
  const CausalChain& chain = of.chain;
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  numbers.facts.insert(numbers.facts.end(), {{"record", chain.last},
                                             {"chainFirstCycle", chain.firstTime},
                                             {"chainLastCycle", chain.lastTime},
                                             {"fires", chain.fires},
                                             {"messages", chain.messages},
                                             {"transmissions", chain.transmissions},
                                             {"inferredSteps", chain.inferred},
                                             {"work", chain.time.work},
                                             {"travel", chain.time.travel},
                                             {"wait", chain.time.wait}});
  NumberTable stops = {"stops", {"cycle", "column", "row"}, {}};
  for (const ChainStop& stop : of.path.stops) {
    stops.Add({stop.time, uint64_t{stop.at.column}, uint64_t{stop.at.row}});
  }
  NumberTable moves = {"moves", {"fromColumn", "fromRow", "toColumn", "toRow", "times"}, {}};
  for (const ChainMove& move : of.path.moves) {
    moves.Add({uint64_t{move.from.column}, uint64_t{move.from.row}, uint64_t{move.to.column},
               uint64_t{move.to.row}, move.times});
  }
  numbers.tables.push_back(std::move(stops));
  numbers.tables.push_back(std::move(moves));
  return numbers;
}

}  // namespace

Result<PlottedChain> ChainToPlot(const Causes& causes, const ArrayShape& shape, uint64_t record,
                                 const PlotStyle& style, Level finest,
                                 const ProgressCallback& progress) {
  const Result<TimedRecords::Timed> event = TimedRecords(causes.trace).Read(record);
  if (!event) {
    return event.Why();
  }
  Result<CausalChain> chain = FindChain(causes, shape, record, progress);
  if (!chain) {
    return chain.Why();
  }
  PlottedChain plotted;
  plotted.chain = std::move(chain).Take();
  plotted.event = event->event;
  plotted.isEnd = causes.last == record;
  plotted.firstTime = causes.firstTime;
  plotted.lastTime = causes.lastTime;
  plotted.level = std::max(LevelBesideMap(shape, style), finest);
  Result<ChainPath> path = PathOf(causes, plotted.chain, shape, plotted.level, progress);
  if (!path) {
    return path.Why();
  }
  plotted.path = std::move(path).Take();
  return plotted;
}

Level LevelBesideMap(const ArrayShape& shape, const PlotStyle& style) {
  const bool alone = style.width < ArrayAndMapPlot::NARROW || style.slide;
  const double width = style.width * (alone ? 1 : ArrayAndMapPlot::ARRAY_PART);
  return LevelFor(shape, width - 60, style.Scale());
}

SpaceTimeQuestion MapOfChain(const ArrayShape& shape, const PlotStyle& style) {
  PlotStyle part = style;
  part.width = style.width < ArrayAndMapPlot::NARROW
                   ? style.width
                   : style.width * (1 - ArrayAndMapPlot::ARRAY_PART);
  const SpaceTimeSize size = SpaceTimeSizeFor(part);
  SpaceTimeQuestion question;
  question.shape = shape;
  question.mostRows = size.rows;
  question.mostColumns = size.columns;
  return question;
}

Plot PlotWhy(const PlottedRun& run, const PlottedChain& of, SpaceTime counted,
             const PlotStyle& style) {
  const auto map = std::make_shared<const SpaceTime>(std::move(counted));
  SpaceTimeColours colours;
  colours.scale = SpaceTimeScaleOf(RatesOf(*map));
  colours.unit = "fires per PE per cycle";
  Plot plot;
  const std::string event = CauseEventName(of.event);
  plot.words.title = "Chain that led to " + (of.isEnd ? "the last " + event : "this " + event) +
                     (of.chain.IsCertain() ? "" : " (inferred)");
  plot.words.finding = FindingOf(of);
  plot.words.caption = CaptionOf(
      run, {(of.isEnd ? "last " : "") + CauseEventWords(of.event),
            CauseEvidenceWords(of.chain.IsCertain()),
            of.level == Level::PE ? "" : "drawn by " + std::string(LevelName(of.level)),
            ARRAY_WORDS, style.slide ? "" : "on the map: background = fires as in spacetime"});
  plot.numbers = [&run, &of] { return NumbersOf(run, of); };
  plot.body = std::make_unique<WhyPlot>(run.counts->Places().Shape(), of.level, of.path, map,
                                        std::move(colours));
  return plot;
}

}  // namespace marrowfin
