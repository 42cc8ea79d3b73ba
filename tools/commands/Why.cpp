#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "measure/CausalChain.h"
#include "measure/CausalCone.h"
#include "measure/FindCauses.h"
#include "measure/PacketHistory.h"
#include "measure/RunBounds.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/EventChoice.h"
#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"
#include "tools/program/TraceInput.h"
#include "tools/program/WhyAnswer.h"

namespace marrowfin {
namespace {

constexpr char whyFooter[] =
    "Examples:\n"
    "  marrowfin-trace why run.trace\n"
    "  marrowfin-trace why run.trace --record 5124 --steps 50\n"
    "  marrowfin-trace why run.trace --record 17 --cone forward\n"
    "  marrowfin-trace why noted.trace --pe 2,1 --cycle 2839 --json\n"
    "  marrowfin-trace why noted.trace --packet 7\n"
    "\n"
    "Without more, tells the critical path: the chain of causes that led to the last fire, where "
    "its\n"
    "time went, how early the run could end and how much later each PE could have fired. Causes "
    "are\n"
    "those that the companion tells (consumes, produced_by, packet); where it does not they are\n"
    "inferred from thread and place, which is said. docs/measures.md tells the rules.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, has no such event or breaks off,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

const std::map<std::string, ConeDirection>& Directions() {
  static const std::map<std::string, ConeDirection> directions = {
      {"back", ConeDirection::BACK}, {"forward", ConeDirection::FORWARD}};
  return directions;
}

struct WhyFlags {
  std::string trace;
  ShapeFlags shape;
  EventChoice event;
  std::optional<uint64_t> packet;
  std::string cone;
  std::optional<uint64_t> steps;
  bool infer = false;
  bool json = false;
  std::optional<std::string> output;
  bool force = false;
};

constexpr uint64_t TOLD_STEPS = 20;

MaybeFailure CheckWhyFlags(const WhyFlags& flags) {
  if (MaybeFailure failure = flags.event.Check()) {
    return failure;
  }
  if (flags.packet && (flags.event.IsGiven() || !flags.cone.empty() || flags.infer)) {
    return Failure{EXIT_USAGE, "--packet asks for the way of a packet, as the companion tells it",
                   "Leave out what names an event, --cone and --infer."};
  }
  if (MaybeFailure failure = CheckTextOutput(flags.output, flags.force, {flags.trace})) {
    return failure;
  }
  return flags.shape.Check();
}

// The trace, and what is known of it.
struct Run {
  IndexedTrace trace;
  std::optional<Companion> companion;
  std::unique_ptr<NotesOfTrace> notes;  // null where there are none
  CauseQuestion question;
};

MaybeFailure Open(const WhyFlags& flags, const Console& console, Run& run) {
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, run.trace)) {
    return failure;
  }
  run.companion = OpenCompanion(*run.trace.file, run.trace.index->GetSummary().records, console);
  const About* const about = run.companion->GetAbout();
  if (about != nullptr && about->array) {
    run.question.wrapColumns = about->array->wrapColumns;
    run.question.wrapRows = about->array->wrapRows;
  }
  const std::optional<ArrayShape> shape =
      KnownShape({flags.shape, *run.companion, run.trace.index->GetSummary()});
  run.question.shape = shape.value_or(ArrayShape());
  return shape ? std::nullopt : MaybeFailure(NoShape(flags.trace));
}

// Answers, with a line of progress.
class Answering {
 public:
  Answering(const WhyFlags& flags, const Console& console, Run& run)
      : flags(flags),
        run(run),
        line(console.terminal, "going through " + flags.trace, "M records", 1e6) {
    progress = [this](const Progress& now) {
      line.Update(now.done, now.all);
      return !interruption.Asked();
    };
  }

  // No event is asked about where there is none such: `missing` tells then.
  Fault Answer(WhyAnswer& answer, std::string& missing) {
    if (!flags.infer && run.companion->Notes() != nullptr) {
      run.notes = std::make_unique<NotesOfTrace>(*run.trace.file, *run.trace.index,
                                                 *run.companion->Notes());
    }
    Result<Causes> found =
        FindCauses(*run.trace.file, *run.trace.index, run.notes.get(), run.question, progress);
    if (!found) {
      return found.Why();
    }
    const Causes& causes = *found;
    answer.counts = causes.counts;
    answer.firstTime = causes.firstTime;
    answer.shape = run.question.shape;
    if (flags.packet) {
      return TellPacket(causes, answer, missing);
    }
    Result<std::optional<uint64_t>> record = flags.event.Choose(causes, missing, progress);
    if (!record) {
      return record.Why();
    }
    return *record ? Tell(causes, **record, answer) : Fault();
  }

 private:
  Fault TellPacket(const Causes& causes, WhyAnswer& answer, std::string& missing) {
    if (!run.notes || !run.notes->Declarations().Attribute(PACKET_ATTRIBUTE)) {
      missing = "nothing tells packets of it";
      return {};
    }
    Result<PacketHistory> packet = FollowPacket(causes, *run.notes, *flags.packet, progress);
    if (!packet) {
      return packet.Why();
    }
    if (packet->steps.empty()) {
      missing = "no event tells of packet " + std::to_string(*flags.packet);
      return {};
    }
    answer.packet = std::move(packet).Take();
    return {};
  }

  Fault Tell(const Causes& causes, uint64_t record, WhyAnswer& answer) {
    TimedRecords records(causes.trace);
    const Result<TimedRecords::Timed> event = records.Read(record);
    if (!event) {
      return event.Why();
    }
    answer.event = event->event;
    if (!flags.cone.empty()) {
      answer.direction = Directions().at(flags.cone);
      return Take(FindCone(causes, record, answer.direction, progress), answer.cone);
    }
    if (Fault fault = TellChain(causes, record, answer)) {
      return fault;
    }
    if (flags.event.IsGiven()) {
      return {};
    }
    if (Fault fault = Take(FindBounds(causes, progress), answer.bounds)) {
      return fault;
    }
    return Take(FindSlack(causes, progress), answer.slack);
  }

  Fault TellChain(const Causes& causes, uint64_t record, WhyAnswer& answer) {
    if (Fault fault = Take(FindChain(causes, run.question.shape, record, progress), answer.chain)) {
      return fault;
    }
    const uint64_t most = flags.steps.value_or(flags.json ? ~uint64_t{0} : TOLD_STEPS);
    Result<std::vector<ChainStep>> steps = StepsOf(causes, *answer.chain, record, most, progress);
    if (!steps) {
      return steps.Why();
    }
    answer.steps = std::move(steps).Take();
    return {};
  }

  template <class T>
  static Fault Take(Result<T> result, std::optional<T>& value) {
    if (!result) {
      return result.Why();
    }
    value = std::move(result).Take();
    return {};
  }

  const WhyFlags& flags;
  Run& run;
  Interruption interruption;
  ProgressLine line;
  ProgressCallback progress;
};

MaybeFailure Write(const WhyFlags& flags, const WhyAnswer& answer, const Console& console) {
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  output.Text() = flags.json ? JsonText(WhyJson(answer)) : WhyText(answer);
  return output.Commit();
}

MaybeFailure Why(const WhyFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckWhyFlags(flags)) {
    return failure;
  }
  Run run;
  if (MaybeFailure failure = Open(flags, console, run)) {
    return failure;
  }
  WhyAnswer answer;
  answer.trace = !flags.json && !flags.output ? LineFor(console.out, flags.trace) : flags.trace;
  std::string missing;
  if (const Fault fault = AskIndexed(console, run.trace, [&] {
        return Answering(flags, console, run).Answer(answer, missing);
      })) {
    return IndexingFailureOf(fault, flags.trace);
  }
  if (run.notes) {
    ReportRefused(run.notes->Refused(), console);
  }
  if (!missing.empty()) {
    return Failure{EXIT_INPUT, flags.trace + ": " + missing, "See marrowfin-trace events."};
  }
  if (MaybeFailure failure = Write(flags, answer, console)) {
    return failure;
  }
  const Fault& end = run.trace.index->GetSummary().end;
  return end ? MaybeFailure(CutShort(end)) : std::nullopt;
}

Action ConfigureWhy(CLI::App& app) {
  const auto flags = std::make_shared<WhyFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  flags->event.Declare(app);
  app.add_option("--cone", flags->cone,
                 "back: all that led to the event; forward: all that followed from it")
      ->check(CLI::IsMember({"back", "forward"}));
  AddCount(app, "--packet", flags->packet,
           "Where this packet waited, and which were there before it");
  AddCount(app, "--steps", flags->steps,
           "So many steps of the chain, the last ones; unless given 20, in JSON all");
  app.add_flag("--infer", flags->infer, "Infer causes as if the companion told none");
  app.add_flag("--json", flags->json, "Print JSON");
  AddTextOutput(app, flags->output, flags->force);
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Why(*flags, console); };
}

}  // namespace

extern const Subcommand whySubcommand = {
    "why", "Tell what led to an event: chains of causes, the critical path of a run", whyFooter,
    ConfigureWhy};

}  // namespace marrowfin
