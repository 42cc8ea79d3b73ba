#include "convert/export/PerfettoExporter.h"

#include <unordered_set>
#include <utility>

#include "convert/export/CycleCounts.h"
#include "convert/export/EventWords.h"
#include "convert/export/PieceWriter.h"
#include "convert/export/ProtoMessage.h"
#include "convert/export/Tracks.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

// Numbers of fields, by message.
namespace trace_file {
constexpr uint32_t PACKET = 1;
}
namespace packet {
constexpr uint32_t TIMESTAMP = 8;
constexpr uint32_t SEQUENCE = 10;
constexpr uint32_t TRACK_EVENT = 11;
constexpr uint32_t INTERNED_DATA = 12;
constexpr uint32_t SEQUENCE_FLAGS = 13;
constexpr uint32_t TRACK_DESCRIPTOR = 60;
}  // namespace packet
namespace descriptor {
constexpr uint32_t UUID = 1;
constexpr uint32_t NAME = 2;
constexpr uint32_t PARENT = 5;
constexpr uint32_t COUNTER = 8;
}  // namespace descriptor
namespace counter {
constexpr uint32_t UNIT = 3;
constexpr uint64_t UNIT_COUNT = 2;
}  // namespace counter
namespace track_event {
constexpr uint32_t ANNOTATION = 4;
constexpr uint32_t TYPE = 9;
constexpr uint32_t NAME_NUMBER = 10;
constexpr uint32_t TRACK = 11;
constexpr uint32_t COUNTER_VALUE = 30;
constexpr uint32_t REAL_COUNTER_VALUE = 44;
constexpr uint32_t FLOW = 47;
constexpr uint32_t LAST_FLOW = 48;
enum Type : uint64_t { BEGIN = 1, END = 2, COUNTER = 4 };
}  // namespace track_event
namespace annotation {
constexpr uint32_t NAME_NUMBER = 1;
constexpr uint32_t NUMBER = 3;
constexpr uint32_t REAL = 5;
constexpr uint32_t TEXT = 6;
}  // namespace annotation
namespace interned {
constexpr uint32_t EVENT_NAMES = 2;
constexpr uint32_t ANNOTATION_NAMES = 3;
constexpr uint32_t NUMBER = 1;
constexpr uint32_t NAME = 2;
}  // namespace interned

constexpr uint64_t SEQUENCE_NUMBER = 1;
constexpr uint64_t STATE_BEGINS = 1;  // flags of the first packet
constexpr uint64_t USES_STATE = 2;    // and of those behind it

// Names of slices, by number.
enum Name : uint64_t { FIRE = 1, SEND, RECEIVE, TRANSMIT };
constexpr std::pair<uint64_t, const char*> SLICE_NAMES[] = {
    {FIRE, "fire"}, {SEND, "send"}, {RECEIVE, "receive"}, {TRANSMIT, "switch"}};

// Names of annotations; those of attributes of notes follow.
enum Annotation : uint64_t { RECORD = 1, THREAD, THREAD_NAME, FIRST_NOTE };

// Tracks are told apart by numbers of 64 bits: the kind in the upper half.
enum TrackKind : uint64_t { ROOT = 1, CLUSTER, DOMAIN, LINE, COUNT, SAMPLES };
uint64_t Uuid(TrackKind kind, uint64_t number) { return kind << 56 | number; }

// Tracks of counters that were described. Beyond so many all are forgotten and described again,
// which says nothing new, so that memory has a bound.
constexpr size_t MOST_COUNTERS = 1 << 16;

class PerfettoExporter : public Exporter {
 public:
  PerfettoExporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming), tracks(naming), writer(*target.sink) {}

  Fault Begin() override;
  Fault Add(const NotedSelection& events) override;
  bool TakesSamples() const override { return true; }
  Fault AddSample(const CounterSample& sample) override;
  Fault End() override;

 private:
  struct Slice {
    size_t line;
    uint64_t cycle;
    Name name;
    uint32_t flowField = 0;  // of the message's end, if it is one
    uint64_t flow = 0;
  };

  void AddEvent(const NotedSelection& from, size_t i);
  void AddSlice(const Slice& slice, const ProtoMessage& annotations);
  void Annotate(const NotedSelection& from, size_t i, ProtoMessage& event) const;
  void AddCounts(uint64_t cycle, const CycleCounts::Counts& of);
  void Describe(size_t line);
  void DescribeTrack(uint64_t uuid, uint64_t parent, const std::string& name,
                     bool isCounter = false);
  void AddInternedNames();
  void AddTrackEvent(uint64_t cycle, const ProtoMessage& event);
  void AddPacket(const ProtoMessage& message);

  const EventNaming& naming;
  Tracks tracks;
  PieceWriter writer;
  CycleCounts counts;
  std::unordered_set<uint64_t> counterTracks;
  ProtoMessage packetBytes;  // kept for their memory
  ProtoMessage eventBytes;
  ProtoMessage noteBytes;
};

constexpr const char* COUNT_NAMES[] = {"switches per cycle", "fires per cycle", "sends per cycle"};

void AddAnnotation(uint64_t name, uint64_t value, ProtoMessage& event) {
  ProtoMessage note;
  note.Number(annotation::NAME_NUMBER, name);
  note.Number(annotation::NUMBER, value);
  event.Message(track_event::ANNOTATION, note);
}

void AddAnnotation(uint64_t name, const std::string& text, ProtoMessage& event) {
  ProtoMessage note;
  note.Number(annotation::NAME_NUMBER, name);
  note.Text(annotation::TEXT, text);
  event.Message(track_event::ANNOTATION, note);
}

void AddAnnotation(uint64_t name, double value, ProtoMessage& event) {
  ProtoMessage note;
  note.Number(annotation::NAME_NUMBER, name);
  note.Real(annotation::REAL, value);
  event.Message(track_event::ANNOTATION, note);
}

Fault PerfettoExporter::Begin() {
  AddInternedNames();
  DescribeTrack(Uuid(ROOT, 0), 0, "array (a cycle is 1 ns)");
  for (size_t type = 0; type < std::size(COUNT_NAMES); ++type) {
    DescribeTrack(Uuid(COUNT, type), Uuid(ROOT, 0), COUNT_NAMES[type], true);
  }
  return {};
}

void PerfettoExporter::AddInternedNames() {
  ProtoMessage names;
  const auto add = [&](uint32_t list, uint64_t number, const std::string& name) {
    ProtoMessage entry;
    entry.Number(interned::NUMBER, number);
    entry.Text(interned::NAME, name);
    names.Message(list, entry);
  };
  for (const auto& [number, name] : SLICE_NAMES) {
    add(interned::EVENT_NAMES, number, name);
  }
  add(interned::ANNOTATION_NAMES, RECORD, "record");
  add(interned::ANNOTATION_NAMES, THREAD, "thread");
  add(interned::ANNOTATION_NAMES, THREAD_NAME, "thread name");
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    add(interned::ANNOTATION_NAMES, FIRST_NOTE + a, attributes[a].name);
  }
  packetBytes.Clear();
  packetBytes.Number(packet::SEQUENCE, SEQUENCE_NUMBER);
  packetBytes.Message(packet::INTERNED_DATA, names);
  packetBytes.Number(packet::SEQUENCE_FLAGS, STATE_BEGINS);
  AddPacket(packetBytes);
}

Fault PerfettoExporter::Add(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size(); ++i) {
    AddEvent(events, i);
  }
  return writer.Pass();
}

void PerfettoExporter::AddEvent(const NotedSelection& from, size_t i) {
  const TraceEvent event = from.found.Event(i);
  counts.Add(event, [this](uint64_t cycle, const auto& of) { AddCounts(cycle, of); });
  noteBytes.Clear();
  Annotate(from, i, noteBytes);
  if (event.type == SWITCH_RECORD) {
    AddSlice({tracks.OfSwitch(event.at), event.cycle, TRANSMIT}, noteBytes);
  } else if (event.type == FIRE_RECORD) {
    AddSlice({tracks.OfElement(event.at), event.cycle, FIRE}, noteBytes);
  } else {
    // 0 is no flow.
    const uint64_t flow = event.record + 1;
    AddSlice({tracks.OfElement(event.at), event.cycle, SEND, track_event::FLOW, flow}, noteBytes);
    ProtoMessage record;
    AddAnnotation(RECORD, event.record, record);
    AddSlice({tracks.OfElement(event.to), event.cycle, RECEIVE, track_event::LAST_FLOW, flow},
             record);
  }
}

void PerfettoExporter::Annotate(const NotedSelection& from, size_t i, ProtoMessage& event) const {
  const TraceEvent of = from.found.Event(i);
  AddAnnotation(RECORD, of.record, event);
  AddAnnotation(THREAD, uint64_t{of.thread}, event);
  if (const std::string* const name = NameOfThread(naming, of.thread)) {
    AddAnnotation(THREAD_NAME, *name, event);
  }
  const auto attributes = Attributes(naming);
  for (size_t a = 0; a < attributes.size(); ++a) {
    const NoteAttribute& attribute = attributes[a];
    for (const uint64_t value : from.notes[a]->All(i)) {
      if (attribute.type == NoteType::REAL) {
        AddAnnotation(FIRST_NOTE + a, std::bit_cast<double>(value), event);
      } else if (attribute.type == NoteType::NAME && attribute.names.contains(value)) {
        AddAnnotation(FIRST_NOTE + a, attribute.names.at(value), event);
      } else {
        AddAnnotation(FIRST_NOTE + a, value, event);
      }
    }
  }
}

// Slices of one cycle each neither cross nor hide each other: those of a cycle on one line lie
// within each other.
void PerfettoExporter::AddSlice(const Slice& slice, const ProtoMessage& annotations) {
  Describe(slice.line);
  const uint64_t track = Uuid(LINE, slice.line);
  eventBytes.Clear();
  eventBytes.Number(track_event::TYPE, track_event::BEGIN);
  eventBytes.Number(track_event::NAME_NUMBER, slice.name);
  eventBytes.Number(track_event::TRACK, track);
  if (slice.flowField != 0) {
    eventBytes.Fixed(slice.flowField, slice.flow);
  }
  eventBytes.Append(annotations);
  AddTrackEvent(slice.cycle, eventBytes);
  eventBytes.Clear();
  eventBytes.Number(track_event::TYPE, track_event::END);
  eventBytes.Number(track_event::TRACK, track);
  AddTrackEvent(slice.cycle + 1, eventBytes);
}

void PerfettoExporter::AddCounts(uint64_t cycle, const CycleCounts::Counts& of) {
  for (size_t type = 0; type < of.size(); ++type) {
    eventBytes.Clear();
    eventBytes.Number(track_event::TYPE, track_event::COUNTER);
    eventBytes.Number(track_event::TRACK, Uuid(COUNT, type));
    eventBytes.Number(track_event::COUNTER_VALUE, of[type]);
    AddTrackEvent(cycle, eventBytes);
  }
}

Fault PerfettoExporter::AddSample(const CounterSample& sample) {
  const size_t line = tracks.OfElement(sample.at);
  // Counters that lie elsewhere share a track each.
  const uint64_t uuid = Uuid(SAMPLES, uint64_t{sample.counter} << 32 | line);
  if (!counterTracks.contains(uuid)) {
    if (counterTracks.size() == MOST_COUNTERS) {
      counterTracks.clear();
    }
    counterTracks.insert(uuid);
    Describe(line);
    const NoteCounter& of = naming.notes->counters[sample.counter];
    DescribeTrack(uuid, Uuid(LINE, line),
                  of.unit.empty() ? of.name : of.name + " (" + of.unit + ")", true);
  }
  eventBytes.Clear();
  eventBytes.Number(track_event::TYPE, track_event::COUNTER);
  eventBytes.Number(track_event::TRACK, uuid);
  eventBytes.Real(track_event::REAL_COUNTER_VALUE, sample.value);
  AddTrackEvent(sample.cycle, eventBytes);
  return writer.Pass();
}

// Describes the track of a line and those above it, each once.
void PerfettoExporter::Describe(size_t line) {
  if (!tracks.IsNew(line)) {
    return;
  }
  const std::optional<size_t> cluster = tracks.ClusterOf(line);
  uint64_t parent = Uuid(ROOT, 0);
  if (cluster) {
    if (tracks.IsNewCluster(*cluster)) {
      DescribeTrack(Uuid(CLUSTER, *cluster), parent, tracks.NameOfCluster(*cluster));
    }
    parent = Uuid(CLUSTER, *cluster);
  }
  if (tracks.IsElement(line)) {
    const size_t domain = tracks.DomainOf(line);
    if (tracks.IsNewDomain(domain)) {
      DescribeTrack(Uuid(DOMAIN, domain), parent, tracks.NameOfDomain(domain));
    }
    parent = Uuid(DOMAIN, domain);
  }
  DescribeTrack(Uuid(LINE, line), parent, tracks.NameOf(line));
}

void PerfettoExporter::DescribeTrack(uint64_t uuid, uint64_t parent, const std::string& name,
                                     bool isCounter) {
  ProtoMessage track;
  track.Number(descriptor::UUID, uuid);
  track.Text(descriptor::NAME, name);
  if (parent != 0) {
    track.Number(descriptor::PARENT, parent);
  }
  if (isCounter) {
    ProtoMessage unit;
    unit.Number(counter::UNIT, counter::UNIT_COUNT);
    track.Message(descriptor::COUNTER, unit);
  }
  packetBytes.Clear();
  packetBytes.Number(packet::SEQUENCE, SEQUENCE_NUMBER);
  packetBytes.Message(packet::TRACK_DESCRIPTOR, track);
  AddPacket(packetBytes);
}

void PerfettoExporter::AddTrackEvent(uint64_t cycle, const ProtoMessage& event) {
  packetBytes.Clear();
  packetBytes.Number(packet::TIMESTAMP, cycle);
  packetBytes.Number(packet::SEQUENCE, SEQUENCE_NUMBER);
  packetBytes.Message(packet::TRACK_EVENT, event);
  packetBytes.Number(packet::SEQUENCE_FLAGS, USES_STATE);
  AddPacket(packetBytes);
}

void PerfettoExporter::AddPacket(const ProtoMessage& message) {
  ProtoMessage::AppendField(trace_file::PACKET, message, writer.Text());
}

Fault PerfettoExporter::End() {
  counts.End([this](uint64_t cycle, const auto& of) { AddCounts(cycle, of); });
  return writer.Flush();
}

}  // namespace

std::unique_ptr<Exporter> MakePerfettoExporter(const EventNaming& naming,
                                               const ExportTarget& target) {
  return std::make_unique<PerfettoExporter>(naming, target);
}

}  // namespace marrowfin
