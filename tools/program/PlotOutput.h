#ifndef TOOLS_PROGRAM_PLOTOUTPUT_H
#define TOOLS_PROGRAM_PLOTOUTPUT_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "render/plot/PlottedRun.h"
#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"

namespace marrowfin {

// How a plot looks and where it goes: the flags that all kinds of plot share.
struct PlotFlags {
  std::optional<std::string> output;
  std::optional<std::string> csv;
  std::optional<std::string> json;
  std::optional<std::string> captionFile;
  bool force = false;
  std::string theme = "light";
  std::string size;
  double text = 1;
  bool noTitle = false;
  bool noCaption = false;

  // `usual` is the size of the kind unless another is given: "column" or "wide".
  void Declare(CLI::App& app, const std::string& usual);

  // A refusal of flags that write nothing, one over the other, or over a trace that is read or what
  // stands beside it.
  MaybeFailure Check(const std::vector<std::string>& traces) const;

  PlotStyle Style() const;
};

// The flag of kinds with a colour scale that ends where somebody says.
void AddScaleMax(CLI::App& app, std::optional<double>& scaleMax);

// Draws a plot, and writes what the flags ask for: the picture, its caption, and the numbers behind
// it. `kind` names it among others.
MaybeFailure WritePlot(const PlotFlags& flags, const std::string& kind, const Plot& plot,
                       const Console& console);

// The names of a map of flags' values, for CLI::IsMember.
template <class Map>
std::vector<std::string> NamesOf(const Map& values) {
  std::vector<std::string> names;
  for (const auto& [name, value] : values) {
    names.push_back(name);
  }
  return names;
}

}  // namespace marrowfin

#endif
