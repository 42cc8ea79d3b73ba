#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/report/PdfPrinter.h"
#include "render/report/ReportPage.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/RunInput.h"
#include "tools/program/RunPlot.h"
#include "tools/program/ShellWord.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace report run.trace -o report.html\n"
    "  marrowfin-trace report run.trace -o report.html --pdf report.pdf\n"
    "  marrowfin-trace report run.trace --cycles 5000:9999 --theme dark -o report.html\n"
    "  marrowfin-trace report run.trace --packets thread -o report.html\n"
    "\n"
    "One page about a run: sentences, numbers, pictures with the numbers behind them. It needs no\n"
    "network and no script. Rates are by cycle of the range that is asked for; docs/measures.md\n"
    "defines each number. The same trace and flags give the same bytes.\n"
    "\n"
    "PDF is made by chromium, which must be installed, and is never dark.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the page cannot be written or nowhere is room for the index.";

struct ReportFlags {
  RunFlags run;
  std::optional<std::string> page;
  std::optional<std::string> pdf;
  std::string theme = "light";
  std::vector<std::string> given;  // of what makes the page another one, as it was written
};

const Theme& ThemeOf(const std::string& name) {
  return name == "dark" ? Theme::Dark() : name == "print" ? Theme::Print() : Theme::Light();
}

MaybeFailure CheckFlags(const ReportFlags& flags) {
  if (!flags.page && !flags.pdf) {
    return Failure{EXIT_USAGE, "nothing says where the report goes",
                   "Name the page with -o, or its print with --pdf."};
  }
  if (flags.page && flags.pdf && *flags.page == *flags.pdf) {
    return Failure{EXIT_USAGE, *flags.page + ": page and PDF have the same name",
                   "Name them apart."};
  }
  for (const auto& [name, flag] : {std::pair{&flags.page, "-o"}, {&flags.pdf, "--pdf"}}) {
    if (*name) {
      if (MaybeFailure failure = CheckOutputApart(flags.run.trace, **name, flag)) {
        return failure;
      }
    }
  }
  return flags.run.Check();
}

// Files are named without their folders, so that the page tells nothing of this machine.
std::string CommandOf(const ReportFlags& flags, const std::string& file) {
  std::string command = "marrowfin-trace report " + ShellWord(file);
  for (const std::string& word : flags.given) {
    command += " " + ShellWord(word);
  }
  return command + " -o report.html";
}

ReportedRun ReportedRunOf(const ReportFlags& flags, const CountedRun& counted) {
  ReportedRun reported;
  reported.run = PlottedRunOf(flags.run, counted);
  reported.packetsAreThreads = flags.run.packets == "thread";
  reported.about = counted.companion->GetAbout();
  reported.hasNotes = counted.companion->Notes() != nullptr;
  for (const Fault& fault : {counted.companion->WhyNoAbout(), counted.companion->WhyNoNotes()}) {
    if (fault) {
      reported.refused.push_back(fault);
    }
  }
  reported.summary = &counted.trace.index->GetSummary();
  reported.file = ShellWord(reported.run.trace);
  reported.command = CommandOf(flags, reported.run.trace);
  reported.program = "marrowfin-trace " MARROWFIN_VERSION;
  return reported;
}

Fault WriteText(const std::string& text, ByteSink& sink) {
  return sink.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
}

// Writes what `make` puts into the sink to the file, or to standard output.
template <class Make>
MaybeFailure WriteTo(const std::string& path, Make make) {
  Output output;
  if (MaybeFailure failure = output.Open(path)) {
    return failure;
  }
  if (const Fault fault = make(output.Sink())) {
    return OutputFailureOf(fault);
  }
  return output.Commit();
}

MaybeFailure WritePage(const ReportFlags& flags, const ReportedRun& reported) {
  const Result<std::string> page = ReportPage(reported, ThemeOf(flags.theme));
  if (!page) {
    return FailureOf(page.Why());
  }
  return WriteTo(*flags.page, [&](ByteSink& sink) { return WriteText(*page, sink); });
}

MaybeFailure WritePdf(const ReportFlags& flags, const ReportedRun& reported) {
  const Result<std::string> page =
      ReportPage(reported, ThemeOf(flags.theme == "dark" ? "light" : flags.theme));
  if (!page) {
    return FailureOf(page.Why());
  }
  const Interruption interruption;
  return WriteTo(*flags.pdf, [&](ByteSink& sink) {
    return PrintPdf(*page, sink, [&] { return !interruption.Asked(); });
  });
}

MaybeFailure MakeReport(const ReportFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckFlags(flags)) {
    return failure;
  }
  CountedRun counted;
  if (MaybeFailure failure = CountRunOf(flags.run, true, console, counted)) {
    return failure;
  }
  const ReportedRun reported = ReportedRunOf(flags, counted);
  if (flags.page) {
    if (MaybeFailure failure = WritePage(flags, reported)) {
      return failure;
    }
  }
  if (flags.pdf) {
    if (MaybeFailure failure = WritePdf(flags, reported)) {
      return failure;
    }
  }
  return CheckWhole(flags.run, counted);
}

// The options that were given, but for the trace and the outputs.
std::vector<std::string> GivenOptions(const CLI::App& app) {
  std::vector<std::string> words;
  for (const CLI::Option* const option : app.get_options()) {
    const std::string name = option->get_name();
    if (option->count() == 0 || name == "TRACE" || name == "--output" || name == "--pdf") {
      continue;
    }
    for (const std::string& value : option->results()) {
      words.insert(words.end(), {name, value});
    }
  }
  return words;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<ReportFlags>();
  flags->run.Declare(app);
  flags->run.DeclarePackets(app);
  app.add_option("-o,--output", flags->page, "The page, HTML; - for standard output");
  app.add_option("--pdf", flags->pdf, "The page as it is printed");
  app.add_option("--theme", flags->theme, "light, dark, or print")
      ->check(CLI::IsMember({"light", "dark", "print"}))
      ->capture_default_str();
  return [flags, &app](const Console& console) {
    flags->given = GivenOptions(app);
    return MakeReport(*flags, console);
  };
}

}  // namespace

extern const Subcommand reportSubcommand = {
    "report", "Write one page about a run: what an architect asks first", footer, Configure};

}  // namespace marrowfin
