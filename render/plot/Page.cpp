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
  void Draw(Canvas& canvas, double top, double left = EDGE) const {
    for (size_t i = 0; i < lines.size(); ++i) {
      const double base = top + (static_cast<double>(i) + 1) * size * LINE - size * DESCENT * 1.6;
      canvas.Text(lines[i], {left, base}, Align::LEFT, size, color, weight);
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

// The words of a text. What belongs to the word before, or joins two, stays with it.
std::vector<std::string> WordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  bool joined = false;
  for (std::string word; stream >> word;) {
    const bool times = word == "×";
    if (!words.empty() && (joined || times || word == "·" || word[0] == '%')) {
      words.back() += " " + word;
    } else {
      words.push_back(word);
    }
    joined = times;
  }
  return words;
}

Fault NoRoom() {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "plot";
  fault.reason = "the page has no room for the plot";
  fault.remedy = "ask for a larger page, or for smaller text";
  return fault;
}

Result<std::unique_ptr<Canvas>> OpenPaper(const PlotStyle& style, double height) {
  Result<std::unique_ptr<Canvas>> opened =
      Canvas::Open(style.format, style.width, height, style.Scale());
  if (opened) {
    // A page that ends within a pixel has that pixel as well.
    (*opened)->Fill({0, 0, style.width + 1, height + 1}, style.theme->paper);
  }
  return opened;
}

}  // namespace

std::vector<std::string> WrapText(const std::string& text, Weight weight, double size,
                                  double width) {
  std::vector<std::string> lines;
  std::string line;
  for (const std::string& word : WordsOf(text)) {
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

namespace {

Result<std::unique_ptr<Canvas>> DrawPaper(const PlotWords& words, const PlotBody& body,
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
  if (plotHeight < (style.height > 0 ? body.LeastHeight(plotWidth, style) : LEAST_PLOT)) {
    return NoRoom();
  }
  const double height = top + plotHeight + bottom;
  Result<std::unique_ptr<Canvas>> opened = OpenPaper(style, height);
  if (!opened) {
    return opened.Why();
  }
  Canvas& canvas = **opened;
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

// The words of a slide, in a column.
struct SlideWords {
  Paragraph title;
  Paragraph finding;
  Paragraph caption;

  double Height() const { return title.Height() + finding.Height() + caption.Height(); }
};

SlideWords WordsOfSlide(const PlotWords& words, const PlotStyle& style, double width,
                        double smaller) {
  constexpr double TITLE = 15;
  constexpr double FINDING = 10.5;
  constexpr double CAPTION = 7.5;
  const Theme& theme = *style.theme;
  const double text = style.text * smaller;
  return {
      MakeParagraph(style.title ? words.title : "", TITLE * text, Weight::BOLD, theme.ink, width),
      MakeParagraph(style.title ? words.finding : "", FINDING * text, Weight::REGULAR, theme.ink,
                    width),
      MakeParagraph(style.caption ? words.caption : "", CAPTION * text, Weight::REGULAR, theme.mute,
                    width)};
}

Result<std::unique_ptr<Canvas>> DrawSlide(const PlotWords& words, const PlotBody& body,
                                          const PlotStyle& asked) {
  constexpr double PLOT_SHARE = 0.55;  // of the width
  constexpr double WORDS_FROM = 0.575;
  constexpr double TOP = 12;
  PlotStyle style = asked;
  style.text *= PlotStyle::SLIDE_TEXT;
  const double height = style.height > 0 ? style.height : PlotStyle::SLIDE_HEIGHT;
  const PlotBody::Margins margins = body.GetMargins(style);
  const Box plot = {margins.left, TOP, style.width * PLOT_SHARE - margins.left - margins.right,
                    height - TOP - margins.below - EDGE};
  const double left = style.width * WORDS_FROM;
  const double width = style.width - left - EDGE * 1.5;
  const double legend = body.LegendHeight(width, style);
  const double room = height - 2 * EDGE - legend - (legend > 0 ? 2 * EDGE : 0);
  // Much is said of some plots: all of it is told in smaller letters then.
  SlideWords told = WordsOfSlide(words, asked, width, 1);
  for (double smaller = 0.95; told.Height() > room && smaller > 0.5; smaller -= 0.05) {
    told = WordsOfSlide(words, asked, width, smaller);
  }
  if (plot.width < LEAST_PLOT || plot.height < body.LeastHeight(plot.width, style) ||
      told.Height() > room) {
    return NoRoom();
  }
  Result<std::unique_ptr<Canvas>> opened = OpenPaper(style, height);
  if (!opened) {
    return opened.Why();
  }
  Canvas& canvas = **opened;
  body.Draw(canvas, plot, style);
  told.title.Draw(canvas, EDGE, left);
  const double under = EDGE + told.title.Height();
  told.finding.Draw(canvas, under, left);
  const double caption = height - EDGE - told.caption.Height();
  told.caption.Draw(canvas, caption, left);
  const double above = under + told.finding.Height();
  body.DrawLegend(canvas, {left, (above + caption - legend) / 2, width, legend}, style);
  return opened;
}

}  // namespace

Result<std::unique_ptr<Canvas>> DrawPage(const PlotWords& words, const PlotBody& body,
                                         const PlotStyle& style) {
  return style.slide ? DrawSlide(words, body, style) : DrawPaper(words, body, style);
}

}  // namespace marrowfin
