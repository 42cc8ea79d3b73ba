// The trace tool of the common library against the readers of the trace engine. It takes a record
// at a time, by five system calls, and ends the process at a malformed one: what it delivers, and
// where it stops, is the reference.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <random>

#include "Core/VisTool.h"
#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Reader.h"
#include "trace/read/TraceSource.h"
#include "trace/write/Synth.h"

namespace marrowfin::testing {
namespace {

// What was read, and what broke it off.
struct ReadResult {
  std::vector<Event> events;
  uint64_t offset = 0;  // behind the last of them
  Fault fault;
};

void Append(const Columns& columns, std::vector<Event>& events) {
  for (size_t i = 0; i < columns.size; ++i) {
    events.push_back({columns.tag[i].type, columns.cycle[i], columns.tag[i].thread, columns.at[i],
                      columns.to[i]});
  }
}

ReadResult ReadByBlocks(const std::string& name) {
  ReadResult result;
  Reader reader(OpenInput(name), name, {.ordered = false});
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
    Append(*columns, result.events);
  }
  result.offset = reader.Offset();
  result.fault = reader.GetFault();
  return result;
}

ReadResult ReadMapped(const std::string& name) {
  ReadResult result;
  const auto trace = OpenTrace(name);
  auto columns = std::make_unique<Columns>();
  while (result.offset < trace->Size() && !result.fault) {
    const Result<uint64_t> next = trace->Decode(result.offset, trace->Size(), *columns);
    result.offset = next ? *next : result.offset;
    result.fault = next.Why();
    Append(*columns, result.events);
  }
  result.fault.record = result.events.size();
  return result;
}

// How far the trace tool got; what it leaves behind where it ends the process.
struct ToolProgress {
  enum End { ABORTED, CUT, ENDED };

  uint64_t records = 0;
  uint64_t offset = 0;           // behind the last of them
  uint64_t firstDifference = 0;  // number of the first record that is not the expected one
  End end = ABORTED;
};

bool IsSame(const VisToolEvent& event, const Event& expected) {
  if (static_cast<uint32_t>(event.Class()) != expected.type || event.cyc != expected.cycle ||
      event.thread != expected.thread) {
    return false;
  }
  if (const auto* send = dynamic_cast<const MessageSend*>(&event)) {
    return Place{send->from.column, send->from.row} == expected.at &&
           Place{send->to.column, send->to.row} == expected.to;
  }
  const Location& l = dynamic_cast<const LocationEvent&>(event).l;
  return Place{l.column, l.row} == expected.at && Place{} == expected.to;
}

void ReadWithTool(const std::string& name, const std::vector<Event>& expected,
                  ToolProgress& progress) {
  VisTool tool;
  ASSERT_EQ(tool.inFile.Open(name, File::READ_FLAGS, 0), File::SUCCESS);
  VisToolEvent* raw = nullptr;
  long long position = 0;
  while (tool.ReadEvent(raw) == File::SUCCESS) {
    const std::unique_ptr<VisToolEvent> event(raw);
    const bool same = progress.firstDifference == progress.records &&
                      progress.records < expected.size() &&
                      IsSame(*event, expected[progress.records]);
    progress.firstDifference += same;
    ++progress.records;
    tool.inFile.Tell(position);
    progress.offset = static_cast<uint64_t>(position);
  }
  tool.inFile.Tell(position);
  const bool whole = progress.offset == static_cast<uint64_t>(position);
  progress.end = whole ? ToolProgress::ENDED : ToolProgress::CUT;
  tool.inFile.Close();
}

// The same in a process of its own, which may end by an abort.
ToolProgress ReadWithToolInChild(const std::string& name, const std::vector<Event>& expected) {
  void* const shared = mmap(nullptr, sizeof(ToolProgress), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(shared, MAP_FAILED);
  auto* const progress = new (shared) ToolProgress;
  const pid_t child = StartChild([&] {
    // The report of the failed assertion is expected, and nobody will look at the memory.
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    const struct rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    ReadWithTool(name, expected, *progress);
  });
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  const bool aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
  EXPECT_TRUE(aborted || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
  EXPECT_EQ(aborted, progress->end == ToolProgress::ABORTED);
  const ToolProgress result = *progress;
  munmap(shared, sizeof(ToolProgress));
  return result;
}

// The trace tool reads a payload before it looks at type and length, so what it takes for a cut
// record may be one that is malformed besides.
void ExpectSameEnd(ToolProgress::End end, const Fault& fault) {
  switch (end) {
    case ToolProgress::ENDED:
      EXPECT_FALSE(fault) << fault.Text();
      break;
    case ToolProgress::CUT:
      EXPECT_TRUE(fault.kind == Fault::CUT_RECORD || fault.kind == Fault::UNKNOWN_TYPE ||
                  fault.kind == Fault::WRONG_LENGTH)
          << FaultName(fault.kind);
      break;
    case ToolProgress::ABORTED:
      EXPECT_TRUE(fault.kind == Fault::UNKNOWN_TYPE || fault.kind == Fault::WRONG_LENGTH)
          << FaultName(fault.kind);
      break;
  }
}

void ExpectAgreement(const ToolProgress& tool, const ReadResult& result) {
  EXPECT_EQ(tool.records, result.events.size());
  EXPECT_EQ(tool.firstDifference, tool.records) << "the first record that is not the same";
  EXPECT_EQ(tool.offset, result.offset);
  ExpectSameEnd(tool.end, result.fault);
  if (result.fault) {
    EXPECT_EQ(result.fault.record, tool.records);
    EXPECT_EQ(result.fault.offset, tool.offset);
  }
}

// Returns how the trace tool ended.
ToolProgress::End ExpectAllReadersAgree(const std::string& name) {
  const ReadResult blocks = ReadByBlocks(name);
  const ToolProgress tool = ReadWithToolInChild(name, blocks.events);
  {
    SCOPED_TRACE("by blocks");
    ExpectAgreement(tool, blocks);
  }
  SCOPED_TRACE("mapped");
  const ReadResult mapped = ReadMapped(name);
  ExpectAgreement(tool, mapped);
  EXPECT_TRUE(Encode(mapped.events) == Encode(blocks.events));
  return tool.end;
}

class TraceToolTest : public ::testing::Test {
 protected:
  void ExpectWholeTraceIsReadAlike(const std::string& name) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ExpectAllReadersAgree(name), ToolProgress::ENDED);
    EXPECT_GT(std::filesystem::file_size(name), 0U);
  }

  ToolProgress::End ExpectBytesAreReadAlike(const std::string& bytes) {
    WriteFile(Trace(), bytes);
    return ExpectAllReadersAgree(Trace());
  }

  std::string Trace() const { return folder.File("t.trace"); }

  TempDir folder;
};

// One record of each type, the last one with all bits set.
std::vector<Event> EveryType() {
  return {{FIRE_RECORD, 5, 1, {7, 2}, {}},
          {SEND_RECORD, 6, 2, {1, 2}, {3, 4}},
          {SWITCH_RECORD, 6, 3, {4, 12}, {}},
          {SEND_RECORD, ~uint64_t{0}, ~0U, {~0U, ~0U}, {~0U, ~0U}}};
}

void PutWord(std::string& bytes, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) {
    bytes[at + static_cast<size_t>(i)] = static_cast<char>(value >> (24 - 8 * i) & 0xFF);
  }
}

TEST_F(TraceToolTest, SynthesizedTracesAreReadAlike) {
  for (const SynthOptions::Mode mode : {SynthOptions::PROGRAMS, SynthOptions::RANDOM}) {
    for (const ArrayShape& shape : {ArrayShape{}, ArrayShape{3, 1, 5}, ArrayShape{16, 4, 4}}) {
      SynthOptions options;
      options.mode = mode;
      options.shape = shape;
      options.records = 20000;
      options.seed = 7 + shape.clusters.columns;
      Writer writer;
      ASSERT_FALSE(writer.Open(Trace()));
      ASSERT_TRUE(Synthesize(options, writer, nullptr));
      ASSERT_FALSE(writer.Close());
      ExpectWholeTraceIsReadAlike(Trace());
    }
  }
}

TEST_F(TraceToolTest, TracesOfTheSimulatorAreReadAlike) {
  for (const std::string program : {"matmul", "spmv", "fft", "sort", "stencil", "reduce"}) {
    const CommandResult run =
        RunCommand({MARROWFIN_SIM, "-program", program, "-size", "4", "-outFilename", Trace()});
    ASSERT_EQ(run.exitStatus, 0) << run.out << run.err;
    ExpectWholeTraceIsReadAlike(Trace());
  }
}

#ifdef SYSTOLIC_MATMUL
TEST_F(TraceToolTest, TraceOfTheExampleIsReadAlike) {
  const CommandResult run = RunCommand({SYSTOLIC_MATMUL, "-.*rows", "8", "-.*inner", "8",
                                        "-.*columns", "8", "-.*outFilename", Trace()});
  ASSERT_EQ(run.exitStatus, 0) << run.out << run.err;
  ExpectWholeTraceIsReadAlike(Trace());
}
#endif

#ifdef MARROWFIN_TRACE
// Captures of real hardware, from the folder that MARROWFIN_CAPTURES names.
TEST_F(TraceToolTest, ImportedCapturesAreReadAlike) {
  const char* const captures = std::getenv("MARROWFIN_CAPTURES");
  if (captures == nullptr || *captures == '\0') {
    GTEST_SKIP() << "captures: not given (set MARROWFIN_CAPTURES)";
  }
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(captures + std::string("/tt-npe"))) {
    if (entry.path().extension() == ".json") {
      SCOPED_TRACE(entry.path());
      const CommandResult run = RunCommand(
          {MARROWFIN_TRACE, "import", "--format", "tt-npe", entry.path(), "-o", Trace()});
      ASSERT_EQ(run.exitStatus, 0) << run.err;
      ExpectWholeTraceIsReadAlike(Trace());
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}
#endif

TEST_F(TraceToolTest, RecordsWithValuesOfAllSizesAreReadAlike) {
  std::mt19937 random(1);
  std::vector<Event> events = RandomEvents(random, {.records = 5000});
  for (Event& event : events) {
    event.cycle = (uint64_t{random()} << 32 | random()) >> random() % 64;
    event.thread = static_cast<uint32_t>(random()) >> random() % 32;
    event.at = {static_cast<uint32_t>(random()) >> random() % 32,
                static_cast<uint32_t>(random()) >> random() % 32};
    if (event.type == SEND_RECORD) {
      event.to = {static_cast<uint32_t>(random()) >> random() % 32,
                  static_cast<uint32_t>(random()) >> random() % 32};
    }
  }
  EXPECT_EQ(ExpectBytesAreReadAlike(Encode(events)), ToolProgress::ENDED);
}

TEST_F(TraceToolTest, TraceThatIsCutAtAnyByteEndsForAllAlike) {
  const std::string bytes = Encode(EveryType());
  int whole = 0;
  for (size_t size = 1; size <= bytes.size(); ++size) {
    SCOPED_TRACE(size);
    whole += ExpectBytesAreReadAlike(bytes.substr(0, size)) == ToolProgress::ENDED;
  }
  EXPECT_EQ(whole, 4);
}

TEST_F(TraceToolTest, UnknownTypeEndsTheReadingForAllAlikeWhereverItStands) {
  const std::vector<Event> events = EveryType();
  const std::string bytes = Encode(events);
  size_t at = 0;
  for (const Event& event : events) {
    for (const uint32_t type : {0U, 1U, 5U, 0x00000300U, 0x02000000U, 0x80000003U, ~0U}) {
      SCOPED_TRACE(::testing::Message() << "type " << type << " at byte " << at);
      std::string broken = bytes;
      PutWord(broken, at + TYPE_OFFSET, type);
      EXPECT_EQ(ExpectBytesAreReadAlike(broken), ToolProgress::ABORTED);
    }
    at += RecordSize(event.type);
  }
}

// A length up to the end of the trace is read and refused, a longer one counts as cut.
TEST_F(TraceToolTest, WrongPayloadLengthEndsTheReadingForAllAlikeWhereverItStands) {
  const std::vector<Event> events = EveryType();
  const std::string bytes = Encode(events);
  size_t at = 0;
  for (const Event& event : events) {
    const size_t left = bytes.size() - at - PAYLOAD_OFFSET;
    for (const size_t length : {size_t{0}, size_t{1}, size_t{7}, size_t{9}, size_t{12}, size_t{15},
                                size_t{17}, left, left + 1, size_t{1} << 20}) {
      SCOPED_TRACE(::testing::Message() << "length " << length << " at byte " << at);
      if (length == PayloadSize(event.type)) {
        continue;
      }
      std::string broken = bytes;
      PutWord(broken, at + LENGTH_OFFSET, static_cast<uint32_t>(length));
      EXPECT_EQ(ExpectBytesAreReadAlike(broken),
                length <= left ? ToolProgress::ABORTED : ToolProgress::CUT);
    }
    at += RecordSize(event.type);
  }
}

// A type that takes another's length is as wrong as a length that is no type's.
TEST_F(TraceToolTest, TypesWithTheLengthOfAnotherEndTheReadingForAllAlike) {
  const std::string after = Encode(EveryType());
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    std::string broken = Encode({{type, 1, 2, {3, 4}, {5, 6}}});
    PutWord(broken, LENGTH_OFFSET, type == SEND_RECORD ? 8 : 16);
    EXPECT_EQ(ExpectBytesAreReadAlike(broken + after), ToolProgress::ABORTED) << type;
  }
}

// One of the ways in which traces break, at any place.
void Break(std::mt19937& random, std::string& bytes) {
  const size_t at = random() % bytes.size();
  switch (random() % 5) {
    case 0:
      bytes.resize(at + 1);
      break;
    case 1:
      bytes[at] = static_cast<char>(random());
      break;
    case 2:
      bytes[at] = static_cast<char>(bytes[at] ^ 1 << random() % 8);
      break;
    case 3:
      bytes.erase(at, 1 + random() % 40);
      break;
    default:
      bytes.insert(at, std::string(1 + random() % 40, static_cast<char>(random() % 6)));
      break;
  }
}

TEST_F(TraceToolTest, RandomlyBrokenTracesBreakForAllAtTheSameRecordAndByte) {
  std::mt19937 random(2);
  int ends[] = {0, 0, 0};
  for (int round = 0; round < 250; ++round) {
    SCOPED_TRACE(round);
    std::string bytes = Encode(RandomEvents(random, {.records = 1 + random() % 600}));
    for (unsigned left = 1 + random() % 2; left > 0 && !bytes.empty(); --left) {
      Break(random, bytes);
    }
    if (!bytes.empty()) {
      ++ends[ExpectBytesAreReadAlike(bytes)];
    }
  }
  EXPECT_GT(*std::min_element(std::begin(ends), std::end(ends)), 20) << "breaks of one kind only";
}

}  // namespace
}  // namespace marrowfin::testing
