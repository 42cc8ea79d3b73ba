#include "render/plot/ThreadsOfRun.h"

#include <algorithm>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/ThreadPlot.h"

namespace marrowfin {
namespace {

struct PlaceNumbers {
  uint64_t fire = 0;  // places that do
  uint64_t own = 0;   // of those, with nine of ten from one thread
};

PlaceNumbers NumbersOfPlaces(const ThreadMap& map) {
  PlaceNumbers numbers;
  for (const PlaceThread& place : map.places) {
    numbers.fire += place.fires > 0 ? 1 : 0;
    numbers.own += map.IsOwn(place) ? 1 : 0;
  }
  return numbers;
}

std::string FindingOf(const PlottedRun& run, const ThreadMap& map) {
  const PlaceNumbers places = NumbersOfPlaces(map);
  const std::string all = UnitsText(map.level, map.places.size());
  if (places.fire == 0) {
    return "no fires in cycles " + CountText(run.measures.range.first) + " to " +
           CountText(run.measures.range.last);
  }
  const std::string fire =
      CountText(places.fire) + " of " + all + (places.fire == 1 ? " fires" : " fire");
  if (places.own == 0) {
    return "Threads share all places: " + fire +
           ", and in none of them one thread makes 90 % of the fires";
  }
  return fire + "; in " + CountText(places.own) +
         " of them one thread makes at least 90 % of the fires, " +
         CountText(places.fire - places.own) + (places.fire - places.own == 1 ? " is" : " are") +
         " shared";
}

std::string UnitWords(const ThreadMap& map) {
  const ArrayShape& shape = map.shape;
  if (map.level == Level::PE) {
    return "PE";
  }
  const PerAxis pes =
      map.level == Level::DOMAIN
          ? shape.pes
          : PerAxis{shape.pes.columns * shape.domains.columns, shape.pes.rows * shape.domains.rows};
  return std::string(LevelName(map.level)) + " of " + AxesText(pes) + " PEs";
}

// Of which threads "others" is.
std::string OthersWords(const ThreadMap& map, const ThreadColors& colors) {
  if (colors.Entries().empty() || colors.Entries().back().name != "others") {
    return "";
  }
  const std::string told = std::to_string(colors.Entries().size() - 1);
  return "others: all threads but the " + told + " with most fires" +
         (map.fires.back() > 0 ? ", some of which are not told apart" : "");
}

PlotNumbers NumbersOf(const PlottedRun& run, const ThreadMap& map) {
  PlotNumbers numbers;
  numbers.facts = FactsOf(run);
  const PlaceNumbers places = NumbersOfPlaces(map);
  numbers.facts.insert(
      numbers.facts.end(),
      {{"level", LevelName(map.level)}, {"firing", places.fire}, {"ownThread", places.own}});
  const auto threadOf = [&](size_t slot) {
    return slot < map.threads.size() ? NumberCell(uint64_t{map.threads[slot]}) : NumberCell();
  };
  NumberTable cells = {"cells", {"column", "row", "fires", "thread", "threadFires"}, {}};
  std::vector<uint64_t> largest(map.fires.size());
  const uint32_t columns = UnitsOf(map.shape, map.level).columns;
  for (size_t i = 0; i < map.places.size(); ++i) {
    const PlaceThread& place = map.places[i];
    cells.Add({uint64_t{i % columns}, uint64_t{i / columns}, place.fires,
               place.fires > 0 ? threadOf(place.slot) : NumberCell(), place.most});
    largest[place.slot] += place.fires > 0 ? 1 : 0;
  }
  numbers.tables.push_back(std::move(cells));
  NumberTable threads = {"threads", {"thread", "fires", "places"}, {}};
  for (size_t slot = 0; slot < map.fires.size(); ++slot) {
    if (map.fires[slot] > 0) {
      threads.Add({threadOf(slot), map.fires[slot], largest[slot]});
    }
  }
  numbers.tables.push_back(std::move(threads));
  return numbers;
}

}  // namespace

Plot PlotThreads(const PlottedRun& run, const ThreadMap& map) {
  const ThreadColors colors(map);
  const bool shared = ShareAllPlaces(map);
  Plot plot;
  plot.words.title = "Which thread fires where";
  plot.words.finding = FindingOf(run, map);
  plot.words.caption = CaptionOf(
      run, {CountOf(run.measures.fires, "fire"),
            shared ? "by " + UnitWords(map) : "thread with most fires of each " + UnitWords(map),
            shared ? "" : "shared ones carry a dot", OthersWords(map, colors),
            shared ? "" : "(column, row), row 0 below"});
  plot.numbers = [&run, map] { return NumbersOf(run, map); };
  plot.body = std::make_unique<ThreadPlot>(map);
  return plot;
}

}  // namespace marrowfin
