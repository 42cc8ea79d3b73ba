#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>

#include "tools/program/CompanionInput.h"
#include "tools/program/CompanionText.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/PlainCount.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

constexpr char infoFooter[] =
    "Examples:\n"
    "  marrowfin-trace info run.trace\n"
    "  marrowfin-trace info run.trace.zst --json\n"
    "\n"
    "Reads the trace once; gzip and zstd data are unpacked on the way. Beside a plain file it "
    "looks\n"
    "for a companion, and tells from whom it is and what is noted in it.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, 2 command line refused.";

struct InfoFlags {
  std::string trace;
  bool json = false;
};

// Counts the animation steps of a viewer that skips to no cycle.
class StepCounter {
 public:
  void Add(const Columns& columns) {
    for (size_t i = 0; i < columns.size && records < 2; ++i, ++records) {
      cycles[records] = columns.cycle[i];
    }
  }

  // The viewer's start takes the first record and shows nothing of it. Its first step compares the
  // cycle of the next one with 0, and each step but the last ends with a change of cycle.
  uint64_t Steps(const Summary& summary) const {
    if (records < 2) {
      return 0;
    }
    return summary.changes - (cycles[1] != cycles[0] ? 1 : 0) + (cycles[1] != 0 ? 1 : 0);
  }

 private:
  uint64_t cycles[2] = {};
  size_t records = 0;
};

nlohmann::json SquareAsJson(const ArrayShape& shape) {
  return {{"clusters", shape.clusters.columns},
          {"domains", shape.domains.columns},
          {"pes", shape.pes.columns}};
}

void AddShapes(const Summary& s, const Companion& companion, nlohmann::json& json) {
  if (const std::optional<ArrayShape> told = ToldView(companion, s)) {
    json["view"] = SquareAsJson(*told);
    return;
  }
  const FittingShapes fitting = ShapesThatFit(s);
  if (!fitting.view) {
    return;
  }
  json["view"] = SquareAsJson(*fitting.view);
  json["alsoFits"] = nlohmann::json::array();
  for (const ArrayShape& other : fitting.others) {
    json["alsoFits"].push_back(SquareAsJson(other));
  }
  if (fitting.rectangle) {
    const ArrayShape& rectangle = *fitting.rectangle;
    json["rectangle"] = LevelsAsJson(rectangle);
    json["rectangle"]["columns"] = rectangle.Columns();
    json["rectangle"]["rows"] = rectangle.Rows();
  }
  if (fitting.withEnds) {
    json["viewOfEnds"] = SquareAsJson(*fitting.withEnds);
  }
}

std::string SummaryAsJson(const std::string& name, const Summary& s, uint64_t steps,
                          const Companion& companion) {
  nlohmann::json json = {
      {"trace", name},
      {"records", s.records},
      {"bytes", s.bytes},
      {"fires", s.fires},
      {"sends", s.sends},
      {"transmissions", s.switches},
      {"firstCycle", s.firstCycle},
      {"lastCycle", s.lastCycle},
      {"largestCycle", s.maxCycle},
      {"changesOfCycle", s.changes},
      {"steps", steps},
      {"fallingCycles", s.falls},
      {"extent",
       {{"columns", std::max(s.fired.columns, s.sent.columns)},
        {"rows", std::max(s.fired.rows, s.sent.rows)}}},
      {"switches", s.switchPlaces.size()},
      {"threads", nlohmann::json::array()},
  };
  for (const auto& [thread, count] : s.threads) {
    json["threads"].push_back({{"thread", thread}, {"records", count}});
  }
  if (s.otherThreads > 0) {
    json["recordsOfFurtherThreads"] = s.otherThreads;
  }
  AddShapes(s, companion, json);
  const nlohmann::json beside = BesideAsJson(companion);
  if (!beside.is_null()) {
    json["companion"] = beside;
  }
  if (s.end) {
    json["fault"] = AsJson(s.end);
  }
  return JsonText(json);
}

void PrintThreads(const Summary& s, std::ostream& out) {
  constexpr size_t SHOWN = 8;
  out << "threads       " << s.threads.size() << (s.otherThreads > 0 ? " or more" : "") << ":";
  size_t shown = 0;
  for (const auto& [thread, count] : s.threads) {
    if (++shown > SHOWN) {
      out << " ...";
      break;
    }
    out << " " << thread << " (" << count << ")";
  }
  out << "\n";
}

bool IsFile(const std::string& name) {
  struct stat status;
  return name != STANDARD_STREAM && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Whether the viewer, which unpacks nothing and reads from no pipe, can show the file as it is.
bool IsPlain(const std::string& name) { return IsFile(name) && TraceSource::Open(name); }

// The command line that shows the trace.
std::string CommandFor(const std::string& name, const ArrayShape& shape) {
  if (IsPlain(name)) {
    return ViewCommand(shape, name);
  }
  return "marrowfin " + ShapeText(shape) + " -f FILE, once it is " +
         (IsFile(name) ? "unpacked into" : "kept as") + " a plain FILE";
}

void PrintOthers(const std::vector<ArrayShape>& others, std::ostream& out) {
  constexpr size_t SHOWN = 3;
  if (others.empty()) {
    return;
  }
  out << "also fits     ";
  for (size_t i = 0; i < others.size() && i < SHOWN; ++i) {
    out << (i == 0 ? "" : ", ") << ShapeText(others[i]);
  }
  if (others.size() > SHOWN) {
    out << " and " << others.size() - SHOWN << " more";
  }
  out << "\n";
}

void PrintRectangle(const ArrayShape& shape, std::ostream& out) {
  out << "rectangle     " << PlainCount(shape.Columns(), "column") << " x "
      << PlainCount(shape.Rows(), "row") << ": " << LevelsText(shape) << "; no viewer shows it\n";
}

void PrintView(const std::string& name, const Summary& s, const Companion& companion,
               std::ostream& out) {
  if (const std::optional<ArrayShape> told = ToldView(companion, s)) {
    out << "view it with  " << LineFor(out, CommandFor(name, *told)) << "\n";
    return;
  }
  const FittingShapes fitting = ShapesThatFit(s);
  PrintOthers(fitting.others, out);
  if (fitting.rectangle) {
    PrintRectangle(*fitting.rectangle, out);
  }
  if (fitting.endsOutside) {
    out << "messages      from or to places outside; "
        << (fitting.withEnds ? ShapeText(*fitting.withEnds) + " has them" : "no array has them")
        << "\n";
  }
  out << "view it with  "
      << (fitting.view ? LineFor(out, CommandFor(name, *fitting.view))
                       : "nothing: no array shows all of its locations")
      << "\n";
}

void Print(const std::string& name, const Summary& s, uint64_t steps, const Companion& companion,
           std::ostream& out) {
  out << LineFor(out, name) << "\n";
  out << "records       " << s.records << " (" << s.bytes << " bytes)\n";
  if (s.records == 0) {
    return;
  }
  out << "fires         " << s.fires << "\n";
  out << "sends         " << s.sends << "\n";
  out << "transmissions " << s.switches << " by "
      << PlainCount(s.switchPlaces.size(), "switch", "es") << "\n";
  out << "cycles        " << s.firstCycle << " to " << s.maxCycle << ", "
      << PlainCount(s.changes, "change") << "\n";
  out << "steps         " << steps << ", as the viewer draws them\n";
  if (!s.Ordered()) {
    out << "order         the cycle falls " << PlainCount(s.falls, "time") << ", first at record "
        << s.firstFall << "\n";
  }
  PrintThreads(s, out);
  out << "extent        " << PlainCount(std::max(s.fired.columns, s.sent.columns), "column") << ", "
      << PlainCount(std::max(s.fired.rows, s.sent.rows), "row") << "\n";
  PrintBeside(companion, s, out);
  PrintView(name, s, companion, out);
}

// What stands beside a plain file; of others nobody can read the first records twice.
Companion FindCompanion(const std::string& name, uint64_t records, const Console& console) {
  if (!IsPlain(name)) {
    return Companion();
  }
  const Result<std::unique_ptr<TraceSource>> trace = TraceSource::Open(name);
  return trace ? OpenCompanion(**trace, records, console) : Companion();
}

MaybeFailure Info(const InfoFlags& flags, const Console& console) {
  Summary summary;
  ReadOptions options;
  options.ordered = false;
  StepCounter counter;
  const auto count = [&](const Columns& columns) { counter.Add(columns); };
  if (MaybeFailure failure = Summarize(flags.trace, options, console, summary, count)) {
    return failure;
  }
  const Companion companion = FindCompanion(flags.trace, summary.records, console);
  const uint64_t steps = counter.Steps(summary);
  if (flags.json) {
    console.out << SummaryAsJson(flags.trace, summary, steps, companion);
  } else {
    Print(flags.trace, summary, steps, companion, console.out);
  }
  return summary.end ? MaybeFailure(FailureOf(summary.end)) : std::nullopt;
}

Action ConfigureInfo(CLI::App& app) {
  const auto flags = std::make_shared<InfoFlags>();
  app.add_option("TRACE", flags->trace, "The trace; - is standard input")->required();
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return Info(*flags, console); };
}

}  // namespace

extern const Subcommand infoSubcommand = {"info", "Tell what is in a trace and how to view it",
                                          infoFooter, ConfigureInfo};

}  // namespace marrowfin
