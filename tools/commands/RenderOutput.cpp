#include "tools/commands/RenderOutput.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "render/Png.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/TerminalText.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

std::string SizeText(PictureSize size) {
  return std::to_string(size.width) + " by " + std::to_string(size.height) + " pixels";
}

MaybeFailure OpenOutput(const std::string& path, Output& output) { return output.Open(path); }

// Many moments. Work that is interrupted ends with a failure that nobody reads: the program ends of
// the signal.

using TakeFrame = std::function<Fault(const std::vector<Pixel>& pixels)>;

MaybeFailure DrawFrames(const RenderFlags& flags, Frames& frames, MomentRenderer& renderer,
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

}  // namespace

void Account(const RenderFlags& flags, const MomentRenderer& renderer, const std::string& what,
             const ArrayShape& shape, const Console& console) {
  if (flags.verbose) {
    console.err << LineFor(console.err, flags.output) << ": " << SizeText(renderer.Size()) << " of "
                << what << ", " << ArrayText(shape) << ", drawn by " << renderer.Drawer() << "\n";
  }
}

std::string MomentText(const ArrayState& state) {
  return "step " + std::to_string(state.step) + ", cycle " + std::to_string(state.cycle);
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

MaybeFailure WriteFilm(const RenderFlags& flags, Frames& frames, MomentRenderer& renderer,
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

MaybeFailure WriteSheet(const RenderFlags& flags, Frames& frames, MomentRenderer& renderer,
                        const Console& console) {
  const PictureSize tile = renderer.Size();
  const uint64_t width = uint64_t{tile.width} * flags.sheet->width;
  const uint64_t height = uint64_t{tile.height} * flags.sheet->height;
  if (width > RenderFlags::LONGEST_SIDE || height > RenderFlags::LONGEST_SIDE) {
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

}  // namespace marrowfin
