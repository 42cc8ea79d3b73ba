#include "render/report/Figure.h"

#include <memory>

#include "render/report/HtmlText.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {
namespace {

Result<std::string> DrawSvg(const Plot& plot, const PlotStyle& style, const std::string& name) {
  Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
  if (!canvas) {
    return canvas.Why();
  }
  MemorySink sink;
  if (Fault fault = (*canvas)->Write(sink, name)) {
    return fault;
  }
  return std::string(sink.Bytes().begin(), sink.Bytes().end());
}

// The value of an attribute of the tag that a text begins with.
std::string AttributeOf(const std::string& tag, const std::string& name) {
  const std::string before = " " + name + "=\"";
  const size_t at = tag.find(before);
  return at == std::string::npos
             ? ""
             : tag.substr(at + before.size(),
                          tag.find('"', at + before.size()) - at - before.size());
}

// The SVG of a file as it stands in a page: as wide as there is room, with words for those who do
// not see it.
std::string Inline(const std::string& svg, const PlotWords& words, const std::string& name) {
  const size_t begin = svg.find("<svg");
  const size_t end = svg.find('>', begin);
  const std::string tag = svg.substr(begin, end - begin);
  const std::string title = name + "-title";
  const std::string finding = name + "-finding";
  return "<svg role=\"img\" aria-labelledby=\"" + title + " " + finding + "\" viewBox=\"" +
         AttributeOf(tag, "viewBox") + "\">\n<title id=\"" + title + "\">" +
         HtmlEscaped(words.title) + "</title>\n<desc id=\"" + finding + "\">" +
         HtmlEscaped(words.finding) + "</desc>" + svg.substr(end + 1);
}

}  // namespace

Result<std::string> FigureHtml(const Plot& plot, PlotStyle style, const std::string& name) {
  style.format = PlotFormat::SVG;
  style.title = false;
  style.caption = false;
  Result<std::string> svg = DrawSvg(plot, style, name);
  if (!svg && style.height > 0) {
    style.height = 0;
    svg = DrawSvg(plot, style, name);
  }
  if (!svg) {
    return svg.Why();
  }
  return "<figure id=\"" + name + "\">\n<h3>" + HtmlEscaped(plot.words.title) +
         "</h3>\n<p class=\"finding\">" + HtmlEscaped(plot.words.finding) + "</p>\n" +
         Inline(*svg, plot.words, name) + "<figcaption>" + HtmlEscaped(plot.words.caption) +
         "</figcaption>\n</figure>\n";
}

}  // namespace marrowfin
