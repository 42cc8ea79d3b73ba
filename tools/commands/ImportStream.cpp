#include "tools/commands/ImportStream.h"

#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "convert/import/StreamImport.h"
#include "convert/import/StreamReport.h"
#include "tools/program/Interruption.h"
#include "tools/program/NotedOutput.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "tools/program/ViewCommand.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin {
namespace {

// What is written, and with what.
class StreamOutput {
 public:
  StreamOutput(const StreamJob& job, const Console& console) : job(job), console(console) {}

  MaybeFailure Write();
  void Report();

 private:
  MaybeFailure Open();
  MaybeFailure Convert(EventStream& stream);
  MaybeFailure Commit();
  About AboutRun() const;

  const StreamJob& job;
  const Console& console;
  NotedOutput output;
  std::optional<NotesWriter> notes;
  Writer writer;
  StreamAccount account;
  About about;
  std::optional<ArrayShape> view;
};

MaybeFailure StreamOutput::Open() {
  if (MaybeFailure failure = output.Open(job.output, job.companion, job.pack)) {
    return failure;
  }
  if (ByteSink* const sink = output.Notes()) {
    notes.emplace(*sink);
  }
  writer.Attach(output.Trace());
  return std::nullopt;
}

MaybeFailure StreamOutput::Write() {
  Result<std::unique_ptr<ByteSource>> source = OpenInput(job.input);
  if (!source) {
    return FailureOf(source.Why());
  }
  const Interruption interruption;
  ProgressLine line(console.terminal, "importing " + job.input, "MB", 1e6);
  InputBytes input(std::move(source).Take(), job.input, [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
  const std::unique_ptr<EventStream> stream = job.format.open(input, job.options);
  if (MaybeFailure failure = Open()) {
    return failure;
  }
  if (MaybeFailure failure = Convert(*stream)) {
    return failure;
  }
  return Commit();
}

MaybeFailure StreamOutput::Convert(EventStream& stream) {
  StreamImportOptions options;
  options.frameThread = job.frame ? job.format.frameThread : std::nullopt;
  options.switchesOf = job.switchesOf;
  options.mostRecords = job.mostRecords;
  StreamImport work(stream, options, writer, notes ? &*notes : nullptr);
  const Fault fault = work.Write(job.input);
  account = work.GetAccount();
  about = work.Describe();
  view = work.View();
  if (writer.GetFault()) {
    return OutputFailureOf(writer.GetFault());
  }
  if (!fault) {
    return std::nullopt;
  }
  Failure failure = FailureOf(fault);
  if (account.Records() > job.mostRecords) {
    failure.remedy = "Raise the limit with --max-records if the disk has room for 36 bytes each.";
  }
  return failure;
}

About StreamOutput::AboutRun() const {
  About run = about;
  run.name = job.input.substr(job.input.rfind('/') + 1);
  run.command = job.command;
  run.tool = "marrowfin-trace " MARROWFIN_VERSION;
  return run;
}

MaybeFailure StreamOutput::Commit() {
  if (notes) {
    if (const Fault fault = notes->Close()) {
      return OutputFailureOf(fault);
    }
  }
  return output.Commit(AboutRun());
}

void StreamOutput::Report() {
  std::ostream& out = AccountStream(console, job.output);
  const auto shown = [&](const std::string& name) { return job.json ? name : LineFor(out, name); };
  std::vector<std::string> files = output.CompanionFiles();
  for (std::string& file : files) {
    file = shown(file);
  }
  const std::string command =
      view && !output.IsPacked() ? shown(ViewCommand(*view, ShownName(job.output))) : std::string();
  const StreamReport report = {job.format.name, shown(job.input), shown(job.output), files, view,
                               command,         account};
  out << (job.json ? ReportAsJson(report) : ReportAsText(report));
}

}  // namespace

MaybeFailure ImportStream(const StreamJob& job, const Console& console) {
  StreamOutput output(job, console);
  if (MaybeFailure failure = output.Write()) {
    return failure;
  }
  output.Report();
  return std::nullopt;
}

}  // namespace marrowfin
