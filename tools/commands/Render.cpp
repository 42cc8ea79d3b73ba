#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "render/ArrayRenderer.h"
#include "render/floorplan/FloorplanRenderer.h"
#include "tools/commands/RenderFlags.h"
#include "tools/commands/RenderOutput.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/Flags.h"
#include "tools/program/Frames.h"
#include "tools/program/Moment.h"
#include "tools/program/OutputApart.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

constexpr char renderFooter[] =
    "Examples:\n"
    "  marrowfin-trace render run.trace --step 100 -o a.png\n"
    "  marrowfin-trace render run.trace --cycle 5000 -c 4 -d 2 -p 4 --size 1080x1080 -o large.png\n"
    "  marrowfin-trace render run.trace --step 100 --spin 30 -o - | display\n"
    "  marrowfin-trace render run.trace --from 100 --to 400 --fps 24 -o a.mp4\n"
    "  marrowfin-trace render run.trace --cycles --every 10 -o a.webm\n"
    "  marrowfin-trace render run.trace --sheet 4x3 -o sheet.png\n"
    "  marrowfin-trace render run.trace --natural --cycle 5000 -o floorplan.png\n"
    "\n"
    "--step gives, to the pixel, what the viewer's window shows after so many animation steps of\n"
    "the same trace with the same -c, -d, -p and -F; --cycle draws the state with every event up\n"
    "to and including that cycle applied. No screen is needed. The same options give the same\n"
    "bytes.\n"
    "\n"
    "--natural draws a floorplan: column 0 at the left, row 0 below, what is fresh solid, what is\n"
    "old hollow. Where elements have no room, domains are drawn, or clusters, in the colour of "
    "their\n"
    "most frequent thread, the paler the older; --verbose says which. Companion and flags tell "
    "the\n"
    "shape, which need not be square.\n"
    "\n"
    "A name that ends in .mp4, .webm, .gif or .apng asks for a film, which ffmpeg makes; --sheet\n"
    "for one picture of many moments, row by row.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, shows no such moment or breaks off before\n"
    "all of it, 2 command line refused, 3 nothing draws here, there is no ffmpeg, or the output\n"
    "cannot be written.";

constexpr uint32_t MOST_TILES = 1000;  // along each side of a sheet

bool ReadSide(const std::string& text, uint32_t most, uint32_t& side) {
  std::string digits = text;
  if (!MakeDecimal(digits).empty() || digits.size() > 5) {
    return false;
  }
  side = static_cast<uint32_t>(std::stoul(digits));
  return side > 0 && side <= most;
}

// "820x400".
std::optional<PictureSize> ReadSize(const std::string& text, uint32_t most) {
  const size_t cross = text.find('x');
  PictureSize size;
  if (cross == std::string::npos || !ReadSide(text.substr(0, cross), most, size.width) ||
      !ReadSide(text.substr(cross + 1), most, size.height)) {
    return std::nullopt;
  }
  return size;
}

void AddSize(CLI::App& app, const std::string& name, uint32_t most,
             std::optional<PictureSize>& size, const std::string& help) {
  app.add_option_function<std::string>(
         name, [&size, most](const std::string& text) { size = ReadSize(text, most); }, help)
      ->check(CLI::Validator(
          [most](const std::string& text) {
            return ReadSize(text, most) ? std::string()
                                        : text + " is no size: say WxH, from 1x1 to " +
                                              std::to_string(most) + "x" + std::to_string(most);
          },
          ""));
}

// What the output is to show.

// A floorplan is of cycles, and what belongs to the window alone has no meaning for it.
MaybeFailure CheckNatural(const RenderFlags& flags) {
  if (!flags.natural) {
    return flags.colors
               ? MaybeFailure(Failure{EXIT_USAGE, "--theme is of floorplans: the viewer has one",
                                      "Give --natural as well."})
               : std::nullopt;
  }
  if (flags.moment.step || flags.moment.skipTo || flags.view.spin > 0) {
    return Failure{EXIT_USAGE, "--natural shows cycles, as a floorplan that nothing turns",
                   "Give --cycle, or --from and --to, without --step, -F and --spin."};
  }
  return std::nullopt;
}

MaybeFailure CheckMoments(const RenderFlags& flags) {
  if (!flags.IsFilm() && !flags.sheet) {
    if (flags.frames.Given()) {
      return Failure{EXIT_USAGE, flags.output + ": a picture shows one moment",
                     "Give --step or --cycle, or ask for a film or for --sheet."};
    }
    return flags.moment.Check();
  }
  if (flags.moment.step || flags.moment.cycle) {
    return Failure{EXIT_USAGE,
                   flags.output + ": --step and --cycle ask for a picture of one moment",
                   "Give --from and --to."};
  }
  if (flags.IsFilm() && flags.sheet) {
    return Failure{EXIT_USAGE, flags.output + ": a sheet is a picture and no film",
                   "Give it a name that ends in .png."};
  }
  return flags.frames.Check(flags.moment.skipTo);
}

// Whether nobody chooses the name of an output by its format: standard output, devices and pipes.
bool IsNameless(const std::string& output) {
  std::error_code error;
  return output == "-" || fs::is_other(output, error);
}

MaybeFailure CheckOutput(const RenderFlags& flags) {
  if (MaybeFailure failure = CheckOutputApart(flags.trace, flags.output)) {
    return failure;
  }
  if (!flags.IsFilm() && !flags.output.ends_with(".png") && !IsNameless(flags.output)) {
    return Failure{EXIT_USAGE, flags.output + ": its name tells no format",
                   "Name the output as .png, .mp4, .webm, .gif or .apng, or give --film."};
  }
  return CheckNotThere(flags.output, flags.force);
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

// Opening what draws and what is written.

// Mesa keeps what it compiled in a folder of the user, and complains on standard error where it
// cannot: for what a picture saves by it that is too much.
void KeepNoShaders() { setenv("MESA_SHADER_CACHE_DISABLE", "true", 0); }

MaybeFailure OpenFloorplan(const RenderFlags& flags, const ArrayShape& shape,
                           std::unique_ptr<MomentRenderer>& renderer) {
  FloorplanView view;
  view.size = flags.view.size;
  view.colors = flags.colors == "dark" ? &FloorplanColors::Dark() : &FloorplanColors::Light();
  auto opened = FloorplanRenderer::Open(shape, view);
  if (!opened) {
    return OutputFailureOf(opened.Why());
  }
  renderer = std::move(opened).Take();
  return std::nullopt;
}

MaybeFailure OpenRenderer(const RenderFlags& flags, const ArrayShape& shape,
                          std::unique_ptr<MomentRenderer>& renderer) {
  if (flags.natural) {
    return OpenFloorplan(flags, shape, renderer);
  }
  KeepNoShaders();
  auto opened = ArrayRenderer::Open(shape, flags.view);
  if (!opened) {
    return OutputFailureOf(opened.Why());
  }
  renderer = std::move(opened).Take();
  return std::nullopt;
}

// The array. A floorplan may have other columns than rows.
MaybeFailure ChooseShape(const RenderFlags& flags, const Companion& companion,
                         const IndexedTrace& trace, ArrayShape& shape) {
  const ShapeQuestion question = {flags.shape, companion, trace.index->GetSummary()};
  const std::optional<ArrayShape> known =
      flags.natural ? KnownShape(question) : ViewedShape(question);
  shape = known.value_or(shape);
  return known ? std::nullopt : MaybeFailure(NoShape(flags.trace));
}

// One moment.
MaybeFailure RenderPicture(const RenderFlags& flags, const Companion& companion,
                           IndexedTrace& trace, const Console& console) {
  ArrayShape shape;
  ArrayState state;
  if (MaybeFailure failure = AskByArray(trace, [&] {
        const MaybeFailure unknown = ChooseShape(flags, companion, trace, shape);
        return unknown ? unknown : TellState(flags.moment, shape, trace, console, state);
      })) {
    return failure;
  }
  const Summary& summary = trace.index->GetSummary();
  if (IsCutShort(flags.moment, state, summary)) {
    return CutShort(summary.end);
  }
  if (MaybeFailure failure = CheckShown(flags, state)) {
    return failure;
  }
  std::unique_ptr<MomentRenderer> renderer;
  if (MaybeFailure failure = OpenRenderer(flags, shape, renderer)) {
    return failure;
  }
  Account(flags, *renderer, MomentText(state), shape, console);
  const Result<Picture> drawn = renderer->Draw(state);
  return drawn ? WritePicture(*drawn, flags.output) : OutputFailureOf(drawn.Why());
}

// With `damagedIndex` where it failed for that.
MaybeFailure RenderFramesOnce(const RenderFlags& flags, const Companion& companion,
                              const IndexedTrace& trace, const Console& console,
                              bool& damagedIndex) {
  ArrayShape shape;
  if (MaybeFailure failure = ChooseShape(flags, companion, trace, shape)) {
    return failure;
  }
  Frames frames(flags.frames, flags.moment.SkipTo(), shape, trace);
  const std::optional<uint64_t> most =
      flags.sheet ? std::optional<uint64_t>(flags.sheet->Pixels()) : std::nullopt;
  if (MaybeFailure failure = frames.Plan(console, most)) {
    damagedIndex = frames.MetDamagedIndex();
    return failure;
  }
  std::unique_ptr<MomentRenderer> renderer;
  if (MaybeFailure failure = OpenRenderer(flags, shape, renderer)) {
    return failure;
  }
  MaybeFailure failure = flags.sheet ? WriteSheet(flags, frames, *renderer, console)
                                     : WriteFilm(flags, frames, *renderer, console);
  damagedIndex = frames.MetDamagedIndex();
  if (!failure) {
    Account(flags, *renderer, std::to_string(frames.Count()) + " moments", shape, console);
  }
  return failure;
}

// Many moments. Where the index contradicts its trace all is done anew with another one, which may
// tell another array and other moments: nothing is written before the last picture.
MaybeFailure RenderFrames(const RenderFlags& flags, const Companion& companion, IndexedTrace& trace,
                          const Console& console) {
  bool damagedIndex = false;
  const MaybeFailure failure = RenderFramesOnce(flags, companion, trace, console, damagedIndex);
  if (!damagedIndex) {
    return failure;
  }
  if (const Fault unbuilt = RebuildIndex(console, trace)) {
    return IndexingFailureOf(unbuilt, flags.trace);
  }
  return RenderFramesOnce(flags, companion, trace, console, damagedIndex);
}

MaybeFailure Render(const RenderFlags& flags, const Console& console) {
  for (const auto& check :
       {CheckNatural(flags), CheckMoments(flags), flags.shape.Check(), CheckOutput(flags)}) {
    if (check) {
      return check;
    }
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Companion companion = OpenAbout(*trace.file, console);
  return flags.IsFilm() || flags.sheet ? RenderFrames(flags, companion, trace, console)
                                       : RenderPicture(flags, companion, trace, console);
}

Action ConfigureRender(CLI::App& app) {
  const auto flags = std::make_shared<RenderFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  app.add_option("-o,--output", flags->output,
                 "The file to write, .png, .mp4, .webm, .gif or .apng; - is standard output")
      ->required();
  AddForce(app, flags->force);
  flags->moment.Declare(app);
  flags->frames.Declare(app);
  AddCount(app, "--fps", flags->perSecond, "Pictures of a film per second")
      ->capture_default_str()
      ->check(CLI::Range(1U, 240U));
  AddSize(app, "--sheet", MOST_TILES, flags->sheet,
          "One picture of many moments, so many in a row by so many rows, as in 4x3");
  app.add_option_function<std::string>(
         "--film", [flags](const std::string& name) { flags->format = FormatOfName("." + name); },
         "A film of this format, whatever the name ends in")
      ->check(CLI::IsMember(std::vector<std::string>{"mp4", "webm", "gif", "apng"}));
  flags->shape.Declare(app);
  AddSize(app, "--size", RenderFlags::LONGEST_SIDE, flags->view.size,
          "Width and height of the window, as in 820x820; what the viewer opens unless given");
  AddCount(app, "--spin", flags->view.spin, "Turned as by so many steps of spinning")
      ->check(CLI::Range(0U, WindowView::MOST_SPIN));
  app.add_flag("--natural", flags->natural,
               "A floorplan by cycles, of arrays of any shape; not what the viewer shows");
  app.add_option("--theme", flags->colors, "Colours of a floorplan: light or dark")
      ->check(CLI::IsMember({"light", "dark"}));
  app.add_flag("--verbose", flags->verbose, "Say what was drawn, and by what");
  return [flags](const Console& console) {
    flags->frames.cycles |= flags->natural && (flags->IsFilm() || flags->sheet);
    return Render(*flags, console);
  };
}

}  // namespace

extern const Subcommand renderSubcommand = {
    "render", "Draw moments of a trace as the viewer does, as pictures or films", renderFooter,
    ConfigureRender};

}  // namespace marrowfin
