// The trace tool of the common library against the readers of the trace engine. It takes a record
// at a time, by five system calls, and ends the process at a malformed one: what it delivers, and
// where it stops, is the reference.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/trace/read/ToolAgreement.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/write/Synth.h"

namespace marrowfin::testing {
namespace {

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
      ASSERT_FALSE(Synthesize(options, writer));
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
