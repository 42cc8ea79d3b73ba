// Memory that runs out anywhere in a run of the program.

#include "tests/support/ScarceMemory.h"

#include <csignal>

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

using testing::CommandResult;

constexpr char complaint[] =
    "marrowfin-trace: out of memory\n  Use a smaller input or a larger machine.\n";

class ScarceMemoryTest : public CommandFixture {
 protected:
  // Of some thousand allocations, all over the run.
  static constexpr int PLACES = 25;

  // Whatever the first allocation that fails, the program says so and leaves nothing half written.
  void ExpectCleanEnds(const std::vector<std::string>& words) const {
    int failed = 0;
    const auto check = [&](const CommandResult& result, const std::string& what) {
      SCOPED_TRACE(words[0] + " " + what);
      EXPECT_EQ(0, result.signal);
      if (result.exitStatus != 0) {
        ++failed;
        EXPECT_EQ(3, result.exitStatus);
        EXPECT_EQ(complaint, result.err);
      }
      EXPECT_FALSE(HasFileLike(".mfpart-"));
      std::filesystem::remove(folder.File("long.trace.mfindex"));
      std::filesystem::remove(folder.File("made"));
    };
    testing::RunWithScarceMemory(Words(words), {"", folder.Path(), {}}, PLACES, check);
    EXPECT_TRUE(!testing::MEMORY_CAN_BE_SCARCE || failed > PLACES) << failed;
  }
};

TEST_F(ScarceMemoryTest, InfoEndsCleanly) {
  LongTrace(10000);
  ExpectCleanEnds({"info", "long.trace", "--json"});
}

TEST_F(ScarceMemoryTest, UnpackingEndsCleanly) {
  LongTrace(10000);
  ASSERT_EQ(0, Shell("gzip -k long.trace && zstd -q long.trace").exitStatus);
  ExpectCleanEnds({"check", "long.trace.gz"});
  ExpectCleanEnds({"info", "long.trace.zst"});
}

TEST_F(ScarceMemoryTest, IndexEndsCleanly) {
  LongTrace(110000);
  ExpectCleanEnds({"index", "long.trace"});
  ExpectCleanEnds({"index", "long.trace", "-o", "made"});
}

TEST_F(ScarceMemoryTest, StateEndsCleanly) {
  LongTrace(110000);
  ExpectCleanEnds({"state", "long.trace", "--step", "99", "--json"});
}

TEST_F(ScarceMemoryTest, EventsEndCleanly) {
  LongTrace(110000);
  ExpectCleanEnds({"events", "long.trace", "--region", "0,0:3,3", "--count"});
  ExpectCleanEnds({"events", "long.trace", "--limit", "5", "--format", "jsonl", "-o", "made"});
}

TEST_F(ScarceMemoryTest, WhatMakesTracesOfTracesEndsCleanly) {
  LongTrace(30000);
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"cut", "long.trace", "--threads", "1-2"},
                                             {"head", "long.trace", "-n", "100"},
                                             {"tail", "long.trace", "-n", "100"},
                                             {"shift", "long.trace", "--later", "1"},
                                             {"sort", "long.trace", "--memory", "16M"},
                                             {"merge", "long.trace", "long.trace"}}) {
    std::vector<std::string> line = words;
    line.insert(line.end(), {"-o", "made", "--force"});
    ExpectCleanEnds(line);
  }
}

TEST_F(ScarceMemoryTest, ExportsEndCleanly) {
  LongTrace(110000);
  for (const char* const format : {"csv", "perfetto", "sqlite"}) {
    ExpectCleanEnds(
        {"export", "long.trace", "-o", "made", "--format", format, "--records", "0:99"});
  }
}

TEST_F(ScarceMemoryTest, QueriesEndCleanly) {
  LongTrace(110000);
  ExpectCleanEnds({"query", "long.trace", "select col, count(*) from fires group by 1"});
  ExpectCleanEnds({"query", "long.trace", "select * from sends limit 5", "--json", "-o", "made"});
}

TEST_F(ScarceMemoryTest, StatsEndCleanly) {
  LongTrace(110000);
  ExpectCleanEnds({"stats", "long.trace", "--json"});
}

// Where its last pieces are drawn, Cairo, pixman and libpng use what they were refused: of a
// thousand runs some four end by a segmentation fault within them. The program itself, its fonts
// and its own pieces do not.
TEST_F(ScarceMemoryTest, PlotsEndCleanlyButForWhatDrawingLibrariesDo) {
  LongTrace(110000);
  ASSERT_EQ(0, Run({"index", "long.trace"}).exitStatus);
  int runs = 0;
  int failed = 0;
  int crashed = 0;
  for (const char* kind : {"heat", "timeline"}) {
    testing::RunWithScarceMemory(
        Words({"plot", kind, "long.trace", "-o", "made.png", "--force"}), {"", folder.Path(), {}},
        50, [&](const CommandResult& result, const std::string& what) {
          ++runs;
          crashed += result.signal == SIGSEGV;
          if (result.signal == 0 && result.exitStatus != 0) {
            ++failed;
            EXPECT_EQ(3, result.exitStatus) << what;
            EXPECT_THAT(result.err, ::testing::HasSubstr("out of memory\n")) << what;
            EXPECT_FALSE(HasFileLike(".mfpart-")) << what;
          }
        });
  }
  EXPECT_EQ(runs > 0, testing::MEMORY_CAN_BE_SCARCE);
  EXPECT_TRUE(!testing::MEMORY_CAN_BE_SCARCE || failed > 100) << failed;
  EXPECT_LE(crashed, 3) << "of " << runs;
}

TEST_F(ScarceMemoryTest, NotesEndCleanly) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, folder.File("long.trace").c_str());
  marrowfin_trace_companion(&trace);
  const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NUMBER, "");
  for (uint32_t i = 0; i < 10000; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, i % 4);
    marrowfin_trace_note(&trace, kind, i % 4);
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  ExpectCleanEnds({"notes", "long.trace", "--bins", "9", "--format", "json"});
}

TEST_F(ScarceMemoryTest, ExpectEndsCleanly) {
  LongTrace(110000);
  testing::WriteFile(folder.File("rules.toml"),
                     "[[rule]]\nname = \"a\"\nmeasure = \"*\"\nabove = -1\n"
                     "[[rule]]\nname = \"b\"\nmeasure = \"element.peak\"\nat_most = 1000000\n");
  ExpectCleanEnds({"expect", "rules.toml", "long.trace", "--junit", "made"});
}

TEST_F(ScarceMemoryTest, SynthEndsCleanly) {
  ExpectCleanEnds({"synth", "-o", "made", "--records", "10000"});
}

TEST_F(ScarceMemoryTest, PackingEndsCleanly) {
  LongTrace(70000);
  ExpectCleanEnds({"pack", "long.trace", "-o", "made"});
  ASSERT_EQ(0, Run({"pack", "long.trace", "-o", "long.mfz"}).exitStatus);
  ExpectCleanEnds({"unpack", "long.mfz", "-o", "made"});
  ExpectCleanEnds({"state", "long.mfz", "--step", "99", "--json"});
}

TEST_F(ScarceMemoryTest, ImportEndsCleanly) {
  testing::WriteFile(folder.File("in.json"), R"([{"proc":"BRISC","sx":1,"sy":2,"dx":2,"dy":2,)"
                                             R"("timestamp":10,"type":"WRITE_FLUSH"}])");
  ExpectCleanEnds({"import", "--format", "tt-npe", "in.json", "-o", "made", "--force", "--json"});
}

// The system refuses not only what is allocated but maps and threads as well.
#ifndef __SANITIZE_ADDRESS__
TEST_F(ScarceMemoryTest, ALimitOfAddressesEndsCleanly) {
  LongTrace(110000);
  int failed = 0;
  int limit = 2000;
  const auto run = [&](const std::string& words) {
    return Shell("ulimit -v " + std::to_string(limit) + "; exec \"$0\" " + words);
  };
  while (run("--version").exitStatus != 0 && limit < 1'000'000) {
    limit += 200;
  }
  for (const int end = limit + 12'000; limit < end; limit += 300) {
    const CommandResult result = run("state long.trace --step 99");
    EXPECT_EQ(0, result.signal) << limit;
    if (result.exitStatus != 0) {
      ++failed;
      EXPECT_EQ(3, result.exitStatus) << limit;
      EXPECT_EQ(complaint, result.err) << limit;
    }
    std::filesystem::remove(folder.File("long.trace.mfindex"));
  }
  EXPECT_GT(failed, 5);
}
#endif

}  // namespace
}  // namespace marrowfin
