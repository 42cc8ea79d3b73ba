#include "convert/export/Export.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "convert/export/AtomicFolder.h"
#include "convert/export/ExportFormat.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/NotesInput.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

constexpr char exportFooter[] =
    "Examples:\n"
    "  marrowfin-trace export run.trace -o run.pftrace\n"
    "  marrowfin-trace export run.trace --cycles 100..900 -o part.sqlite\n"
    "  marrowfin-trace export run.trace --types send -o messages.csv\n"
    "  marrowfin-trace export run.trace -o run.h5 --force --json\n"
    "  marrowfin-trace export run.trace -o run.otf2\n"
    "\n"
    "The ending of OUTPUT tells the format unless --format does: .csv, .jsonl, .json (Chrome "
    "trace),\n"
    ".pftrace (Perfetto), .vcd (waveforms), .h5 (HDF5), .sqlite, .otf2 (a folder). Events go with "
    "their\n"
    "notes, those and counters as far as a format has a place for them. Timelines show a cycle as "
    "a\n"
    "nanosecond; waveforms tell which cycles had events, and how many in all. csv and jsonl are "
    "what\n"
    "'events' prints. Only a folder that an export wrote is replaced by --force.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

struct ExportFlags {
  std::string trace;
  std::string output;
  std::optional<std::string> format;
  FilterFlags filter;
  NoteFlags notes;
  ShapeFlags shape;
  bool force = false;
  bool json = false;
};

std::vector<std::string> ExportFormatNames() {
  std::vector<std::string> names;
  for (const ExportFormat& format : ExportFormats()) {
    names.push_back(format.name);
  }
  return names;
}

std::string ExportFormatHelp() {
  std::string help = "What to write, unless the ending of OUTPUT tells:";
  const char* between = " ";
  for (const ExportFormat& format : ExportFormats()) {
    help += std::string(between) + format.name + " (" + format.summary + ")";
    between = ", ";
  }
  return help;
}

// The format that is meant; null where nothing tells.
const ExportFormat* FormatMeant(const ExportFlags& flags) {
  if (!flags.format) {
    return ExportFormatOf(flags.output);
  }
  const std::span<const ExportFormat> formats = ExportFormats();
  return &*std::find_if(formats.begin(), formats.end(),
                        [&](const ExportFormat& format) { return format.name == *flags.format; });
}

// A folder may hold anything: only what an export wrote and nobody added to is ever replaced.
MaybeFailure CheckFolder(const ExportFlags& flags, const ExportFormat& format) {
  if (IsStandardOutput(flags.output)) {
    return Failure{EXIT_USAGE,
                   flags.output + ": is no folder, and " + format.name + " is a folder of files",
                   "Name a folder with -o."};
  }
  struct stat existing;
  if (stat(flags.output.c_str(), &existing) == -1) {
    return std::nullopt;
  }
  if (!flags.force) {
    return Failure{EXIT_USAGE, flags.output + ": exists already",
                   "Name another folder, or replace this one with --force."};
  }
  if (!format.isOwn(flags.output)) {
    return Failure{
        EXIT_USAGE,
        flags.output + ": is not what an export to " + format.name + " wrote, or not only",
        "Name another folder, or remove this yourself."};
  }
  return std::nullopt;
}

MaybeFailure CheckExportFlags(const ExportFlags& flags) {
  const ExportFormat* const format = FormatMeant(flags);
  if (format == nullptr) {
    return Failure{EXIT_USAGE, flags.output + ": the name tells no format",
                   "Name one with --format."};
  }
  if (MaybeFailure failure = CheckOutputApart(flags.trace, flags.output)) {
    return failure;
  }
  const MaybeFailure there = format->place == ExportPlace::FOLDER
                                 ? CheckFolder(flags, *format)
                                 : CheckNotThere(flags.output, flags.force);
  if (there) {
    return there;
  }
  if (MaybeFailure failure = flags.filter.Check()) {
    return failure;
  }
  return flags.shape.Check();
}

// Whether the format has a place for all of the trace.
MaybeFailure CheckTrace(const ExportFlags& flags, const ExportFormat& format,
                        const EventNaming& naming) {
  const Summary& summary = naming.summary;
  if (format.needsArray && !naming.shape) {
    return NoShape(flags.trace);
  }
  if (format.needsOrder && !summary.Ordered()) {
    return Failure{EXIT_INPUT,
                   flags.trace + ": record " + std::to_string(summary.firstFall) +
                       ": its cycle is below that of the record before it, and " + format.name +
                       " tells events in order of time",
                   "Sort the trace first, or export it to another format."};
  }
  if (summary.maxCycle > format.mostCycle) {
    return Failure{EXIT_INPUT,
                   flags.trace + ": cycle " + std::to_string(summary.maxCycle) + " is above " +
                       std::to_string(format.mostCycle) + ", the last that " + format.name +
                       " has a number for",
                   "Export it to another format."};
  }
  return std::nullopt;
}

// What is exported, and to where.
struct ExportJob {
  const ExportFlags& flags;
  const ExportFormat& format;
  const Console& console;
  IndexedTrace& trace;
  const NotesFile* notes;
  const EventNaming& naming;
  const NotedFilter& filter;
};

struct Exported {
  uint64_t events = 0;
  uint64_t samples = 0;
};

MaybeFailure WriteTo(const ExportJob& job, Exporter& exporter, Exported& exported) {
  Export work(job.filter, exporter);
  Fault refused;
  const Fault fault = AskIndexed(job.console, job.trace, [&]() -> Fault {
    const Interruption interruption;
    ProgressLine line(job.console.terminal, "exporting " + job.flags.trace, "M records", 1e6);
    const auto progress = [&](const Progress& now) {
      line.Update(now.done, now.all);
      return !interruption.Asked();
    };
    if (job.notes == nullptr) {
      return work.Write(*job.trace.file, *job.trace.index, nullptr, progress);
    }
    const auto use = job.filter.notes.empty() ? NotesIndexUse::NONE : NotesIndexUse::OPEN;
    const Result<std::unique_ptr<JoinedNotes>> joined =
        JoinNotes(job.trace, *job.notes, use, progress);
    if (!joined) {
      return joined.Why();
    }
    NotesOfTrace& notes = (*joined)->notes;
    Fault met = work.Write(*job.trace.file, *job.trace.index, &notes, progress);
    refused = notes.Refused();
    return met;
  });
  ReportRefused(refused, job.console);
  ReportRefused(work.DamagedSamples(), job.console);
  exported = {work.Events(), work.Samples()};
  if (!fault) {
    return std::nullopt;
  }
  return fault.file == job.flags.output ? OutputFailureOf(fault)
                                        : IndexingFailureOf(fault, job.flags.trace);
}

// A signal waits until what is half a folder is gone.
MaybeFailure WriteFolder(const ExportJob& job, Exported& exported) {
  const Interruption interruption;
  AtomicFolder folder;
  if (const Fault fault = folder.Open(job.flags.output, [&job](const std::string& there) {
        return job.flags.force && job.format.isOwn(there);
      })) {
    return OutputFailureOf(fault);
  }
  {
    const std::unique_ptr<Exporter> exporter =
        job.format.make(job.naming, {nullptr, folder.Path(), job.flags.output});
    if (MaybeFailure failure = WriteTo(job, *exporter, exported)) {
      return failure;
    }
  }
  const Fault fault = folder.Commit();
  return fault ? MaybeFailure(OutputFailureOf(fault)) : std::nullopt;
}

MaybeFailure WriteFile(const ExportJob& job, Exported& exported) {
  Output output;
  if (MaybeFailure failure = output.Open(job.flags.output)) {
    return failure;
  }
  const std::optional<int> descriptor = output.PlainDescriptor();
  if (job.format.place == ExportPlace::FILE && !descriptor) {
    return Failure{EXIT_USAGE,
                   job.flags.output + ": is no plain file, and " + job.format.name +
                       " is written here and there in one",
                   "Name a file with -o."};
  }
  // Whoever writes by itself gets at the temporary, which has no name that is told, through its
  // descriptor.
  const std::string file = descriptor ? "/proc/self/fd/" + std::to_string(*descriptor) : "";
  const std::unique_ptr<Exporter> exporter =
      job.format.make(job.naming, {&output.Sink(), file, job.flags.output});
  if (MaybeFailure failure = WriteTo(job, *exporter, exported)) {
    return failure;
  }
  return output.Commit();
}

// Beyond a limit of the size of files a write is to fail in other libraries as anywhere.
MaybeFailure WriteOutput(const ExportJob& job, Exported& exported) {
  signal(SIGXFSZ, SIG_IGN);
  return job.format.place == ExportPlace::FOLDER ? WriteFolder(job, exported)
                                                 : WriteFile(job, exported);
}

void Account(const ExportJob& job, const Exported& exported) {
  std::ostream& out = AccountStream(job.console, job.flags.output);
  if (job.flags.json) {
    out << JsonText({{"trace", job.flags.trace},
                     {"output", job.flags.output},
                     {"format", job.format.name},
                     {"events", exported.events},
                     {"samples", exported.samples}});
    return;
  }
  out << LineFor(out, job.flags.output) << ": " << exported.events << " events";
  if (exported.samples > 0) {
    out << ", " << exported.samples << " values of counters";
  }
  out << "\n";
}

// That what the trace lost may have belonged to the answer. The index may have been built anew on
// the way: that a packed trace is damaged is met only where it is unpacked.
MaybeFailure CheckWhole(const ExportJob& job) {
  const Fault end = job.trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches =
      ReachesBehindEnd(*job.trace.file, *job.trace.index, job.filter.events);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), job.flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

MaybeFailure RunExport(const ExportFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckExportFlags(flags)) {
    return failure;
  }
  const ExportFormat& format = *FormatMeant(flags);
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Summary summary = trace.index->GetSummary();
  const Companion companion = OpenCompanion(*trace.file, summary.records, console);
  const NotesFile* const notes = companion.Notes();
  const EventNaming naming = {summary, KnownShape({flags.shape, companion, summary}),
                              companion.GetAbout(),
                              notes != nullptr ? &notes->Declarations() : nullptr};
  if (MaybeFailure failure = CheckTrace(flags, format, naming)) {
    return failure;
  }
  NotedFilter filter;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, naming.shape, filter.events)) {
    return failure;
  }
  if (MaybeFailure failure = flags.notes.ConditionsFor(*trace.file, companion, filter.notes)) {
    return failure;
  }
  const ExportJob job = {flags, format, console, trace, notes, naming, filter};
  Exported exported;
  if (MaybeFailure failure = WriteOutput(job, exported)) {
    return failure;
  }
  Account(job, exported);
  return CheckWhole(job);
}

Action ConfigureExport(CLI::App& app) {
  const auto flags = std::make_shared<ExportFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  app.add_option("-o,--output", flags->output, "The file or folder to write; - is standard output")
      ->required();
  app.add_option("--format", flags->format, ExportFormatHelp())
      ->check(CLI::IsMember(ExportFormatNames()));
  flags->filter.Declare(app);
  flags->notes.Declare(app);
  flags->shape.Declare(app);
  AddForce(app, flags->force);
  app.add_flag("--json", flags->json, "Print the account as JSON");
  return [flags](const Console& console) { return RunExport(*flags, console); };
}

}  // namespace

extern const Subcommand exportSubcommand = {
    "export", "Write a trace in the format of another program", exportFooter, ConfigureExport};

}  // namespace marrowfin
