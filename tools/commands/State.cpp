#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "tools/program/Flags.h"
#include "tools/program/Json.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"
#include "trace/ask/StateReader.h"

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
    "Exit status: 0 done, 1 the trace cannot be read or has no such moment, 2 command line\n"
    "refused, 3 nowhere is room for the index.";

struct StateFlags {
  std::string trace;
  ShapeFlags shape;
  std::optional<uint64_t> step;
  std::optional<uint64_t> cycle;
  std::optional<int> skipTo;
  bool json = false;
};

std::string Hex(Color color) {
  char text[8];
  snprintf(text, sizeof(text), "#%02x%02x%02x", color.red, color.green, color.blue);
  return text;
}

nlohmann::json Colors(const std::vector<Color>& colors, uint32_t side) {
  nlohmann::json rows = nlohmann::json::array();
  for (size_t i = 0; i < colors.size(); ++i) {
    if (i % side == 0) {
      rows.push_back(nlohmann::json::array());
    }
    rows.back().push_back(Hex(colors[i]));
  }
  return rows;
}

std::string StateAsJson(const std::string& name, const ArrayState& s) {
  nlohmann::json json = {{"trace", name},
                         {"clusters", s.shape.clusters.columns},
                         {"domains", s.shape.domains.columns},
                         {"pes", s.shape.pes.columns},
                         {"step", s.step},
                         {"cycle", s.cycle},
                         {"firstRecord", s.first},
                         {"records", s.last - s.first},
                         {"shown", s.shown},
                         {"elements", Colors(s.elements, s.shape.Columns())},
                         {"switches", Colors(s.switches, s.shape.clusters.columns)},
                         {"messages", nlohmann::json::array()}};
  for (const LiveMessage& m : s.messages) {
    json["messages"].push_back({{"record", m.record},
                                {"thread", m.thread},
                                {"from", {m.from.column, m.from.row}},
                                {"to", {m.to.column, m.to.row}},
                                {"age", s.AgeOf(m)},
                                {"color", Hex(s.ColorOf(m))}});
  }
  return JsonText(json, -1);
}

void PrintTouched(const char* what, const std::vector<Color>& colors, uint32_t side,
                  Color untouched, std::ostream& out) {
  for (size_t i = 0; i < colors.size(); ++i) {
    if (colors[i] != untouched) {
      out << what << " " << i % side << " " << i / side << " " << Hex(colors[i]) << "\n";
    }
  }
}

void Print(const std::string& name, const ArrayState& s, std::ostream& out) {
  out << name << ": step " << s.step << ", cycle " << s.cycle << ", " << s.last - s.first
      << " records from record " << s.first << ", " << ShapeText(s.shape)
      << (s.shown ? "" : ", never drawn: the trace ends in this step") << "\n";
  const Color element = UntouchedElementColor(s.step);
  const Color filed = UntouchedSwitchColor(s.step);
  out << "untouched elements " << Hex(element) << ", untouched switches " << Hex(filed) << "\n";
  PrintTouched("element", s.elements, s.shape.Columns(), element, out);
  PrintTouched("switch", s.switches, s.shape.clusters.columns, filed, out);
  for (const LiveMessage& m : s.messages) {
    out << "message " << m.from.column << " " << m.from.row << " to " << m.to.column << " "
        << m.to.row << " " << Hex(s.ColorOf(m)) << " age " << s.AgeOf(m) << "\n";
  }
}

MaybeFailure CheckFlags(const StateFlags& flags) {
  if (flags.step.has_value() == flags.cycle.has_value()) {
    return Failure{EXIT_USAGE, "which moment is not clear", "Give one of --step and --cycle."};
  }
  if (flags.skipTo && flags.cycle) {
    return Failure{EXIT_USAGE, "--cycle leaves nothing out, so there is no skipping to a cycle",
                   "Give -F with --step alone."};
  }
  return flags.shape.Check();
}

MaybeFailure State(const StateFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckFlags(flags)) {
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
  const StateReader reader(*trace.file, *trace.index, shape);
  // A negative cycle asks for a huge one, as it does in the viewer.
  const uint64_t skipTo = static_cast<uint64_t>(int64_t{flags.skipTo.value_or(0)});
  const Result<ArrayState> told =
      flags.step ? reader.AtStep(*flags.step, skipTo) : reader.AtCycle(*flags.cycle);
  if (!told) {
    return FailureOf(told.Why());
  }
  const ArrayState& state = *told;
  if (flags.json) {
    console.out << StateAsJson(flags.trace, state);
  } else {
    Print(flags.trace, state, console.out);
  }
  return std::nullopt;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<StateFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  app.add_option("--step", flags->step, "After this many animation steps")->check(CheckCount);
  app.add_option("--cycle", flags->cycle, "With all events up to this cycle")->check(CheckCount);
  app.add_option("-F", flags->skipTo, "Skip to this cycle first, as the viewer does (with --step)");
  flags->shape.Declare(app);
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return State(*flags, console); };
}

}  // namespace

extern const Subcommand stateSubcommand = {"state", "Tell every colour at a moment of a trace",
                                           footer, Configure};

}  // namespace marrowfin
