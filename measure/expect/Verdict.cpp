#include "measure/expect/Verdict.h"

#include <algorithm>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

std::string PlaceWords(Place place) { return PlaceText(place.column, place.row); }

std::string WithUnit(const std::string& number, const std::string& unit) {
  if (unit.empty()) {
    return number;
  }
  if (unit == "1/cycle") {
    return number + " a cycle";
  }
  return number + " " + (number == "1" ? unit.substr(0, unit.size() - 1) : unit);
}

// As few digits as tell a number from the ends that it is beyond; 0 for all of them.
int DigitsOf(const Finding& finding) {
  const std::string value = PlainNumber(*finding.value);
  for (const std::optional<double>& end : {finding.wanted.least, finding.wanted.most}) {
    if (!finding.holds && end && *end != *finding.value && PlainNumber(*end) == value) {
      return 0;
    }
  }
  return 6;
}

// "elements", or what else was compared with the bound.
std::string ComparedWords(const Finding& finding) {
  if (finding.witness.of == MeasureOf::RUN) {
    return "windows";
  }
  const std::string unit = MeasureOfName(finding.witness.of);
  return finding.windows     ? "numbers of windows and units"
         : unit == "switch"  ? "switches"
         : unit == "traffic" ? "pairs of clusters"
                             : unit + "s";
}

std::string MomentText(const Witness& witness) {
  if (witness.message) {
    const TraceEvent& message = *witness.message;
    return "record " + std::to_string(message.record) + " at cycle " +
           std::to_string(message.cycle) + ", from " + PlaceWords(message.at) + " to " +
           PlaceWords(message.to) +
           (witness.cycle != message.cycle ? ", consumed at cycle " + std::to_string(*witness.cycle)
                                           : "");
  }
  std::string text = WitnessPlaceText(witness);
  if (witness.packet) {
    text = "packet " + std::to_string(*witness.packet);
  }
  if (witness.cycle) {
    text += (text.empty() ? "cycle " : ", cycle ") + std::to_string(*witness.cycle);
  }
  return text;
}

}  // namespace

const char* OutcomeName(Outcome outcome) {
  constexpr const char* names[] = {"holds", "fails", "untold", "skipped"};
  return names[static_cast<size_t>(outcome)];
}

VerdictCounts CountVerdicts(const std::vector<Verdict>& verdicts) {
  VerdictCounts counts;
  size_t* const of[] = {&counts.holds, &counts.fails, &counts.untold, &counts.skipped};
  for (const Verdict& verdict : verdicts) {
    ++*of[static_cast<size_t>(verdict.outcome)];
  }
  return counts;
}

std::string WitnessPlaceText(const Witness& witness) {
  const std::string at = PlaceWords(witness.at);
  switch (witness.of) {
    case MeasureOf::RUN:
    case MeasureOf::PACKETS:
    case MeasureOf::PAIRS:
    case MeasureOf::CAUSES:
      return "";
    case MeasureOf::TRAFFIC:
      return "cluster " + at + " to cluster " + PlaceWords(witness.to);
    case MeasureOf::SWITCH:
      return "switch of cluster " + at +
             (witness.position ? " at " + PlaceWords(*witness.position) : "");
    case MeasureOf::LINK:
      return std::string("link ") + HeadingName(witness.heading) + " of " +
             (witness.linkLevel == Level::PE ? "element " : "cluster ") + at;
    default:
      return MeasureOfName(witness.of) + (" " + at);
  }
}

std::string FindingText(const Finding& finding) {
  if (!finding.value) {
    return finding.measure + " cannot be told: " + finding.untold;
  }
  const int digits = DigitsOf(finding);
  std::string text =
      finding.measure + " is " + WithUnit(PlainNumber(*finding.value, digits), finding.unit);
  if (!finding.untold.empty()) {
    return text + ": " + finding.untold;
  }
  text += ", wanted " + LimitsText(finding.wanted, digits);
  if (finding.baseline) {
    text += " (the baseline has " + PlainNumber(*finding.baseline, digits) + ")";
  }
  return text;
}

std::string FindingPlaceText(const Finding& finding) {
  if (!finding.value || !finding.untold.empty()) {
    return "";
  }
  const Witness& witness = finding.witness;
  std::string text = MomentText(witness);
  text += (text.empty() ? "of cycles " : ", of cycles ") + std::to_string(witness.range.first) +
          " to " + std::to_string(witness.range.last);
  if (finding.messages > 1) {
    text += "; " + CountText(finding.messages) + " messages go further than wanted";
  } else if (finding.beyond > 1) {
    text += "; beyond it are " + CountText(finding.beyond) + " of " + CountText(finding.compared) +
            " " + ComparedWords(finding);
  }
  return text;
}

std::string VerdictText(const Verdict& verdict) {
  if (verdict.outcome == Outcome::SKIPPED) {
    return verdict.reason;
  }
  if (verdict.findings.empty()) {
    return "the run tells no such measure";
  }
  if (verdict.findings.size() == 1) {
    return FindingText(verdict.findings[0]);
  }
  const auto held =
      static_cast<size_t>(std::count_if(verdict.findings.begin(), verdict.findings.end(),
                                        [](const Finding& finding) { return finding.holds; }));
  if (held == verdict.findings.size()) {
    return CountOf(held, "measure") + (held == 1 ? " holds" : " hold");
  }
  return CountText(verdict.findings.size() - held) + " of " +
         CountOf(verdict.findings.size(), "measure") +
         (verdict.outcome == Outcome::UNTOLD ? " cannot be told" : " are not as wanted");
}

}  // namespace marrowfin
