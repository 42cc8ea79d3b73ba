#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "tools/program/ColorText.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Json.h"
#include "tools/program/Moment.h"
#include "tools/program/ShownPlaces.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

constexpr char stateFooter[] =
    "Examples:\n"
    "  marrowfin-trace state run.trace --step 100\n"
    "  marrowfin-trace state run.trace --cycle 5000 -c 4 -d 2 -p 4 --json\n"
    "  marrowfin-trace state run.trace --cycle 500 --places --region cluster:1,0\n"
    "\n"
    "--step tells what the viewer shows after so many animation steps of the same trace with the\n"
    "same -c, -d, -p and -F; --cycle tells the state with every event up to and including that\n"
    "cycle applied. As text, elements and switches that no event has touched are left out.\n"
    "--places tells whose event each of them shows, which a colour tells up to five other "
    "threads.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, has no such moment or breaks off before\n"
    "all of it, 2 command line refused, 3 nowhere is room for the index.";

struct StateFlags {
  std::string trace;
  ShapeFlags shape;
  MomentFlags moment;
  std::optional<RegionWords> region;
  bool places = false;
  bool json = false;
};

// What is asked for and what is known of it.
struct Answer {
  const StateFlags& flags;
  const ArrayState& state;
  const Fault& end;  // where the trace breaks off, if it does
  Region region;     // all of the array where none was asked for
};

// JSON of a value, on one line.
std::string Inline(const nlohmann::json& value) {
  std::string text = JsonText(value, -1);
  text.pop_back();
  return text;
}

// The columns `first` up to `last` of an array, and the rows.
struct Part {
  Place first;
  Place last;
};

uint32_t ClampedEnd(uint32_t last, uint32_t side) { return last < side ? last + 1 : side; }

Part ElementsIn(const Region& region, const ArrayShape& shape) {
  return {
      region.first,
      {ClampedEnd(region.last.column, shape.Columns()), ClampedEnd(region.last.row, shape.Rows())}};
}

// The clusters whose switches records have in a region.
Part SwitchesIn(const Region& region, const ArrayShape& shape) {
  Part part = {{shape.clusters.columns, shape.clusters.rows}, {}};
  for (uint32_t i = 0; i < shape.clusters.columns; ++i) {
    const uint32_t at = shape.SwitchOf({i, 0}).column;
    if (at >= region.first.column && at <= region.last.column) {
      part.first.column = std::min(part.first.column, i);
      part.last.column = i + 1;
    }
  }
  for (uint32_t i = 0; i < shape.clusters.rows; ++i) {
    const uint32_t at = shape.SwitchOf({0, i}).row;
    if (at >= region.first.row && at <= region.last.row) {
      part.first.row = std::min(part.first.row, i);
      part.last.row = i + 1;
    }
  }
  return part;
}

// Rows of colours. They are written as they are told: as a tree of values, the picture of a large
// array would take a hundred times the memory of its colours.
void PrintRows(const std::vector<Color>& colors, uint32_t columns, const Part& part,
               std::ostream& out) {
  out << "[";
  for (uint32_t row = part.first.row; row < part.last.row; ++row) {
    out << (row == part.first.row ? "[" : ",[");
    for (uint32_t column = part.first.column; column < part.last.column; ++column) {
      const size_t number = static_cast<size_t>(row) * columns + column;
      out << (column == part.first.column ? "" : ",") << '"' << ColorText(colors[number]) << '"';
    }
    out << "]";
  }
  out << "]";
}

bool IsIn(const Region& region, const LiveMessage& message) {
  return region.Has(message.from) || region.Has(message.to);
}

void PrintMessages(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  out << "[";
  const char* before = "";
  for (const LiveMessage& m : s.messages) {
    if (!IsIn(answer.region, m)) {
      continue;
    }
    out << before
        << Inline({{"record", m.record},
                   {"thread", m.thread},
                   {"from", {m.from.column, m.from.row}},
                   {"to", {m.to.column, m.to.row}},
                   {"age", s.AgeOf(m)},
                   {"color", ColorText(s.ColorOf(m))}});
    before = ",";
  }
  out << "]";
}

// What JSON begins with, up to what is shown.
void PrintHeadAsJson(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  nlohmann::json head = {{"trace", answer.flags.trace},
                         {"clusters", s.shape.clusters.columns},
                         {"domains", s.shape.domains.columns},
                         {"pes", s.shape.pes.columns},
                         {"shape", LevelsAsJson(s.shape)},
                         {"step", s.step},
                         {"cycle", s.cycle},
                         {"firstRecord", s.first},
                         {"records", s.last - s.first},
                         {"shown", s.shown}};
  if (answer.flags.region) {
    head["region"] = {{"first", {answer.region.first.column, answer.region.first.row}},
                      {"last", {answer.region.last.column, answer.region.last.row}}};
  }
  if (answer.end) {
    head["fault"] = AsJson(answer.end);
  }
  std::string text = Inline(head);
  text.pop_back();
  out << text;
}

void PrintAsJson(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  PrintHeadAsJson(answer, out);
  out << ",\"elements\":";
  PrintRows(s.elements, s.shape.Columns(), ElementsIn(answer.region, s.shape), out);
  out << ",\"switches\":";
  PrintRows(s.switches, s.shape.clusters.columns, SwitchesIn(answer.region, s.shape), out);
  out << ",\"messages\":";
  PrintMessages(answer, out);
  out << "}\n";
}

void PrintTouched(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  const Color element = UntouchedElementColor(s.step);
  for (size_t i = 0; i < s.elements.size(); ++i) {
    const Place at = s.shape.ElementAt(i);
    if (s.elements[i] != element && answer.region.Has(at)) {
      out << "element " << at.column << " " << at.row << " " << ColorText(s.elements[i]) << "\n";
    }
  }
  const Color filed = UntouchedSwitchColor(s.step);
  for (size_t i = 0; i < s.switches.size(); ++i) {
    const Place at = s.shape.SwitchAt(i);
    if (s.switches[i] != filed && answer.region.Has(at)) {
      const Place cluster = s.shape.ClusterOfSwitch(at);
      out << "switch of cluster " << cluster.column << " " << cluster.row << " at " << at.column
          << " " << at.row << " " << ColorText(s.switches[i]) << "\n";
    }
  }
}

void PrintHead(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  out << LineFor(out, answer.flags.trace) << ": step " << s.step << ", cycle " << s.cycle << ", "
      << s.last - s.first << " records from record " << s.first << ", " << ArrayText(s.shape)
      << (s.shown ? "" : ", never drawn: the trace ends in this step") << "\n";
  if (answer.end) {
    out << "the trace breaks off: " << LineFor(out, answer.end.Text()) << "\n";
  }
}

void Print(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  PrintHead(answer, out);
  out << "untouched elements " << ColorText(UntouchedElementColor(s.step))
      << ", untouched switches " << ColorText(UntouchedSwitchColor(s.step)) << "\n";
  PrintTouched(answer, out);
  for (const LiveMessage& m : s.messages) {
    if (IsIn(answer.region, m)) {
      out << "message " << m.from.column << " " << m.from.row << " to " << m.to.column << " "
          << m.to.row << " " << ColorText(s.ColorOf(m)) << " age " << s.AgeOf(m) << "\n";
    }
  }
}

// A row for each piece and message that shows something.
MaybeFailure TellPlaces(const Answer& answer, IndexedTrace& trace, const Companion& companion,
                        const Console& console) {
  const StateFlags& flags = answer.flags;
  const PlacesQuestion question = {trace,
                                   companion.Notes(),
                                   answer.state,
                                   answer.region,
                                   flags.moment.cycle.value_or(~uint64_t{0}),
                                   console};
  const Result<NotedAnswer<std::vector<ShownPlace>>> places =
      AskIndexed(console, trace, [&] { return FindShownPlaces(question); });
  if (!places) {
    return IndexingFailureOf(places.Why(), flags.trace);
  }
  ReportRefused(places->refused, console);
  const EventNaming naming = {trace.index->GetSummary(), answer.state.shape, companion.GetAbout(),
                              nullptr};
  if (flags.json) {
    PrintHeadAsJson(answer, console.out);
    console.out << ",\"places\":";
    PrintPlacesAsJson(places->answer, naming, console.out);
    console.out << "}\n";
  } else {
    PrintHead(answer, console.out);
    PrintPlaces(places->answer, naming, console.out);
  }
  return std::nullopt;
}

MaybeFailure State(const StateFlags& flags, const Console& console) {
  if (MaybeFailure failure = flags.moment.Check()) {
    return failure;
  }
  if (MaybeFailure failure = flags.shape.Check()) {
    return failure;
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Companion companion =
      flags.places ? OpenCompanion(*trace.file, trace.index->GetSummary().records, console)
                   : OpenAbout(*trace.file, console);
  std::optional<ArrayShape> shape;
  ArrayState state;
  if (MaybeFailure failure = AskByArray(trace, [&] {
        shape = KnownShape({flags.shape, companion, trace.index->GetSummary()});
        return shape ? TellState(flags.moment, *shape, trace, console, state)
                     : MaybeFailure(NoShape(flags.trace));
      })) {
    return failure;
  }
  const Summary& summary = trace.index->GetSummary();
  Answer answer = {flags, state, summary.end, {}};
  if (flags.region) {
    if (MaybeFailure failure = PositionsOf(*flags.region, flags.trace, *shape, answer.region)) {
      return failure;
    }
  }
  if (flags.places) {
    if (MaybeFailure failure = TellPlaces(answer, trace, companion, console)) {
      return failure;
    }
  } else if (flags.json) {
    PrintAsJson(answer, console.out);
  } else {
    Print(answer, console.out);
  }
  return IsCutShort(flags.moment, state, summary) ? MaybeFailure(CutShort(summary.end))
                                                  : std::nullopt;
}

Action ConfigureState(CLI::App& app) {
  const auto flags = std::make_shared<StateFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  flags->moment.Declare(app);
  flags->shape.Declare(app);
  AddRegion(app, "--region", flags->region,
            "Only what is there, of messages either end: COLUMN,ROW or COLUMN,ROW:COLUMN,ROW, or "
            "cluster:COLUMN,ROW or domain:COLUMN,ROW of the array");
  app.add_flag(
      "--places", flags->places,
      "A row for each element, switch and message that shows something: thread, age, kind");
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return State(*flags, console); };
}

}  // namespace

extern const Subcommand stateSubcommand = {"state", "Tell every colour at a moment of a trace",
                                           stateFooter, ConfigureState};

}  // namespace marrowfin
