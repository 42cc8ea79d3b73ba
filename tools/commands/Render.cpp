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
#include "render/Film.h"
#include "render/Png.h"
#include "tools/program/Flags.h"
#include "tools/program/Frames.h"
#include "tools/program/Interruption.h"
#include "tools/program/Moment.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace render run.trace --step 100 -o a.png\n"
    "  marrowfin-trace render run.trace --cycle 5000 -c 4 -d 2 -p 4 --size 1080x1080 -o a.png\n"
    "  marrowfin-trace render run.trace --step 100 --spin 30 -o - | display\n"
    "  marrowfin-trace render run.trace --from 100 --to 400 --fps 24 -o a.mp4\n"
    "  marrowfin-trace render run.trace --cycles --every 10 -o a.webm\n"
    "  marrowfin-trace render run.trace --sheet 4x3 -o a.png\n"
    "\n"
    "--step gives, to the pixel, what the viewer's window shows after so many animation steps of\n"
    "the same trace with the same -c, -d, -p and -F; --cycle draws the state with every event up\n"
    "to and including that cycle applied. No screen is needed. The same options give the same\n"
    "bytes.\n"
    "\n"
    "A name that ends in .mp4, .webm, .gif or .apng asks for a film, which ffmpeg makes; --sheet\n"
    "for one picture of many moments, row by row.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, shows no such moment or breaks off before\n"
    "all of it, 2 command line refused, 3 nothing draws here, there is no ffmpeg, or the output\n"
    "cannot be written.";

constexpr uint32_t LONGEST_SIDE = 16384;  // of a picture, in pixels
constexpr uint32_t MOST_TILES = 1000;     // along each side of a sheet

struct RenderFlags {
  std::string trace;
  std::string output;
  MomentFlags moment;
  FrameFlags frames;
  ShapeFlags shape;
  WindowView view;
  std::optional<PictureSize> sheet;  // columns and rows
  uint32_t perSecond = 12;
  std::optional<FilmFormat> format;
  bool verbose = false;

  bool IsFilm() const { return format || FormatOfName(output); }
};

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

std::string SizeText(PictureSize size) {
  return std::to_string(size.width) + " by " + std::to_string(size.height) + " pixels";
}

// What the output is to show.

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

// Opening what draws and what is written.

// Mesa keeps what it compiled in a folder of the user, and complains on standard error where it
// cannot: for what a picture saves by it that is too much.
void KeepNoShaders() { setenv("MESA_SHADER_CACHE_DISABLE", "true", 0); }

MaybeFailure OpenRenderer(const RenderFlags& flags, const ArrayShape& shape,
                          std::unique_ptr<ArrayRenderer>& renderer) {
  KeepNoShaders();
  auto opened = ArrayRenderer::Open(shape, flags.view);
  if (!opened) {
    return OutputFailureOf(opened.Why());
  }
  renderer = std::move(opened).Take();
  return std::nullopt;
}

MaybeFailure OpenOutput(const std::string& path, Output& output) {
  return path == "-" ? output.OpenStandard() : output.Open(path);
}

MaybeFailure WritePicture(const Picture& picture, const std::string& path) {
  Output output;
  if (MaybeFailure failure = OpenOutput(path, output)) {
    return failure;
  }
  if (const Fault fault = WritePng(picture, output.Sink())) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

// Says what is drawn, for whoever wants to know.
void Account(const RenderFlags& flags, const ArrayRenderer& renderer, const std::string& what,
             const ArrayShape& shape, const Console& console) {
  if (flags.verbose) {
    console.err << LineFor(console.err, flags.output) << ": " << SizeText(renderer.Size()) << " of "
                << what << ", " << ShapeText(shape) << ", drawn by " << renderer.Drawer() << "\n";
  }
}

std::string MomentText(const ArrayState& state) {
  return "step " + std::to_string(state.step) + ", cycle " + std::to_string(state.cycle);
}

// One moment.
MaybeFailure RenderPicture(const RenderFlags& flags, const ArrayShape& shape, IndexedTrace& trace,
                           const Console& console) {
  ArrayState state;
  if (MaybeFailure failure = TellState(flags.moment, shape, trace, console, state)) {
    return failure;
  }
  const Summary& summary = trace.index->GetSummary();
  if (IsCutShort(flags.moment, state, summary)) {
    return CutShort(summary.end);
  }
  if (MaybeFailure failure = CheckShown(flags, state)) {
    return failure;
  }
  std::unique_ptr<ArrayRenderer> renderer;
  if (MaybeFailure failure = OpenRenderer(flags, shape, renderer)) {
    return failure;
  }
  Account(flags, *renderer, MomentText(state), shape, console);
  const Result<Picture> drawn = renderer->Draw(state);
  return drawn ? WritePicture(*drawn, flags.output) : OutputFailureOf(drawn.Why());
}

// Many moments. Work that is interrupted ends with a failure that nobody reads: the program ends of
// the signal.

using TakeFrame = std::function<Fault(const std::vector<Pixel>& pixels)>;

MaybeFailure DrawFrames(const RenderFlags& flags, Frames& frames, ArrayRenderer& renderer,
                        const Console& console, const TakeFrame& take) {
  const Interruption interruption;
  ProgressLine line(console.terminal, "drawing " + flags.output, "pictures", 1);
  std::vector<Pixel> pixels;
  for (uint64_t i = 0; i < frames.Count(); ++i) {
    if (interruption.Asked()) {
      return OutputFailureOf(CancelledFault(flags.output));
    }
    if (MaybeFailure failure = frames.Next()) {
      return failure;
    }
    if (const Fault fault = renderer.DrawInto(frames.State(), pixels)) {
      return OutputFailureOf(fault);
    }
    if (const Fault fault = take(pixels)) {
      return OutputFailureOf(fault);
    }
    line.Update(i + 1, frames.Count());
  }
  return std::nullopt;
}

MaybeFailure RenderFilm(const RenderFlags& flags, Frames& frames, ArrayRenderer& renderer,
                        const Console& console) {
  const Interruption interruption;  // goes last: ffmpeg has ended when the program does
  const FilmFormat format = flags.format ? *flags.format : *FormatOfName(flags.output);
  auto encoder = FilmEncoder::Start(format, renderer.Size(), flags.perSecond);
  if (!encoder) {
    return OutputFailureOf(encoder.Why());
  }
  Output output;
  if (MaybeFailure failure = OpenOutput(flags.output, output)) {
    return failure;
  }
  const auto take = [&](const std::vector<Pixel>& pixels) { return (*encoder)->Add(pixels); };
  if (MaybeFailure failure = DrawFrames(flags, frames, renderer, console, take)) {
    return failure;
  }
  if (const Fault fault = (*encoder)->Finish(output.Sink())) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure RenderSheet(const RenderFlags& flags, Frames& frames, ArrayRenderer& renderer,
                         const Console& console) {
  const PictureSize tile = renderer.Size();
  const uint64_t width = uint64_t{tile.width} * flags.sheet->width;
  const uint64_t height = uint64_t{tile.height} * flags.sheet->height;
  if (width > LONGEST_SIDE || height > LONGEST_SIDE) {
    return Failure{EXIT_USAGE,
                   flags.output + ": a sheet of " + std::to_string(width) + " by " +
                       std::to_string(height) + " pixels is longer than 16384",
                   "Give a smaller --size for each picture."};
  }
  const PictureSize size = {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
  std::vector<Pixel> sheet(size.Pixels(), Pixel{255, 255, 255, 0});
  uint64_t number = 0;
  const auto take = [&](const std::vector<Pixel>& pixels) {
    Pixel* to = sheet.data() + number / flags.sheet->width * tile.height * width +
                number % flags.sheet->width * tile.width;
    for (size_t row = 0; row < tile.height; ++row, to += width) {
      std::copy_n(pixels.data() + row * tile.width, tile.width, to);
    }
    ++number;
    if (flags.verbose) {
      console.err << LineFor(console.err, flags.output) << ": picture " << number << ": "
                  << MomentText(frames.State()) << "\n";
    }
    return Fault();
  };
  if (MaybeFailure failure = DrawFrames(flags, frames, renderer, console, take)) {
    return failure;
  }
  return WritePicture(PictureOf(size, sheet), flags.output);
}

MaybeFailure RenderFrames(const RenderFlags& flags, const ArrayShape& shape, IndexedTrace& trace,
                          const Console& console) {
  Frames frames(flags.frames, flags.moment.SkipTo(), shape, trace);
  const std::optional<uint64_t> most =
      flags.sheet ? std::optional<uint64_t>(flags.sheet->Pixels()) : std::nullopt;
  if (MaybeFailure failure = frames.Plan(shape, console, most)) {
    return failure;
  }
  std::unique_ptr<ArrayRenderer> renderer;
  if (MaybeFailure failure = OpenRenderer(flags, shape, renderer)) {
    return failure;
  }
  Account(flags, *renderer, std::to_string(frames.Count()) + " moments", shape, console);
  return flags.sheet ? RenderSheet(flags, frames, *renderer, console)
                     : RenderFilm(flags, frames, *renderer, console);
}

MaybeFailure Render(const RenderFlags& flags, const Console& console) {
  for (const auto& check : {CheckMoments(flags), flags.shape.Check(), CheckOutput(flags)}) {
    if (check) {
      return check;
    }
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  ArrayShape shape;
  if (MaybeFailure failure = flags.shape.ShapeFor(flags.trace, trace.index->GetSummary(), shape)) {
    return failure;
  }
  return flags.IsFilm() || flags.sheet ? RenderFrames(flags, shape, trace, console)
                                       : RenderPicture(flags, shape, trace, console);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<RenderFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  app.add_option("-o,--output", flags->output,
                 "The file to write, .png, .mp4, .webm, .gif or .apng; - is standard output")
      ->required();
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
  AddSize(app, "--size", LONGEST_SIDE, flags->view.size,
          "Width and height of the window, as in 820x820; what the viewer opens unless given");
  AddCount(app, "--spin", flags->view.spin, "Turned as by so many steps of spinning")
      ->check(CLI::Range(0U, WindowView::MOST_SPIN));
  app.add_flag("--verbose", flags->verbose, "Say what was drawn, and by what");
  return [flags](const Console& console) { return Render(*flags, console); };
}

}  // namespace

extern const Subcommand renderSubcommand = {
    "render", "Draw moments of a trace as the viewer does, as pictures or films", footer,
    Configure};

}  // namespace marrowfin
