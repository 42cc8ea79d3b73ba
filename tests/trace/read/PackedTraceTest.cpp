#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/ByteSource.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Packing.h"
#include "trace/read/Reader.h"
#include "trace/read/Unpack.h"
#include "trace/read/UnpackedTrace.h"

namespace marrowfin::testing {
namespace {

std::string Packed(const std::string& program, const std::string& bytes) {
  const CommandResult result = RunCommand({program, "-q", "-c"}, {bytes, "", {}});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  return result.out;
}

std::string Gzip(const std::string& bytes) { return Packed("gzip", bytes); }
std::string Zstd(const std::string& bytes) { return Packed("zstd", bytes); }

// A frame of zstd's format that holds no data; `kind` is one of 0 to 15.
std::string Skippable(int kind, size_t size) {
  std::string frame = {static_cast<char>(0x50 + kind), 0x2a, 0x4d, 0x18};
  for (int shift = 0; shift < 32; shift += 8) {
    frame += static_cast<char>(size >> shift & 0xFF);
  }
  return frame + std::string(size, 'x');
}

struct Unpacked {
  std::string bytes;
  Fault fault;
};

class PackedTraceTest : public ::testing::Test {
 protected:
  PackedTraceTest() {
    std::mt19937 random(1);
    trace = Encode(RandomEvents(random, {.records = 500}));
  }

  Unpacked Unpack(const std::string& packed) {
    WriteFile(folder.File("t"), packed);
    Unpacked unpacked;
    const auto source = OpenInput(folder.File("t"));
    std::vector<uint8_t> block(1000);
    Result<size_t> got = source->Read(block.data(), block.size());
    for (; got && *got > 0; got = source->Read(block.data(), block.size())) {
      unpacked.bytes.append(block.begin(), block.begin() + static_cast<ptrdiff_t>(*got));
    }
    unpacked.fault = got.Why();
    return unpacked;
  }

  void ExpectUnpacks(const std::string& packed, const std::string& bytes) {
    const Unpacked unpacked = Unpack(packed);
    EXPECT_FALSE(unpacked.fault) << unpacked.fault.Text();
    EXPECT_TRUE(unpacked.bytes == bytes);
  }

  // All of the trace, and then the fault.
  void ExpectFaultBehindAll(const std::string& packed, const std::string& reason) {
    const Unpacked unpacked = Unpack(packed);
    EXPECT_EQ(unpacked.fault.kind, Fault::DAMAGED_INPUT);
    EXPECT_EQ(unpacked.fault.reason, reason);
    EXPECT_EQ(unpacked.fault.file, folder.File("t"));
    EXPECT_TRUE(unpacked.bytes == trace);
  }

  std::string trace;
  TempDir folder;
};

TEST_F(PackedTraceTest, MembersAndFramesMayBeginInsideRecords) {
  for (const auto& pack : {Gzip, Zstd}) {
    for (const size_t portion : {size_t{777}, size_t{5000}, trace.size()}) {
      std::string packed;
      for (size_t at = 0; at < trace.size(); at += portion) {
        packed += pack(trace.substr(at, portion));
      }
      ExpectUnpacks(packed, trace);
      ExpectUnpacks(pack("") + packed + pack(""), trace);
    }
  }
}

TEST_F(PackedTraceTest, NoMemberAndNoFrameIsAnEmptyTrace) {
  ExpectUnpacks(Gzip(""), "");
  ExpectUnpacks(Zstd(""), "");
  ExpectUnpacks(Skippable(0, 4), "");
}

TEST_F(PackedTraceTest, WhatWasPackedByManyThreadsUnpacks) {
  std::mt19937 random(2);
  const std::string bytes = Encode(RandomEvents(random, {.records = 150000}));
  WriteFile(folder.File("large"), bytes);
  const CommandResult result = RunCommand({"pzstd", "-q", "-p", "2", "-1", folder.File("large")});
  ASSERT_EQ(result.exitStatus, 0) << result.err;
  const std::string packed = ReadFile(folder.File("large.zst"));
  ASSERT_EQ(packed.substr(0, 4), Skippable(0, 0).substr(0, 4)) << "nothing that is new here";
  ExpectUnpacks(packed, bytes);
}

TEST_F(PackedTraceTest, SkippableFramesArePassedOverWhereverTheyStand) {
  const std::string first = Zstd(trace.substr(0, 5001));
  const std::string second = Zstd(trace.substr(5001));
  for (int kind = 0; kind < 16; ++kind) {
    for (const size_t size : {size_t{0}, size_t{4}, size_t{600000}}) {
      const std::string frame = Skippable(kind, size);
      ExpectUnpacks(frame + first + second, trace);
      ExpectUnpacks(first + frame + frame + second, trace);
      ExpectUnpacks(first + second + frame, trace);
    }
  }
}

TEST_F(PackedTraceTest, StartsThatOnlyLookLikeSkippableFramesAreNone) {
  for (size_t at = 0; at < 4; ++at) {
    std::string frame = Skippable(3, 4);
    frame[at] = static_cast<char>(frame[at] ^ 0x40);
    const auto* bytes = reinterpret_cast<const uint8_t*>(frame.data());
    EXPECT_EQ(PackingOf(bytes, 4), Packing::NONE) << at;
  }
  const std::string frame = Skippable(3, 4);
  const auto* bytes = reinterpret_cast<const uint8_t*>(frame.data());
  EXPECT_EQ(PackingOf(bytes, 4), Packing::ZSTD);
  EXPECT_EQ(PackingOf(bytes, 3), Packing::NONE);
}

TEST_F(PackedTraceTest, ZerosBehindTheLastMemberArePadding) {
  const std::string packed = Gzip(trace.substr(0, 999)) + Gzip(trace.substr(999));
  for (const size_t zeros : {1U, 2U, 511U, 600000U}) {
    const std::string padded = packed + std::string(zeros, '\0');
    WriteFile(folder.File("t.gz"), padded);
    EXPECT_EQ(RunCommand({"gzip", "-t", folder.File("t.gz")}).exitStatus, 0);
    ExpectUnpacks(padded, trace);
  }
}

TEST_F(PackedTraceTest, AnythingElseBehindTheLastMemberIsAFault) {
  const std::string packed = Gzip(trace);
  const std::string reason = "gzip: something that is no gzip data follows the packed data";
  ExpectFaultBehindAll(packed + "x", reason);
  ExpectFaultBehindAll(packed + std::string(7, '\0') + "x", reason);
  ExpectFaultBehindAll(packed + std::string(600000, '\0') + "x", reason);
  ExpectFaultBehindAll(packed + std::string(1, '\0') + packed, reason);
  ExpectFaultBehindAll(packed + Zstd(trace), reason);
  ExpectFaultBehindAll(packed + trace.substr(3), reason);
  ExpectFaultBehindAll(packed + "\x1fxxxxxxxxxxxx", "gzip: incorrect header check");
}

TEST_F(PackedTraceTest, AnythingElseBehindTheLastFrameIsAFault) {
  const std::string packed = Zstd(trace);
  const std::string reason = "zstd: something that is no zstd data follows the packed data";
  ExpectFaultBehindAll(packed + "xxxxxxxxxxxxxxxx", reason);
  ExpectFaultBehindAll(packed + std::string(16, '\0'), reason);
  ExpectFaultBehindAll(packed + Gzip(trace), reason);
  ExpectFaultBehindAll(packed + Skippable(0, 4) + trace, reason);
}

// Where a member or frame ends, or a skippable frame does, nothing is missing.
TEST_F(PackedTraceTest, PackedTraceThatIsCutAtAnyByteIsAFaultButBetweenMembersAndFrames) {
  const std::string first = trace.substr(0, 280);
  const std::string second = trace.substr(280, 300);
  const std::vector<std::vector<std::string>> inputs = {
      {Gzip(first), Gzip(second)}, {Skippable(0, 4), Zstd(first), Skippable(15, 7), Zstd(second)}};
  for (const std::vector<std::string>& parts : inputs) {
    std::string packed;
    std::vector<size_t> ends;
    for (const std::string& part : parts) {
      packed += part;
      ends.push_back(packed.size());
    }
    for (size_t size = PACKED_START; size < packed.size(); ++size) {
      const Unpacked unpacked = Unpack(packed.substr(0, size));
      const bool isEnd = std::count(ends.begin(), ends.end(), size) > 0;
      EXPECT_EQ(unpacked.fault.kind, isEnd ? Fault::NONE : Fault::DAMAGED_INPUT) << size;
      EXPECT_EQ(unpacked.fault.reason, isEnd ? "" : "the packed data ends early") << size;
      EXPECT_TRUE((first + second).starts_with(unpacked.bytes)) << size;
    }
  }
}

std::string AllOf(const TraceSource& trace) {
  std::string bytes(trace.Size(), '\0');
  EXPECT_TRUE(IsFine(trace.Copy(0, bytes.size(), reinterpret_cast<uint8_t*>(bytes.data()))));
  return bytes;
}

TEST_F(PackedTraceTest, ATraceThatIsUnpackedIntoAFileCanBeReadAnywhere) {
  for (const auto& pack : {Gzip, Zstd}) {
    WriteFile(folder.File("t"), pack(trace));
    uint64_t told = 0;
    const Result<UnpackedTrace> opened =
        OpenUnpacked(folder.File("t"), [&](const Progress& now) { return (told = now.done) > 0; });
    ASSERT_TRUE(IsFine(opened.Why()));
    EXPECT_TRUE(opened->packed);
    EXPECT_TRUE(AllOf(*opened->trace) == trace);
    EXPECT_EQ(opened->trace->Name(), folder.File("t"));
    EXPECT_EQ(told, pack(trace).size());
  }
  WriteFile(folder.File("t"), trace);
  const Result<UnpackedTrace> opened = OpenUnpacked(folder.File("t"));
  ASSERT_TRUE(IsFine(opened.Why()));
  EXPECT_FALSE(opened->packed);
  EXPECT_TRUE(AllOf(*opened->trace) == trace);
}

TEST_F(PackedTraceTest, WhatDoesNotUnpackIntoAFileIsAFault) {
  const std::string packed = Gzip(trace);
  WriteFile(folder.File("t"), packed.substr(0, packed.size() / 2));
  EXPECT_EQ(OpenUnpacked(folder.File("t")).Why().kind, Fault::DAMAGED_INPUT);
  WriteFile(folder.File("t"), packed);
  const Fault stopped = OpenUnpacked(folder.File("t"), [](const Progress&) { return false; }).Why();
  EXPECT_EQ(stopped.kind, Fault::CANCELLED);
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  EXPECT_EQ(OpenUnpacked(folder.File("pipe")).Why().reason,
            "a pipe or device cannot be read out of order");
  setenv("TMPDIR", folder.File("none").c_str(), 1);
  const Fault nowhere = OpenUnpacked(folder.File("t")).Why();
  unsetenv("TMPDIR");
  EXPECT_EQ(nowhere.file, folder.File("none"));
  EXPECT_EQ(nowhere.remedy, "set TMPDIR to a folder that can be written");
}

}  // namespace
}  // namespace marrowfin::testing
