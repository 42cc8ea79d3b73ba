#include "render/report/ReportPage.h"

#include <optional>
#include <utility>
#include <vector>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/DiffOfRuns.h"
#include "render/plot/HeatOfRun.h"
#include "render/plot/LatencyOfRun.h"
#include "render/plot/LinksOfRun.h"
#include "render/plot/ThreadPlot.h"
#include "render/plot/ThreadsOfRun.h"
#include "render/plot/TimelineOfRun.h"
#include "render/report/Figure.h"
#include "render/report/HtmlText.h"
#include "render/report/LinkTable.h"
#include "render/report/MapLevel.h"
#include "render/report/ReportFaults.h"
#include "render/report/ReportParts.h"
#include "render/report/RunNumbers.h"
#include "render/report/RunTables.h"
#include "render/report/Sentences.h"

namespace marrowfin {
namespace {

// Points. Pictures that have no squares are lower here than by themselves, so that a print of all
// of them has two pages.
constexpr double TIMELINE_HEIGHT = 110;
constexpr double LATENCY_HEIGHT = 130;
constexpr double CHAIN_HEIGHT = 142;

// Whether one thread has every place that any thread has to itself.
bool HasOneOwner(const ThreadMap& map) {
  std::optional<size_t> owner;
  for (const PlaceThread& place : map.places) {
    if (map.IsOwn(place)) {
      if (owner && *owner != place.slot) {
        return false;
      }
      owner = place.slot;
    }
  }
  return owner.has_value();
}

std::string Paragraph(const std::string& text, const std::string& kind = "") {
  return "<p" + (kind.empty() ? "" : " class=\"" + kind + "\"") + ">" + HtmlEscaped(text) +
         "</p>\n";
}

// What joins the body of a page; the first fault of a picture stays.
class Body {
 public:
  Body(const ReportedRun& reported, const Theme& theme) : reported(reported), theme(theme) {}

  void Add(const std::string& more) { html += more; }

  PlotStyle StyleOf(double width, double height = 0) const {
    PlotStyle style;
    style.theme = &theme;
    style.format = PlotFormat::SVG;
    style.width = width;
    style.height = height;
    return style;
  }

  void AddFigure(const Plot& plot, const PlotStyle& style, const std::string& name) {
    Result<std::string> figure = FigureHtml(plot, style, name);
    if (figure) {
      html += std::move(figure).Take();
    } else if (!fault) {
      fault = figure.Why();
    }
  }

  void Head();
  void Verdicts();
  void Difference();
  void Numbers();
  void Where();
  void When();
  void Threads();
  void Causes();
  void Faults();
  void HowMade();

  const ReportedRun& reported;
  const Theme& theme;
  std::string html;
  Fault fault;

 private:
  const RunMeasures& Measures() const { return reported.run.measures; }

  void Section(const std::string& title, const std::string& name) {
    Add("<section id=\"" + name + "\">\n<h2>" + title + "</h2>\n");
  }
  void EndSection() { Add("</section>\n"); }
};

std::string FactsLine(const ReportedRun& reported) {
  const RunMeasures& m = reported.run.measures;
  std::string facts = ArrayWords(reported.run.counts->Places().Shape()) + " · cycles " +
                      CountText(m.range.first) + " to " + CountText(m.range.last) +
                      (reported.run.whole ? " (all)" : " (part)");
  if (!reported.run.chosen.empty()) {
    facts += " · " + reported.run.chosen;
  }
  facts += " · " + CountOf(m.records, "record");
  if (reported.run.packets != nullptr && reported.packetsAreThreads) {
    facts += " · thread = packet";
  }
  facts += reported.hasNotes           ? " · with notes of what events were"
           : reported.about != nullptr ? " · no notes of what events were"
                                       : " · no companion";
  return facts + " · " + reported.program;
}

// Who recorded what, as far as the run tells.
std::string OriginOf(const About& about) {
  std::string text;
  const auto add = [&](const char* name, const std::string& value) {
    if (!value.empty()) {
      text += (text.empty() ? "" : " · ") + std::string(name) + value;
    }
  };
  add("", about.name);
  add("recorded by ", about.tool);
  add("by the command ", about.command);
  add("on ", about.date);
  return text;
}

void Body::Head() {
  Add("<header>\n<h1>" + HtmlEscaped(reported.run.trace) + "</h1>\n" +
      Paragraph(FactsLine(reported), "facts"));
  const std::string origin = reported.about == nullptr ? "" : OriginOf(*reported.about);
  if (!origin.empty()) {
    Add(Paragraph(origin, "facts"));
  }
  const std::vector<RichText> sentences = SentencesOf(reported);
  if (!sentences.empty()) {
    Add("<ul class=\"sentences\">\n");
    for (const RichText& sentence : sentences) {
      Add("<li>" + sentence.Html() + "</li>\n");
    }
    Add("</ul>\n");
  }
  Add("</header>\n");
}

// What became of the rules that were asked, if any were.
void Body::Verdicts() {
  if (!reported.verdicts) {
    return;
  }
  Section("Verdicts", "verdicts");
  const VerdictCounts counts = CountVerdicts(reported.verdicts->verdicts);
  Add("<p><strong>" +
      std::string(counts.AllHold() ? "All rules hold"
                                   : "Not all rules hold: " + CountText(counts.fails) + " of " +
                                         CountOf(reported.verdicts->verdicts.size(), "rule") +
                                         (counts.fails == 1 ? " fails" : " fail")) +
      "</strong>" +
      (counts.untold == 0 ? "" : ", " + CountText(counts.untold) + " cannot be told") +
      (counts.skipped == 0 ? "" : ", " + CountText(counts.skipped) + " skipped") + ".</p>\n" +
      TableHtml(VerdictTable(*reported.verdicts)));
  EndSection();
}

// What changed from another run, if there is one.
void Body::Difference() {
  if (!reported.difference) {
    return;
  }
  const ReportedDifference& difference = *reported.difference;
  Section("Difference", "difference");
  Add(Paragraph(DifferenceText(difference)));
  if (!difference.aligned.sameBytes) {
    Add("<div class=\"pair\">\n");
    const DiffWish wish = {UnitMeasure::FIRES, MapLevelOf(difference.run.counts->Places().Shape())};
    const PlotStyle style = StyleOf(PlotStyle::COLUMN);
    AddFigure(PlotDiff(difference.run, difference.other, wish, style), style, "diff");
    const std::string changes = TableHtml(ChangeTable(difference));
    Add(changes.empty() ? Paragraph("Every measure is the same.") : changes);
    const std::string phases = TableHtml(PhasePairTable(difference));
    Add(phases.empty() ? "" : "<div class=\"wide\">\n" + phases + "</div>\n");
    Add("</div>\n");
  }
  EndSection();
}

void Body::Numbers() {
  Section("Numbers", "run");
  Add(TableHtml(RunNumbers(reported)));
  EndSection();
}

void Body::Where() {
  Section("Where", "where");
  Add("<div class=\"pictures\">\n");
  if (Measures().fires > 0) {
    const PlotStyle style = StyleOf(PlotStyle::COLUMN);
    HeatWish wish;
    wish.level = MapLevelOf(reported.run.counts->Places().Shape());
    AddFigure(PlotHeat(reported.run, wish, style), style, "heat");
    Add(TableHtml(ElementTable(reported)));
  } else {
    Add(Paragraph("No fires in this range."));
  }
  if (!Measures().links.busiest.empty()) {
    const PlotStyle style = StyleOf(PlotStyle::COLUMN);
    AddFigure(PlotLinks(reported.run, {}, style), style, "links");
    Add(TableHtml(LinkTable(Measures().links, reported.file)));
  } else {
    Add(Paragraph("No message went over a link in this range."));
  }
  Add("</div>\n");
  EndSection();
}

void Body::When() {
  Section("When", "when");
  Add("<div class=\"pair\">\n");
  std::string phases;
  if (Measures().fires == 0) {
    Add(Paragraph("No fires in this range."));
  } else {
    Add("<div class=\"wide\">\n");
    AddFigure(PlotTimeline(reported.run, false), StyleOf(PlotStyle::WIDE, TIMELINE_HEIGHT),
              "timeline");
    Add("</div>\n");
    phases = TableHtml(PhaseTable(reported));
    phases = phases.empty()
                 ? Paragraph("No phases: one cycle, or activity that changes all the time.")
                 : phases;
  }
  if (reported.run.packets == nullptr) {
    Add(phases + Paragraph("No latency: nothing tells packets."));
  } else if (reported.run.packets->Delivered() == 0) {
    Add(phases + Paragraph("No latency: no packet arrives in this range."));
  } else {
    Add("<div>\n");
    AddFigure(PlotLatency(reported.run, LatencySince::INJECTION),
              StyleOf(PlotStyle::COLUMN, LATENCY_HEIGHT), "latency");
    Add(TableHtml(LatencyTable(reported)) + "</div>\n<div>\n" + TableHtml(SlowestTable(reported)) +
        phases + "</div>\n");
  }
  Add("</div>\n");
  EndSection();
}

void Body::Threads() {
  Section("Threads", "where-threads");
  if (!reported.threads) {
    Add(Paragraph("No fires in this range."));
    EndSection();
    return;
  }
  const ThreadMap& map = *reported.threads;
  const Plot plot = PlotThreads(reported.run, map);
  Add("<div class=\"pair\">\n");
  // Where threads share all places there is no map to draw, and one of a single colour tells
  // nothing that its finding does not.
  if (!ShareAllPlaces(map) && !HasOneOwner(map)) {
    AddFigure(plot, StyleOf(PlotStyle::COLUMN), "threads");
  } else {
    Add(Paragraph(plot.words.finding + "."));
  }
  Add(TableHtml(ThreadTable(reported)) + "</div>\n");
  EndSection();
}

void Body::Causes() {
  Section("Causes", "causes");
  if (!reported.causes) {
    Add(Paragraph(reported.noCauses.empty()
                      ? "No fires and no messages, so nothing caused anything."
                      : reported.noCauses));
    EndSection();
    return;
  }
  const ReportedCauses& causes = *reported.causes;
  Add(Paragraph(CriticalPathText(causes)));
  const PlotStyle style = StyleOf(PlotStyle::WIDE, CHAIN_HEIGHT);
  AddFigure(PlotCriticalPath(reported.run, causes, style), style, "why");
  Add("<div class=\"three\">\n" + TableHtml(ChainTable(causes)) + TableHtml(BoundsTable(causes)) +
      TableHtml(SlackTable(causes)) + "</div>\n<p class=\"note\"><code>" +
      HtmlEscaped("marrowfin-trace why " + reported.file) + "</code> tells it step by step.</p>\n");
  EndSection();
}

void Body::Faults() {
  Section("Faults", "faults");
  const std::vector<std::string> faults = FaultsOf(reported);
  if (faults.empty()) {
    Add(Paragraph("None: the trace was read to its end, and its cycles never fall."));
  } else {
    Add("<ul>\n");
    for (const std::string& fault : faults) {
      Add("<li>" + HtmlEscaped(fault) + "</li>\n");
    }
    Add("</ul>\n");
  }
  Add("<p class=\"note\"><code>" + HtmlEscaped("marrowfin-trace check " + reported.file) +
      "</code> looks at every record and every note.</p>\n");
  EndSection();
}

void Body::HowMade() {
  const LinkMeasures& links = Measures().links;
  std::string text;
  if (!links.busiest.empty()) {
    text += links.observed ? "Link load is observed: each message is one hop. "
                           : "Link load is modelled by dimension-order routing; adaptive routing "
                             "makes it wrong without a sign. ";
  }
  if (reported.run.packets != nullptr && reported.run.packets->TotalLatencies().IsEmpty()) {
    text += "Time in the queues of sources is in no latency. ";
  }
  Section("How this was made", "made");
  Add(Paragraph(text + "What each number means, and what it cannot tell, is in docs/measures.md of "
                       "Marrowfin.") +
      "<p>The command: <code>" + HtmlEscaped(reported.command) + "</code></p>\n");
  EndSection();
}

std::string PageHead(const ReportedRun& reported, const Theme& theme) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "style-src 'unsafe-inline'; img-src data:; script-src '" +
         ReportScriptHash() +
         "'; base-uri 'none'; form-action 'none'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"generator\" content=\"" +
         HtmlEscaped(reported.program) + "\">\n<title>" + HtmlEscaped(reported.run.trace) +
         " – report of a run</title>\n<style>\n" + ReportStyle(theme) + "</style>\n</head>\n";
}

}  // namespace

Result<std::string> ReportPage(const ReportedRun& reported, const Theme& theme) {
  Body body(reported, theme);
  body.Head();
  body.Add("<main>\n");
  body.Verdicts();
  body.Difference();
  body.Numbers();
  body.Where();
  body.When();
  body.Threads();
  body.Causes();
  body.Add("<div class=\"ends\">\n");
  body.Faults();
  body.HowMade();
  body.Add("</div>\n</main>\n");
  if (body.fault) {
    return body.fault;
  }
  return PageHead(reported, theme) + "<body>\n" + body.html + "<script>" +
         std::string(ReportScript()) + "</script>\n</body>\n</html>\n";
}

}  // namespace marrowfin
