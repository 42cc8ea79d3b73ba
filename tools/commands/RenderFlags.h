#ifndef TOOLS_COMMANDS_RENDERFLAGS_H
#define TOOLS_COMMANDS_RENDERFLAGS_H

#include <cstdint>
#include <optional>
#include <string>

#include "render/ArrayRenderer.h"
#include "render/Film.h"
#include "render/floorplan/FloorplanColors.h"
#include "tools/program/Frames.h"
#include "tools/program/Moment.h"
#include "tools/program/TraceInput.h"

namespace marrowfin {

struct RenderFlags {
  std::string trace;
  std::string output;
  bool force = false;
  MomentFlags moment;
  FrameFlags frames;
  ShapeFlags shape;
  WindowView view;
  bool natural = false;               // a floorplan by cycles, not what the viewer shows
  std::optional<std::string> colors;  // of a floorplan: light or dark
  std::optional<PictureSize> sheet;   // columns and rows
  uint32_t perSecond = 12;
  std::optional<FilmFormat> format;
  bool verbose = false;

  static constexpr uint32_t LONGEST_SIDE = 16384;  // of a picture, in pixels

  bool IsFilm() const { return format || FormatOfName(output); }
};

}  // namespace marrowfin

#endif
