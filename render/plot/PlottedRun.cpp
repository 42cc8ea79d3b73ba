#include "render/plot/PlottedRun.h"

#include "measure/NumberText.h"

namespace marrowfin {

std::string AxesText(PerAxis axis) {
  return std::to_string(axis.columns) + " × " + std::to_string(axis.rows);
}

std::string ArrayWords(const ArrayShape& shape) {
  std::string words;
  if (shape.Switches() > 1) {
    words += AxesText(shape.clusters) + " clusters of ";
  }
  if (shape.domains.columns * shape.domains.rows > 1) {
    words += AxesText(shape.domains) + " domains of ";
  }
  return words + AxesText(shape.pes) + " PEs";
}

std::string CaptionOf(const PlottedRun& run, const std::vector<std::string>& more) {
  const RunMeasures& m = run.measures;
  std::string caption = run.trace + " · cycles " + CountText(m.range.first) + " to " +
                        CountText(m.range.last) + (run.whole ? " (all)" : " (part)");
  if (!run.chosen.empty()) {
    caption += " · " + run.chosen;
  }
  caption += " · " + ArrayWords(run.counts->Places().Shape());
  for (const std::string& part : more) {
    caption += part.empty() ? "" : " · " + part;
  }
  return caption;
}

std::vector<std::pair<std::string, NumberCell>> FactsOf(const PlottedRun& run) {
  return {{"trace", run.trace},
          {"firstCycle", run.measures.range.first},
          {"lastCycle", run.measures.range.last},
          {"records", run.measures.records}};
}

std::string UnitsText(Level level, uint64_t count) { return CountOf(count, LevelName(level)); }

std::string UnitText(const ArrayShape& shape, Level level, size_t unit) {
  const uint32_t columns = UnitsOf(shape, level).columns;
  std::string name = LevelName(level);
  if (level != Level::PE) {
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
  }
  return name + " " +
         PlaceText(static_cast<uint32_t>(unit % columns), static_cast<uint32_t>(unit / columns));
}

}  // namespace marrowfin
