#ifndef RENDER_REPORT_REPORTVERDICTS_H
#define RENDER_REPORT_REPORTVERDICTS_H

#include <string>
#include <vector>

#include "measure/expect/Rule.h"
#include "measure/expect/Verdict.h"
#include "render/report/ReportTable.h"

namespace marrowfin {

// Rules that a run was held against, as a report tells them.
struct ReportedVerdicts {
  std::string file;  // of the rules
  std::vector<Rule> rules;
  std::vector<Verdict> verdicts;
};

// A row for each rule, those that do not hold first: what was found, what is wanted, and where.
ReportTable VerdictTable(const ReportedVerdicts& reported);

}  // namespace marrowfin

#endif
