#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "convert/import/Conversion.h"
#include "convert/import/Format.h"
#include "convert/import/Report.h"
#include "tools/program/Flags.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/ViewCommand.h"

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
    "An input that is refused leaves no output behind, and an\n"
    "output that exists is replaced only when the new one is whole. \"-\" is a file name like\n"
    "any other: it stands for no standard stream.\n"
    "\n"
    "Exit status: 0 done, 1 input refused, 2 command line refused, 3 output not written.";

struct ImportFlags {
  std::string format;
  std::string input;
  std::string output;
  bool json = false;
  bool noFrame = false;
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
  if (Fault fault = source.Open(flags.input)) {
    return fault;
  }
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

MaybeFailure WriteOutput(const ImportFlags& flags, const Console& console, const Capture& capture,
                         const ArrayLayout& layout, const ConversionOptions& options,
                         Account& account) {
  Output output;
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  Writer writer;
  writer.Attach(output.Sink());
  ProgressLine line(console.terminal, "writing " + flags.output, "M events", 1e6);
  const Result<Account> written =
      WriteRecords(capture, layout, options, writer, [&](const Progress& now) {
        line.Update(now.done, now.all);
        return true;
      });
  if (!written) {
    return OutputFailureOf(written.Why());
  }
  account = *written;
  return output.Commit();
}

MaybeFailure Import(const ImportFlags& flags, const Console& console) {
  if (IsSameFile(flags.input, flags.output)) {
    return Failure{EXIT_USAGE, flags.output + ": is the input",
                   "Name another output with -o: the trace would replace the capture."};
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
  if (MaybeFailure failure = WriteOutput(flags, console, capture, layout, options, account)) {
    return failure;
  }
  const ImportReport report = {
      flags.format, flags.input, flags.output, ViewCommand(layout.Shape(), flags.output),
      capture,      layout,      account};
  AccountStream(console, flags.output)
      << (flags.json ? ReportAsJson(report) : ReportAsText(report));
  return std::nullopt;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<ImportFlags>();
  app.add_option("INPUT", flags->input, "The recording")->required();
  app.add_option("-o,--output", flags->output, "The trace to write")->required();
  app.add_option("--format", flags->format, FormatHelp())
      ->required()
      ->check(CLI::IsMember(FormatNames()));
  app.add_flag("--json", flags->json, "Print the account as JSON");
  app.add_flag("--no-frame", flags->noFrame,
               "Leave out the two records that make the viewer show every event");
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
