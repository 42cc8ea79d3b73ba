#include "render/floorplan/FloorplanShapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "render/plot/Theme.h"

namespace marrowfin {
namespace {

constexpr double WEDGE_PITCH = 8;     // pixels between elements from which messages are wedges
constexpr double FULL_PITCH = 12;     // from which they have their full width
constexpr double TRIMMED_PITCH = 22;  // from which they end at the edges of cells
constexpr double NEW_WIDTH = 3.6;
constexpr double NEW_TIP = 0.8;
constexpr double OLD_WIDTH = 2.6;
constexpr double HEAD_LENGTH = 6;
constexpr double HEAD_WIDTH = 5.6;
constexpr double THIN = 0.7;  // of the strength of a wedge where messages are lines

constexpr std::array<double, 6> SWITCH_FILLS = {1, 0.82, 0.68, 0.56, 0.46, 0.38};

// How strongly a message is drawn.
double StrengthAt(uint64_t age) {
  return age == 0 ? 1 : 0.5 * std::pow(0.74, static_cast<double>(age - 1));
}

double DistanceOf(PixelSpot a, PixelSpot b) { return std::hypot(b.x - a.x, b.y - a.y); }

// The spot `length` pixels before `to`, coming from `from`.
PixelSpot Before(PixelSpot from, PixelSpot to, double length) {
  const double share = length / DistanceOf(from, to);
  return {to.x - (to.x - from.x) * share, to.y - (to.y - from.y) * share};
}

// Where the way from one cell to another leaves the square around `from`.
PixelSpot AtEdge(PixelSpot from, PixelSpot to, double half) {
  const double longer = std::max(std::abs(to.x - from.x), std::abs(to.y - from.y));
  const double share = std::min(0.5, half / longer);
  return {from.x + (to.x - from.x) * share, from.y + (to.y - from.y) * share};
}

}  // namespace

Fault FloorplanFault(const std::string& reason, const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "floorplan";
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

// Cairo wants blue first on the machines that this runs on, and pixels have red first: all colours
// are told with red and blue exchanged, and come out as they should.
FloorplanShapes::FloorplanShapes(PictureSize size, Pixel* pixels, const FloorplanLayout& layout,
                                 const FloorplanColors& colors)
    : layout(layout),
      colors(colors),
      surface(cairo_image_surface_create_for_data(
          pixels->data(), CAIRO_FORMAT_RGB24, static_cast<int>(size.width),
          static_cast<int>(size.height), static_cast<int>(size.width * sizeof(Pixel)))),
      cairo(cairo_create(surface)) {}

FloorplanShapes::~FloorplanShapes() {
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
}

void FloorplanShapes::Use(Color color, double alpha) {
  cairo_set_source_rgba(cairo, color.blue / 255.0, color.green / 255.0, color.red / 255.0, alpha);
}

void FloorplanShapes::FillPolygon(const PixelSpot* spots, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    cairo_line_to(cairo, spots[i].x, spots[i].y);
  }
  cairo_close_path(cairo);
  cairo_fill(cairo);
}

void FloorplanShapes::AddSwitches(const ArrayState& state) {
  const double radius = layout.SwitchRadius();
  for (size_t i = 0; i < state.switchCodes.size(); ++i) {
    const uint8_t code = state.switchCodes[i];
    const bool touched = code != SwitchCodes::UNTOUCHED;
    const bool lit = touched && SwitchCodes::Age(code) < SWITCH_FILLS.size();
    if (state.switchCodes.size() == 1 && !touched) {
      return;  // a flat mesh has no switch to show
    }
    const Color edge = touched ? colors.threads[SwitchCodes::Thread(code)] : colors.outline;
    const PixelSpot middle =
        layout.Switch(layout.Shape().ClusterOfSwitch(layout.Shape().SwitchAt(i)));
    const auto diamond = [&](double r) {
      const std::array<PixelSpot, 4> spots = {PixelSpot{middle.x, middle.y - r},
                                              {middle.x + r, middle.y},
                                              {middle.x, middle.y + r},
                                              {middle.x - r, middle.y}};
      FillPolygon(spots.data(), spots.size());
    };
    Use(edge);
    diamond(radius);
    Use(lit ? Mix(edge, colors.paper, SWITCH_FILLS[SwitchCodes::Age(code)]) : colors.paper);
    diamond(std::max(0.0, radius - std::sqrt(2.0)));
  }
}

void FloorplanShapes::AddLine(PixelSpot from, PixelSpot to, double alpha) {
  Use(colors.ink, alpha);
  cairo_set_line_width(cairo, 1);
  cairo_move_to(cairo, from.x, from.y);
  cairo_line_to(cairo, to.x, to.y);
  cairo_stroke(cairo);
}

void FloorplanShapes::AddWedge(PixelSpot from, PixelSpot to, uint64_t age) {
  const double size = std::min(1.0, layout.Pitch() / FULL_PITCH);
  const bool headed = age == 0 || layout.Pitch() >= TRIMMED_PITCH;
  const double length = DistanceOf(from, to);
  const double head = headed ? std::min(HEAD_LENGTH * size, length) : 0;
  const PixelSpot neck = headed ? Before(from, to, head) : to;
  const double wide = (age == 0 ? NEW_WIDTH : OLD_WIDTH) / 2 * size;
  const double tip = NEW_TIP / 2 * size;
  // Across the way, a pixel long.
  const PixelSpot side = {(from.y - to.y) / length, (to.x - from.x) / length};
  const auto at = [&](PixelSpot spot, double off) {
    return PixelSpot{spot.x + side.x * off, spot.y + side.y * off};
  };
  Use(colors.ink, StrengthAt(age));
  const double headHalf = HEAD_WIDTH / 2 * size;
  const std::array<PixelSpot, 7> spots = {
      at(from, wide),      at(neck, tip),  at(neck, headHalf), to,
      at(neck, -headHalf), at(neck, -tip), at(from, -wide)};
  const std::array<PixelSpot, 4> bare = {at(from, wide), at(to, tip), at(to, -tip),
                                         at(from, -wide)};
  if (headed) {
    FillPolygon(spots.data(), spots.size());
  } else {
    FillPolygon(bare.data(), bare.size());
  }
}

void FloorplanShapes::AddMessage(const LiveMessage& message, uint64_t age) {
  const ArrayShape& shape = layout.Shape();
  if (message.from == message.to || !shape.HasElement(message.from) ||
      !shape.HasElement(message.to)) {
    return;
  }
  PixelSpot from = layout.MiddleOf(message.from);
  PixelSpot to = layout.MiddleOf(message.to);
  if (layout.Pitch() < WEDGE_PITCH) {
    AddLine(from, to, StrengthAt(age) * THIN);
    return;
  }
  if (layout.Pitch() >= TRIMMED_PITCH) {
    const double half = (layout.Pitch() - static_cast<double>(layout.Gap())) / 2;
    const PixelSpot start = AtEdge(from, to, half);
    to = AtEdge(to, from, half);
    from = start;
  }
  if (DistanceOf(from, to) >= 1) {
    AddWedge(from, to, age);
  }
}

void FloorplanShapes::AddMessages(const ArrayState& state) {
  for (const LiveMessage& message : state.messages) {
    AddMessage(message, state.AgeOf(message));
  }
}

void FloorplanShapes::UseLetters(double size, Weight weight) {
  cairo_set_font_face(cairo, FontFace(weight));
  cairo_set_font_size(cairo, size);
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_set_font_options(cairo, options);
  cairo_font_options_destroy(options);
}

void FloorplanShapes::AddNumbers() {
  const double size = layout.NumberSize();
  if (size == 0) {
    return;
  }
  const ArrayShape& shape = layout.Shape();
  const uint32_t step = layout.NumberStep();
  const auto show = [&](uint32_t number, PixelSpot spot, double share) {
    const std::string text = std::to_string(number);
    cairo_move_to(cairo, spot.x - share * TextWidth(text, Weight::REGULAR, size), spot.y);
    cairo_show_text(cairo, text.c_str());
  };
  UseLetters(size, Weight::REGULAR);
  Use(colors.mute);
  for (uint32_t column = 0; column < shape.Columns(); column += step) {
    show(column, layout.ColumnNumber(column), 0.5);
  }
  for (uint32_t row = 0; row < shape.Rows(); row += step) {
    show(row, layout.RowNumber(row), 1);
  }
}

void FloorplanShapes::AddDigits(const ArrayState& state) {
  const double size = 0.45 * layout.Pitch();
  UseLetters(size, Weight::BOLD);
  const double wide = TextWidth("0", Weight::BOLD, size);
  for (size_t i = 0; i < state.elementCodes.size(); ++i) {
    const uint8_t code = state.elementCodes[i];
    if (code == ElementCodes::UNTOUCHED) {
      continue;
    }
    const PixelSpot middle = layout.MiddleOf(layout.Shape().ElementAt(i));
    const std::string digit = std::to_string(ElementCodes::Thread(code));
    // A digit is 0.73 of its size high.
    Use(InkOn(ElementFill(colors, code)));
    cairo_move_to(cairo, middle.x - wide / 2, middle.y + 0.365 * size);
    cairo_show_text(cairo, digit.c_str());
  }
}

Fault FloorplanShapes::Finish() {
  cairo_surface_flush(surface);
  if (cairo_status(cairo) != CAIRO_STATUS_SUCCESS) {
    return FloorplanFault(cairo_status_to_string(cairo_status(cairo)), "give a smaller size");
  }
  return {};
}

}  // namespace marrowfin
