#include "tools/program/PlotOutput.h"

#include <filesystem>
#include <limits>
#include <map>
#include <utility>

#include "tools/program/ExistingOutput.h"
#include "tools/program/NumbersText.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/TextOutput.h"

namespace marrowfin {
namespace {

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

// "column", "wide", "slide", or points as in 300x200.
bool ReadSize(const std::string& text, PlotStyle& style) {
  if (text == "column" || text == "wide") {
    style.width = text == "wide" ? PlotStyle::WIDE : PlotStyle::COLUMN;
    return true;
  }
  if (text == "slide") {
    style.slide = true;
    style.width = PlotStyle::SLIDE_WIDTH;
    style.height = PlotStyle::SLIDE_HEIGHT;
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
  return ReadSize(text, style)
             ? ""
             : text + " is no size: say column, wide, slide, or points as in 300x200";
}

// A number within a range; of no range is what is no number.
std::string CheckNumber(const std::string& text, double least, double most,
                        const std::string& range) {
  double number = 0;
  const bool isNumber = CLI::detail::lexical_cast(text, number);
  return isNumber && number >= least && number <= most ? "" : text + " is no number " + range;
}

// A page that cannot hold the plot, or is too large to be made, is what --size and --text asked
// for.
Failure RefusalOfPage(const Fault& fault) {
  Failure failure = FailureOf(fault);
  failure.code = EXIT_USAGE;
  return failure;
}

// A place that a flag names.
struct Target {
  const char* flag;
  std::string path;
};

std::vector<Target> TargetsOf(const PlotFlags& flags) {
  std::vector<Target> targets;
  for (const auto& [flag, path] :
       {std::pair{"-o", &flags.output}, std::pair{"--csv", &flags.csv},
        std::pair{"--json", &flags.json}, std::pair{"--caption", &flags.captionFile}}) {
    if (*path) {
      targets.push_back({flag, **path});
    }
  }
  return targets;
}

MaybeFailure CheckApart(const std::vector<Target>& targets) {
  for (size_t i = 0; i < targets.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (AreOneOutput(targets[i].path, targets[j].path)) {
        return Failure{
            EXIT_USAGE,
            targets[i].path + ": asked for by " + targets[j].flag + " and by " + targets[i].flag,
            "Name another one of them."};
      }
    }
  }
  return std::nullopt;
}

MaybeFailure WriteText(const std::string& path, const std::string& text, const Console& console) {
  TextOutput output(console);
  if (MaybeFailure failure =
          output.Open(path == "-" ? std::nullopt : std::optional<std::string>(path))) {
    return failure;
  }
  output.Text() = text;
  return output.Commit();
}

MaybeFailure WritePicture(const std::string& path, const std::string& kind, Canvas& canvas) {
  Output output;
  if (MaybeFailure failure = output.Open(path)) {
    return failure;
  }
  if (const Fault fault = canvas.Write(output.Sink(), kind)) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure WriteNumbers(const PlotFlags& flags, const std::string& kind, const Plot& plot,
                          const Console& console) {
  if (!flags.csv && !flags.json) {
    return std::nullopt;
  }
  PlotNumbers numbers = plot.numbers();
  if (flags.csv) {
    if (MaybeFailure failure = WriteText(*flags.csv, NumbersCsv(numbers.tables.at(0)), console)) {
      return failure;
    }
  }
  if (!flags.json) {
    return std::nullopt;
  }
  std::vector<std::pair<std::string, NumberCell>> facts = {{"plot", kind},
                                                           {"title", plot.words.title},
                                                           {"finding", plot.words.finding},
                                                           {"caption", plot.words.caption}};
  facts.insert(facts.end(), numbers.facts.begin(), numbers.facts.end());
  numbers.facts = std::move(facts);
  return WriteText(*flags.json, NumbersJson(numbers), console);
}

}  // namespace

void PlotFlags::Declare(CLI::App& app, const std::string& usual) {
  size = usual;
  app.add_option("-o,--output", output,
                 "The picture: .png, .svg or .pdf; - for PNG on standard output");
  AddForce(app, force);
  app.add_option("--csv", csv, "Write the numbers of the picture here; - for standard output");
  app.add_option("--json", json, "The same as JSON, with what the picture says");
  app.add_option("--theme", theme, "light, dark, or print")
      ->check(CLI::IsMember(NamesOf(Themes())))
      ->capture_default_str();
  app.add_option("--size", size, "column (240 points), wide (504), slide, or WxH in points")
      ->check(CLI::Validator(CheckSize, ""))
      ->capture_default_str();
  app.add_option("--text", text, "Makes all text so many times as large")
      ->check([](const std::string& many) { return CheckNumber(many, 0.5, 4, "from 0.5 to 4"); })
      ->capture_default_str();
  app.add_flag("--no-title", noTitle, "Without title and finding");
  app.add_flag("--no-caption", noCaption, "Without caption");
  app.add_option("--caption", captionFile, "Write title, finding and caption here, as text");
}

void AddScaleMax(CLI::App& app, std::optional<double>& scaleMax) {
  app.add_option("--scale-max", scaleMax, "The end of the colour scale")
      ->check([](const std::string& end) {
        return CheckNumber(end, std::numeric_limits<double>::min(),
                           std::numeric_limits<double>::max(), "above 0");
      });
}

MaybeFailure PlotFlags::Check(const std::vector<std::string>& traces) const {
  const std::vector<Target> targets = TargetsOf(*this);
  if (targets.empty()) {
    return Failure{EXIT_USAGE, "nothing is asked for",
                   "Name a picture with -o, or ask for its numbers with --csv or --json."};
  }
  for (const Target& target : targets) {
    for (const std::string& trace : traces) {
      if (MaybeFailure failure = CheckOutputApart(trace, target.path, target.flag)) {
        return failure;
      }
    }
  }
  const std::string extension = std::filesystem::path(output.value_or("-")).extension();
  if (output && *output != "-" && Formats().count(extension) == 0) {
    return Failure{EXIT_USAGE, *output + ": its name tells no format",
                   "Name the output as .png, .svg or .pdf."};
  }
  for (const Target& target : targets) {
    if (MaybeFailure failure = CheckNotThere(target.path, force)) {
      return failure;
    }
  }
  return CheckApart(targets);
}

PlotStyle PlotFlags::Style() const {
  PlotStyle style;
  style.theme = Themes().at(theme);
  const auto format = Formats().find(std::filesystem::path(output.value_or("-")).extension());
  style.format = format == Formats().end() ? PlotFormat::PNG : format->second;
  ReadSize(size, style);
  style.text = text;
  style.title = !noTitle;
  style.caption = !noCaption;
  return style;
}

MaybeFailure WritePlot(const PlotFlags& flags, const std::string& kind, const Plot& plot,
                       const Console& console) {
  if (flags.output) {
    Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, flags.Style());
    if (!canvas) {
      return RefusalOfPage(canvas.Why());
    }
    if (MaybeFailure failure = WritePicture(*flags.output, kind, **canvas)) {
      return failure;
    }
  }
  if (flags.captionFile) {
    const std::string text =
        plot.words.title + "\n" + plot.words.finding + "\n" + plot.words.caption + "\n";
    if (MaybeFailure failure = WriteText(*flags.captionFile, text, console)) {
      return failure;
    }
  }
  return WriteNumbers(flags, kind, plot, console);
}

}  // namespace marrowfin
