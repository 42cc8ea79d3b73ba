#ifndef TOOLS_PROGRAM_OUTPUTAPART_H
#define TOOLS_PROGRAM_OUTPUTAPART_H

#include <string>

#include "tools/program/Failure.h"

namespace marrowfin {

// Refuses, with EXIT_USAGE, to write to `output` where that is `trace` or a file beside it which
// questions about it read: the companion and the indexes. They are known by their names, so that
// those are kept free that come to be while the question is answered, and through links. `flag` is
// what named the output.
[[nodiscard]] MaybeFailure CheckOutputApart(const std::string& trace, const std::string& output,
                                            const std::string& flag = "-o");

// The same for an output that is an index of the trace, whose place beside it is the usual one.
[[nodiscard]] MaybeFailure CheckIndexApart(const std::string& trace, const std::string& output);

// Whether two outputs are one: a file, there or to come, by any of its names, or standard output.
bool AreOneOutput(const std::string& a, const std::string& b);

}  // namespace marrowfin

#endif
