#include "trace/edit/ShiftTrace.h"

#include <charconv>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/program/CompanionInput.h"
#include "tools/program/EditOutput.h"
#include "tools/program/FeedInput.h"
#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/OutputApart.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char shiftFooter[] =
    "Examples:\n"
    "  marrowfin-trace shift run.trace --first-cycle 0 -o from0.trace\n"
    "  marrowfin-trace shift run.trace --later 500 --move 32,0 -o beside.trace\n"
    "  marrowfin-trace shift run.trace --mirror columns -c 4 -d 2 -p 4 -o mirrored.trace\n"
    "  marrowfin-trace shift run.trace --map-threads 0-3=8,5=0 -o renumbered.trace\n"
    "\n"
    "Copies a trace with other cycles, places or numbers of threads, with the companion: cycles "
    "in\n"
    "notes, samples of counters and names go along. Positions that --map-places names go there,\n"
    "all others are mirrored first and moved then. Switches are mirrored with their clusters.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, or a cycle or place would be\n"
    "none, 2 command line refused, 3 the output cannot be written.";

struct ShiftFlags {
  std::string trace;
  EditFlags edit;
  ShapeFlags shape;
  std::optional<uint64_t> firstCycle;
  std::optional<uint64_t> later;
  std::optional<uint64_t> earlier;
  Shift shift;
  std::string mirror;
  std::string mapPlaces;

  bool SaysSomething() const {
    return firstCycle || later || earlier || shift.columns != 0 || shift.rows != 0 ||
           !shift.threads.empty() || !mirror.empty() || !mapPlaces.empty();
  }
};

template <class Number>
bool Parse(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

// "-4,8".
std::string ParseMove(const std::string& text, Shift& shift) {
  constexpr int64_t FARTHEST = ~uint32_t{0};
  const std::string_view all = text;
  const size_t comma = all.find(',');
  const bool good = comma != std::string_view::npos && Parse(all.substr(0, comma), shift.columns) &&
                    Parse(all.substr(comma + 1), shift.rows) &&
                    std::max(shift.columns, shift.rows) <= FARTHEST &&
                    std::min(shift.columns, shift.rows) >= -FARTHEST;
  return good ? "" : text + " is no move: say columns and rows, as in 8,0 or -4,-4";
}

// "3=0", "0-3=8".
bool ParseThreadMove(std::string_view text, ThreadMove& move) {
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos || !Parse(text.substr(equals + 1), move.to)) {
    return false;
  }
  const std::string_view from = text.substr(0, equals);
  const size_t dash = from.find('-');
  const bool good = Parse(from.substr(0, dash), move.first);
  move.last = move.first;
  return good && (dash == std::string_view::npos || Parse(from.substr(dash + 1), move.last)) &&
         move.first <= move.last && move.last - move.first <= ~uint32_t{0} - move.to;
}

std::string ParseThreadMoves(const std::string& text, std::vector<ThreadMove>& moves) {
  moves.clear();
  std::string_view rest = text;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    moves.emplace_back();
    if (!ParseThreadMove(rest.substr(0, comma), moves.back())) {
      return text + " tells no numbers of threads: say old and new ones, as in 3=0,4-7=10";
    }
    more = comma != std::string_view::npos;
    rest.remove_prefix(more ? comma + 1 : rest.size());
  }
  return "";
}

// A line "column,row,toColumn,toRow".
bool ParsePlaceMove(std::string_view line, Place& from, Place& to) {
  uint32_t* const numbers[] = {&from.column, &from.row, &to.column, &to.row};
  for (size_t i = 0; i < 4; ++i) {
    const size_t comma = i < 3 ? line.find(',') : line.size();
    if (comma == std::string_view::npos || !Parse(line.substr(0, comma), *numbers[i])) {
      return false;
    }
    line.remove_prefix(std::min(line.size(), comma + 1));
  }
  return true;
}

MaybeFailure ReadPlaces(const std::string& name, Shift& shift) {
  std::ifstream file(name);
  if (!file) {
    return SystemFailure(EXIT_INPUT, name, "open", "Name a file that you may read.");
  }
  size_t number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    Place from;
    Place to;
    if (line.empty() || (number == 1 && line == "column,row,toColumn,toRow")) {
      continue;
    }
    if (!ParsePlaceMove(line, from, to)) {
      return Failure{
          EXIT_INPUT,
          name + ": line " + std::to_string(number) + " tells no place and where it goes",
          "Say column,row,toColumn,toRow, as in 3,4,0,0."};
    }
    if (!shift.places.emplace(from, to).second) {
      return Failure{EXIT_INPUT,
                     name + ": line " + std::to_string(number) + " tells of a place again",
                     "Say each place once."};
    }
  }
  return std::nullopt;
}

// What is moved, and what comes of it.
struct Shifting {
  const ShiftFlags& flags;
  const Console& console;
  Shift shift;
  FedTrace trace;
  Summarizer summarizer;
  std::optional<EditOutput> output;
  ShiftAccount account;
  MaybeFailure unwritten;
};

Fault ShiftOnce(Shifting& shifting) {
  const ShiftFlags& flags = shifting.flags;
  shifting.summarizer = Summarizer();
  if (Fault fault = shifting.trace.Begin(shifting.summarizer)) {
    return fault;
  }
  shifting.unwritten = shifting.output.emplace().Open(
      flags.edit.output, shifting.trace.HasCompanion(), flags.edit.pack);
  if (shifting.unwritten) {
    return {};
  }
  const Interruption interruption;
  ProgressLine line(shifting.console.terminal, "moving " + flags.trace, "MB", 1e6);
  Result<ShiftAccount> shifted =
      ShiftTrace(shifting.trace.Feed(), shifting.trace.Notes(), shifting.shift,
                 shifting.output->Made(), [&](const Progress& now) {
                   line.Update(now.done, now.all);
                   return !interruption.Asked();
                 });
  if (const Fault& unwritten = shifting.output->Made().GetFault()) {
    shifting.unwritten = OutputFailureOf(unwritten);
    return {};
  }
  Fault fault = shifted.Why();
  if (fault && fault.file.empty()) {
    fault.file = flags.trace;
  }
  shifting.account = shifted ? *shifted : ShiftAccount();
  return fault;
}

// Where places stay, or are mirrored on an array, that shows the trace.
EditAccount AccountOf(Shifting& shifting) {
  EditAccount account = shifting.output->Account({shifting.flags.trace});
  if (account.records > 0) {
    account.firstCycle = shifting.account.firstCycle;
    account.lastCycle = shifting.account.lastCycle;
  }
  shifting.summarizer.Finish();
  const Shift& shift = shifting.shift;
  if (!shift.MovesPlaces()) {
    account.shape = shifting.trace.View(shifting.summarizer.Get());
  } else if (shift.places.empty() && shift.columns == 0 && shift.rows == 0) {
    account.shape = shift.shape;
  }
  return account;
}

MaybeFailure CheckShiftFlags(const ShiftFlags& flags) {
  if (!flags.SaysSomething()) {
    return Failure{EXIT_USAGE, "nothing says what is to be moved",
                   "Give --first-cycle, --later, --earlier, --move, --mirror, --map-threads or "
                   "--map-places."};
  }
  const int cycles = (flags.firstCycle ? 1 : 0) + (flags.later ? 1 : 0) + (flags.earlier ? 1 : 0);
  if (cycles > 1) {
    return Failure{EXIT_USAGE, "--first-cycle, --later and --earlier each say where cycles go",
                   "Give one of them."};
  }
  if (MaybeFailure failure = flags.shape.Check()) {
    return failure;
  }
  if (!flags.mapPlaces.empty() && AreOneOutput(flags.mapPlaces, flags.edit.output)) {
    return Failure{EXIT_USAGE, flags.edit.output + ": is the file that tells where places go",
                   "Write to another file."};
  }
  return CheckEditOutput(flags.edit, flags.edit.output, {flags.trace});
}

// The shift that the flags stand for; the array is that of the flags, else what the run told.
MaybeFailure Describe(Shifting& shifting) {
  const ShiftFlags& flags = shifting.flags;
  Shift& shift = shifting.shift;
  shift = flags.shift;
  shift.firstCycle = flags.firstCycle;
  shift.later = flags.later.value_or(0);
  shift.earlier = flags.earlier.value_or(0);
  shift.mirrorColumns = flags.mirror == "columns" || flags.mirror == "both";
  shift.mirrorRows = flags.mirror == "rows" || flags.mirror == "both";
  const About* const about = shifting.trace.GetAbout();
  if (flags.shape.Given()) {
    shift.shape = flags.shape.Shape();
  } else if (about != nullptr && about->array) {
    shift.shape = about->array->shape;
  } else if (!flags.mirror.empty()) {
    return Failure{EXIT_USAGE, "--mirror needs to know the array, and nothing tells it",
                   "Give its counts with -c, -d and -p."};
  }
  return flags.mapPlaces.empty() ? std::nullopt : ReadPlaces(flags.mapPlaces, shift);
}

MaybeFailure RunShift(const ShiftFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckShiftFlags(flags)) {
    return failure;
  }
  Shifting shifting = {flags, console, {}, {}, {}, {}, {}, {}};
  if (MaybeFailure failure = shifting.trace.Open(flags.trace, !flags.edit.noCompanion, console)) {
    return failure;
  }
  if (MaybeFailure failure = Describe(shifting)) {
    return failure;
  }
  Fault fault = ShiftOnce(shifting);
  if (fault.kind == Fault::DAMAGED_INDEX) {
    fault = shifting.trace.Rebuild(console);
    fault = fault ? fault : ShiftOnce(shifting);
  }
  if (shifting.unwritten) {
    return shifting.unwritten;
  }
  if (fault) {
    return IndexingFailureOf(fault, flags.trace);
  }
  shifting.trace.ReportNotes(console);
  ReportRefused(shifting.account.leftOut, console);
  const EditAccount account = AccountOf(shifting);
  const About* const about = shifting.trace.GetAbout();
  const About moved = about != nullptr ? ShiftedAbout(*about, shifting.shift) : About();
  if (MaybeFailure failure = shifting.output->Commit(about != nullptr ? &moved : nullptr)) {
    return failure;
  }
  TellEdited({account}, flags.edit.json, console);
  if (shifting.account.lostValues > 0) {
    Report(Failure{EXIT_OK,
                   flags.edit.output + ": " + std::to_string(shifting.account.lostValues) +
                       " cycles in notes and samples of counters have no place there and are left "
                       "out",
                   ""},
           console);
  }
  return shifting.account.end ? MaybeFailure(CutShort(shifting.account.end)) : std::nullopt;
}

// An option whose text a function understands.
template <class Value>
void AddParsed(CLI::App& app, const std::string& name, const std::string& form, Value& value,
               std::string (*parse)(const std::string&, Value&), const std::string& help) {
  app.add_option_function<std::string>(
         name, [&value, parse](const std::string& text) { static_cast<void>(parse(text, value)); },
         help)
      ->type_name(form)
      ->check([parse](const std::string& text) {
        Value unused;
        return parse(text, unused);
      });
}

Action ConfigureShift(CLI::App& app) {
  const auto flags = std::make_shared<ShiftFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  AddCount(app, "--first-cycle", flags->firstCycle, "The cycle that the first record gets");
  AddCount(app, "--later", flags->later, "All records so many cycles later");
  AddCount(app, "--earlier", flags->earlier, "All records so many cycles earlier");
  AddParsed(app, "--move", "COLUMNS,ROWS", flags->shift, ParseMove,
            "All places so many columns and rows on; negative numbers move back");
  app.add_option("--mirror", flags->mirror,
                 "The last columns or rows of the array become the first")
      ->check(CLI::IsMember({"columns", "rows", "both"}));
  AddParsed(app, "--map-threads", "OLD=NEW,...", flags->shift.threads, ParseThreadMoves,
            "Other numbers for threads: 3=0, or 4-7=10 for the four from 10 on");
  app.add_option("--map-places", flags->mapPlaces,
                 "Other places for positions: a file of lines column,row,toColumn,toRow");
  flags->shape.Declare(app);
  flags->edit.Declare(app);
  return [flags](const Console& console) { return RunShift(*flags, console); };
}

}  // namespace

extern const Subcommand shiftSubcommand = {
    "shift", "Move the records of a trace: to other cycles, places, threads", shiftFooter,
    ConfigureShift};

}  // namespace marrowfin
