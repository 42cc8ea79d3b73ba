#ifndef RENDER_PLOT_PAGE_H
#define RENDER_PLOT_PAGE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "render/plot/Canvas.h"
#include "render/plot/Theme.h"
#include "trace/base/Result.h"

namespace marrowfin {

// How a plot is to look.
struct PlotStyle {
  const Theme* theme = &Theme::Light();
  PlotFormat format = PlotFormat::PNG;
  double width = COLUMN;  // of the page, in points
  double height = 0;      // of the page; 0 for what the plot wants
  double text = 1;        // all sizes of text are multiplied by it
  bool title = true;      // title and finding
  bool caption = true;
  bool slide = false;  // for a screen: the plot on the left, words and legend on the right

  // Widths of a column of a paper, and of the whole of its page.
  static constexpr double COLUMN = 240;
  static constexpr double WIDE = 504;

  // A slide: its size, and how much larger than on paper its plot's labels are.
  static constexpr double SLIDE_WIDTH = 480;
  static constexpr double SLIDE_HEIGHT = 270;
  static constexpr double SLIDE_TEXT = 1.5;

  // Columns of a list of so many lines: slides have a place beside the plot that is wider than
  // high.
  size_t ColumnsFor(size_t lines) const { return slide && lines > 6 ? 2 : 1; }

  // Pixels a point: papers print small pictures, slides fill a screen.
  double Scale() const { return width > 300 && !slide ? 3 : 4; }

  // About how wide the plot itself is, without what stands beside it.
  double PlotWidth() const { return slide ? width * 0.45 : width - 80; }

  double TitleSize() const { return 8 * text; }
  double FindingSize() const { return 6.5 * text; }
  double AxisSize() const { return 6 * text; }
  double LabelSize() const { return 5.5 * text; }
};

// What is said around a plot.
struct PlotWords {
  std::string title;    // what is drawn
  std::string finding;  // its headline numbers
  std::string caption;  // of what, under which conditions
};

// Breaks a text between words so that no line is wider than `width` points, but for single words.
// The dot between two parts of a caption ends a line and begins none, and "4 × 4" and "90 %" are
// one word.
std::vector<std::string> WrapText(const std::string& text, Weight weight, double size,
                                  double width);

// A plot: the room that it wants, and how it fills what it gets.
class PlotBody {
 public:
  virtual ~PlotBody() = default;

  // Points between the edges of the page and the plot itself, for its labels.
  struct Margins {
    double left = 34;
    double right = 16;
    double below = 27;
  };
  virtual Margins GetMargins(const PlotStyle& style) const = 0;

  // The height that suits a plot of that width.
  virtual double HeightFor(double width, const PlotStyle& style) const = 0;

  // The least height in which its words do not lie over each other or over those around it, on a
  // page whose height somebody chose.
  virtual double LeastHeight(double /*width*/, const PlotStyle& style) const {
    return 40 * style.text;
  }

  // Draws the plot with its legend; on slides without, which has a place of its own there.
  virtual void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const = 0;

  // The legend of slides: its height at that width, and how it fills a box of that size.
  virtual double LegendHeight(double /*width*/, const PlotStyle& /*style*/) const { return 0; }
  virtual void DrawLegend(Canvas& /*canvas*/, const Box& /*box*/,
                          const PlotStyle& /*style*/) const {}
};

// Draws title, finding, plot, rule and caption, top down; the page is as high as they are, unless
// the style says. On slides the plot is left of them. SYSTEM where there is no room for the plot.
[[nodiscard]] Result<std::unique_ptr<Canvas>> DrawPage(const PlotWords& words, const PlotBody& body,
                                                       const PlotStyle& style);

}  // namespace marrowfin

#endif
