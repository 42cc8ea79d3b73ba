#ifndef TOOLS_PROGRAM_EXPECTANSWER_H
#define TOOLS_PROGRAM_EXPECTANSWER_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "measure/expect/Rule.h"
#include "measure/expect/Verdict.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// A number of a baseline that was made anew.
struct BaselineChange {
  std::string baseline;  // its file
  std::string rule;
  std::string measure;
  std::optional<double> before;  // nothing where it was not there
  std::optional<double> now;     // nothing where it is there no more
};

// What `expect` tells.
struct ExpectAnswer {
  std::string trace;
  std::string file;         // of the rules
  std::vector<Rule> rules;  // that were asked
  std::vector<Verdict> verdicts;
  ArrayShape shape;
  std::vector<std::string> baselines;  // that were made anew
  std::vector<BaselineChange> changes;
};

// A line for each rule, more for those that fail, and the sum.
std::string ExpectText(const ExpectAnswer& answer);

// The same for machines; numbers are not rounded.
nlohmann::json ExpectJson(const ExpectAnswer& answer);

// The same as JUnit's XML: a test case for each rule, without times.
std::string ExpectJUnit(const ExpectAnswer& answer);

// The command that draws the array at the moment that a finding tells, in words that a shell takes
// as they are; empty where it tells none.
std::string PictureCommand(const ExpectAnswer& answer, const Rule& rule, const Finding& finding);

// "12 rules: 10 hold, 1 fails, 1 is skipped".
std::string SumText(const ExpectAnswer& answer);

}  // namespace marrowfin

#endif
