#include "measure/FindCauses.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

#include "measure/CauseNotes.h"
#include "measure/PacketLegs.h"
#include "trace/ask/EventCursor.h"

namespace marrowfin {
namespace {

constexpr uint64_t BETWEEN_REPORTS = 1 << 16;  // records

// What is kept of each record while causes are told by number: four bits.
class RecordMarks {
 public:
  enum : uint32_t { MESSAGE = CausalGraph::WORK_KINDS, USED_MESSAGE, TRANSMISSION };  // else a fire

  void Add(uint32_t mark) {
    if (size++ % 2 == 0) {
      marks.push_back(static_cast<uint8_t>(mark));
    } else {
      marks.back() = static_cast<uint8_t>(marks.back() | mark << 4);
    }
  }
  uint32_t Of(uint64_t record) const { return marks[record / 2] >> (record % 2 * 4) & 15; }
  void Use(uint64_t message) {
    marks[message / 2] = static_cast<uint8_t>((marks[message / 2] & ~(15U << (message % 2 * 4))) |
                                              USED_MESSAGE << (message % 2 * 4));
  }

 private:
  std::vector<uint8_t> marks;
  uint64_t size = 0;
};

class Finder {
 public:
  Finder(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
         const CauseQuestion& question)
      : found{TimedTrace(trace, index),
              {},
              LeastTimes(Ways(question.shape, question.wrapColumns, question.wrapRows)),
              {},
              0,
              {},
              0},
        threads(question.limits),
        packets(question.limits),
        legs(question.limits.messages / 4),
        hasSwitches(index.GetSummary().switches > 0),
        records(found.trace) {
    if (notes != nullptr) {
      told.emplace(*notes);
      if (!told->TellAnything()) {
        told.reset();
      }
    }
    std::iota(rows.begin(), rows.end(), uint16_t{0});
  }

  Fault Find(const ProgressCallback& progress) {
    const uint64_t all = found.trace.GetIndex().GetSummary().records;
    uint64_t reported = 0;
    for (size_t number = 0;; ++number) {
      const Result<bool> more = found.trace.Load(number, batch);
      if (!more) {
        return more.Why();
      }
      if (!*more) {
        break;
      }
      if (Fault fault = told ? AddTold() : AddInferred()) {
        return fault;
      }
      const uint64_t done = batch.columns.firstRecord + batch.columns.size;
      if (progress && done - reported >= BETWEEN_REPORTS) {
        reported = done;
        if (!progress({done, all, Progress::RECORDS})) {
          return CancelledFault(found.trace.Source().Name());
        }
      }
    }
    found.least.Settle();
    found.counts.forgotten = threads.Forgotten() + packets.Forgotten();
    found.counts.unused = found.trace.GetIndex().GetSummary().sends - used;
    if (progress) {
      progress({all, all, Progress::RECORDS});
    }
    return {};
  }

  Causes Take() { return std::move(found); }

 private:
  const Columns& Batch() const { return batch.columns; }

  // What is known of the thread's strands at the ends of a record, some records ahead: the
  // processor fetches them meanwhile.
  static constexpr size_t AHEAD = 16;

  void LookAhead(size_t i) {
    const Columns& columns = Batch();
    if (i < columns.size) {
      atHash[i % AHEAD] = Strands::Hash(columns.at[i], columns.tag[i].thread);
      threads.Prefetch(atHash[i % AHEAD]);
      if (columns.tag[i].type == SEND_RECORD) {
        toHash[i % AHEAD] = Strands::Hash(columns.to[i], columns.tag[i].thread);
        threads.Prefetch(toHash[i % AHEAD]);
      }
    }
  }

  Fault AddInferred() {
    const Columns& columns = Batch();
    for (size_t i = 0; i < AHEAD; ++i) {
      LookAhead(i);
    }
    for (size_t i = 0; i < columns.size; ++i) {
      causes.clear();
      const uint32_t type = columns.tag[i].type;
      if (type != SWITCH_RECORD) {
        Strands::Strand& strand =
            threads.At(columns.at[i], columns.tag[i].thread, atHash[i % AHEAD]);
        if (type == FIRE_RECORD) {
          InferFire(strand, i);
          NoteFire(strand, i, 0);
        } else {
          Follow(threads, strand, batch.time[i], false);
          SendTo(threads.At(columns.to[i], columns.tag[i].thread, toHash[i % AHEAD]), threads, i);
        }
      }
      LookAhead(i + AHEAD);
      Add(i, Evidence::INFERRED, 0);
    }
    return {};
  }

  // A fire uses all messages that wait for its thread and were sent before its cycle; where there
  // are none it follows the last fire of the thread there.
  void InferFire(Strands::Strand& strand, size_t i) {
    UseAll(threads, strand, batch.time[i]);
    if (causes.empty() && strand.HasFired()) {
      AddCause(strand.LastFire(), batch.time[i]);
    }
  }

  void NoteFire(Strands::Strand& strand, size_t i, uint32_t work) const {
    strand.Fire({Batch().firstRecord + i, batch.time[i], work});
  }

  void SendTo(Strands::Strand& strand, Strands& strands, size_t i) {
    const Columns& columns = Batch();
    const uint32_t kind = found.least.ClassOf(SEND_RECORD, 0, columns.at[i], columns.to[i]);
    strands.Send(strand, {columns.firstRecord + i, batch.time[i], kind});
  }

  // A message follows the last fire of its strand where it was sent; where there was none it passes
  // on the oldest message that waits there. Of packets it is the other way round.
  void Follow(Strands& strands, Strands::Strand& strand, uint64_t time, bool messageFirst) {
    if (strand.HasFired() && !(messageFirst && HasMessageBefore(strands, strand, time))) {
      AddCause(strand.LastFire(), time);
    } else if (HasMessageBefore(strands, strand, time)) {
      UseOldest(strands, strand, time);
    }
  }

  // Whether a message waits that was sent before a time; those that were told to be used elsewhere
  // wait no more.
  bool HasMessageBefore(Strands& strands, Strands::Strand& strand, uint64_t time) {
    while (told && strand.HasMessages() &&
           marks.Of(strand.OldestRecord()) == RecordMarks::USED_MESSAGE) {
      strands.Use(strand);
    }
    return strand.HasMessages() && strand.OldestTime() < time;
  }

  void UseOldest(Strands& strands, Strands::Strand& strand, uint64_t time) {
    Use(strand.OldestRecord());
    AddCause(strand.Oldest(), time);
    strands.Use(strand);
  }

  void UseAll(Strands& strands, Strands::Strand& strand, uint64_t time) {
    while (HasMessageBefore(strands, strand, time)) {
      UseOldest(strands, strand, time);
    }
  }

  void Use(uint64_t message) {
    if (!told) {
      ++used;
    } else if (marks.Of(message) == RecordMarks::MESSAGE) {
      marks.Use(message);
      ++used;
    }
  }

  // A cause, whose kind is its class.
  void AddCause(const Strands::Event& cause, uint64_t effectTime) {
    causes.push_back(cause.record);
    found.least.Take(cause.kind, effectTime - cause.time);
  }

  // Ends the record.
  void Add(size_t i, Evidence evidence, uint32_t work) {
    const uint32_t type = Batch().tag[i].type;
    found.graph.Add(causes, evidence, work);
    (evidence == Evidence::TOLD     ? found.counts.told
     : evidence == Evidence::PACKET ? found.counts.byPacket
                                    : found.counts.inferred) += causes.size();
    const uint64_t record = Batch().firstRecord + i;
    if (record == 0) {
      found.firstTime = batch.time[i];
    }
    const bool fires = type == FIRE_RECORD;
    if (fires || (type == SEND_RECORD && !hasFired)) {
      found.last = record;
      found.lastTime = batch.time[i];
      hasFired = fires;
    }
  }

  Fault AddTold() {
    const Columns& columns = Batch();
    const Selection selection = {&columns, std::span(rows).first(columns.size), columns.firstRecord,
                                 columns.firstRecord + columns.size};
    if (Fault fault = told->Read(selection)) {
      return fault;
    }
    for (size_t i = 0; i < columns.size; ++i) {
      causes.clear();
      const uint32_t type = columns.tag[i].type;
      const uint32_t work = type == FIRE_RECORD ? told->WorkOf(i) : 0;
      marks.Add(type == FIRE_RECORD   ? work
                : type == SEND_RECORD ? uint32_t{RecordMarks::MESSAGE}
                                      : uint32_t{RecordMarks::TRANSMISSION});
      const Evidence evidence = type == FIRE_RECORD   ? TellFire(i, work)
                                : type == SEND_RECORD ? TellSend(i)
                                                      : TellSwitch(i);
      if (records.GetFault()) {
        return records.GetFault();
      }
      std::sort(causes.begin(), causes.end());
      causes.erase(std::unique(causes.begin(), causes.end()), causes.end());
      Add(i, evidence, work);
    }
    return {};
  }

  // Causes that are told by number: messages that were consumed, and fires whose results were used.
  void TakeTold(size_t i) {
    const uint64_t record = Batch().firstRecord + i;
    for (const uint64_t message : told->Consumed(i)) {
      if (message >= record || (marks.Of(message) != RecordMarks::MESSAGE &&
                                marks.Of(message) != RecordMarks::USED_MESSAGE)) {
        ++found.counts.contradicting;
        continue;
      }
      Use(message);
      AddToldCause(legs.End(message), batch.time[i]);
    }
    for (const uint64_t fire : told->Producers(i)) {
      if (fire >= record || marks.Of(fire) >= CausalGraph::WORK_KINDS) {
        ++found.counts.contradicting;
        continue;
      }
      AddToldCause(fire, batch.time[i]);
    }
  }

  void AddToldCause(uint64_t record, uint64_t effectTime) {
    causes.push_back(record);
    TakeTime(record, effectTime);
  }

  // Takes the time since a cause whose class is not at hand. What cannot be read is in the fault of
  // `records`.
  void TakeTime(uint64_t record, uint64_t effectTime) {
    size_t row;
    const TimedBatch* const held = records.Hold(record, row);
    if (held == nullptr) {
      return;
    }
    const Columns& columns = held->columns;
    const uint32_t eventClass =
        found.least.ClassOf(columns.tag[row].type, std::min(marks.Of(record), uint32_t{7}),
                            columns.at[row], columns.to[row]);
    found.least.Take(eventClass, effectTime - held->time[row]);
  }

  // Messages that were used by packet may have gone on through switches: the last of those is the
  // cause.
  void FollowLegs(uint64_t effectTime) {
    for (uint64_t& cause : causes) {
      const uint64_t end = legs.End(cause);
      if (end != cause) {
        cause = end;
        TakeTime(end, effectTime);
      }
    }
  }

  Evidence TellFire(size_t i, uint32_t work) {
    const Columns& columns = Batch();
    const uint64_t time = batch.time[i];
    TakeTold(i);
    const std::optional<uint64_t> packet = told->Packet(i);
    if (!packet) {
      return TellFireOfThread(i, work);
    }
    Strands::Strand& strand = packets.At(columns.at[i], *packet);
    Evidence evidence = Evidence::TOLD;
    if (told->TellsConsumed(i)) {
      while (strand.HasMessages()) {
        packets.Use(strand);  // flits that came with the one that was consumed
      }
    } else {
      evidence = Evidence::PACKET;
      UseAll(packets, strand, time);
      FollowLegs(time);
    }
    if (causes.empty() && !told->TellsProducers(i) && strand.HasFired()) {
      evidence = Evidence::PACKET;
      AddCause(strand.LastFire(), time);
    }
    NoteFire(strand, i, work);
    NoteFire(threads.At(columns.at[i], columns.tag[i].thread), i, work);
    return evidence;
  }

  Evidence TellFireOfThread(size_t i, uint32_t work) {
    const Columns& columns = Batch();
    const uint64_t time = batch.time[i];
    Strands::Strand& strand = threads.At(columns.at[i], columns.tag[i].thread);
    Evidence evidence = Evidence::TOLD;
    if (!told->TellsConsumed(i)) {
      const size_t before = causes.size();
      UseAll(threads, strand, time);
      FollowLegs(time);
      evidence = causes.size() > before ? Evidence::INFERRED : evidence;
    }
    if (causes.empty() && !told->TellsProducers(i) && strand.HasFired()) {
      evidence = Evidence::INFERRED;
      AddCause(strand.LastFire(), time);
    }
    NoteFire(strand, i, work);
    return evidence;
  }

  Evidence TellSend(size_t i) {
    const Columns& columns = Batch();
    const uint64_t record = columns.firstRecord + i;
    const uint64_t time = batch.time[i];
    TakeTold(i);
    Evidence evidence = Evidence::TOLD;
    const std::optional<uint64_t> packet = told->Packet(i);
    const bool isTold = told->TellsProducers(i) || !causes.empty();
    if (packet) {
      if (!isTold) {
        evidence = Evidence::PACKET;
        Follow(packets, packets.At(columns.at[i], *packet), time, true);
        FollowLegs(time);
      }
      if (NeedsPackets()) {
        SendTo(packets.At(columns.to[i], *packet), packets, i);
      }
      if (hasSwitches) {
        legs.Begin(*packet, record);
      }
    } else if (!isTold) {
      evidence = Evidence::INFERRED;
      Follow(threads, threads.At(columns.at[i], columns.tag[i].thread), time, false);
      FollowLegs(time);
    }
    if (!packet || !told->TellsConsumedAtAll()) {
      SendTo(threads.At(columns.to[i], columns.tag[i].thread), threads, i);
    }
    return evidence;
  }

  // Whether anything is found by packet.
  bool NeedsPackets() const { return !told->TellsConsumedAtAll() || !told->TellsProducersAtAll(); }

  Evidence TellSwitch(size_t i) {
    TakeTold(i);
    if (const std::optional<uint64_t> packet = told->Packet(i); packet && causes.empty()) {
      if (const std::optional<uint64_t> before = legs.GoOn(*packet, Batch().firstRecord + i)) {
        AddToldCause(*before, batch.time[i]);
        return Evidence::PACKET;
      }
    }
    return Evidence::TOLD;
  }

  Causes found;
  std::optional<CauseNotes> told;
  Strands threads;
  Strands packets;
  PacketLegs legs;
  bool hasSwitches;
  TimedRecords records;  // those that were told to be causes
  RecordMarks marks;     // only where notes tell causes
  TimedBatch batch;
  std::array<uint64_t, AHEAD> atHash = {};
  std::array<uint64_t, AHEAD> toHash = {};
  std::array<uint16_t, Columns::CAPACITY> rows;
  std::vector<uint64_t> causes;  // of the record that is looked at
  uint64_t used = 0;
  bool hasFired = false;
};

}  // namespace

Result<Causes> FindCauses(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                          const CauseQuestion& question, const ProgressCallback& progress) {
  const auto finder = std::make_unique<Finder>(trace, index, notes, question);
  if (Fault fault = finder->Find(progress)) {
    return fault;
  }
  return finder->Take();
}

Result<std::optional<uint64_t>> LastFireOf(const TraceSource& trace, const Index& index,
                                           Place element, uint64_t cycle,
                                           const ProgressCallback& progress) {
  EventFilter filter;
  filter.switches = false;
  filter.sends = false;
  filter.lastCycle = cycle;
  filter.region = Region{element, element};
  EventCursor cursor(trace, index, filter, progress);
  cursor.Seek(~uint64_t{0});
  TraceEvent event;
  const bool found = cursor.Previous(event);
  if (cursor.GetFault()) {
    return cursor.GetFault();
  }
  return found ? std::optional(event.record) : std::nullopt;
}

}  // namespace marrowfin
