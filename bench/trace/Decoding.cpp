#include <fcntl.h>
#include <unistd.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "Core/VisTool.h"
#include "bench/trace/Measure.h"
#include "bench/trace/Sections.h"
#include "bench/trace/Table.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/read/Split.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {

namespace {

constexpr size_t BLOCK = 256 << 10;
constexpr uint64_t TOOL_RECORDS = 200000;  // enough to time five calls a record

volatile uint64_t sink;

#if defined(__x86_64__)
__attribute__((target("avx2"))) uint64_t Sum(const uint8_t* bytes, size_t size) {
  __m256i sums[4] = {};
  size_t i = 0;
  for (; i + 128 <= size; i += 128) {
    for (size_t lane = 0; lane < 4; ++lane) {
      const uint8_t* at = bytes + i + lane * 32;
      sums[lane] =
          _mm256_add_epi64(sums[lane], _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
    }
  }
  uint64_t words[16];
  memcpy(words, sums, sizeof(words));
  uint64_t sum = 0;
  for (const uint64_t word : words) {
    sum += word;
  }
  for (; i < size; ++i) {
    sum += bytes[i];
  }
  return sum;
}
#else
#error "the bars compare with a sum by AVX2"
#endif

// Maps the file as TraceSource does, anew each time: the faults of the pages are part of the
// access.
std::unique_ptr<TraceSource> Map(const Subject& subject) {
  return Value(TraceSource::Open(subject.file));
}

void SumMapped(const Subject& subject, unsigned threads) {
  const std::unique_ptr<TraceSource> trace = Map(subject);
  std::vector<uint64_t> sums(threads);
  std::vector<std::thread> others;
  const size_t part = trace->Size() / threads;
  for (unsigned i = 1; i < threads; ++i) {
    others.emplace_back([&, i] { sums[i] = Sum(trace->Bytes() + i * part, part); });
  }
  sums[0] = Sum(trace->Bytes(), part);
  for (std::thread& other : others) {
    other.join();
  }
  for (const uint64_t sum : sums) {
    sink = sink + sum;
  }
}

void SumBlocks(const Subject& subject) {
  std::vector<uint8_t> block(BLOCK);
  const int descriptor = open(subject.file.c_str(), O_RDONLY | O_CLOEXEC);
  ssize_t got = 0;
  while ((got = read(descriptor, block.data(), block.size())) > 0) {
    sink = sink + Sum(block.data(), static_cast<size_t>(got));
  }
  close(descriptor);
}

// All checks: form, order, and locations within the array.
ReadOptions AllChecks(const Subject& subject) {
  ReadOptions options;
  options.array = subject.options.shape;
  return options;
}

class Checker : public PieceTaker {
 public:
  explicit Checker(const ReadOptions& options) : options(options) {}

  void Take(const Columns& columns) override {
    records += columns.size;
    sound &= !IsSuspicious(options, columns, last);
    last = columns.cycle[columns.size - 1];
  }
  void Forget() override { *this = Checker(options); }

  uint64_t records = 0;
  bool sound = true;

 private:
  ReadOptions options;
  uint64_t last = 0;
};

void DecodeMapped(const Subject& subject) {
  const std::unique_ptr<TraceSource> trace = Map(subject);
  auto columns = std::make_unique<Columns>();
  const ReadOptions options = AllChecks(subject);
  Fault fault;
  uint64_t records = 0;
  uint64_t last = 0;
  for (uint64_t offset = 0; offset < trace->Size() && !fault;) {
    const Result<uint64_t> next = trace->Decode(offset, trace->Size(), *columns);
    Require(static_cast<bool>(next), "the decoder found a fault");
    offset = *next;
    if (IsSuspicious(options, *columns, last)) {
      FindInBatch(*columns, last, true, options.array, [&](size_t, const Fault& found) {
        fault = found;
        return false;
      });
    }
    last = columns->cycle[columns->size - 1];
    records += columns->size;
  }
  Require(!fault && records == subject.options.records, "the decoder lost records");
}

void DecodePieces(const Subject& subject, unsigned threads) {
  const std::unique_ptr<TraceSource> trace = Map(subject);
  std::vector<Checker> checkers(threads, Checker(AllChecks(subject)));
  std::vector<PieceTaker*> takers;
  for (Checker& checker : checkers) {
    takers.push_back(&checker);
  }
  const Fault fault = ReadInPieces(*trace, takers).end;
  uint64_t records = 0;
  for (const Checker& checker : checkers) {
    records += checker.records;
    Require(checker.sound, "the decoder found what is not there");
  }
  Require(!fault && records == subject.options.records, "the pieces lost records");
}

void DecodeBlocks(const Subject& subject) {
  Reader reader(Value(OpenSource(subject.file)), subject.file, AllChecks(subject));
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
  }
  Require(!reader.GetFault() && reader.Records() == subject.options.records,
          "the reader lost records");
}

// The trace tool announces files on the standard output, where it would spoil the table.
class Silence {
 public:
  Silence() : kept(dup(STDOUT_FILENO)) {
    fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Silence() {
    fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept;
};

void ReadByTool(const Subject& subject, uint64_t records) {
  const Silence silence;
  VisTool tool;
  tool.inFilename = subject.file;
  tool.InitializeForRead();
  for (uint64_t i = 0; i < records; ++i) {
    VisToolEvent* event = nullptr;
    Require(tool.ReadEvent(event) == File::SUCCESS, "the trace tool cannot read");
    delete event;
  }
  tool.inFile.Close();
}

struct Event {
  uint64_t cycle;
  Columns::Tag tag;
  Place at;
  Place to;
};

std::vector<Event> FirstEvents(const Subject& subject, uint64_t records) {
  Reader reader(Value(OpenSource(subject.file)), subject.file);
  auto columns = std::make_unique<Columns>();
  std::vector<Event> events;
  while (events.size() < records && reader.Next(*columns)) {
    for (size_t i = 0; i < columns->size && events.size() < records; ++i) {
      events.push_back({columns->cycle[i], columns->tag[i], columns->at[i], columns->to[i]});
    }
  }
  return events;
}

Location ToLocation(Place place) { return Location(place.row, place.column); }

VisToolEvent* MakeEvent(const Event& event) {
  switch (event.tag.type) {
    case SWITCH_RECORD:
      return new NetworkSwitchTransmission(event.cycle, event.tag.thread, ToLocation(event.at));
    case FIRE_RECORD:
      return new PEFire(event.cycle, event.tag.thread, ToLocation(event.at));
    default:
      return new MessageSend(event.cycle, event.tag.thread, ToLocation(event.at),
                             ToLocation(event.to));
  }
}

void WriteByTool(const std::vector<Event>& events, const std::string& file) {
  const Silence silence;
  VisTool tool;
  tool.outFilename = file;
  tool.InitializeForWrite();
  for (const Event& event : events) {
    tool.WriteEvent(MakeEvent(event));
  }
  tool.outFile.Close();
}

void WriteBuffered(const std::vector<Event>& events, const std::string& file) {
  Writer writer;
  Require(!writer.Open(file), "cannot write");
  for (const Event& event : events) {
    switch (event.tag.type) {
      case SWITCH_RECORD:
        writer.Switch(event.cycle, event.tag.thread, event.at);
        break;
      case FIRE_RECORD:
        writer.Fire(event.cycle, event.tag.thread, event.at);
        break;
      default:
        writer.Send(event.cycle, event.tag.thread, event.at, event.to);
    }
  }
  Require(!writer.Close(), "cannot write");
}

void MeasureWriting(const Subject& subject) {
  const std::vector<Event> events = FirstEvents(subject, TOOL_RECORDS);
  const std::string byTool = subject.folder + "/tool.trace";
  const std::string byWriter = subject.folder + "/writer.trace";
  const std::vector<Time> times = Alternate(
      3, {[&] { WriteByTool(events, byTool); }, [&] { WriteBuffered(events, byWriter); }});
  RunProgram({"cmp", byTool, byWriter}, "/dev/null");
  AtLeast("buffered writer against VisTool::WriteEvent, same bytes",
          times[0].processor / times[1].processor, "x", 50);
  unlink(byTool.c_str());
  unlink(byWriter.c_str());
}

}  // namespace

void MeasureDecoding(const Subject& subject) {
  const std::vector<Time> times = Alternate(
      subject.repetitions + 4, {[&] { SumMapped(subject, 1); }, [&] { DecodeMapped(subject); },
                                [&] { SumMapped(subject, 2); }, [&] { DecodePieces(subject, 2); },
                                [&] { SumBlocks(subject); }, [&] { DecodeBlocks(subject); }});
  AtLeast("decode by mmap, 1 thread, against the sum", times[0].processor / times[1].processor, "x",
          0.7);
  AtLeast("decode by mmap, 2 threads, against the sum (elapsed)",
          times[2].elapsed / times[3].elapsed, "x", 0.6);
  Note("  the same by processor time", times[2].processor / times[3].processor, "x");
  AtLeast("decode by blocks against the sum", times[4].processor / times[5].processor, "x", 0.5);
  Note("decode by blocks, per record",
       times[5].processor / static_cast<double>(subject.options.records) * 1e9, "ns");
  const uint64_t toolRecords = std::min(subject.options.records, TOOL_RECORDS);
  const Time tool = Alternate(3, {[&] { ReadByTool(subject, toolRecords); }})[0];
  AtLeast("decode by blocks against VisTool::ReadEvent",
          tool.processor / static_cast<double>(toolRecords) /
              (times[5].processor / static_cast<double>(subject.options.records)),
          "x", 100);
  MeasureWriting(subject);
}

}  // namespace marrowfin::bench
