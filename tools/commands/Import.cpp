#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tools/commands/Subcommands.h"
#include "tools/import/Conversion.h"
#include "tools/import/TtNpe.h"
#include "tools/program/Flags.h"
#include "tools/program/OutputFile.h"
#include "tools/program/ProgressLine.h"

namespace marrowfin {
namespace {

// A format that can be imported. A new one is a source of its own under tools/import and a line in
// the table.
struct Format {
  const char* name;
  const char* summary;
  MaybeFailure (*read)(CharSource& source, Capture& capture);
};

const std::array<Format, 1> formats = {{
    {"tt-npe", "network-on-chip events recorded on hardware, a JSON list", ReadTtNpe},
}};

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace import --format tt-npe capture.json -o capture.trace\n"
    "  marrowfin-trace import --format tt-npe capture.json -o capture.trace --json\n"
    "\n"
    "Prints an account (events read = events converted + events skipped, by reason) and the\n"
    "command that shows the trace. An input that is refused leaves no output behind, and an\n"
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
  uint64_t mostRecords = ConversionOptions().mostRecords;
};

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const Format& format : formats) {
    names.push_back(format.name);
  }
  return names;
}

std::string FormatHelp() {
  std::string help = "What the input is:";
  for (const Format& format : formats) {
    help += std::string(" ") + format.name + " (" + format.summary + ")";
  }
  return help;
}

const Format& FormatNamed(const std::string& name) {
  return *std::find_if(formats.begin(), formats.end(),
                       [&name](const Format& format) { return format.name == name; });
}

MaybeFailure ReadInput(const ImportFlags& flags, const Console& console, Capture& capture) {
  ProgressLine progress(console.terminal, "reading " + flags.input, "MB", 1e6);
  CharSource source([&](uint64_t done, uint64_t total) { progress.Update(done, total); });
  MaybeFailure failure = source.Open(flags.input);
  return failure ? failure : FormatNamed(flags.format).read(source, capture);
}

MaybeFailure WriteOutput(const ImportFlags& flags, const Console& console, const Capture& capture,
                         const ArrayLayout& layout, Account& account) {
  OutputFile output;
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  ProgressLine progress(console.terminal, "writing " + flags.output, "M events", 1e6);
  TraceWriter writer(output);
  account = WriteRecords(capture, layout, {!flags.noFrame, flags.mostRecords}, writer,
                         [&](uint64_t done, uint64_t total) { progress.Update(done, total); });
  MaybeFailure failure = writer.Finish();
  return failure ? failure : output.Commit();
}

MaybeFailure Import(const ImportFlags& flags, const Console& console) {
  if (IsSameFile(flags.input, flags.output)) {
    return Failure{EXIT_USAGE, flags.output + ": is the input",
                   "Name another output with -o: the trace would replace the capture."};
  }
  Capture capture;
  if (MaybeFailure failure = ReadInput(flags, console, capture)) {
    return failure;
  }
  SortByTime(capture);
  const ArrayLayout layout(capture);
  const ConversionOptions options = {!flags.noFrame, flags.mostRecords};
  if (MaybeFailure failure = CheckSize(capture, layout, options, flags.input)) {
    return failure;
  }
  Account account;
  if (MaybeFailure failure = WriteOutput(flags, console, capture, layout, account)) {
    return failure;
  }
  const ImportReport report = {flags.format, flags.input, flags.output, capture, layout, account};
  console.out << (flags.json ? ReportAsJson(report) : ReportAsText(report));
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
  app.add_option("--max-records", flags->mostRecords,
                 "Refuse an input that becomes more records than this")
      ->capture_default_str()
      ->check(CheckCount);
  return [flags](const Console& console) { return Import(*flags, console); };
}

}  // namespace

const Subcommand importSubcommand = {"import", "Turn a recording of another kind into a trace",
                                     footer, Configure};

}  // namespace marrowfin
