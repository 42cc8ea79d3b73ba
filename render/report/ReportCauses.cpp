#include "render/report/ReportCauses.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

std::string ShareText(uint64_t part, uint64_t all) {
  return all == 0 ? "–" : PercentText(static_cast<double>(part) / static_cast<double>(all));
}

std::string PlaceName(const ChainPlace& place) {
  return (place.isSwitch ? "switch " : "") + PlaceText(place.at.column, place.at.row);
}

std::string EvidenceText(const ReportedCauses& causes) {
  if (causes.counts.Causes() == 0) {
    return " Nothing tells what caused any event.";
  }
  if (causes.chain.Steps() < 2) {
    return "";
  }
  return causes.chain.IsCertain() ? " All of it is told by the companion."
                                  : " " + CountText(causes.chain.inferred) + " of its " +
                                        CountOf(causes.chain.Steps(), "step") +
                                        (causes.chain.inferred == 1 ? " is" : " are") +
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
  Result<CausalChain> chain = FindChain(*causes, question.shape, *causes->last, progress);
  if (!chain) {
    return chain.Why();
  }
  const Result<RunBounds> bounds = FindBounds(*causes, progress);
  if (!bounds) {
    return bounds.Why();
  }
  Result<RunSlack> slack = FindSlack(*causes, progress);
  if (!slack) {
    return slack.Why();
  }
  ReportedCauses found;
  found.counts = causes->counts;
  found.chain = std::move(chain).Take();
  found.bounds = *bounds;
  found.slack = std::move(slack).Take();
  found.firstTime = causes->firstTime;
  found.lastTime = causes->lastTime;
  return std::optional(std::move(found));
}

std::string CriticalPathText(const ReportedCauses& causes) {
  const CausalChain& chain = causes.chain;
  const uint64_t all = chain.time.Sum();
  std::string text = "The critical path, the chain of causes that led to the end, has " +
                     CountOf(chain.fires, "fire") + " and " + CountOf(chain.messages, "message") +
                     " over " + CountOf(all, "cycle");
  if (all > 0) {
    text += ": " + ShareText(chain.time.work, all) + " of them work, " +
            ShareText(chain.time.travel, all) + " travel, " + ShareText(chain.time.wait, all) +
            " wait";
  }
  text += ".";
  if (chain.firstTime > causes.firstTime) {
    text += " Nothing known led to its start " +
            CountOf(chain.firstTime - causes.firstTime, "cycle") + " after that of the run.";
  }
  return text + EvidenceText(causes);
}

ReportTable ChainTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-chain";
  table.caption = "Where the time of the critical path went, in cycles";
  table.columns = {{"PE"},         {"Cycles", true}, {"Share", true},
                   {"Work", true}, {"Travel", true}, {"Wait", true}};
  std::vector<ChainPlace> places = OfKind(causes.chain.places, false);
  const std::vector<ChainPlace> switches = OfKind(causes.chain.places, true);
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
                          ShareText(place.time.Sum(), causes.chain.time.Sum()),
                          CountText(place.time.work), CountText(place.time.travel),
                          CountText(place.time.wait)});
  }
  return table;
}

ReportTable BoundsTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-bounds";
  table.caption = "How early the run could end";
  table.columns = {{"If"}, {"No earlier than cycle", true}};
  table.sortable = false;
  const RunBounds& bounds = causes.bounds;
  for (const auto& [what, end] : {std::pair{"as it was", bounds.end},
                                  {"nothing waits", bounds.noWaits},
                                  {"messages take no time either", bounds.freeMessages},
                                  {"work takes no time, messages do", bounds.instantWork}}) {
    table.rows.push_back({what, CountText(end)});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable SlackTable(const ReportedCauses& causes) {
  ReportTable table;
  table.name = "table-slack";
  table.caption = "Least slack: cycles by which fires could have been later";
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
