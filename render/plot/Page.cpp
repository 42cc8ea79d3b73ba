#include "render/plot/Page.h"

#include <algorithm>
#include <sstream>

namespace marrowfin {
namespace {

constexpr double EDGE = 8;        // of texts from the edges of the page
constexpr double ABOVE = 6;       // between the finding and the plot
constexpr double LINE = 1.42;     // from line to line, of the size of the text
constexpr double DESCENT = 0.24;  // of letters below the line
constexpr double LEAST_PLOT = 20;

// Lines of one size, from the top of the page down.
struct Paragraph {
  std::vector<std::string> lines;
  double size = 0;
  Weight weight = Weight::REGULAR;
  Color color;

  double Height() const { return static_cast<double>(lines.size()) * size * LINE; }

  // `top` is the top of its first line.
  void Draw(Canvas& canvas, double top) const {
    for (size_t i = 0; i < lines.size(); ++i) {
      const double base = top + (static_cast<double>(i) + 1) * size * LINE - size * DESCENT * 1.6;
      canvas.Text(lines[i], {EDGE, base}, Align::LEFT, size, color, weight);
    }
  }
};

Paragraph MakeParagraph(const std::string& text, double size, Weight weight, Color color,
                        double width) {
  Paragraph paragraph;
  if (!text.empty()) {
    paragraph.lines = WrapText(text, weight, size, width);
  }
  paragraph.size = size;
  paragraph.weight = weight;
  paragraph.color = color;
  return paragraph;
}

Fault NoRoom() {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "plot";
  fault.reason = "the page has no room for the plot";
  fault.remedy = "ask for a larger page, or for smaller text";
  return fault;
}

}  // namespace

std::vector<std::string> WrapText(const std::string& text, Weight weight, double size,
                                  double width) {
  std::vector<std::string> lines;
  std::istringstream words(text);
  std::string line;
  for (std::string word; words >> word;) {
    const std::string longer = line.empty() ? word : line + " " + word;
    if (!line.empty() && TextWidth(longer, weight, size) > width) {
      lines.push_back(line);
      line = word;
    } else {
      line = longer;
    }
  }
  if (!line.empty()) {
    lines.push_back(line);
  }
  return lines;
}

Result<std::unique_ptr<Canvas>> DrawPage(const PlotWords& words, const PlotBody& body,
                                         const PlotStyle& style) {
  const double textWidth = style.width - 2 * EDGE;
  const Theme& theme = *style.theme;
  const Paragraph title = MakeParagraph(style.title ? words.title : "", style.TitleSize(),
                                        Weight::BOLD, theme.ink, textWidth);
  const Paragraph finding = MakeParagraph(style.title ? words.finding : "", style.FindingSize(),
                                          Weight::REGULAR, theme.ink, textWidth);
  const Paragraph caption = MakeParagraph(style.caption ? words.caption : "", style.LabelSize(),
                                          Weight::REGULAR, theme.mute, textWidth);
  const PlotBody::Margins margins = body.GetMargins(style);
  const double top = EDGE / 2 + title.Height() + finding.Height() + ABOVE;
  const double bottom =
      margins.below + (caption.lines.empty() ? 0 : EDGE + caption.Height()) + EDGE / 2;
  const double plotWidth = style.width - margins.left - margins.right;
  if (plotWidth < LEAST_PLOT) {
    return NoRoom();
  }
  const double plotHeight =
      style.height > 0 ? style.height - top - bottom : body.HeightFor(plotWidth, style);
  if (plotHeight < LEAST_PLOT) {
    return NoRoom();
  }
  const double height = top + plotHeight + bottom;
  Result<std::unique_ptr<Canvas>> opened =
      Canvas::Open(style.format, style.width, height, style.Scale());
  if (!opened) {
    return opened.Why();
  }
  Canvas& canvas = **opened;
  // A page that ends within a pixel has that pixel as well.
  canvas.Fill({0, 0, style.width + 1, height + 1}, theme.paper);
  title.Draw(canvas, EDGE / 2);
  finding.Draw(canvas, EDGE / 2 + title.Height());
  body.Draw(canvas, {margins.left, top, plotWidth, plotHeight}, style);
  if (!caption.lines.empty()) {
    const double rule = top + plotHeight + margins.below + EDGE / 2;
    canvas.Horizontal(EDGE, style.width - EDGE, rule, {theme.rule, 0.5});
    caption.Draw(canvas, rule + EDGE / 4);
  }
  return opened;
}

}  // namespace marrowfin
