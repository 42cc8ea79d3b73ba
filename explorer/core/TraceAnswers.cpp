// What is told of a trace as a whole, and of moments in it.

#include <algorithm>
#include <filesystem>

#include "explorer/core/Answers.h"
#include "explorer/core/Spot.h"
#include "trace/ask/Fade.h"
#include "trace/ask/PieceCode.h"
#include "trace/ask/Walk.h"
#include "trace/base/TypeNames.h"
#include "trace/read/EarlyEnd.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

constexpr size_t MOST_THREADS = 256;
constexpr size_t MOST_PLACES = 10000;
constexpr size_t MOST_NAMES = 1000;
constexpr size_t MOST_SHAPES = 64;

void PutPerAxis(const char* name, PerAxis counts, JsonText& head) {
  head.Key(name).At({counts.columns, counts.rows});
}

void PutShape(const ArrayShape& shape, JsonText& head) {
  head.Object();
  PutPerAxis("clusters", shape.clusters, head);
  PutPerAxis("domains", shape.domains, head);
  PutPerAxis("pes", shape.pes, head);
  head.End();
}

void PutShapeOrNull(const std::optional<ArrayShape>& shape, JsonText& head) {
  if (shape) {
    PutShape(*shape, head);
  } else {
    head.Null();
  }
}

void PutFault(const Fault& fault, JsonText& head) {
  if (!fault) {
    head.Null();
    return;
  }
  const Refusal refusal = RefusalOf(fault);
  head.Object();
  head.Key("kind").Text(FaultName(fault.kind));
  head.Key("message").Text(refusal.message);
  head.Key("file").Text(refusal.file);
  head.Key("place").Text(refusal.place);
  head.Key("remedy").Text(refusal.remedy);
  head.Key("record").Number(fault.record);
  head.Key("offset").Number(fault.offset);
  head.End();
}

void PutCounts(const Summary& summary, JsonText& head) {
  head.Key("records").Number(summary.records);
  head.Key("fires").Number(summary.fires);
  head.Key("sends").Number(summary.sends);
  head.Key("switches").Number(summary.switches);
  head.Key("firstCycle").Wide(summary.firstCycle);
  head.Key("lastCycle").Wide(summary.maxCycle);
  head.Key("naturalSteps").Number(summary.records > 0 ? summary.changes + 1 : 0);
  head.Key("orderly").Flag(summary.Ordered());
  head.Key("extent").At({static_cast<uint32_t>(std::min<uint64_t>(summary.array.columns, ~0U)),
                         static_cast<uint32_t>(std::min<uint64_t>(summary.array.rows, ~0U))});
  head.Key("threads").Array();
  size_t told = 0;
  for (const auto& [thread, records] : summary.threads) {
    if (told++ < MOST_THREADS) {
      head.Number(thread);
    }
  }
  head.End();
  head.Key("end");
  PutFault(summary.end, head);
}

// The array as it is shown, and all that might be meant.
void PutShapes(const Asking& asking, JsonText& head) {
  const std::optional<KnownShape> known = ShapeOf(asking.view, asking.option);
  head.Key("shape");
  PutShapeOrNull(known ? std::optional(known->shape) : std::nullopt, head);
  head.Key("shapeFrom").Text(known ? known->from : "");
  head.Key("viewerShows").Flag(known && known->shape.IsDrawable());
  head.Key("viewerShape");
  PutShapeOrNull(known ? SquareOf(known->shape) : std::nullopt, head);
  const FittingShapes fitting = ShapesThatFit(asking.GetSummary());
  head.Key("shapes").Array();
  if (fitting.view) {
    PutShape(*fitting.view, head);
  }
  for (size_t i = 0; i < std::min(fitting.others.size(), MOST_SHAPES); ++i) {
    PutShape(fitting.others[i], head);
  }
  if (fitting.rectangle) {
    PutShape(*fitting.rectangle, head);
  }
  head.End();
  const About* const about = asking.view.Beside().GetAbout();
  const AboutArray array = about != nullptr && about->array ? *about->array : AboutArray();
  head.Key("gaps").Flag(array.gaps);
  head.Key("wrapColumns").Flag(array.wrapColumns);
  head.Key("wrapRows").Flag(array.wrapRows);
}

void PutAboutThreads(const About& about, JsonText& head) {
  head.Key("threads").Object();
  size_t told = 0;
  for (const auto& [thread, words] : about.threads) {
    if (told++ < MOST_NAMES) {
      head.Key(std::to_string(thread)).Object();
      head.Key("name").Text(words.name);
      head.Key("meaning").Text(words.meaning).End();
    }
  }
  head.End();
}

void PutAboutPlaces(const About& about, JsonText& head) {
  head.Key("places").Array();
  size_t told = 0;
  for (const auto& [place, name] : about.places) {
    if (told++ < MOST_PLACES) {
      head.Array().Number(place.column).Number(place.row).Text(name).End();
    }
  }
  head.End();
}

void PutAbout(const About* about, JsonText& head) {
  head.Key("about");
  if (about == nullptr) {
    head.Null();
    return;
  }
  head.Object();
  head.Key("name").Text(about->name);
  head.Key("command").Text(about->command);
  head.Key("date").Text(about->date);
  head.Key("tool").Text(about->tool);
  head.Key("cycleNs");
  if (about->cycleNs) {
    head.Real(*about->cycleNs);
  } else {
    head.Null();
  }
  PutAboutThreads(*about, head);
  PutAboutPlaces(*about, head);
  head.End();
}

void PutAttribute(const NoteAttribute& attribute, JsonText& head) {
  head.Object();
  head.Key("name").Text(attribute.name);
  head.Key("type").Text(NoteTypeName(attribute.type));
  head.Key("unit").Text(attribute.unit);
  head.Key("names").Object();
  size_t told = 0;
  for (const auto& [value, name] : attribute.names) {
    if (told++ < MOST_NAMES) {
      head.Key(std::to_string(value)).Text(name);
    }
  }
  head.End().End();
}

// What the notes can tell; of counters at how many places, once the notes are read.
void PutNotes(const Asking& asking, JsonText& head) {
  const NotesFile* const file = asking.view.Beside().Notes();
  const std::shared_ptr<const NotesIndex> known = asking.view.IndexOfNotes();
  const NoteDeclarations none;
  const NoteDeclarations& declared = file != nullptr ? file->Declarations() : none;
  head.Key("attributes").Array();
  for (const NoteAttribute& attribute : declared.attributes) {
    PutAttribute(attribute, head);
  }
  head.End();
  head.Key("counters").Array();
  for (uint32_t i = 0; i < std::min<size_t>(declared.counters.size(), MOST_NAMES); ++i) {
    head.Object();
    head.Key("name").Text(declared.counters[i].name);
    head.Key("unit").Text(declared.counters[i].unit);
    head.Key("places");
    if (known != nullptr) {
      head.Number(known->PlacesOf(i).size());
    } else {
      head.Null();
    }
    head.End();
  }
  head.End();
  head.Key("notesComing").Flag(asking.view.NotesAreComing());
}

// Where notes end before the trace does, and why.
void PutNotesEnd(const Asking& asking, JsonText& head) {
  const NotesFile* const file = asking.view.Beside().Notes();
  const Fault end = file != nullptr && asking.view.IsWhole()
                        ? EarlyEndOf(*file, asking.GetSummary().records)
                        : Fault();
  head.Key("notesEnd");
  if (!end) {
    head.Null();
    return;
  }
  head.Object();
  head.Key("record").Number(file->Records());
  head.Key("message").Text(end.reason);
  head.Key("remedy").Text(end.remedy);
  head.End();
}

void PutCompanion(const Asking& asking, JsonText& head) {
  const Companion& companion = asking.view.Beside();
  PutAbout(companion.GetAbout(), head);
  PutNotes(asking, head);
  PutNotesEnd(asking, head);
  const Fault noNotes = companion.WhyNoNotes() ? companion.WhyNoNotes() : asking.view.WhyNoNotes();
  head.Key("companionFault");
  PutFault(companion.WhyNoAbout() ? companion.WhyNoAbout() : noNotes, head);
}

void PutPalette(const char* name, const Color* colors, size_t count, AnswerBytes& answer) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i < count; ++i) {
    bytes.insert(bytes.end(), {colors[i].red, colors[i].green, colors[i].blue});
  }
  answer.Column(name, bytes);
}

}  // namespace

MaybeRefusal AnswerTrace(Asking& asking, AnswerBytes& answer) {
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const Result<ViewerSteps> steps = FindSteps(asking.Trace(), asking.index, 0, asking.progress);
  if (!steps) {
    return RefusalOf(steps.Why());
  }
  JsonText& head = answer.Head();
  head.Key("name").Text(std::filesystem::path(asking.Trace().Name()).filename().string());
  head.Key("bytes").Number(asking.Trace().Size());
  PutCounts(asking.GetSummary(), head);
  head.Key("steps").Number(steps->count);
  PutShapes(asking, head);
  PutCompanion(asking, head);
  head.Key("indexed").Flag(asking.view.IsWhole());
  return std::nullopt;
}

MaybeRefusal AnswerWhen(Asking& asking, AnswerBytes& answer) {
  SpotQuestion question;
  AskedMoment asked;
  if (asking.members.Has("record")) {
    question.record = asking.members.Number("record");
    asked.moment.skipTo = asking.members.Wide("skipTo", 0);
  } else {
    asked = TakeMoment(asking.members);
  }
  if (asking.members.Has("shape")) {
    static_cast<void>(TakeShape(asking));  // pages send it with every moment
  }
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const Result<Moment> moment = FindMoment(asking, asked);
  if (!moment) {
    return RefusalOf(moment.Why());
  }
  question.moment = *moment;
  const Result<Spot> spot = FindSpot(asking, question);
  if (!spot) {
    return RefusalOf(spot.Why());
  }
  const Summary& summary = asking.GetSummary();
  JsonText& head = answer.Head();
  head.Key("record").Number(spot->end);
  head.Key("cycle").Wide(spot->cycle);
  head.Key("step").Number(spot->step);
  head.Key("naturalStep").Number(spot->naturalStep);
  head.Key("lastStep").Number(spot->lastStep);
  head.Key("firstCycle").Wide(summary.firstCycle);
  head.Key("lastCycle").Wide(summary.maxCycle);
  return std::nullopt;
}

MaybeRefusal AnswerPalette(Asking& asking, AnswerBytes& answer) {
  const uint64_t step = asking.members.Number("step");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const ElementPalette elements = ElementPaletteAt(step);
  const SwitchPalette switches = SwitchPaletteAt(step);
  std::vector<Color> messages;
  for (uint64_t age = 0; age <= LAST_MESSAGE_AGE; ++age) {
    messages.push_back(MessageColor(age));
  }
  PutPalette("elements", elements.data(), elements.size(), answer);
  PutPalette("switches", switches.data(), switches.size(), answer);
  PutPalette("messages", messages.data(), messages.size(), answer);
  return std::nullopt;
}

}  // namespace marrowfin
