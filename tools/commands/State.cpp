#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "tools/program/Json.h"
#include "tools/program/Moment.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace state run.trace --step 100\n"
    "  marrowfin-trace state run.trace --cycle 5000 -c 4 -d 2 -p 4 --json\n"
    "\n"
    "--step tells what the viewer shows after so many animation steps of the same trace with the\n"
    "same -c, -d, -p and -F; --cycle tells the state with every event up to and including that\n"
    "cycle applied. As text, elements and switches that no event has touched are left out.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, has no such moment or breaks off before\n"
    "all of it, 2 command line refused, 3 nowhere is room for the index.";

struct StateFlags {
  std::string trace;
  ShapeFlags shape;
  MomentFlags moment;
  bool json = false;
};

std::string Hex(Color color) {
  char text[8];
  snprintf(text, sizeof(text), "#%02x%02x%02x", color.red, color.green, color.blue);
  return text;
}

// What is asked for and what is known of it.
struct Answer {
  const StateFlags& flags;
  const ArrayState& state;
  const Fault& end;  // where the trace breaks off, if it does
};

// JSON of a value, on one line.
std::string Inline(const nlohmann::json& value) {
  std::string text = JsonText(value, -1);
  text.pop_back();
  return text;
}

// Rows of colours. They are written as they are told: as a tree of values, the picture of a large
// array would take a hundred times the memory of its colours.
void PrintRows(const std::vector<Color>& colors, uint32_t columns, std::ostream& out) {
  out << "[";
  for (size_t i = 0; i < colors.size(); ++i) {
    const char* const before = i == 0 ? "[" : i % columns == 0 ? "],[" : ",";
    out << before << '"' << Hex(colors[i]) << '"';
  }
  out << (colors.empty() ? "]" : "]]");
}

void PrintMessages(const ArrayState& s, std::ostream& out) {
  out << "[";
  const char* before = "";
  for (const LiveMessage& m : s.messages) {
    out << before
        << Inline({{"record", m.record},
                   {"thread", m.thread},
                   {"from", {m.from.column, m.from.row}},
                   {"to", {m.to.column, m.to.row}},
                   {"age", s.AgeOf(m)},
                   {"color", Hex(s.ColorOf(m))}});
    before = ",";
  }
  out << "]";
}

void PrintAsJson(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  nlohmann::json head = {{"trace", answer.flags.trace},
                         {"clusters", s.shape.clusters.columns},
                         {"domains", s.shape.domains.columns},
                         {"pes", s.shape.pes.columns},
                         {"step", s.step},
                         {"cycle", s.cycle},
                         {"firstRecord", s.first},
                         {"records", s.last - s.first},
                         {"shown", s.shown}};
  if (answer.end) {
    head["fault"] = AsJson(answer.end);
  }
  std::string text = Inline(head);
  text.pop_back();
  out << text << ",\"elements\":";
  PrintRows(s.elements, s.shape.Columns(), out);
  out << ",\"switches\":";
  PrintRows(s.switches, s.shape.clusters.columns, out);
  out << ",\"messages\":";
  PrintMessages(s, out);
  out << "}\n";
}

void PrintTouched(const ArrayState& s, std::ostream& out) {
  const Color element = UntouchedElementColor(s.step);
  for (size_t i = 0; i < s.elements.size(); ++i) {
    if (s.elements[i] != element) {
      const Place at = s.shape.ElementAt(i);
      out << "element " << at.column << " " << at.row << " " << Hex(s.elements[i]) << "\n";
    }
  }
  const Color filed = UntouchedSwitchColor(s.step);
  for (size_t i = 0; i < s.switches.size(); ++i) {
    if (s.switches[i] != filed) {
      const Place at = s.shape.SwitchAt(i);
      const Place cluster = s.shape.ClusterOfSwitch(at);
      out << "switch of cluster " << cluster.column << " " << cluster.row << " at " << at.column
          << " " << at.row << " " << Hex(s.switches[i]) << "\n";
    }
  }
}

void Print(const Answer& answer, std::ostream& out) {
  const ArrayState& s = answer.state;
  out << answer.flags.trace << ": step " << s.step << ", cycle " << s.cycle << ", "
      << s.last - s.first << " records from record " << s.first << ", " << ShapeText(s.shape)
      << (s.shown ? "" : ", never drawn: the trace ends in this step") << "\n";
  if (answer.end) {
    out << "the trace breaks off: " << answer.end.Text() << "\n";
  }
  out << "untouched elements " << Hex(UntouchedElementColor(s.step)) << ", untouched switches "
      << Hex(UntouchedSwitchColor(s.step)) << "\n";
  PrintTouched(s, out);
  for (const LiveMessage& m : s.messages) {
    out << "message " << m.from.column << " " << m.from.row << " to " << m.to.column << " "
        << m.to.row << " " << Hex(s.ColorOf(m)) << " age " << s.AgeOf(m) << "\n";
  }
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
  ArrayShape shape;
  if (MaybeFailure failure = flags.shape.ShapeFor(flags.trace, trace.index->GetSummary(), shape)) {
    return failure;
  }
  ArrayState state;
  if (MaybeFailure failure = TellState(flags.moment, shape, trace, console, state)) {
    return failure;
  }
  const Summary& summary = trace.index->GetSummary();
  const Answer answer = {flags, state, summary.end};
  if (flags.json) {
    PrintAsJson(answer, console.out);
  } else {
    Print(answer, console.out);
  }
  return IsCutShort(flags.moment, state, summary) ? MaybeFailure(CutShort(summary.end))
                                                  : std::nullopt;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<StateFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  flags->moment.Declare(app);
  flags->shape.Declare(app);
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return State(*flags, console); };
}

}  // namespace

extern const Subcommand stateSubcommand = {"state", "Tell every colour at a moment of a trace",
                                           footer, Configure};

}  // namespace marrowfin
