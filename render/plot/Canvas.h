#ifndef RENDER_PLOT_CANVAS_H
#define RENDER_PLOT_CANVAS_H

#include <cairo.h>

#include <memory>
#include <string>
#include <vector>

#include "render/plot/Fonts.h"
#include "trace/ask/Fade.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// A point and a rectangle of a page, in points of 1/72 inch from its upper left corner.
struct Spot {
  double x = 0;
  double y = 0;
};

struct Box {
  double x;
  double y;
  double width;
  double height;

  double Right() const { return x + width; }
  double Bottom() const { return y + height; }
};

enum class PlotFormat { PNG, SVG, PDF };

// Where a text stands to its spot, which is on its base line.
enum class Align { LEFT, CENTRE, RIGHT };

struct Pen {
  Color color;
  double width = 0.5;
  std::vector<double> dashes = {};
};

// A page that is drawn upon and becomes a file: pixels, or shapes that stay sharp at any size. The
// same calls make the same bytes.
//
// What is square lies on whole pixels, so that edges are sharp and neighbours leave no seam; curves
// and texts lie where they lie. One thread at a time.
class Canvas {
 public:
  // `scale` is pixels a point, for PNG. A SYSTEM fault where there is no memory for it, or the page
  // is too large for the format.
  [[nodiscard]] static Result<std::unique_ptr<Canvas>> Open(PlotFormat format, double width,
                                                            double height, double scale);

  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas();

  double Width() const { return width; }
  double Height() const { return height; }

  // The size of what can just be seen, in points: a pixel, or in shapes a quarter of a point.
  double Pixel() const;

  // Squares and rules, on whole pixels.
  void Fill(const Box& box, Color color);
  void Frame(const Box& box, const Pen& pen);
  void Horizontal(double x1, double x2, double y, const Pen& pen);
  void Vertical(double x, double y1, double y2, const Pen& pen);

  // Cells that touch: in shapes each reaches a little under its right and lower neighbour, since
  // programs that show them leave a seam between edges that only meet.
  void Cell(const Box& box, Color color);

  // Cells of equal size that fill a box, row by row from its upper left: a picture in the picture,
  // which stays one however large it is shown. `colors` has `columns` x `rows`, at least one.
  void Cells(const Box& box, size_t columns, size_t rows, const std::vector<Color>& colors);

  // What a line around it encloses.
  void Area(const std::vector<Spot>& spots, Color color);

  // Lines that rise to the right, which go on from box to box.
  void Hatch(const Box& box, Color color);
  void Hatch(const std::vector<Box>& boxes, Color color);

  void Line(const std::vector<Spot>& spots, const Pen& pen);
  void Polygon(const std::vector<Spot>& corners, Color fill, const Pen& outline);
  void Ring(Spot centre, double radius, const Pen& pen);

  // Texts are UTF-8; what is none, as a name of a file may be, is shown as missing.
  void Text(const std::string& text, Spot spot, Align align, double size, Color color,
            Weight weight = Weight::REGULAR);

  // The same on an edge of another colour, which parts it from what is below.
  void TextOn(Color halo, const std::string& text, Spot spot, Align align, double size, Color color,
              Weight weight = Weight::REGULAR);

  // Upwards, its middle at the spot.
  void TextUpwards(const std::string& text, Spot middle, double size, Color color);

  // Ends the page and writes the file; nothing can be drawn any more. `name` tells an SVG's parts
  // from those of others on the same page: letters, digits and hyphens. SYSTEM where anything could
  // not be drawn or written.
  [[nodiscard]] Fault Write(ByteSink& sink, const std::string& name);

 private:
  Canvas(PlotFormat format, double width, double height, double scale);

  double Snap(double value) const;
  void Use(Color color);
  void Stroke(const Pen& pen);
  void UseLetters(double size, Weight weight);
  void Show(const std::string& text, double size, Color color, Weight weight);

  PlotFormat format;
  double width;
  double height;
  double scale;
  std::string bytes;  // of shapes
  cairo_surface_t* surface = nullptr;
  cairo_t* cairo = nullptr;
};

}  // namespace marrowfin

#endif
