#include "tests/trace/read/ToolAgreement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <new>
#include <vector>

#include "Core/VisTool.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Reader.h"
#include "trace/read/TraceSource.h"

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

}  // namespace

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

}  // namespace marrowfin::testing
