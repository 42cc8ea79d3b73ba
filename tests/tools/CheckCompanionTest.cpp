// marrowfin-trace check of what stands beside a trace

#include "tests/tools/CommandFixture.h"
#include "trace/read/NotesFile.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::HasSubstr;

// A trace with a companion: 300 records, 20 samples.
class CheckCompanionTest : public CommandFixture {
 protected:
  void SetUp() override {
    Recorder recorder;
    ASSERT_FALSE(recorder.Open(Path()));
    const NumberNote packet = recorder.DeclareNumber("packet");
    const CounterHandle queue = recorder.DeclareCounter("queue", "flits");
    for (uint32_t i = 0; i < 300; ++i) {
      recorder.Send(i, 0, {i % 4, 0}, {0, i % 3});
      recorder.Note(packet, i * 7);
      if (i % 15 == 0) {
        recorder.Count(queue, {1, 1}, i, i);
      }
    }
    ASSERT_FALSE(recorder.Close());
  }

  std::string Path() const { return folder.File("t.trace"); }
  std::string Notes() const { return testing::ReadFile(Path() + ".notes"); }

  // Expects one fault, in the companion alone.
  void ExpectFault(const std::string& file, const std::string& kind, const std::string& reason) {
    const json told = RunForJson({"check", "t.trace"}, 1);
    EXPECT_EQ(0, told["faults"]);
    ASSERT_EQ(1, told["companion"]["faults"]) << told;
    const json& fault = told["companion"]["shown"][0];
    EXPECT_EQ(file, fault["file"]);
    EXPECT_EQ(kind, fault["kind"]);
    EXPECT_THAT(fault["reason"].get<std::string>(), HasSubstr(reason));
    const CommandResult result = Run({"check", "t.trace"});
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_THAT(result.out, HasSubstr("t.trace: 300 records, nothing wrong\n" + file + ": "));
    EXPECT_EQ("marrowfin-trace: t.trace: 1 fault in its companion\n", result.err);
  }
};

TEST_F(CheckCompanionTest, ACompanionOfThisTraceHasNothingWrongHoweverTheTraceIsRead) {
  const auto lines = [](const std::string& name) {
    return name + ": 300 records, nothing wrong\n" + name + ".about: nothing wrong\n" + name +
           ".notes: notes of 300 records, 20 samples, nothing wrong\n";
  };
  ExpectOutput(lines("t.trace"), Run({"check", "t.trace"}));
  ASSERT_EQ(0, Shell("zstd -qf t.trace && mv t.trace.notes t.trace.zst.notes && "
                     "mv t.trace.about t.trace.zst.about")
                   .exitStatus);
  ExpectOutput(lines("t.trace.zst"), Run({"check", "t.trace.zst"}));
  EXPECT_EQ(json({{"about", true},
                  {"notes", true},
                  {"notedRecords", 300},
                  {"samples", 20},
                  {"faults", 0},
                  {"shown", json::array()}}),
            RunForJson({"check", "t.trace.zst"}, 0)["companion"]);
  ExpectOutput("t.trace: 300 records, nothing wrong\n", Run({"check", "t.trace"}));
  EXPECT_FALSE(RunForJson({"check", "t.trace"}, 0).contains("companion"));
}

TEST_F(CheckCompanionTest, EveryDamagedBlockOfNotesIsNamedWithItsByte) {
  const std::string notes = Notes();
  const Result<std::unique_ptr<NotesFile>> file = NotesFile::Open(Path() + ".notes");
  ASSERT_TRUE(file);
  ASSERT_GE((*file)->Blocks().size(), 3U);
  for (const NotesEntry& entry : (*file)->Blocks()) {
    std::string damaged = notes;
    damaged[entry.offset + NOTES_BLOCK_HEAD + 3] ^= 4;
    testing::WriteFile(Path() + ".notes", damaged);
    ExpectFault("t.trace.notes", "damaged-notes",
                "checksum of a block is wrong (block at byte " + std::to_string(entry.offset));
  }
}

TEST_F(CheckCompanionTest, NotesThatAreCutAreTold) {
  const std::string notes = Notes();
  testing::WriteFile(Path() + ".notes", notes.substr(0, notes.size() - 1));
  ExpectFault("t.trace.notes", "cut-notes", "the notes end within a block");
}

TEST_F(CheckCompanionTest, ACompanionOfAnotherTraceIsTold) {
  std::string bytes = testing::ReadFile(Path());
  bytes[200 * 36 + 15] ^=
      1;  // a thread, behind the records by which the about file knows its trace
  testing::WriteFile(Path(), bytes);
  ExpectFault("t.trace.notes", "other-trace", "notes of another trace");
  std::filesystem::remove(Path() + ".notes");
  bytes[15] ^= 1;
  testing::WriteFile(Path(), bytes);
  ExpectFault("t.trace.about", "other-trace", "about another trace");
}

TEST_F(CheckCompanionTest, NotesOfRecordsThatTheTraceLacksAreTold) {
  const std::string bytes = testing::ReadFile(Path());
  testing::WriteFile(Path(), bytes.substr(0, 299 * 36));
  const json told = RunForJson({"check", "t.trace"}, 1);
  EXPECT_EQ("other-trace", told["companion"]["shown"][0]["kind"]);
  EXPECT_THAT(told["companion"]["shown"][0]["reason"].get<std::string>(),
              HasSubstr("records that the trace does not have"));
}

TEST_F(CheckCompanionTest, AnAboutFileThatCannotBeReadIsNamedWithItsLine) {
  testing::WriteFile(Path() + ".about", "format = 1\nname = 3\n");
  ExpectFault("t.trace.about", "damaged-notes", "line 2: ");
}

TEST_F(CheckCompanionTest, SamplesThatGoBackInTimeAreTold) {
  testing::WriteFile(Path() + ".notes", "");
  MemorySink sink;
  NotesWriter writer(sink);
  const uint32_t queue = writer.Counter("queue");
  for (const uint64_t cycle : {5, 9, 8}) {
    writer.Sample({cycle, queue, {1, cycle == 9 ? 2U : 1U}, 1});
  }
  ASSERT_FALSE(writer.Flush());
  std::string bytes(sink.Bytes().begin(), sink.Bytes().end());
  testing::WriteFile(Path() + ".notes", bytes);
  EXPECT_EQ(3, RunForJson({"check", "t.trace"}, 0)["companion"]["samples"]);
  writer.Sample({7, queue, {1, 1}, 1});
  ASSERT_FALSE(writer.Close());
  bytes.assign(sink.Bytes().begin(), sink.Bytes().end());
  testing::WriteFile(Path() + ".notes", bytes);
  ExpectFault("t.trace.notes", "damaged-notes", "earlier cycle");
}

TEST_F(CheckCompanionTest, FaultsOfTraceAndCompanionAreCountedApart) {
  testing::WriteFile(Path(), testing::TraceBytes("fire 5 0 0 0\nfire 4 0 0 0\n"));
  const CommandResult result = Run({"check", "t.trace"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("marrowfin-trace: t.trace: 1 fault in or behind 2 records, 2 faults in its companion\n",
            result.err);
}

TEST_F(CheckCompanionTest, TheCompanionOfAnImportIsRight) {
  testing::WriteFile(folder.File("c.json"),
                     R"([{"proc":"B","sx":1,"sy":2,"timestamp":9,"type":"WRITE_FLUSH"}])");
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", "c.json", "-o", "c.trace"}).exitStatus);
  ExpectOutput(
      "c.trace: 3 records, nothing wrong\nc.trace.about: nothing wrong\n"
      "c.trace.notes: notes of 3 records, 0 samples, nothing wrong\n",
      Run({"check", "c.trace"}));
}

}  // namespace
}  // namespace marrowfin
