#include "render/plot/Canvas.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <cmath>

#include "render/plot/SvgNames.h"
#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

// What cairo takes for a side of a picture of pixels.
constexpr double MOST_PIXELS = 32767;

// How far cells of shapes reach under their neighbours, in points.
constexpr double UNDERLAP = 0.4;

cairo_status_t Append(void* bytes, const unsigned char* data, unsigned int size) {
  static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), size);
  return CAIRO_STATUS_SUCCESS;
}

// Coordinates of shapes are told with few digits, so that rounding does not show in the bytes.
double Rounded(double value) { return std::round(value * 64) / 64; }

Fault NoPage(const std::string& reason) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "plot";
  fault.reason = reason;
  fault.remedy = "ask for a smaller picture";
  return fault;
}

// What FreeType cannot draw of letters that are part of the program it had no memory for.
Fault NoPage(cairo_status_t status) {
  return NoPage(std::string(cairo_status_to_string(
      status == CAIRO_STATUS_FREETYPE_ERROR ? CAIRO_STATUS_NO_MEMORY : status)));
}

Fault WriteAll(const std::string& bytes, ByteSink& sink) {
  return sink.Write(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()).fault;
}

}  // namespace

Canvas::Canvas(PlotFormat format, double width, double height, double scale)
    : format(format), width(width), height(height), scale(format == PlotFormat::PNG ? scale : 1) {}

Canvas::~Canvas() {
  cairo_destroy(cairo);
  cairo_surface_destroy(surface);
}

Result<std::unique_ptr<Canvas>> Canvas::Open(PlotFormat format, double width, double height,
                                             double scale) {
  std::unique_ptr<Canvas> canvas(new Canvas(format, width, height, scale));
  if (format == PlotFormat::PNG) {
    const double across = std::ceil(width * scale - 1e-6);
    const double down = std::ceil(height * scale - 1e-6);
    if (!(across >= 1 && down >= 1 && across <= MOST_PIXELS && down <= MOST_PIXELS)) {
      return NoPage("a picture has at most 32,767 pixels each way");
    }
    canvas->surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(across),
                                                 static_cast<int>(down));
  } else if (format == PlotFormat::SVG) {
    canvas->surface = cairo_svg_surface_create_for_stream(Append, &canvas->bytes, width, height);
  } else {
    canvas->surface = cairo_pdf_surface_create_for_stream(Append, &canvas->bytes, width, height);
    // Without it the file tells the time at which it was made.
    cairo_pdf_surface_set_metadata(canvas->surface, CAIRO_PDF_METADATA_CREATE_DATE,
                                   "2000-01-01T00:00:00Z");
  }
  canvas->cairo = cairo_create(canvas->surface);
  if (cairo_status(canvas->cairo) != CAIRO_STATUS_SUCCESS) {
    return NoPage(cairo_status(canvas->cairo));
  }
  cairo_scale(canvas->cairo, canvas->scale, canvas->scale);
  return canvas;
}

double Canvas::Pixel() const { return format == PlotFormat::PNG ? 1 / scale : 0.25; }

double Canvas::Snap(double value) const {
  return format == PlotFormat::PNG ? std::round(value * scale) / scale : Rounded(value);
}

void Canvas::Use(Color color) {
  cairo_set_source_rgb(cairo, color.red / 255.0, color.green / 255.0, color.blue / 255.0);
}

void Canvas::Stroke(const Pen& pen) {
  Use(pen.color);
  cairo_set_line_width(cairo, pen.width);
  cairo_set_dash(cairo, pen.dashes.data(), static_cast<int>(pen.dashes.size()), 0);
  cairo_stroke(cairo);
}

void Canvas::Fill(const Box& box, Color color) {
  const double x = Snap(box.x);
  const double y = Snap(box.y);
  Use(color);
  cairo_rectangle(cairo, x, y, Snap(box.Right()) - x, Snap(box.Bottom()) - y);
  cairo_fill(cairo);
}

void Canvas::Cell(const Box& box, Color color) {
  const double under = format == PlotFormat::PNG ? 0 : UNDERLAP;
  Fill({box.x, box.y, box.width + under, box.height + under}, color);
}

namespace {

// A picture of columns x rows pixels, of which `colorOf` tells the colours.
template <class ColorOf>
cairo_surface_t* MakeImage(int columns, int rows, ColorOf colorOf) {
  cairo_surface_t* const image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, columns, rows);
  unsigned char* const data = cairo_image_surface_get_data(image);
  const int stride = cairo_image_surface_get_stride(image);
  for (int y = 0; data != nullptr && y < rows; ++y) {
    uint32_t* const pixels = reinterpret_cast<uint32_t*>(data + static_cast<ptrdiff_t>(y) * stride);
    for (int x = 0; x < columns; ++x) {
      const Color color = colorOf(x, y);
      pixels[x] = uint32_t{color.red} << 16 | uint32_t{color.green} << 8 | color.blue;
    }
  }
  cairo_surface_mark_dirty(image);
  return image;
}

}  // namespace

void Canvas::Cells(const Box& box, size_t columns, size_t rows, const std::vector<Color>& colors) {
  const Box snapped = {Snap(box.x), Snap(box.y), Snap(box.Right()) - Snap(box.x),
                       Snap(box.Bottom()) - Snap(box.y)};
  // Of pixels each has the colour of the cell in its middle; of shapes each cell is a pixel of a
  // picture that is shown larger.
  const bool pixels = format == PlotFormat::PNG;
  const int across =
      pixels ? static_cast<int>(std::lround(snapped.width * scale)) : static_cast<int>(columns);
  const int down =
      pixels ? static_cast<int>(std::lround(snapped.height * scale)) : static_cast<int>(rows);
  if (across < 1 || down < 1) {
    return;
  }
  const auto cellAt = [](int at, int of, size_t cells) {
    return (2 * static_cast<size_t>(at) + 1) * cells / (2 * static_cast<size_t>(of));
  };
  cairo_surface_t* const image = MakeImage(across, down, [&](int x, int y) {
    return colors[cellAt(y, down, rows) * columns + cellAt(x, across, columns)];
  });
  cairo_save(cairo);
  cairo_translate(cairo, snapped.x, snapped.y);
  cairo_scale(cairo, snapped.width / across, snapped.height / down);
  cairo_set_source_surface(cairo, image, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_NEAREST);
  cairo_paint(cairo);
  cairo_restore(cairo);
  cairo_surface_destroy(image);
}

void Canvas::Area(const std::vector<Spot>& spots, Color color) {
  for (const Spot& spot : spots) {
    cairo_line_to(cairo, Rounded(spot.x), Rounded(spot.y));
  }
  cairo_close_path(cairo);
  Use(color);
  cairo_fill(cairo);
}

void Canvas::Frame(const Box& box, const Pen& pen) {
  Horizontal(box.x - pen.width / 2, box.Right() + pen.width / 2, box.y, pen);
  Horizontal(box.x - pen.width / 2, box.Right() + pen.width / 2, box.Bottom(), pen);
  Vertical(box.x, box.y, box.Bottom(), pen);
  Vertical(box.Right(), box.y, box.Bottom(), pen);
}

void Canvas::Horizontal(double x1, double x2, double y, const Pen& pen) {
  if (pen.dashes.empty()) {
    Fill({x1, y - pen.width / 2, x2 - x1, std::max(pen.width, Pixel())}, pen.color);
  } else {
    Line({{x1, y}, {x2, y}}, pen);
  }
}

void Canvas::Vertical(double x, double y1, double y2, const Pen& pen) {
  if (pen.dashes.empty()) {
    Fill({x - pen.width / 2, y1, std::max(pen.width, Pixel()), y2 - y1}, pen.color);
  } else {
    Line({{x, y1}, {x, y2}}, pen);
  }
}

void Canvas::Line(const std::vector<Spot>& spots, const Pen& pen) {
  for (const Spot& spot : spots) {
    cairo_line_to(cairo, Rounded(spot.x), Rounded(spot.y));
  }
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  Stroke(pen);
}

void Canvas::Hatch(const Box& box, Color color) { Hatch(std::vector<Box>{box}, color); }

void Canvas::Hatch(const std::vector<Box>& boxes, Color color) {
  constexpr double APART = 2.2;  // points, along the page
  if (boxes.empty()) {
    return;
  }
  cairo_save(cairo);
  Box all = boxes.front();
  for (const Box& box : boxes) {
    cairo_rectangle(cairo, Snap(box.x), Snap(box.y), Snap(box.Right()) - Snap(box.x),
                    Snap(box.Bottom()) - Snap(box.y));
    const double right = std::max(all.Right(), box.Right());
    const double bottom = std::max(all.Bottom(), box.Bottom());
    all.x = std::min(all.x, box.x);
    all.y = std::min(all.y, box.y);
    all.width = right - all.x;
    all.height = bottom - all.y;
  }
  cairo_clip(cairo);
  for (double at = std::floor((all.x + all.y) / APART) * APART; at < all.Right() + all.Bottom();
       at += APART) {
    cairo_move_to(cairo, Rounded(at - all.Bottom()), Rounded(all.Bottom()));
    cairo_line_to(cairo, Rounded(at - all.y), Rounded(all.y));
  }
  Stroke({color, 0.5});
  cairo_restore(cairo);
}

void Canvas::Polygon(const std::vector<Spot>& corners, Color fill, const Pen& outline) {
  for (const Spot& corner : corners) {
    cairo_line_to(cairo, Rounded(corner.x), Rounded(corner.y));
  }
  cairo_close_path(cairo);
  Use(fill);
  cairo_fill_preserve(cairo);
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  Stroke(outline);
}

void Canvas::Ring(Spot centre, double radius, const Pen& pen) {
  cairo_arc(cairo, Rounded(centre.x), Rounded(centre.y), radius, 0, 2 * M_PI);
  Stroke(pen);
}

void Canvas::UseLetters(double size, Weight weight) {
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_set_font_options(cairo, options);
  cairo_font_options_destroy(options);
  cairo_set_font_face(cairo, FontFace(weight));
  cairo_set_font_size(cairo, size);
}

void Canvas::Show(const std::string& text, double size, Color color, Weight weight) {
  UseLetters(size, weight);
  Use(color);
  cairo_show_text(cairo, AsUtf8(text).c_str());
  cairo_new_path(cairo);
}

void Canvas::Text(const std::string& text, Spot spot, Align align, double size, Color color,
                  Weight weight) {
  const double left = align == Align::LEFT ? 0 : TextWidth(text, weight, size);
  cairo_move_to(cairo, Rounded(spot.x - (align == Align::CENTRE ? left / 2 : left)),
                Rounded(spot.y));
  Show(text, size, color, weight);
}

void Canvas::TextOn(Color halo, const std::string& text, Spot spot, Align align, double size,
                    Color color, Weight weight) {
  const double left = align == Align::LEFT ? 0 : TextWidth(text, weight, size);
  cairo_move_to(cairo, Rounded(spot.x - (align == Align::CENTRE ? left / 2 : left)),
                Rounded(spot.y));
  UseLetters(size, weight);
  cairo_text_path(cairo, AsUtf8(text).c_str());
  cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
  Stroke({halo, size * 0.4});
  Text(text, spot, align, size, color, weight);
}

void Canvas::TextUpwards(const std::string& text, Spot middle, double size, Color color) {
  cairo_save(cairo);
  cairo_translate(cairo, Rounded(middle.x), Rounded(middle.y));
  cairo_rotate(cairo, -M_PI / 2);
  cairo_move_to(cairo, Rounded(-TextWidth(text, Weight::REGULAR, size) / 2), 0);
  Show(text, size, color, Weight::REGULAR);
  cairo_restore(cairo);
}

Fault Canvas::Write(ByteSink& sink, const std::string& name) {
  // Behind the first thing that went wrong nothing was drawn.
  const cairo_status_t drawn = cairo_status(cairo);
  if (drawn != CAIRO_STATUS_SUCCESS) {
    return NoPage(drawn);
  }
  cairo_destroy(cairo);
  cairo = nullptr;
  if (format == PlotFormat::PNG) {
    cairo_surface_write_to_png_stream(surface, Append, &bytes);
  }
  cairo_surface_finish(surface);
  if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS || bytes.empty()) {
    return NoPage(cairo_surface_status(surface));
  }
  return WriteAll(format == PlotFormat::SVG ? KeepCellsSharp(RenameSvgParts(bytes, name)) : bytes,
                  sink);
}

}  // namespace marrowfin
