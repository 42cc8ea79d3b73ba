#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "convert/import/CaptureAbout.h"
#include "convert/import/CaptureNotes.h"
#include "convert/import/Conversion.h"
#include "convert/import/Format.h"
#include "convert/import/Report.h"
#include "tools/program/CompanionOutput.h"
#include "tools/program/Flags.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/ShellWord.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace import --format tt-npe capture.json -o capture.trace\n"
    "  marrowfin-trace import --format tt-npe capture.json -o capture.trace --json\n"
    "\n"
    "Prints an account (events read = events converted + events skipped, by reason) and the\n"
    "command that shows the trace. Input that is packed by gzip or zstd is unpacked on the way.\n"
    "Events that hold what is not known are skipped; --strict refuses them.\n"
    "Beside OUTPUT stands its companion, OUTPUT.about and OUTPUT.notes, which tells what its "
    "records\n"
    "were: kernels or barriers, how many bytes, on which network. Readers that know of none go\n"
    "without.\n"
    "An input that is refused leaves no output behind, and an\n"
    "output that exists is replaced only when the new one is whole.\n"
    "\n"
    "Exit status: 0 done, 1 input refused, 2 command line refused, 3 output not written.";

struct ImportFlags {
  std::string format;
  std::string input;
  std::string output;
  bool json = false;
  bool noFrame = false;
  bool noCompanion = false;
  bool strict = false;
  uint64_t mostRecords = ConversionOptions().mostRecords;
};

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const ImportFormat& format : ImportFormats()) {
    names.push_back(format.name);
  }
  return names;
}

std::string FormatHelp() {
  std::string help = "What the input is:";
  for (const ImportFormat& format : ImportFormats()) {
    help += std::string(" ") + format.name + " (" + format.summary + ")";
  }
  return help;
}

const ImportFormat& FormatNamed(const std::string& name) {
  const std::span<const ImportFormat> formats = ImportFormats();
  return *std::find_if(formats.begin(), formats.end(),
                       [&name](const ImportFormat& format) { return format.name == name; });
}

Result<Capture> ReadInput(const ImportFlags& flags, const Console& console) {
  ProgressLine line(console.terminal, "reading " + flags.input, "MB", 1e6);
  CharSource source([&](const Progress& now) {
    line.Update(now.done, now.all);
    return true;
  });
  Result<std::unique_ptr<ByteSource>> input = OpenInput(flags.input);
  if (!input) {
    return input.Why();
  }
  source.Open(std::move(input).Take(), flags.input);
  return FormatNamed(flags.format).read(source, {flags.strict});
}

MaybeFailure CheckSize(const ImportFlags& flags, const Capture& capture, const ArrayLayout& layout,
                       const ConversionOptions& options) {
  if (const Fault fault = CheckArray(layout, flags.input)) {
    return FailureOf(fault);
  }
  if (const Fault fault = CheckRecords(capture, options, flags.input)) {
    Failure failure = FailureOf(fault);
    failure.remedy = "Raise the limit with --max-records if the disk has room for 36 bytes each.";
    return failure;
  }
  return std::nullopt;
}

// What is imported, from where, and to where.
struct Job {
  const ImportFlags& flags;
  const Console& console;
  const Capture& capture;
  const ArrayLayout& layout;
  ConversionOptions options;
};

// The command line, as far as it says what stands in the trace.
std::string CommandText(const ImportFlags& flags) {
  return "marrowfin-trace import --format " + flags.format + " " + ShellWord(flags.input) + " -o " +
         ShellWord(flags.output) + (flags.noFrame ? " --no-frame" : "");
}

About AboutJob(const Job& job, const Account& account) {
  About about = AboutCapture(job.capture, job.layout, account);
  about.name = job.flags.input.substr(job.flags.input.rfind('/') + 1);
  about.command = CommandText(job.flags);
  about.tool = "marrowfin-trace " MARROWFIN_VERSION;
  return about;
}

MaybeFailure Write(const Job& job, ByteSink& sink, CaptureNotes* notes, Account& account) {
  Writer writer;
  writer.Attach(sink);
  ProgressLine line(job.console.terminal, "writing " + job.flags.output, "M events", 1e6);
  const Result<Account> written =
      WriteRecords(job.capture, job.layout, job.options, writer, notes, [&](const Progress& now) {
        line.Update(now.done, now.all);
        return true;
      });
  if (!written) {
    return OutputFailureOf(written.Why());
  }
  account = *written;
  return std::nullopt;
}

MaybeFailure WriteAlone(const Job& job, Output& output, Account& account) {
  if (MaybeFailure failure = Write(job, output.Sink(), nullptr, account)) {
    return failure;
  }
  const bool replaces = output.PlainDescriptor().has_value();
  MaybeFailure failure = output.Commit();
  if (!failure && replaces) {
    // What lies there is about the trace that was there before.
    RemoveCompanion(job.flags.output);
  }
  return failure;
}

MaybeFailure WriteWithCompanion(const Job& job, Output& output, Account& account) {
  CompanionOutput companion;
  if (MaybeFailure failure = companion.Open(job.flags.output, *output.PlainDescriptor())) {
    return failure;
  }
  CaptureNotes notes(job.capture, companion.Notes());
  if (MaybeFailure failure = Write(job, output.Sink(), &notes, account)) {
    return failure;
  }
  if (const Fault fault = notes.Close()) {
    return OutputFailureOf(fault);
  }
  About about = AboutJob(job, account);
  notes.Recognise(about);
  if (MaybeFailure failure = companion.Commit(about)) {
    return failure;
  }
  MaybeFailure failure = output.Commit();
  if (failure) {
    RemoveCompanion(job.flags.output);
  }
  return failure;
}

// Writes trace and companion; the names of the companion's files, where there are any.
MaybeFailure WriteOutput(const Job& job, Account& account, std::vector<std::string>& companion) {
  Output output;
  if (MaybeFailure failure = output.Open(job.flags.output)) {
    return failure;
  }
  if (job.flags.noCompanion || !output.PlainDescriptor()) {
    return WriteAlone(job, output, account);
  }
  companion = {AboutBeside(job.flags.output), NotesFile::NameBeside(job.flags.output)};
  return WriteWithCompanion(job, output, account);
}

MaybeFailure CheckOutput(const ImportFlags& flags) {
  if (flags.input == STANDARD_STREAM || flags.output == STANDARD_STREAM) {
    return std::nullopt;
  }
  for (const std::string& name :
       {flags.output, AboutBeside(flags.output), NotesFile::NameBeside(flags.output)}) {
    if (IsSameFile(flags.input, name)) {
      return Failure{EXIT_USAGE, name + ": is the input",
                     "Name another output with -o: the trace would replace the capture."};
    }
  }
  return std::nullopt;
}

MaybeFailure Import(const ImportFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckOutput(flags)) {
    return failure;
  }
  Result<Capture> read = ReadInput(flags, console);
  if (!read) {
    return FailureOf(read.Why());
  }
  Capture& capture = *read;
  SortByTime(capture);
  const ArrayLayout layout(capture);
  const ConversionOptions options = {!flags.noFrame, flags.mostRecords};
  if (MaybeFailure failure = CheckSize(flags, capture, layout, options)) {
    return failure;
  }
  Account account;
  std::vector<std::string> companion;
  if (MaybeFailure failure =
          WriteOutput({flags, console, capture, layout, options}, account, companion)) {
    return failure;
  }
  std::ostream& out = AccountStream(console, flags.output);
  const auto shown = [&](const std::string& name) {
    return flags.json ? name : LineFor(out, name);
  };
  for (std::string& name : companion) {
    name = shown(name);
  }
  const ImportReport report = {flags.format,
                               shown(flags.input),
                               shown(flags.output),
                               companion,
                               shown(ViewCommand(layout.Shape(), ShownName(flags.output))),
                               capture,
                               layout,
                               account};
  out << (flags.json ? ReportAsJson(report) : ReportAsText(report));
  return std::nullopt;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<ImportFlags>();
  app.add_option("INPUT", flags->input, "The recording; - is standard input")->required();
  app.add_option("-o,--output", flags->output, "The trace to write; - is standard output")
      ->required();
  app.add_option("--format", flags->format, FormatHelp())
      ->required()
      ->check(CLI::IsMember(FormatNames()));
  app.add_flag("--json", flags->json, "Print the account as JSON");
  app.add_flag("--no-frame", flags->noFrame,
               "Leave out the two records that make the viewer show every event");
  app.add_flag("--no-companion", flags->noCompanion,
               "Write the trace alone, without OUTPUT.about and OUTPUT.notes");
  app.add_flag("--strict", flags->strict,
               "Refuse an input with an event that holds what is not known or lacks a field");
  AddCount(app, "--max-records", flags->mostRecords,
           "Refuse an input that becomes more records than this")
      ->capture_default_str();
  return [flags](const Console& console) { return Import(*flags, console); };
}

}  // namespace

extern const Subcommand importSubcommand = {
    "import", "Turn a recording of another kind into a trace", footer, Configure};

}  // namespace marrowfin
