#ifndef MEASURE_EXPECT_BASELINE_H
#define MEASURE_EXPECT_BASELINE_H

#include <map>
#include <string>
#include <string_view>

#include "trace/base/Result.h"

namespace marrowfin {

// The numbers of a run that later runs are held against, by rule and measure. Threads: a value,
// which one thread writes or any number read.
class Baseline {
 public:
  typedef std::map<std::string, double> Numbers;  // by measure

  // Reads a file that Text made, or what `marrowfin-trace stats --json` printed. REFUSED_INPUT
  // where it is neither, SYSTEM where it cannot be read.
  static Result<Baseline> Read(const std::string& name);

  // The same of a text; `name` is for messages.
  static Result<Baseline> Parse(std::string_view text, const std::string& name);

  // The numbers of a rule, or null; what `stats` printed has the same for every rule.
  const Numbers* Of(const std::string& rule) const;

  // What `stats` printed for all rules gives way to what is set.
  void Set(const std::string& rule, const Numbers& numbers);

  // One measure a line, in order, so that a change of the file is easily read.
  std::string Text() const;

  friend bool operator==(const Baseline&, const Baseline&) = default;

 private:
  std::map<std::string, Numbers> rules;
  Numbers ofAll;
};

}  // namespace marrowfin

#endif
