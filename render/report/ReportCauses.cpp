#include "render/report/ReportCauses.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "measure/ShareText.h"
#include "render/report/MapLevel.h"

namespace marrowfin {
namespace {

std::string PlaceName(const ChainPlace& place) {
  return (place.isSwitch ? "switch " : "") + PlaceText(place.at.column, place.at.row);
}

std::string EvidenceText(const ReportedCauses& causes) {
  if (causes.counts.Causes() == 0) {
    return " Nothing tells what caused any event.";
  }
  if (causes.Chain().Steps() < 2) {
    return "";
  }
  return causes.Chain().IsCertain() ? " All of it is told by the companion."
                                    : " " + CountText(causes.Chain().inferred) + " of its " +
                                          CountOf(causes.Chain().Steps(), "step") +
                                          (causes.Chain().inferred == 1 ? " is" : " are") +
                                          " inferred from thread and place.";
}

}  // namespace

Result<std::optional<ReportedCauses>> FindReportedCauses(const TraceSource& trace,
                                                         const Index& index, NotesOfTrace* notes,
                                                         const CauseQuestion& question,
                                                         const ProgressCallback& progress) {
  Result<Causes> causes = FindCauses(trace, index, notes, question, progress);
  if (!causes) {
    return causes.Why();
  }
  if (!causes->last) {
    return std::optional<ReportedCauses>();
  }
  PlotStyle style;
  style.width = PlotStyle::WIDE;
  Result<PlottedChain> path = ChainToPlot(*causes, question.shape, *causes->last, style,
                                          MapLevelOf(question.shape), progress);
  if (!path) {
    return path.Why();
  }
  Result<SpaceTime> map = CountSpaceTime(trace, index, MapOfChain(question.shape, style), progress);
  if (!map) {
    return map.Why();
  }
  const Result<RunBounds> bounds = FindBounds(*causes, progress);
  if (!bounds) {
    return bounds.Why();
  }
  Result<RunSlack> slack = FindSlack(*causes, progress);
  if (!slack) {
    return slack.Why();
  }
  return std::optional<ReportedCauses>({causes->counts, std::move(path).Take(),
                                        std::move(map).Take(), *bounds, std::move(slack).Take()});
}

Plot PlotCriticalPath(const PlottedRun& run, const ReportedCauses& causes, const PlotStyle& style) {
  return PlotWhy(run, causes.path, causes.map, style);
}

std::string CriticalPathText(const ReportedCauses& causes) {
  const CausalChain& chain = causes.Chain();
  std::string text = "The critical path is the chain of causes that led to the end.";
  if (chain.firstTime > causes.path.firstTime) {
    text += " Nothing known led to its start " +
            CountOf(chain.firstTime - causes.path.firstTime, "cycle") + " after that of the run.";
  }
  return text + EvidenceText(causes);
}

ReportTable ChainTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-chain";
  table.caption = "Where its time went, in cycles";
  table.columns = {{"PE"},         {"Cycles", true}, {"Share", true},
                   {"Work", true}, {"Travel", true}, {"Wait", true}};
  std::vector<ChainPlace> places = OfKind(causes.Chain().places, false);
  const std::vector<ChainPlace> switches = OfKind(causes.Chain().places, true);
  places.insert(places.end(), switches.begin(), switches.end());
  std::stable_sort(places.begin(), places.end(), [](const ChainPlace& a, const ChainPlace& b) {
    return a.time.Sum() > b.time.Sum();
  });
  table.all = places.size();
  for (const ChainPlace& place : places) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    table.rows.push_back({PlaceName(place), CountText(place.time.Sum()),
                          ShareText(place.time.Sum(), causes.Chain().time.Sum()),
                          CountText(place.time.work), CountText(place.time.travel),
                          CountText(place.time.wait)});
  }
  return table;
}

ReportTable BoundsTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-bounds";
  table.caption = "How early it could end";
  table.columns = {{"If"}, {"Not before cycle", true}};
  table.sortable = false;
  table.onPaper = ReportTable::AT_ONCE;
  const RunBounds& bounds = causes.bounds;
  for (const auto& [what, end] : {std::pair{"as it was", bounds.end},
                                  {"nothing waits", bounds.noWaits},
                                  {"messages take no time", bounds.freeMessages},
                                  {"work takes no time", bounds.instantWork}}) {
    table.rows.push_back({what, CountText(end)});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable SlackTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-slack";
  table.caption = "Least slack, in cycles";
  table.columns = {{"PE"}, {"Fires", true}, {"Least", true}, {"Mean", true}};
  table.all = causes.slack.places.size();
  for (const PlaceSlack& place : causes.slack.places) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    table.rows.push_back({PlaceText(place.at.column, place.at.row), CountText(place.fires),
                          CountText(place.least), ThreeDigits(place.mean)});
  }
  return table;
}

}  // namespace marrowfin
