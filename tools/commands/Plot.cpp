#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "render/plot/RunPlots.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/RunInput.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace plot heat run.trace -o heat.png\n"
    "  marrowfin-trace plot heat run.trace --measure utilisation --level cluster -o heat.svg\n"
    "  marrowfin-trace plot timeline run.trace --cycles 5000:9999 --theme dark -o when.pdf\n"
    "\n"
    "heat shows where work is, timeline when. The name of the output tells the format: .png, .svg\n"
    "or .pdf. The same options give the same bytes.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the picture cannot be written or nowhere is room for the index.";

struct PlotFlags {
  std::string kind;
  RunFlags run;
  std::string output;
  std::string measure = "fires";
  std::optional<std::string> level;
  std::string reduce = "mean";
  std::optional<double> scaleMax;
  std::string by = "thread";
  std::string theme = "light";
  std::string size;
  double text = 1;
  bool noTitle = false;
  bool noCaption = false;
};

const std::map<std::string, HeatWish>& Measures() {
  static const std::map<std::string, HeatWish> measures = {
      {"fires", {PlaceMeasure::FIRES}},       {"sends", {PlaceMeasure::SENDS}},
      {"receives", {PlaceMeasure::RECEIVES}}, {"utilisation", {PlaceMeasure::UTILISATION}},
      {"idle", {PlaceMeasure::IDLE}},         {"transmissions", {PlaceMeasure::FIRES, true}}};
  return measures;
}

const std::map<std::string, Level>& Levels() {
  static const std::map<std::string, Level> levels = {
      {"pe", Level::PE}, {"domain", Level::DOMAIN}, {"cluster", Level::CLUSTER}};
  return levels;
}

const std::map<std::string, const Theme*>& Themes() {
  static const std::map<std::string, const Theme*> themes = {
      {"light", &Theme::Light()}, {"dark", &Theme::Dark()}, {"print", &Theme::Print()}};
  return themes;
}

const std::map<std::string, PlotFormat>& Formats() {
  static const std::map<std::string, PlotFormat> formats = {
      {".png", PlotFormat::PNG}, {".svg", PlotFormat::SVG}, {".pdf", PlotFormat::PDF}};
  return formats;
}

template <class Value>
std::vector<std::string> NamesOf(const std::map<std::string, Value>& values) {
  std::vector<std::string> names;
  for (const auto& [name, value] : values) {
    names.push_back(name);
  }
  return names;
}

// "column", "wide", or points as in 300x200.
bool ReadSize(const std::string& text, PlotStyle& style) {
  if (text == "column" || text == "wide") {
    style.width = text == "wide" ? PlotStyle::WIDE : PlotStyle::COLUMN;
    return true;
  }
  const size_t cross = text.find('x');
  if (cross == std::string::npos || cross == 0 || cross > 5 || text.size() - cross > 6 ||
      text.size() == cross + 1 || text.find_first_not_of("0123456789x") != std::string::npos ||
      text.find('x', cross + 1) != std::string::npos) {
    return false;
  }
  style.width = std::stod(text.substr(0, cross));
  style.height = std::stod(text.substr(cross + 1));
  return style.width >= 1 && style.height >= 1;
}

std::string CheckSize(const std::string& text) {
  PlotStyle style;
  return ReadSize(text, style) ? ""
                               : text + " is no size: say column, wide, or points as in 300x200";
}

MaybeFailure CheckFlags(const PlotFlags& flags) {
  if (MaybeFailure failure = CheckOutputApart(flags.run.trace, flags.output)) {
    return failure;
  }
  const std::string extension = std::filesystem::path(flags.output).extension();
  if (flags.output != "-" && Formats().count(extension) == 0) {
    return Failure{EXIT_USAGE, flags.output + ": its name tells no format",
                   "Name the output as .png, .svg or .pdf."};
  }
  return flags.run.Check();
}

PlotStyle StyleOf(const PlotFlags& flags) {
  PlotStyle style;
  style.theme = Themes().at(flags.theme);
  const auto format = Formats().find(std::filesystem::path(flags.output).extension());
  style.format = format == Formats().end() ? PlotFormat::PNG : format->second;
  style.width = flags.kind == "heat" ? PlotStyle::COLUMN : PlotStyle::WIDE;
  if (!flags.size.empty()) {
    ReadSize(flags.size, style);
  }
  style.text = flags.text;
  style.title = !flags.noTitle;
  style.caption = !flags.noCaption;
  return style;
}

Plot PlotOf(const PlotFlags& flags, const PlottedRun& run, const PlotStyle& style) {
  if (flags.kind == "timeline") {
    return PlotTimeline(run, flags.by == "type");
  }
  HeatWish wish = Measures().at(flags.measure);
  if (flags.level) {
    wish.level = Levels().at(*flags.level);
  }
  wish.largest = flags.reduce == "max";
  wish.scaleMax = flags.scaleMax;
  return PlotHeat(run, wish, style);
}

// A page that cannot hold the plot, or is too large to be made, is what --size and --text asked
// for.
Failure RefusalOfPage(const Fault& fault) {
  Failure failure = FailureOf(fault);
  failure.code = EXIT_USAGE;
  return failure;
}

MaybeFailure Write(const PlotFlags& flags, Canvas& canvas) {
  Output output;
  if (MaybeFailure failure =
          flags.output == "-" ? output.OpenStandard() : output.Open(flags.output)) {
    return failure;
  }
  if (const Fault fault = canvas.Write(output.Sink(), flags.kind)) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure DrawPlot(const PlotFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckFlags(flags)) {
    return failure;
  }
  CountedRun counted;
  if (MaybeFailure failure = CountRunOf(flags.run, false, console, counted)) {
    return failure;
  }
  PlottedRun run;
  run.trace = std::filesystem::path(flags.run.trace).filename();
  run.whole = flags.run.AskForAll();
  run.chosen = flags.run.Chosen();
  run.counts = &*counted.counts;
  run.measures = MeasuresOf(*counted.counts);
  const PlotStyle style = StyleOf(flags);
  const Plot plot = PlotOf(flags, run, style);
  Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
  if (!canvas) {
    return RefusalOfPage(canvas.Why());
  }
  if (MaybeFailure failure = Write(flags, **canvas)) {
    return failure;
  }
  return CheckWhole(flags.run, counted);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<PlotFlags>();
  app.add_option("KIND", flags->kind, "heat or timeline")
      ->required()
      ->check(CLI::IsMember({"heat", "timeline"}));
  flags->run.Declare(app);
  app.add_option("-o,--output", flags->output, "The picture; - for PNG on standard output")
      ->required();
  app.add_option("--measure", flags->measure, "What heat shows")
      ->check(CLI::IsMember(NamesOf(Measures())))
      ->capture_default_str();
  app.add_option("--level", flags->level, "Units of heat; unless given, the finest that is seen")
      ->check(CLI::IsMember(NamesOf(Levels())));
  app.add_option("--reduce", flags->reduce, "Of the PEs of a unit: mean or max")
      ->check(CLI::IsMember({"mean", "max"}))
      ->capture_default_str();
  app.add_option("--scale-max", flags->scaleMax, "The end of the colour scale")
      ->check(CLI::PositiveNumber);
  app.add_option("--by", flags->by, "Layers of timeline: thread or type")
      ->check(CLI::IsMember({"thread", "type"}))
      ->capture_default_str();
  app.add_option("--theme", flags->theme, "light, dark, or print")
      ->check(CLI::IsMember(NamesOf(Themes())))
      ->capture_default_str();
  app.add_option("--size", flags->size, "column (240 points), wide (504), or WxH in points")
      ->check(CLI::Validator(CheckSize, ""));
  app.add_option("--text", flags->text, "Makes all text so many times as large")
      ->check(CLI::Range(0.5, 4.0))
      ->capture_default_str();
  app.add_flag("--no-title", flags->noTitle, "Without title and finding");
  app.add_flag("--no-caption", flags->noCaption, "Without caption");
  return [flags](const Console& console) { return DrawPlot(*flags, console); };
}

}  // namespace

extern const Subcommand plotSubcommand = {
    "plot", "Draw where and when a run is busy, as PNG, SVG or PDF", footer, Configure};

}  // namespace marrowfin
