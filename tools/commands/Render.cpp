#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "render/ArrayRenderer.h"
#include "render/Png.h"
#include "tools/program/Flags.h"
#include "tools/program/Moment.h"
#include "tools/program/Output.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace render run.trace --step 100 -o a.png\n"
    "  marrowfin-trace render run.trace --cycle 5000 -c 4 -d 2 -p 4 --size 1080x1080 -o a.png\n"
    "  marrowfin-trace render run.trace --step 100 --spin 30 -o - | display\n"
    "\n"
    "--step gives, to the pixel, what the viewer's window shows after so many animation steps of\n"
    "the same trace with the same -c, -d, -p and -F; --cycle draws the state with every event up\n"
    "to and including that cycle applied. No screen is needed. The same options give the same\n"
    "bytes.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, shows no such moment or breaks off before\n"
    "all of it, 2 command line refused, 3 nothing draws here or the picture cannot be written.";

constexpr uint32_t LONGEST_SIDE = 16384;  // of a picture, in pixels

struct RenderFlags {
  std::string trace;
  std::string output;
  MomentFlags moment;
  ShapeFlags shape;
  WindowView view;
  bool verbose = false;
};

bool ReadSide(const std::string& text, uint32_t& side) {
  std::string digits = text;
  if (!MakeDecimal(digits).empty() || digits.size() > 5) {
    return false;
  }
  side = static_cast<uint32_t>(std::stoul(digits));
  return side > 0 && side <= LONGEST_SIDE;
}

std::optional<PictureSize> ReadSize(const std::string& text) {
  const size_t cross = text.find('x');
  PictureSize size;
  if (cross == std::string::npos || !ReadSide(text.substr(0, cross), size.width) ||
      !ReadSide(text.substr(cross + 1), size.height)) {
    return std::nullopt;
  }
  return size;
}

std::string CheckSize(const std::string& text) {
  return ReadSize(text) ? "" : text + " is no size: say WxH, from 1x1 to 16384x16384";
}

std::string SizeText(PictureSize size) {
  return std::to_string(size.width) + " by " + std::to_string(size.height) + " pixels";
}

MaybeFailure CheckOutput(const RenderFlags& flags) {
  if (IsSameFile(flags.trace, flags.output)) {
    return Failure{EXIT_USAGE, flags.output + ": is the trace itself",
                   "Name another file with -o."};
  }
  return std::nullopt;
}

// What is never on the screen has no picture.
MaybeFailure CheckShown(const RenderFlags& flags, const ArrayState& state) {
  if (state.shown) {
    return std::nullopt;
  }
  return Failure{EXIT_INPUT,
                 flags.trace + ": step " + std::to_string(state.step) +
                     " is never drawn: the trace ends in it",
                 "Ask for a step before it, or with --cycle for all events up to a cycle."};
}

// Mesa keeps what it compiled in a folder of the user, and complains on standard error where it
// cannot: for what a picture saves by it that is too much.
void KeepNoShaders() { setenv("MESA_SHADER_CACHE_DISABLE", "true", 0); }

MaybeFailure Draw(const RenderFlags& flags, const ArrayState& state, const Console& console,
                  Picture& picture) {
  KeepNoShaders();
  auto renderer = ArrayRenderer::Open(state.shape, flags.view);
  if (!renderer) {
    return OutputFailureOf(renderer.Why());
  }
  if (flags.verbose) {
    console.err << flags.output << ": " << SizeText((*renderer)->Size()) << " of step "
                << state.step << ", cycle " << state.cycle << ", " << ShapeText(state.shape)
                << ", drawn by " << (*renderer)->Drawer() << "\n";
  }
  Result<Picture> drawn = (*renderer)->Draw(state);
  if (!drawn) {
    return OutputFailureOf(drawn.Why());
  }
  picture = std::move(drawn).Take();
  return std::nullopt;
}

MaybeFailure Write(const Picture& picture, const std::string& path) {
  Output output;
  if (MaybeFailure failure = path == "-" ? output.OpenStandard() : output.Open(path)) {
    return failure;
  }
  if (const Fault fault = WritePng(picture, output.Sink())) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure Render(const RenderFlags& flags, const Console& console) {
  for (const auto& check : {flags.moment.Check(), flags.shape.Check(), CheckOutput(flags)}) {
    if (check) {
      return check;
    }
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Summary& summary = trace.index->GetSummary();
  ArrayShape shape;
  if (MaybeFailure failure = flags.shape.ShapeFor(flags.trace, summary, shape)) {
    return failure;
  }
  ArrayState state;
  if (MaybeFailure failure = TellState(flags.moment, shape, trace, console, state)) {
    return failure;
  }
  if (IsCutShort(flags.moment, state, summary)) {
    return CutShort(summary.end);
  }
  if (MaybeFailure failure = CheckShown(flags, state)) {
    return failure;
  }
  Picture picture;
  if (MaybeFailure failure = Draw(flags, state, console, picture)) {
    return failure;
  }
  return Write(picture, flags.output);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<RenderFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  app.add_option("-o,--output", flags->output, "The PNG file to write; - is standard output")
      ->required();
  flags->moment.Declare(app);
  flags->shape.Declare(app);
  app.add_option_function<std::string>(
         "--size", [flags](const std::string& text) { flags->view.size = ReadSize(text); },
         "Width and height of the window, as in 820x820; what the viewer opens unless given")
      ->check(CLI::Validator(CheckSize, ""));
  AddCount(app, "--spin", flags->view.spin, "Turned as by so many steps of spinning")
      ->check(CLI::Range(0U, WindowView::MOST_SPIN));
  app.add_flag("--verbose", flags->verbose, "Say what was drawn, and by what");
  return [flags](const Console& console) { return Render(*flags, console); };
}

}  // namespace

extern const Subcommand renderSubcommand = {"render", "Draw a moment of a trace as the viewer does",
                                            footer, Configure};

}  // namespace marrowfin
