#include "convert/export/Otf2Exporter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <filesystem>
#include <memory>
#include <vector>

#include "convert/export/AboutFacts.h"
#include "convert/export/EventWords.h"
#include "convert/export/LaneSpool.h"
#include "convert/export/Otf2Archive.h"
#include "convert/export/Otf2Definitions.h"
#include "convert/export/Tracks.h"
#include "trace/base/Bytes.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

// What all lanes of a location may keep in memory while they are read.
constexpr size_t READ_MEMORY = 1 << 20;
constexpr size_t LEAST_PORTION = 256;
constexpr size_t MOST_PORTION = 64 << 10;

// Regions of one place and cycle lie within each other, as deep as readers are sure to follow.
constexpr size_t MOST_DEEP = 64;

constexpr uint64_t PROGRESS_PIECES = 1 << 16;  // from one report to the next

// Each line has a lane for its events and one for each counter that is known there.
constexpr uint64_t LaneOf(size_t line, uint64_t lane) { return uint64_t{line} << 32 | lane; }
constexpr size_t LineOf(uint64_t lane) { return static_cast<size_t>(lane >> 32); }
constexpr uint64_t EVENTS = 0;
constexpr uint64_t FIRST_COUNTER = 1;

// What happens at a place, as it is put aside.
struct Happening {
  otf2::Region region = otf2::FIRE;
  uint64_t cycle = 0;
  uint64_t record = 0;
  uint32_t thread = 0;
  size_t peer = 0;    // the line of the other end of a message
  uint64_t size = 0;  // of the message

  bool IsMessage() const { return region == otf2::SEND || region == otf2::RECEIVE; }
};

// Reads one lane of a location, a piece ahead.
class LaneHead {
 public:
  LaneHead(const LaneSpool& spool, uint64_t lane, size_t portion)
      : lane(lane & 0xffffffff), reader(spool, lane, portion) {}

  // False behind the last piece.
  Result<bool> Advance() {
    const Result<std::span<const uint8_t>> next = reader.Next();
    if (!next) {
      return next.Why();
    }
    piece = *next;
    if (piece.empty()) {
      return false;
    }
    cycle = ByteReader(piece.data(), piece.size()).Number();
    return true;
  }

  // Of one cycle events come first, then counters in their order.
  bool IsBehind(const LaneHead& other) const {
    return cycle != other.cycle ? cycle > other.cycle : lane > other.lane;
  }

  const uint64_t lane;  // of its line
  uint64_t cycle = 0;
  std::span<const uint8_t> piece;

 private:
  LaneSpool::Reader reader;
};

// Writes the events of a location in order of time.
class LocationWriter {
 public:
  LocationWriter(Otf2Archive& archive, OTF2_AttributeList* attributes)
      : archive(archive), attributes(attributes) {}

  // Leaves the regions of an earlier cycle. The attributes belong to the region that is entered.
  void Enter(uint64_t cycle, otf2::Region region) {
    Go(cycle);
    if (open.size() == MOST_DEEP) {
      Leave(cycle);
    }
    Count([&](auto* writer) { return OTF2_EvtWriter_Enter(writer, attributes, now, region); });
    open.push_back(region);
  }

  void Message(const Happening& of, uint32_t rank) {
    Count([&](auto* writer) {
      return of.region == otf2::SEND ? OTF2_EvtWriter_MpiSend(writer, nullptr, now, rank,
                                                              otf2::MESSAGES, of.thread, of.size)
                                     : OTF2_EvtWriter_MpiRecv(writer, nullptr, now, rank,
                                                              otf2::MESSAGES, of.thread, of.size);
    });
  }

  void Sample(uint64_t cycle, uint32_t counter, double value) {
    Go(cycle);
    const OTF2_Type type = OTF2_TYPE_DOUBLE;
    OTF2_MetricValue as;
    as.floating_point = value;
    Count([&](auto* writer) {
      return OTF2_EvtWriter_Metric(writer, nullptr, now, counter, 1, &type, &as);
    });
  }

  void End() {
    while (!open.empty()) {
      Leave(now + 1);
    }
  }

  uint64_t Events() const { return events; }

 private:
  // Notes may go back in time, which no location does.
  void Go(uint64_t cycle) {
    if (cycle > now) {
      End();
      now = cycle;
    }
  }

  void Leave(uint64_t cycle) {
    const otf2::Region region = open.back();
    open.pop_back();
    Count([&](auto* writer) { return OTF2_EvtWriter_Leave(writer, nullptr, cycle, region); });
  }

  template <class Call>
  void Count(Call call) {
    archive.Event(call);
    ++events;
  }

  Otf2Archive& archive;
  OTF2_AttributeList* const attributes;
  uint64_t now = 0;
  std::vector<otf2::Region> open;
  uint64_t events = 0;
};

class Otf2Exporter : public Exporter {
 public:
  Otf2Exporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming),
        tracks(naming),
        definitions(naming),
        spool(target.file, target.name),
        archive(target.file, target.name),
        attributes(OTF2_AttributeList_New(), OTF2_AttributeList_Delete) {
    if (naming.notes != nullptr) {
      sizeAttribute = naming.notes->Attribute(SIZE_ATTRIBUTE);
    }
  }

  bool WantsSurvey() const override { return true; }
  void Survey(const NotedSelection& events) override;
  void SurveySample(const CounterSample& sample) override;
  Fault Begin() override;
  Fault Add(const NotedSelection& events) override;
  bool TakesSamples() const override { return true; }
  Fault AddSample(const CounterSample& sample) override;
  Fault WriteRest(const ProgressCallback& progress) override;
  Fault End() override;

 private:
  template <class Take>
  void ForPieces(const NotedSelection& from, size_t i, Take take);
  void Encode(const Happening& of);
  void EncodeNotes(const NotedSelection& from, size_t i);
  void EncodeSample(const CounterSample& sample);
  uint64_t SizeOf(const NotedSelection& from, size_t i) const;
  void DescribeRun();

  Fault WriteLocation(std::span<const uint64_t> lanes, const ProgressCallback& progress);
  Fault WriteMerged(std::vector<LaneHead>& heads, LocationWriter& writer,
                    const ProgressCallback& progress);
  void WritePiece(const LaneHead& head, LocationWriter& writer);
  void WriteHappening(ByteReader& piece, LocationWriter& writer);
  Fault Report(const ProgressCallback& progress);
  void Include(uint64_t first, uint64_t last);

  const EventNaming& naming;
  Tracks tracks;
  Otf2Definitions definitions;
  LaneSpool spool;
  Otf2Archive archive;
  std::unique_ptr<OTF2_AttributeList, OTF2_ErrorCode (*)(OTF2_AttributeList*)> attributes;
  std::optional<uint32_t> sizeAttribute;  // that tells how large a message is
  ByteWriter piece;                       // kept for its memory
  std::vector<Otf2Definitions::Location> locations;
  std::map<size_t, uint32_t> ranks;  // by line
  uint64_t firstCycle = ~uint64_t{0};
  uint64_t lastCycle = 0;
  uint64_t piecesWritten = 0;
};

// Calls `take(lane, bytes)` for what an event is at each place that it is at.
template <class Take>
void Otf2Exporter::ForPieces(const NotedSelection& from, size_t i, Take take) {
  const TraceEvent event = from.found.Event(i);
  Happening of = {otf2::FIRE, event.cycle, event.record, event.thread};
  size_t line = tracks.OfElement(event.at);
  if (event.type == SWITCH_RECORD) {
    of.region = otf2::TRANSMIT;
    line = tracks.OfSwitch(event.at);
  } else if (event.type == SEND_RECORD) {
    of.region = otf2::SEND;
    of.peer = tracks.OfElement(event.to);
    of.size = SizeOf(from, i);
  }
  Encode(of);
  EncodeNotes(from, i);
  take(LaneOf(line, EVENTS), piece.Bytes());
  if (event.type == SEND_RECORD) {
    const size_t receiver = of.peer;
    of.region = otf2::RECEIVE;
    of.peer = line;
    Encode(of);
    take(LaneOf(receiver, EVENTS), piece.Bytes());
  }
}

// The cycle is first in all pieces.
void Otf2Exporter::Encode(const Happening& of) {
  piece.Clear();
  piece.Number(of.cycle);
  piece.Number(of.region);
  piece.Number(of.record);
  piece.Number(of.thread);
  if (of.IsMessage()) {
    piece.Number(of.peer);
    piece.Number(of.size);
  }
}

void Otf2Exporter::EncodeNotes(const NotedSelection& from, size_t i) {
  for (size_t a = 0; a < from.notes.size(); ++a) {
    const std::span<const uint64_t> all = from.notes[a]->All(i);
    for (const uint64_t value : all.first(std::min(all.size(), Otf2Definitions::MOST_VALUES))) {
      piece.Number(a);
      piece.Number(value);
    }
  }
}

void Otf2Exporter::EncodeSample(const CounterSample& sample) {
  piece.Clear();
  piece.Number(sample.cycle);
  piece.Number(std::bit_cast<uint64_t>(sample.value));
}

uint64_t Otf2Exporter::SizeOf(const NotedSelection& from, size_t i) const {
  const bool isKnown =
      sizeAttribute && naming.notes->attributes[*sizeAttribute].type == NoteType::NUMBER;
  return isKnown && from.notes[*sizeAttribute]->Has(i) ? from.notes[*sizeAttribute]->Value(i) : 0;
}

void Otf2Exporter::Survey(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size(); ++i) {
    ForPieces(events, i, [this](uint64_t lane, const std::vector<uint8_t>& bytes) {
      spool.Announce(lane, bytes.size());
    });
    for (uint32_t a = 0; a < events.notes.size(); ++a) {
      const std::span<const uint64_t> all = events.notes[a]->All(i);
      for (size_t at = 0; at < std::min(all.size(), Otf2Definitions::MOST_VALUES); ++at) {
        definitions.Meet(a, at, all[at]);
      }
    }
  }
}

void Otf2Exporter::SurveySample(const CounterSample& sample) {
  EncodeSample(sample);
  spool.Announce(LaneOf(tracks.OfElement(sample.at), FIRST_COUNTER + sample.counter),
                 piece.Bytes().size());
}

Fault Otf2Exporter::Begin() {
  for (const uint64_t lane : spool.Lanes()) {
    const size_t line = LineOf(lane);
    if (locations.empty() || locations.back().line != line) {
      ranks[line] = static_cast<uint32_t>(locations.size());
      locations.push_back({line});
    }
  }
  if (locations.empty()) {
    // Readers want one, though nothing happens there.
    locations.push_back({Tracks::ELSEWHERE});
  }
  definitions.NumberAttributes();
  DescribeRun();
  return archive.GetFault() ? archive.GetFault() : spool.Begin();
}

void Otf2Exporter::DescribeRun() {
  ForFacts(naming, [this](const char* key, const std::string& value) {
    std::string name = "MARROWFIN::";
    for (const char* c = key; *c != '\0'; ++c) {
      name += static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
    }
    archive.SetProperty(name, OnOneLine(value));
  });
  archive.Describe(naming.about != nullptr && !naming.about->name.empty()
                       ? OnOneLine(naming.about->name)
                       : "a tick is a cycle");
}

Fault Otf2Exporter::Add(const NotedSelection& events) {
  Fault fault;
  for (size_t i = 0; i < events.found.Size() && !fault; ++i) {
    ForPieces(events, i, [&](uint64_t lane, const std::vector<uint8_t>& bytes) {
      fault = fault ? fault : spool.Put(lane, bytes);
    });
  }
  return fault;
}

Fault Otf2Exporter::AddSample(const CounterSample& sample) {
  EncodeSample(sample);
  return spool.Put(LaneOf(tracks.OfElement(sample.at), FIRST_COUNTER + sample.counter),
                   piece.Bytes());
}

Fault Otf2Exporter::WriteRest(const ProgressCallback& progress) {
  if (Fault fault = spool.End()) {
    return fault;
  }
  const std::vector<uint64_t> lanes = spool.Lanes();
  size_t to = 0;
  for (const Otf2Definitions::Location& location : locations) {
    const size_t from = to;
    while (to < lanes.size() && LineOf(lanes[to]) == location.line) {
      ++to;
    }
    if (Fault fault = WriteLocation(std::span(lanes).subspan(from, to - from), progress)) {
      return fault;
    }
  }
  return archive.GetFault();
}

Fault Otf2Exporter::WriteLocation(std::span<const uint64_t> lanes,
                                  const ProgressCallback& progress) {
  const size_t portion =
      std::clamp(READ_MEMORY / std::max<size_t>(lanes.size(), 1), LEAST_PORTION, MOST_PORTION);
  std::vector<LaneHead> heads;
  heads.reserve(lanes.size());
  for (const uint64_t lane : lanes) {
    heads.emplace_back(spool, lane, portion);
  }
  archive.BeginLocation();
  LocationWriter writer(archive, attributes.get());
  if (Fault fault = WriteMerged(heads, writer, progress)) {
    return fault;
  }
  writer.End();
  locations[archive.Locations()].events = writer.Events();
  archive.EndLocation();
  return archive.GetFault();
}

Fault Otf2Exporter::WriteMerged(std::vector<LaneHead>& heads, LocationWriter& writer,
                                const ProgressCallback& progress) {
  const auto isBehind = [](const LaneHead* a, const LaneHead* b) { return a->IsBehind(*b); };
  std::vector<LaneHead*> heap;
  const auto add = [&](LaneHead& head) -> Fault {
    const Result<bool> more = head.Advance();
    if (more && *more) {
      heap.push_back(&head);
      std::push_heap(heap.begin(), heap.end(), isBehind);
    }
    return more.Why();
  };
  for (LaneHead& head : heads) {
    if (Fault fault = add(head)) {
      return fault;
    }
  }
  while (!heap.empty() && !archive.GetFault()) {
    std::pop_heap(heap.begin(), heap.end(), isBehind);
    LaneHead& head = *heap.back();
    heap.pop_back();
    WritePiece(head, writer);
    Fault fault = Report(progress);
    if (fault || (fault = add(head))) {
      return fault;
    }
  }
  return archive.GetFault();
}

void Otf2Exporter::WritePiece(const LaneHead& head, LocationWriter& writer) {
  ByteReader bytes(head.piece.data(), head.piece.size());
  if (head.lane == EVENTS) {
    WriteHappening(bytes, writer);
  } else {
    const uint64_t cycle = bytes.Number();
    Include(cycle, cycle);
    writer.Sample(cycle, static_cast<uint32_t>(head.lane - FIRST_COUNTER),
                  std::bit_cast<double>(bytes.Number()));
  }
}

void Otf2Exporter::WriteHappening(ByteReader& bytes, LocationWriter& writer) {
  Happening of;
  of.cycle = bytes.Number();
  of.region = static_cast<otf2::Region>(bytes.Number());
  of.record = bytes.Number();
  of.thread = static_cast<uint32_t>(bytes.Number());
  if (of.IsMessage()) {
    of.peer = static_cast<size_t>(bytes.Number());
    of.size = bytes.Number();
  }
  definitions.AddRecord(of.record, attributes.get());
  definitions.AddThread(of.thread, attributes.get());
  uint32_t attribute = 0;
  for (size_t index = 0; !bytes.AtEnd(); ++index) {
    const auto next = static_cast<uint32_t>(bytes.Number());
    index = next == attribute ? index : 0;
    attribute = next;
    definitions.Add(attribute, index, bytes.Number(), attributes.get());
  }
  Include(of.cycle, of.cycle + 1);
  writer.Enter(of.cycle, of.region);
  if (of.IsMessage()) {
    writer.Message(of, ranks.at(of.peer));
  }
}

void Otf2Exporter::Include(uint64_t first, uint64_t last) {
  firstCycle = std::min(firstCycle, first);
  lastCycle = std::max(lastCycle, last);
}

Fault Otf2Exporter::Report(const ProgressCallback& progress) {
  ++piecesWritten;
  const bool stops = piecesWritten % PROGRESS_PIECES == 0 && progress &&
                     !progress({piecesWritten, spool.Pieces(), Progress::RECORDS});
  return stops ? CancelledFault("") : Fault();
}

Fault Otf2Exporter::End() {
  archive.BeginDefinitions();
  definitions.Write({tracks, locations, firstCycle, lastCycle}, archive);
  archive.Close();
  return archive.GetFault();
}

}  // namespace

std::unique_ptr<Exporter> MakeOtf2Exporter(const EventNaming& naming, const ExportTarget& target) {
  return std::make_unique<Otf2Exporter>(naming, target);
}

bool IsOtf2Archive(const std::string& folder) {
  namespace fs = std::filesystem;
  const std::string name = Otf2Archive::NAME;
  const auto holdsOnly = [](const fs::path& path, auto isOwn) {
    std::error_code error;
    fs::directory_iterator entry(path, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      if (!isOwn(*entry)) {
        return false;
      }
    }
    return !error;
  };
  std::error_code error;
  const fs::path events = fs::path(folder) / name;
  return fs::is_regular_file(fs::path(folder) / (name + ".otf2"), error) &&
         holdsOnly(folder,
                   [&](const fs::directory_entry& entry) {
                     const fs::path file = entry.path().filename();
                     return file == name ? entry.is_directory(error)
                                         : file == name + ".otf2" || file == name + ".def";
                   }) &&
         (!fs::exists(events, error) || holdsOnly(events, [](const fs::directory_entry& entry) {
           const std::string ending = entry.path().extension().string();
           return ending == ".evt" || ending == ".def";
         }));
}

}  // namespace marrowfin
