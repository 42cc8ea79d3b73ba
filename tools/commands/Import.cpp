#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "convert/import/CaptureAbout.h"
#include "convert/import/CaptureNotes.h"
#include "convert/import/Conversion.h"
#include "convert/import/EventStream.h"
#include "convert/import/Format.h"
#include "convert/import/Report.h"
#include "tools/commands/ImportStream.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/Flags.h"
#include "tools/program/NotedOutput.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/ShellWord.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

constexpr char importFooter[] =
    "Examples:\n"
    "  marrowfin-trace import --format tt-npe capture.json -o noc.trace\n"
    "  marrowfin-trace import --format tt-npe capture.json -o noc.trace --force --json\n"
    "  marrowfin-trace import --format netrace run.tra.bz2 -o mesh.trace --derive-switches -p 4\n"
    "  marrowfin-trace import --format csv log.csv -o log.trace --map cycle=time,column=x,row=y\n"
    "  marrowfin-trace import --format hops hops.txt -o hops.mfz --width 8 --map packet=4\n"
    "\n"
    "Prints an account (events read = events converted + events skipped, by reason) and the\n"
    "command that shows the trace. Input that is packed by gzip, zstd or, but for tt-npe, bzip2 "
    "is\n"
    "unpacked on the way.\n"
    "Events that hold what is not known are skipped; --strict refuses them.\n"
    "Beside OUTPUT stands its companion, OUTPUT.about and OUTPUT.notes, which tells what its "
    "records\n"
    "were: kernels or barriers, how many bytes, on which network. Readers that know of none go\n"
    "without. An OUTPUT that ends in .mfz is packed, and its companion within.\n"
    "An input that is refused leaves no output behind, and an output that exists is replaced only\n"
    "with --force, when the new one is whole.\n"
    "\n"
    "Exit status: 0 done, 1 input refused, 2 command line refused, 3 output not written.";

struct ImportFlags {
  std::string format;
  std::string input;
  std::string output;
  NotedOutputFlags how;
  bool json = false;
  bool noFrame = false;
  bool strict = false;
  bool deriveSwitches = false;
  ShapeFlags shape;
  std::optional<uint32_t> width;
  std::vector<std::string> map;
  std::optional<uint64_t> mostRecords;
};

std::vector<std::string> ImportFormatNames() {
  std::vector<std::string> names;
  for (const ImportFormat& format : ImportFormats()) {
    names.push_back(format.name);
  }
  for (const StreamFormat& format : StreamFormats()) {
    names.push_back(format.name);
  }
  return names;
}

std::string ImportFormatHelp() {
  std::string help = "What the input is:";
  const auto add = [&help](const auto& format) {
    help +=
        std::string(help.ends_with(':') ? " " : ", ") + format.name + " (" + format.summary + ")";
  };
  for (const ImportFormat& format : ImportFormats()) {
    add(format);
  }
  for (const StreamFormat& format : StreamFormats()) {
    add(format);
  }
  return help;
}

// Null where inputs of that format are no streams.
const StreamFormat* StreamFormatNamed(const std::string& name) {
  const std::span<const StreamFormat> formats = StreamFormats();
  const auto found = std::find_if(formats.begin(), formats.end(),
                                  [&name](const auto& format) { return format.name == name; });
  return found == formats.end() ? nullptr : &*found;
}

const ImportFormat& ImportFormatNamed(const std::string& name) {
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
  return ImportFormatNamed(flags.format).read(source, {flags.strict});
}

Failure TooManyRecords(const Fault& fault) {
  Failure failure = FailureOf(fault);
  failure.remedy = "Raise the limit with --max-records if the disk has room for 36 bytes each.";
  return failure;
}

MaybeFailure CheckSize(const ImportFlags& flags, const Capture& capture, const ArrayLayout& layout,
                       const ConversionOptions& options) {
  if (const Fault fault = CheckArray(layout, flags.input)) {
    return FailureOf(fault);
  }
  if (const Fault fault = CheckRecords(capture, options, flags.input)) {
    return TooManyRecords(fault);
  }
  return std::nullopt;
}

// What is imported, from where, and to where.
struct ImportJob {
  const ImportFlags& flags;
  const Console& console;
  const Capture& capture;
  const ArrayLayout& layout;
  ConversionOptions options;
};

// The command line, as far as it says what stands in the trace.
std::string CommandText(const ImportFlags& flags) {
  std::string text = "marrowfin-trace import --format " + flags.format + " " +
                     ShellWord(flags.input) + " -o " + ShellWord(flags.output) +
                     (flags.noFrame ? " --no-frame" : "");
  if (flags.width) {
    text += " --width " + std::to_string(*flags.width);
  }
  for (const std::string& entry : flags.map) {
    text += " --map " + ShellWord(entry);
  }
  return text +
         (flags.deriveSwitches ? " --derive-switches " + ShapeText(flags.shape.Shape()) : "");
}

About AboutJob(const ImportJob& job, const Account& account) {
  About about = AboutCapture(job.capture, job.layout, account);
  if (job.options.switchesOf) {
    about.array = AboutArray();
    about.array->shape = *job.options.switchesOf;
    about.links = AboutLinks();
    about.links->routing = "xy";
  }
  about.name = job.flags.input.substr(job.flags.input.rfind('/') + 1);
  about.command = CommandText(job.flags);
  about.tool = "marrowfin-trace " MARROWFIN_VERSION;
  return about;
}

MaybeFailure Write(const ImportJob& job, ByteSink& sink, CaptureNotes* notes, Account& account) {
  Writer writer;
  writer.Attach(sink);
  ProgressLine line(job.console.terminal, "writing " + job.flags.output, "M events", 1e6);
  const Result<Account> written =
      WriteRecords(job.capture, job.layout, job.options, job.flags.input, writer, notes,
                   [&](const Progress& now) {
                     line.Update(now.done, now.all);
                     return true;
                   });
  if (!written) {
    return writer.GetFault() ? OutputFailureOf(written.Why()) : TooManyRecords(written.Why());
  }
  account = *written;
  return std::nullopt;
}

// Writes trace and companion.
MaybeFailure WriteOutput(const ImportJob& job, NotedOutput& output, Account& account) {
  const ImportFlags& flags = job.flags;
  if (MaybeFailure failure = output.Open(flags.output, !flags.how.noCompanion, flags.how.pack)) {
    return failure;
  }
  std::optional<CaptureNotes> notes;
  if (ByteSink* const sink = output.Notes()) {
    notes.emplace(job.capture, *sink);
  }
  if (MaybeFailure failure = Write(job, output.Trace(), notes ? &*notes : nullptr, account)) {
    return failure;
  }
  About about = AboutJob(job, account);
  if (notes) {
    if (const Fault fault = notes->Close()) {
      return OutputFailureOf(fault);
    }
    notes->Recognise(about);
  }
  return output.Commit(about);
}

MaybeFailure CheckOutput(const ImportFlags& flags) {
  if (flags.output == STANDARD_STREAM) {
    return std::nullopt;
  }
  for (const std::string& name : FilesOfTrace(flags.output)) {
    if (flags.input != STANDARD_STREAM && IsSameFile(flags.input, name)) {
      return Failure{EXIT_USAGE, name + ": is the input",
                     "Name another output with -o: the trace would replace the capture."};
    }
  }
  return CheckTraceNotThere(flags.output, flags.how.force);
}

// What the input calls its parts, out of entries "ours=theirs".
MaybeFailure TakeMap(const ImportFlags& flags, std::map<std::string, std::string>& names) {
  for (const std::string& entry : flags.map) {
    const size_t equals = entry.find('=');
    if (equals == 0 || equals == std::string::npos || equals + 1 == entry.size()) {
      return Failure{EXIT_USAGE, "--map: \"" + entry + "\" does not say what is called what",
                     "Write it as in cycle=time."};
    }
    names[entry.substr(0, equals)] = entry.substr(equals + 1);
  }
  return std::nullopt;
}

MaybeFailure CheckImportFlags(const ImportFlags& flags) {
  const StreamFormat* const stream = StreamFormatNamed(flags.format);
  const bool odd = flags.width && (stream == nullptr || !stream->takesWidth);
  if (odd || (!flags.map.empty() && (stream == nullptr || !stream->takesNames))) {
    return Failure{EXIT_USAGE,
                   std::string(odd ? "--width" : "--map") + " says nothing of " + flags.format,
                   "Leave it out."};
  }
  if (flags.shape.Given() && !flags.deriveSwitches) {
    return Failure{EXIT_USAGE, "-c, -d and -p give the array whose switches are derived",
                   "Give --derive-switches with them."};
  }
  return flags.shape.Check();
}

MaybeFailure ImportAsStream(const ImportFlags& flags, const Console& console) {
  StreamJob job = {
      *StreamFormatNamed(flags.format), flags.input, flags.output, CommandText(flags), {}, {}};
  job.options.strict = flags.strict;
  job.options.width = flags.width;
  job.options.renumbered = flags.deriveSwitches;
  if (MaybeFailure failure = TakeMap(flags, job.options.names)) {
    return failure;
  }
  if (flags.deriveSwitches) {
    job.switchesOf = flags.shape.Shape();
  }
  job.mostRecords = flags.mostRecords.value_or(~uint64_t{0});
  job.frame = !flags.noFrame;
  job.companion = !flags.how.noCompanion;
  job.pack = flags.how.pack;
  job.json = flags.json;
  return ImportStream(job, console);
}

MaybeFailure Import(const ImportFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckImportFlags(flags)) {
    return failure;
  }
  if (MaybeFailure failure = CheckOutput(flags)) {
    return failure;
  }
  if (StreamFormatNamed(flags.format) != nullptr) {
    return ImportAsStream(flags, console);
  }
  Result<Capture> read = ReadInput(flags, console);
  if (!read) {
    return FailureOf(read.Why());
  }
  Capture& capture = *read;
  SortByTime(capture);
  const ArrayLayout layout(capture);
  ConversionOptions options;
  options.frame = !flags.noFrame;
  options.mostRecords = flags.mostRecords.value_or(options.mostRecords);
  if (flags.deriveSwitches) {
    options.switchesOf = flags.shape.Shape();
  }
  const ArrayShape shown = options.switchesOf.value_or(layout.Shape());
  if (MaybeFailure failure = CheckSize(flags, capture, layout, options)) {
    return failure;
  }
  Account account;
  NotedOutput output;
  if (MaybeFailure failure =
          WriteOutput({flags, console, capture, layout, options}, output, account)) {
    return failure;
  }
  std::ostream& out = AccountStream(console, flags.output);
  const auto named = [&](const std::string& name) {
    return flags.json ? name : LineFor(out, name);
  };
  std::vector<std::string> companion = output.CompanionFiles();
  for (std::string& name : companion) {
    name = named(name);
  }
  // No viewer of traces as they are shows a packed one.
  const std::string view = output.IsPacked() ? "" : ViewCommand(shown, ShownName(flags.output));
  const ImportReport report = {flags.format,
                               named(flags.input),
                               named(flags.output),
                               companion,
                               named(view),
                               capture,
                               layout,
                               account,
                               shown};
  out << (flags.json ? ReportAsJson(report) : ReportAsText(report));
  return std::nullopt;
}

Action ConfigureImport(CLI::App& app) {
  const auto flags = std::make_shared<ImportFlags>();
  app.add_option("INPUT", flags->input, "The recording; - is standard input")->required();
  app.add_option("-o,--output", flags->output, "The trace to write; - is standard output")
      ->required();
  app.add_option("--format", flags->format, ImportFormatHelp())
      ->required()
      ->check(CLI::IsMember(ImportFormatNames()));
  app.add_flag("--json", flags->json, "Print the account as JSON");
  app.add_flag("--no-frame", flags->noFrame,
               "Leave out the two records that make the viewer show every event");
  flags->how.DeclareHow(app);
  app.add_flag("--strict", flags->strict,
               "Refuse an input with an event that holds what is not known or lacks a field");
  AddCount(app, "--max-records", flags->mostRecords,
           "Refuse an input that becomes more records than this; 100000000 of tt-npe unless given");
  AddCount(app, "--width", flags->width, "Columns of the mesh whose nodes are numbered row by row")
      ->check(CLI::Range(1U, ArrayShape::LONGEST_SIDE));
  app.add_option("--map", flags->map, "What the input calls its parts, as in cycle=time,column=x")
      ->delimiter(',');
  app.add_flag("--derive-switches", flags->deriveSwitches,
               "Derive which switches pass messages on, along columns first, of the array that -c, "
               "-d and -p give");
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Import(*flags, console); };
}

}  // namespace

extern const Subcommand importSubcommand = {
    "import", "Turn a recording of another kind into a trace", importFooter, ConfigureImport};

}  // namespace marrowfin
