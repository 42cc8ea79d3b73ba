#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "Core/VisTool.h"
#include "fuzz/Fuzz.h"
#include "fuzz/Traces.h"
#include "trace/read/Reader.h"
#include "trace/read/Split.h"
#include "trace/read/Summary.h"
#include "trace/read/SwitchGrid.h"
#include "trace/read/TraceSource.h"

// Bytes as a trace: the reader, in blocks of any size and with any options, must deliver what the
// layout of records tells, and break where that breaks. So must every decoder in batches, the
// pieces of the same trace in a file, and the trace tool of the common library.

namespace marrowfin::fuzz {

namespace {

struct Found {
  Fault::Kind kind;
  uint64_t record;
  uint64_t offset;
  friend bool operator==(const Found&, const Found&) = default;
};

struct Outcome {
  std::vector<Event> events;
  std::vector<Found> findings;
  Found fault = {Fault::NONE, 0, 0};
};

// What is to be held against an event, in the order in which the reader looks for it.
std::vector<Fault::Kind> Findings(const Event& event, uint64_t cycleBefore,
                                  const ReadOptions& options) {
  std::vector<Fault::Kind> kinds;
  if (options.ordered && event.cycle < cycleBefore) {
    kinds.push_back(Fault::FALLING_CYCLE);
  }
  if (!options.array) {
    return kinds;
  }
  const bool isSwitch = event.type == SWITCH_RECORD;
  const bool isSend = event.type == SEND_RECORD;
  if (isSwitch ? !options.array->HasSwitch(event.at) : !options.array->HasElement(event.at)) {
    kinds.push_back(isSend ? Fault::FAR_END : Fault::OUTSIDE_ARRAY);
  }
  if (isSend && !options.array->HasElement(event.to)) {
    kinds.push_back(Fault::FAR_END);
  }
  return kinds;
}

// One record after another, by the layout alone.
Outcome Reference(const uint8_t* data, size_t size, const ReadOptions& options, bool telling) {
  Outcome result;
  uint64_t cycle = 0;
  for (uint64_t offset = 0; offset < size;) {
    const uint64_t record = result.events.size();
    const Fault::Kind malformed = KindOf(data + offset, data + size);
    if (malformed != Fault::NONE) {
      result.fault = {malformed, record, offset};
      return result;
    }
    const Event event = EventAt(data + offset);
    for (const Fault::Kind kind : Findings(event, cycle, options)) {
      if (!telling) {
        result.fault = {kind, record, offset};
        return result;
      }
      result.findings.push_back({kind, record, offset});
    }
    result.events.push_back(event);
    cycle = event.cycle;
    offset += event.type == SEND_RECORD ? LARGE_RECORD : SMALL_RECORD;
  }
  return result;
}

// Counts the events by hand. `exact` is whether no batch was cut, which leaves its bounds as they
// were.
void CheckSummary(const Summary& summary, const std::vector<Event>& events, bool exact) {
  Summary counted;
  for (size_t i = 0; i < events.size(); ++i) {
    const Event& event = events[i];
    const uint64_t before = i == 0 ? event.cycle : events[i - 1].cycle;
    counted.changes += event.cycle != before;
    counted.falls += event.cycle < before;
    counted.maxCycle = std::max(counted.maxCycle, event.cycle);
    counted.switches += event.type == SWITCH_RECORD;
    counted.fires += event.type == FIRE_RECORD;
    counted.sends += event.type == SEND_RECORD;
    if (event.type == FIRE_RECORD) {
      counted.fired.Include(event.at);
    } else if (event.type == SEND_RECORD) {
      counted.sent.Include(event.at);
      counted.sent.Include(event.to);
    }
  }
  Require(summary.records == events.size() && summary.switches == counted.switches &&
              summary.fires == counted.fires && summary.sends == counted.sends,
          "the summary counts every record");
  Require(summary.changes == counted.changes && summary.falls == counted.falls &&
              summary.maxCycle == counted.maxCycle,
          "the summary follows the cycles");
  Require(!exact || (summary.fired == counted.fired && summary.sent == counted.sent),
          "the summary knows how far locations reach");
}

Outcome Read(std::unique_ptr<ByteSource> source, ReadOptions options, bool telling) {
  Outcome result;
  if (telling) {
    options.onFinding = [&](const Fault& fault) {
      result.findings.push_back({fault.kind, fault.record, fault.offset});
    };
  }
  Reader reader(std::move(source), "trace", options);
  auto columns = std::make_unique<Columns>();
  Summarizer summarizer;
  while (reader.Next(*columns)) {
    Require(columns->firstRecord == result.events.size(), "batches are numbered on");
    Append(*columns, result.events);
    summarizer.Add(*columns);
  }
  summarizer.Finish();
  const Fault& fault = reader.GetFault();
  CheckSummary(summarizer.Get(), result.events,
               fault.kind != Fault::FALLING_CYCLE && fault.kind != Fault::OUTSIDE_ARRAY &&
                   fault.kind != Fault::FAR_END);
  Require(summarizer.Get().bytes == reader.Offset(), "the records' bytes add up");
  if (fault) {
    Require(!fault.Text().empty() && !fault.reason.empty(), "a fault gives its reason");
    result.fault = {fault.kind, fault.record, fault.offset};
  }
  return result;
}

// What is the same however a batch was decoded.
bool AreSame(const Columns& a, const Columns& b, size_t from) {
  return a.size == b.size && a.switches == b.switches && a.sends == b.sends &&
         a.changes == b.changes && a.fell == b.fell && a.maxFired == b.maxFired &&
         a.maxSent == b.maxSent && a.maxSwitched == b.maxSwitched &&
         a.switchedBits == b.switchedBits &&
         std::equal(a.cycle + from, a.cycle + a.size, b.cycle + from) &&
         std::equal(a.tag + from, a.tag + a.size, b.tag + from,
                    [](Columns::Tag x, Columns::Tag y) {
                      return x.thread == y.thread && x.type == y.type;
                    }) &&
         std::equal(a.at + from, a.at + a.size, b.at + from) &&
         std::equal(a.to + from, a.to + a.size, b.to + from);
}

// Decodes all batches by `decode` and, what that leaves, by the portable decoder. The first batch
// already holds `filled` records.
void TryDecoder(DecodeFunction* decode, const uint8_t* data, const uint8_t* end, size_t filled) {
  const auto expected = std::make_unique<Columns>();
  const auto found = std::make_unique<Columns>();
  expected->size = filled;
  found->size = filled;
  for (bool more = true; more;) {
    const uint8_t* next = DecodePortable(data, end, *expected);
    const uint8_t* fast = decode(data, end, *found);
    Require(fast >= data && fast <= next && found->size <= expected->size,
            "no decoder decodes more than the portable one");
    Require(DecodePortable(fast, end, *found) == next, "a decoder stops where a record begins");
    Require(AreSame(*expected, *found, filled), "all decoders decode the same records");
    more = next != data;
    data = next;
    filled = 0;
    expected->Clear();
    found->Clear();
  }
}

// All batches of a trace, by every way to look for switches that an array does not have.
void TryGrid(const ArrayShape& array, const uint8_t* data, const uint8_t* end) {
  const SwitchGrid grid(array);
  const auto columns = std::make_unique<Columns>();
  for (data = DecodeBest(data, end, *columns); columns->size > 0;
       data = DecodeBest(data, end, *columns)) {
    bool all = true;
    for (size_t i = 0; i < columns->size; ++i) {
      all = all && (columns->tag[i].type != SWITCH_RECORD || array.HasSwitch(columns->at[i]));
    }
    Require(grid.Fits(*columns) == all && grid.FitsPortable(*columns) == all &&
                (!HasAvx2() || grid.FitsAvx2(*columns) == all),
            "the grid knows its switches");
    columns->Clear();
  }
}

class Recorder : public PieceTaker {
 public:
  void Take(const Columns& columns) override { Append(columns, events); }
  void Forget() override { events.clear(); }
  std::vector<Event> events;
};

void TryPieces(const TraceSource& trace, const Outcome& expected) {
  Recorder recorders[3];
  const auto [records, fault] = ReadInPieces(trace, {&recorders[0], &recorders[1], &recorders[2]});
  std::vector<Event> events;
  for (size_t i = 0; i < std::size(recorders); ++i) {
    const std::vector<Event>& piece = recorders[i].events;
    Require(records[i] == piece.size(), "a piece counts its records");
    events.insert(events.end(), piece.begin(), piece.end());
  }
  Require(events == expected.events, "pieces add up to the trace");
  Require(fault.kind == expected.fault.kind, "pieces break where the trace breaks");
  Require(
      !fault || (fault.record == expected.fault.record && fault.offset == expected.fault.offset),
      "pieces name the place where the trace breaks");
}

void TrySeeking(const TraceSource& trace, const std::vector<Event>& events, uint64_t cycle) {
  uint64_t offset = 0;
  for (size_t i = 0; i < events.size() && events[i].cycle < cycle; ++i) {
    offset += RecordSize(events[i].type);
  }
  const auto found = SeekCycle(trace, cycle);
  Require(found && *found == offset, "seeking finds the first record of a cycle");
}

void TryFile(const MemoryFile& file, const Outcome& expected, bool ordered) {
  const auto opened = TraceSource::Open(file.Name());
  if (!opened) {
    Require(opened.Why().reason.find("packed") != std::string::npos, "every plain file opens");
    return;
  }
  const TraceSource& trace = **opened;
  TryPieces(trace, expected);
  const std::vector<Event>& events = expected.events;
  if (ordered && !events.empty()) {
    for (const uint64_t cycle :
         {events[events.size() / 3].cycle, events[events.size() / 2].cycle + 1}) {
      TrySeeking(trace, events, cycle);
    }
  }
}

Event EventOf(const VisToolEvent& event) {
  Event read = {event.cyc, event.thread, static_cast<uint32_t>(event.Class()), {}, {}};
  if (const auto* send = dynamic_cast<const MessageSend*>(&event)) {
    read.at = {send->from.column, send->from.row};
    read.to = {send->to.column, send->to.row};
  } else {
    const Location& location = dynamic_cast<const LocationEvent&>(event).l;
    read.at = {location.column, location.row};
  }
  return read;
}

// The trace tool aborts on what is malformed, so it reads no further than the records before that.
void TryTool(const MemoryFile& file, const Outcome& expected) {
  static VisTool tool;
  Require(tool.inFile.Open(file.Name(), File::READ_FLAGS, 0) == File::SUCCESS, "the file opens");
  VisToolEvent* read = nullptr;
  for (const Event& event : expected.events) {
    Require(tool.ReadEvent(read) == File::SUCCESS && EventOf(*read) == event,
            "the trace tool delivers the same records");
    delete read;
  }
  if (expected.fault.kind == Fault::NONE || expected.fault.kind == Fault::CUT_RECORD) {
    Require(tool.ReadEvent(read) == File::END_OF_FILE, "the trace tool ends with the trace");
  }
  tool.inFile.Close();
}

void Try(Input input) {
  const uint8_t flags = input.Byte();
  const uint8_t ways = input.Byte();
  const size_t most = input.Byte();
  const size_t copies = input.Byte();
  const uint64_t step = input.Byte();
  const std::vector<uint8_t> trace = Repeat(input.Rest(), input.Left(), copies, step, 100000);
  const uint8_t* data = trace.data();
  const size_t size = trace.size();
  ReadOptions options;
  options.ordered = (flags & 1) != 0;
  if ((flags & 2) != 0) {
    options.array = ArrayShape{1U + (flags >> 3 & 3), 1U + (flags >> 5 & 1), 3U + (flags >> 6)};
  }
  const bool telling = (flags & 4) != 0;

  AllowAvx2((ways & 4) == 0);
  const Outcome expected = Reference(data, size, options, telling);
  const Outcome result = Read(std::make_unique<Trickle>(data, size, most), options, telling);
  Require(result.events == expected.events, "the reader delivers what stands there");
  Require(result.findings == expected.findings, "the reader tells every finding");
  Require(result.fault == expected.fault, "the reader breaks where the trace breaks");

  if ((ways & 3) != 0) {
    const MemoryFile file(data, size);
    ReadOptions lenient;
    lenient.ordered = false;
    const Outcome all = Reference(data, size, lenient, false);
    if ((ways & 1) != 0) {
      TryFile(file, all, Reference(data, size, ReadOptions(), false).fault.kind == Fault::NONE);
    }
    if ((ways & 2) != 0 && size < 8192) {
      TryTool(file, all);
    }
  }

  AllowAvx2(true);
  TryDecoder(DecodeBest, data, data + size, most);
  if (HasAvx2()) {
    TryDecoder(DecodeAvx2, data, data + size, most);
  }
  if (options.array) {
    TryGrid(*options.array, data, data + size);
  }
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try(marrowfin::fuzz::Input(data, size));
  return 0;
}
