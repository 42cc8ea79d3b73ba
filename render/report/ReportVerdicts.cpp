#include "render/report/ReportVerdicts.h"

#include <algorithm>
#include <cstdint>

namespace marrowfin {
namespace {

bool IsBroken(const Verdict& verdict) {
  return verdict.outcome == Outcome::FAILS || verdict.outcome == Outcome::UNTOLD;
}

// What was found of a rule, and of what is not as wanted where.
std::string FindingsText(const Verdict& verdict) {
  std::string text = VerdictText(verdict);
  for (const Finding& finding : verdict.findings) {
    if (!IsBroken(verdict) || finding.holds) {
      continue;
    }
    if (verdict.findings.size() > 1) {
      text += "; " + FindingText(finding);
    }
    const std::string place = FindingPlaceText(finding);
    text += place.empty() ? "" : "; " + place;
  }
  // Places may be told in several lines.
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

}  // namespace

ReportTable VerdictTable(const ReportedVerdicts& reported) {
  ReportTable table;
  table.name = "table-verdicts";
  table.caption = "Rules of " + reported.file;
  table.onPaper = ReportTable::AT_ONCE;
  table.columns = {{"Rule"}, {"Verdict"}, {"Found"}, {"Line", true}};
  std::vector<const Verdict*> verdicts;
  for (const Verdict& verdict : reported.verdicts) {
    verdicts.push_back(&verdict);
  }
  std::stable_sort(verdicts.begin(), verdicts.end(), [](const Verdict* a, const Verdict* b) {
    return IsBroken(*a) && !IsBroken(*b);
  });
  table.all = verdicts.size();
  for (const Verdict* const verdict : verdicts) {
    if (table.rows.size() == ReportTable::MOST_ROWS) {
      break;
    }
    const Rule& rule = reported.rules[verdict->rule];
    table.rows.push_back({rule.name, OutcomeName(verdict->outcome), FindingsText(*verdict),
                          std::to_string(rule.line)});
  }
  return table;
}

}  // namespace marrowfin
