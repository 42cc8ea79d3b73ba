#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "convert/export/EventWords.h"
#include "measure/NumberText.h"
#include "measure/ValueText.h"
#include "tools/program/DiffAnswer.h"
#include "tools/program/ShellWord.h"
#include "tools/program/TerminalText.h"
#include "tools/program/ViewCommand.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

constexpr size_t NAMES = 34;   // characters of the column of names
constexpr size_t VALUES = 12;  // and of one of values

// Characters that a terminal shows: the minus of print takes three bytes.
size_t WidthOf(const std::string& text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Left(const std::string& text, size_t width) {
  const size_t has = WidthOf(text);
  return text + std::string(width > has ? width - has : 1, ' ');
}

std::string Right(const std::string& text, size_t width) {
  const size_t has = WidthOf(text);
  return std::string(width > has ? width - has : 1, ' ') + text;
}

std::string SignedCycles(int64_t cycles) {
  const double value = static_cast<double>(cycles);
  return SignedText(value, ThreeDigits(value));
}

std::string RelativeText(double share) {
  return share < 0 ? "−" + PercentText(-share) : "+" + PercentText(share);
}

std::string CyclesText(const CycleRange& cycles) {
  return "cycles " + CountText(cycles.first) + " to " + CountText(cycles.last);
}

// "12 records of cycles 3 to 9".
std::string RecordsText(const DiffedRun& run, uint64_t records) {
  return CountOf(records, "record") + (run.cycles ? " of " + CyclesText(*run.cycles) : "");
}

std::string RunLine(const char* which, const DiffedRun& run, uint64_t records) {
  return std::string(which) + " " + run.trace + ": " + RecordsText(run, records) +
         (run.measures ? ", " + ArrayText(run.run->question.shape) : "") + "\n";
}

// "7 cycles"; units of an alignment by fire are fires.
std::string UnitsText(const DiffAnswer& answer, uint64_t count) {
  return CountOf(count, AlignmentName(answer.alignment));
}

std::string OrderText(const DiffAnswer& answer) {
  return answer.aligned.reordered > 0
             ? ", in another order within " + UnitsText(answer, answer.aligned.reordered)
             : "";
}

std::string AlignedText(const DiffAnswer& answer) {
  const RunAlignment& aligned = answer.aligned;
  const std::string by = std::string("By ") + AlignmentName(answer.alignment) + ": ";
  if (aligned.AreEqual()) {
    return by + "equal, " + UnitsText(answer, aligned.units) + OrderText(answer) + "\n";
  }
  std::string text = by + CountText(aligned.differing) + " of " + UnitsText(answer, aligned.units) +
                     (aligned.differing == 1 ? " differs" : " differ");
  if (aligned.onlyA + aligned.onlyB > 0) {
    text += "; " + CountOf(aligned.onlyA, "event") + " in A alone, " + CountText(aligned.onlyB) +
            " in B alone";
  }
  if (aligned.reordered > 0) {
    text += "; " + UnitsText(answer, aligned.reordered) + " the same but for the order";
  }
  return text + "\n";
}

std::string EventWords(const TraceEvent& event) {
  const auto place = [](Place at) { return PlaceText(at.column, at.row); };
  const std::string where = event.type == SEND_RECORD
                                ? " from " + place(event.at) + " to " + place(event.to)
                                : " at " + place(event.at);
  return "record " + CountText(event.record) + ", cycle " + CountText(event.cycle) + ": " +
         RecordTypeName(event.type) + where + ", thread " + std::to_string(event.thread);
}

std::string SideText(const char* which, const DiffedRun& run,
                     const std::optional<TraceEvent>& event) {
  if (!event) {
    return std::string("  ") + which + "  has no such event\n";
  }
  return std::string("  ") + which + "  " + EventWords(*event) + "\n" +
         "     marrowfin-trace events " + ShellWord(run.trace) + " --cycles " +
         std::to_string(event->cycle) + "\n";
}

std::string CountsText(const char* which, const ElementCounts& counts, bool isSwitch) {
  return std::string("  ") + which + "  " +
         (isSwitch ? CountOf(counts.fires, "transmission")
                   : CountOf(counts.fires, "fire") + ", " + CountOf(counts.sends, "send") + ", " +
                         CountOf(counts.receives, "receive")) +
         "\n";
}

std::string PhaseName(size_t number) {
  return number < 26 ? std::string(1, static_cast<char>('A' + number)) : std::to_string(number);
}

// What the unit of a divergence is.
std::string UnitText(const DiffAnswer& answer, const Divergence& found) {
  const std::string number = CountText(found.unit);
  switch (answer.alignment) {
    case Alignment::CYCLE:
      return "cycle " + number;
    case Alignment::STEP:
      return "step " + number;
    case Alignment::FIRE: {
      const Place at = found.a ? found.a->at : found.b->at;
      return "fire " + number + " of PE " + PlaceText(at.column, at.row);
    }
    case Alignment::PHASE:
      break;
  }
  std::string text = "phase " + PhaseName(found.unit);
  if (found.counts) {
    const Place at = found.counts->at;
    text +=
        std::string(found.counts->isSwitch ? ", most at the switch of cluster " : ", most at PE ") +
        PlaceText(at.column, at.row);
  }
  return text;
}

std::string FirstText(const DiffAnswer& answer) {
  if (!answer.aligned.first) {
    return "";
  }
  const Divergence& found = *answer.aligned.first;
  std::string text = "\nFirst difference: " + UnitText(answer, found) + "\n";
  if (answer.alignment != Alignment::PHASE) {
    return text + SideText("A", answer.a, found.a) + SideText("B", answer.b, found.b);
  }
  if (found.counts) {
    text += CountsText("A", found.counts->a, found.counts->isSwitch) +
            CountsText("B", found.counts->b, found.counts->isSwitch);
  }
  return text;
}

std::string SlipText(const DiffAnswer& answer) {
  if (!answer.aligned.firstSlip) {
    return "";
  }
  const Divergence& first = *answer.aligned.firstSlip;
  std::string text = "\nSlip of fires, cycle in A less cycle in B\n  " + Left("first", NAMES) +
                     UnitText(answer, first) + ": cycle " + CountText(first.a->cycle) + " and " +
                     CountText(first.b->cycle) + "\n";
  double sum = 0;
  double matched = 0;
  const FireSlip* largest = nullptr;
  for (const FireSlip& slip : answer.aligned.slips) {
    sum += slip.sum;
    matched += static_cast<double>(std::min(slip.firesA, slip.firesB));
    if (largest == nullptr || std::abs(slip.largest) > std::abs(largest->largest)) {
      largest = &slip;
    }
  }
  text += "  " + Left("mean", NAMES) + SignedText(sum, ThreeDigits(sum / matched)) + "\n";
  return text + "  " + Left("largest", NAMES) + SignedCycles(largest->largest) + " at PE " +
         PlaceText(largest->at.column, largest->at.row) + "\n";
}

std::string SpeedText(const DiffAnswer& answer) {
  const double a = answer.a.measures->cycles;
  const double b = answer.b.measures->cycles;
  return "\nA takes " + ValueText(Quantity::CYCLES, a) + " cycles, B " +
         ValueText(Quantity::CYCLES, b) + ": A is " + ThreeDigits(b / a) + " times as fast\n";
}

std::string MeasuresText(const DiffAnswer& answer) {
  std::string text = "\n" + Left("Change", NAMES + 2) + Right("A", VALUES) + Right("B", VALUES) +
                     Right("A - B", VALUES) + "\n";
  size_t same = 0;
  for (const Change& change : ChangesOf(answer.a.Measured(), answer.b.Measured())) {
    if (change.a == change.b || change.Difference() == 0.0) {
      same += change.a ? 1 : 0;  // what neither run tells is not the same of both
      continue;
    }
    const auto value = [&](const std::optional<double>& of) {
      return Right(of ? ValueText(change.quantity, *of) : "-", VALUES);
    };
    text += "  " + Left(change.words, NAMES) + value(change.a) + value(change.b);
    if (const std::optional<double> difference = change.Difference()) {
      text += Right(SignedText(*difference, ValueText(change.quantity, *difference)), VALUES);
    }
    if (const std::optional<double> relative = change.Relative()) {
      text += "  (" + RelativeText(*relative) + ")";
    }
    text += "\n";
  }
  return text + "  " + CountOf(same, "measure") + (same == 1 ? " is" : " are") + " the same\n";
}

std::string MostText(const UnitChange& change, Quantity quantity) {
  return PlaceText(change.at.column, change.at.row) + ": " + ValueText(quantity, *change.b) +
         " to " + ValueText(quantity, *change.a);
}

std::string WhereLine(const UnitSummary& summary, Quantity quantity) {
  if (summary.up + summary.down == 0) {
    return "the same everywhere";
  }
  std::string text;
  if (summary.mostUp) {
    text += "up at " + CountText(summary.up) + ", most at " + MostText(*summary.mostUp, quantity);
  }
  if (summary.mostDown) {
    text += (text.empty() ? "" : "; ") + std::string("down at ") + CountText(summary.down) +
            ", most at " + MostText(*summary.mostDown, quantity);
  }
  return text;
}

Quantity QuantityOf(UnitMeasure measure) {
  switch (measure) {
    case UnitMeasure::UTILISATION:
    case UnitMeasure::IDLE:
    case UnitMeasure::SWITCH_LOAD:
      return Quantity::SHARE;
    case UnitMeasure::LONGEST_GAP:
      return Quantity::CYCLES;
    default:
      return Quantity::RATE;
  }
}

std::string WhereText(const DiffAnswer& answer, Level level) {
  std::string text = std::string("\nFrom B to A, by ") + LevelName(level) +
                     (level == Level::PE ? "" : ", means of its PEs") + "\n";
  for (const UnitMeasure measure : UNIT_MEASURES) {
    if ((IsOfSwitches(measure) && level != Level::CLUSTER) || measure == UnitMeasure::IDLE) {
      continue;  // the idle share is what the utilisation leaves
    }
    const std::vector<UnitChange> changes =
        UnitChangesOf(answer.a.Measured(), answer.b.Measured(), measure, level);
    if (changes.empty()) {
      continue;  // not of both
    }
    const Quantity quantity = QuantityOf(measure);
    const UnitSummary summary = SummaryOf(changes);
    const std::string name = measure == UnitMeasure::LONGEST_GAP   ? "longest gap"
                             : measure == UnitMeasure::SWITCH_LOAD ? "switch load"
                             : quantity == Quantity::RATE
                                 ? UnitMeasureName(measure) + std::string(" per cycle")
                                 : UnitMeasureName(measure);
    text += "  " + Left(name, NAMES) + WhereLine(summary, quantity) + "\n";
    if (measure == UnitMeasure::FIRES && summary.onlyA + summary.onlyB > 0) {
      text += "  " + Left("not compared", NAMES) + CountText(summary.onlyA) +
              " that A alone has, " + CountText(summary.onlyB) + " that B alone has\n";
    }
  }
  return text;
}

constexpr size_t MOST_LISTED = 8;  // groups

bool IsTold(const Change& change) {
  const bool isCount =
      change.name == "fires" || change.name == "sends" || change.name == "transmissions";
  return (isCount || change.name.ends_with("Mean")) && change.a != change.b &&
         change.Difference() != 0.0;
}

std::string GroupName(const GroupChange& group) {
  return group.value && group.name.empty() ? CountText(*group.value) : PrintableLine(group.name);
}

// "fires 120 to 130; from send to fire, mean 12.1 to 14"; nothing where nothing changed.
std::string GroupText(const GroupChange& group) {
  std::string text;
  for (const Change& change : group.changes) {
    if (IsTold(change)) {
      const auto value = [&](const std::optional<double>& of) {
        return of ? ValueText(change.quantity, *of) : std::string("-");
      };
      text += (text.empty() ? "" : "; ") + change.words + " " + value(change.b) + " to " +
              value(change.a);
    }
  }
  return text;
}

// Those of which events became more or fewer, most of them first; then what else changed.
std::string GroupsText(const GroupedChanges& grouped) {
  std::string text = "\nFrom B to A, by " + PrintableLine(grouped.by) + "\n";
  std::vector<const GroupChange*> changed;
  for (const GroupChange& group : grouped.groups) {
    if (!GroupText(group).empty()) {
      changed.push_back(&group);
    }
  }
  std::stable_sort(changed.begin(), changed.end(), [](const GroupChange* a, const GroupChange* b) {
    return a->EventsMoved() > b->EventsMoved();
  });
  if (changed.empty()) {
    return text + "  the same of all\n";
  }
  for (size_t i = 0; i < std::min(MOST_LISTED, changed.size()); ++i) {
    text += "  " + Left(GroupName(*changed[i]), NAMES) + GroupText(*changed[i]) + "\n";
  }
  if (changed.size() > MOST_LISTED) {
    text += "  " + CountText(changed.size() - MOST_LISTED) + " more, see --csv groups\n";
  }
  return text;
}

std::string PhasesText(const DiffAnswer& answer) {
  if (answer.phases.size() < 2) {
    return "\nPhases\n  none, or not of both runs\n";
  }
  std::string text = "\nPhases, A against B\n";
  size_t number = 0;
  for (const PhasePair& pair : answer.phases) {
    const auto span = [](const std::optional<PhaseSpan>& of) {
      return of ? CyclesText(of->cycles) + ", " + ThreeDigits(of->firesPerCycle) + " fires a cycle"
                : std::string("none");
    };
    text += "  " + PhaseName(number++) + "  " + span(pair.a) + "; " + span(pair.b);
    if (const std::optional<double> speedUp = pair.SpeedUp()) {
      text += ": " + ThreeDigits(*speedUp) + " times as fast";
    }
    text += "\n";
  }
  return text;
}

}  // namespace

std::string DiffText(const DiffAnswer& answer) {
  const RunAlignment& aligned = answer.aligned;
  std::string text =
      RunLine("A", answer.a, aligned.recordsA) + RunLine("B", answer.b, aligned.recordsB);
  if (aligned.sameBytes) {
    return text + "Equal: the same bytes\n";
  }
  text += AlignedText(answer) + FirstText(answer) + SlipText(answer);
  if (!answer.IsMeasured()) {
    return text;
  }
  text += SpeedText(answer) + MeasuresText(answer) + WhereText(answer, Level::PE);
  if (answer.a.run->question.shape.Switches() > 1 || answer.b.run->question.shape.Switches() > 1) {
    text += WhereText(answer, Level::CLUSTER);
  }
  for (const GroupedChanges& grouped : answer.groups) {
    text += GroupsText(grouped);
  }
  return text + PhasesText(answer);
}

}  // namespace marrowfin
