#include <CLI/CLI.hpp>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "measure/AttributeValues.h"
#include "render/plot/HistogramOfRun.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char histogramPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot histogram run.trace -o distances.png\n"
    "  marrowfin-trace plot histogram noted.trace --of distance --of latency -o both.svg\n"
    "  marrowfin-trace plot histogram run.trace --of fires -o fires.png\n"
    "  marrowfin-trace plot histogram noted.trace --of attribute:size --csv sizes.csv\n"
    "\n"
    "hops, latency, total-latency (since creation) and source-wait are of packets, which are told\n"
    "where the trace has a companion that names them, or with --packets thread; distance of "
    "packets\n"
    "or else of messages; fires of PEs; attribute:NAME of the events that the companion gives one.";

const std::map<std::string, HistogramOf>& Distributions() {
  static const std::map<std::string, HistogramOf> distributions = {
      {"hops", HistogramOf::HOPS},
      {"distance", HistogramOf::DISTANCE},
      {"latency", HistogramOf::LATENCY},
      {"total-latency", HistogramOf::TOTAL_LATENCY},
      {"source-wait", HistogramOf::SOURCE_WAIT},
      {"fires", HistogramOf::FIRES}};
  return distributions;
}

constexpr char ATTRIBUTE[] = "attribute:";

bool IsAttribute(const std::string& text) {
  return text.size() > sizeof(ATTRIBUTE) - 1 && text.rfind(ATTRIBUTE, 0) == 0;
}

std::string CheckDistribution(const std::string& text) {
  if (IsAttribute(text) || Distributions().count(text) == 1) {
    return "";
  }
  std::string names;
  for (const auto& [name, of] : Distributions()) {
    names += name + ", ";
  }
  return text + " is no distribution: say " + names + "or attribute:NAME";
}

struct HistogramFlags {
  RunPlotFlags shared;
  std::vector<std::string> of;  // unless given, what Usual tells
};

// How far, and where packets arrive how long.
std::vector<std::string> Usual(const PlottedRun& run) {
  const bool arrive = run.packets != nullptr && run.packets->Delivered() > 0;
  return arrive ? std::vector<std::string>{"distance", "latency"}
                : std::vector<std::string>{"distance"};
}

bool NeedsPackets(HistogramOf of) {
  return of != HistogramOf::DISTANCE && of != HistogramOf::FIRES && of != HistogramOf::ATTRIBUTE;
}

// Packets where any distribution is of those; messages, which the distance is of where there are no
// packets, take more than sums.
RunPlotNeeds NeedsOf(const HistogramFlags& flags) {
  RunPlotNeeds needs = {.packets = flags.of.empty(), .sumsSuffice = !flags.of.empty()};
  for (const std::string& text : flags.of) {
    const HistogramOf of = IsAttribute(text) ? HistogramOf::ATTRIBUTE : Distributions().at(text);
    needs.packets = needs.packets || NeedsPackets(of) || of == HistogramOf::DISTANCE;
    needs.sumsSuffice = needs.sumsSuffice && of != HistogramOf::DISTANCE;
  }
  return needs;
}

Result<AttributeValues> ValuesOf(const HistogramFlags& flags, const Console& console, RunToPlot& of,
                                 const std::string& name) {
  const NotesFile* const notes = of.counted.companion->Notes();
  if (notes == nullptr) {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = flags.shared.run.trace;
    fault.reason = "no notes stand beside it, so nothing tells of " + name;
    fault.remedy = "record the run with a companion";
    return fault;
  }
  return AskRun(flags.shared.run, console, of.counted, [&](const ProgressCallback& progress) {
    NotesOfTrace told(*of.counted.trace.file, *of.counted.trace.index, *notes);
    Result<AttributeValues> values =
        CountAttribute(*of.counted.trace.file, *of.counted.trace.index, told, name,
                       of.counted.question.filter, progress);
    if (values) {
      ReportRefused(told.Refused(), console);
    }
    return values;
  });
}

Result<Plot> MakeHistogram(const HistogramFlags& flags, const Console& console, RunToPlot& of) {
  std::vector<HistogramWish> wishes;
  std::list<AttributeValues> values;
  for (const std::string& text : flags.of.empty() ? Usual(of.run) : flags.of) {
    HistogramWish wish;
    if (IsAttribute(text)) {
      wish.of = HistogramOf::ATTRIBUTE;
      wish.attribute = text.substr(sizeof(ATTRIBUTE) - 1);
      Result<AttributeValues> counted = ValuesOf(flags, console, of, wish.attribute);
      if (!counted) {
        return counted.Why();
      }
      values.push_back(std::move(counted).Take());
      wish.values = &values.back();
    } else {
      wish.of = Distributions().at(text);
    }
    if (NeedsPackets(wish.of) && of.run.packets == nullptr) {
      return NothingTellsPackets(flags.shared.run);
    }
    wishes.push_back(wish);
  }
  return PlotHistogram(of.run, wishes);
}

Action ConfigureHistogramPlot(CLI::App& app) {
  const auto flags = std::make_shared<HistogramFlags>();
  flags->shared.Declare(app, "wide");
  flags->shared.run.DeclarePackets(app);
  app.add_option("--of", flags->of,
                 "hops, distance, latency, total-latency, source-wait, fires or attribute:NAME; "
                 "twice for two beside each other. Unless given, distance, and where packets are "
                 "told, latency")
      ->check(CLI::Validator(CheckDistribution, ""))
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return [flags](const Console& console) -> MaybeFailure {
    if (flags->of.size() > 2) {
      return Failure{EXIT_USAGE, "--of: a picture has room for two distributions",
                     "Give it once or twice."};
    }
    return PlotRun("histogram", flags->shared, NeedsOf(*flags), console,
                   [&](RunToPlot& of) { return MakeHistogram(*flags, console, of); });
  };
}

}  // namespace

extern const Subcommand histogramKind = {
    "histogram", "How far and how long: distributions of hops, latencies, attributes",
    histogramPlotFooter, ConfigureHistogramPlot};

}  // namespace marrowfin
