#include "tools/program/Report.h"

#include <ostream>

namespace marrowfin {

void Report(const Failure& failure, const Console& console) {
  console.err << PROGRAM_NAME << ": " << failure.reason << "\n";
  if (!failure.remedy.empty()) {
    console.err << "  " << failure.remedy << "\n";
  }
}

}  // namespace marrowfin
