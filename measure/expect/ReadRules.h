#ifndef MEASURE_EXPECT_READRULES_H
#define MEASURE_EXPECT_READRULES_H

#include <string>
#include <string_view>

#include "measure/expect/Rule.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Reads a file of rules, as docs/expect.md defines them. REFUSED_INPUT, with the line, where it is
// no TOML, has a key or a measure that nobody knows (the nearest right one is told), or says
// something that cannot be meant. SYSTEM where it cannot be read. Threads: any number may call
// these at a time.
[[nodiscard]] Result<RuleFile> ReadRules(const std::string& name);

// The same of a text; `name` is for messages, and baselines are named from its folder.
[[nodiscard]] Result<RuleFile> ParseRules(std::string_view text, const std::string& name);

}  // namespace marrowfin

#endif
