#include "render/report/ReportFaults.h"

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

std::string TextOf(const Fault& fault) {
  std::string text = fault.reason;
  if (fault.offset > 0 || fault.record > 0) {
    text =
        "record " + CountText(fault.record) + " at byte " + CountText(fault.offset) + ": " + text;
  }
  return text;
}

}  // namespace

std::vector<std::string> FaultsOf(const ReportedRun& reported) {
  std::vector<std::string> lines;
  if (const Summary* const summary = reported.summary) {
    if (summary->end) {
      lines.push_back("The trace breaks off behind " + CountOf(summary->records, "record") + ": " +
                      TextOf(summary->end) + ". What follows is in no number.");
    }
    if (summary->falls > 0) {
      lines.push_back(CountOf(summary->falls, "record") +
                      " with a cycle below that of the record "
                      "before, the first of them record " +
                      CountText(summary->firstFall) + ".");
    }
  }
  if (reported.run.measures.outside > 0) {
    lines.push_back(CountOf(reported.run.measures.outside, "place") +
                    " of events outside the array, which are in no number of a place.");
  }
  for (const Fault& fault : reported.refused) {
    lines.push_back("Beside the trace, not believed: " + TextOf(fault) + ".");
  }
  return lines;
}

}  // namespace marrowfin
