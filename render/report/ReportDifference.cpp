#include "render/report/ReportDifference.h"

#include <utility>

#include "measure/NumberText.h"
#include "measure/ValueText.h"

namespace marrowfin {
namespace {

std::string SpanText(const std::optional<PhaseSpan>& span) {
  return span ? CountText(span->cycles.first) + " to " + CountText(span->cycles.last) : "–";
}

std::string RateText(const std::optional<PhaseSpan>& span) {
  return span ? ThreeDigits(span->firesPerCycle) : "–";
}

}  // namespace

std::string DifferenceText(const ReportedDifference& difference) {
  const RunAlignment& aligned = difference.aligned;
  std::string text = "Held against " + difference.other.trace + ": ";
  if (aligned.sameBytes) {
    return text + "equal, every byte is the same.";
  }
  if (aligned.AreEqual()) {
    text += "equal, each cycle has the same events.";
  } else {
    text += CountText(aligned.differing) + " of " + CountOf(aligned.units, "cycle") +
            (aligned.differing == 1 ? " differs" : " differ") +
            (aligned.first ? ", the first is cycle " + CountText(aligned.first->unit) : "") + ".";
  }
  const double cycles = difference.run.measures.cycles;
  const double others = difference.other.measures.cycles;
  return text + (cycles == others
                     ? " Both take " + CountText(WholeOf(cycles)) + " cycles."
                     : " It takes " + CountText(WholeOf(cycles)) + " cycles, the other " +
                           CountText(WholeOf(others)) + ": it is " + ThreeDigits(others / cycles) +
                           " times as fast.");
}

ReportTable ChangeTable(const ReportedDifference& difference) {
  ReportTable table;
  table.name = "table-changes";
  table.caption = "What changed";
  table.onPaper = ReportTable::AT_ONCE;
  table.columns = {
      {"Measure"}, {"This run", true}, {"The other", true}, {"Change", true}, {"Share", true}};
  for (const Change& change : ChangesOf(difference.Run(), difference.Other())) {
    const std::optional<double> by = change.Difference();
    if (change.a == change.b || by == 0.0) {
      continue;
    }
    const auto value = [&](const std::optional<double>& of) {
      return of ? ValueText(change.quantity, *of) : "–";
    };
    const std::optional<double> share = change.Relative();
    table.rows.push_back({change.words, value(change.a), value(change.b),
                          by ? SignedText(*by, ValueText(change.quantity, *by)) : "–",
                          share ? SignedText(*share, ValueText(Quantity::SHARE, *share)) : "–"});
  }
  table.all = table.rows.size();
  return table;
}

ReportTable PhasePairTable(const ReportedDifference& difference) {
  ReportTable table;
  table.name = "table-phase-pairs";
  table.caption = "Phases, in their order";
  table.onPaper = ReportTable::AT_ONCE;
  table.columns = {{"Phase"},
                   {"Cycles", true},
                   {"Fires per cycle", true},
                   {"The other’s cycles", true},
                   {"Fires per cycle there", true},
                   {"Times as fast", true}};
  if (difference.phases.size() < 2) {
    return table;
  }
  for (size_t i = 0; i < difference.phases.size(); ++i) {
    const PhasePair& pair = difference.phases[i];
    const std::optional<double> speed = pair.SpeedUp();
    table.rows.push_back({std::string(1, static_cast<char>('A' + i)), SpanText(pair.a),
                          RateText(pair.a), SpanText(pair.b), RateText(pair.b),
                          speed ? ThreeDigits(*speed) : "–"});
  }
  table.all = table.rows.size();
  return table;
}

}  // namespace marrowfin
