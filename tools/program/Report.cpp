#include "tools/program/Report.h"

#include <ostream>

#include "tools/program/TerminalText.h"

namespace marrowfin {

void Report(const Failure& failure, const Console& console) {
  console.err << PROGRAM_NAME << ": " << LineFor(console.err, failure.reason) << "\n";
  if (!failure.remedy.empty()) {
    console.err << "  " << failure.remedy << "\n";
  }
}

}  // namespace marrowfin
