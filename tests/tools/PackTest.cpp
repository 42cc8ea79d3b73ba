// marrowfin-trace pack and unpack, and packed traces in place of others.

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::ReadFile;
using testing::WriteFile;

class PackTest : public CommandFixture {
 protected:
  // A trace with a companion.
  void Record(const std::string& name, uint32_t records = 100000) const {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, folder.File(name).c_str());
    marrowfin_trace_companion(&trace);
    marrowfin_trace_about(&trace, "name", "a run");
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NUMBER, "");
    for (uint32_t i = 0; i < records; ++i) {
      marrowfin_trace_fire(&trace, i / 4, i % 3, i % 16, i / 16 % 16);
      marrowfin_trace_note(&trace, packet, i % 77);
      marrowfin_trace_note(&trace, kind, i % 4);
    }
    ASSERT_EQ(0, marrowfin_trace_close(&trace));
  }

  std::string Bytes(const std::string& name) const { return ReadFile(folder.File(name)); }

  void Succeed(const std::vector<std::string>& words) const {
    const CommandResult result = Run(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
  }
};

TEST_F(PackTest, WhatIsUnpackedIsWhatWasPacked) {
  Record("run.trace");
  Succeed({"pack", "run.trace"});
  EXPECT_LT(fs::file_size(folder.File("run.mfz")), fs::file_size(folder.File("run.trace")) / 10);
  Succeed({"unpack", "run.mfz", "-o", "again"});
  EXPECT_TRUE(Bytes("again") == Bytes("run.trace"));
  EXPECT_TRUE(Bytes("again.notes") == Bytes("run.trace.notes"));
  EXPECT_EQ(Bytes("again.about"), Bytes("run.trace.about"));
}

TEST_F(PackTest, OneFileCarriesTheTraceItsIndexAndItsCompanion) {
  Record("run.trace");
  Succeed({"pack", "run.trace", "-o", "run.mfz"});
  fs::create_directory(folder.File("elsewhere"));
  fs::rename(folder.File("run.mfz"), folder.File("elsewhere/run.mfz"));
  Succeed({"state", "elsewhere/run.mfz", "--step", "1000"});
  Succeed({"notes", "elsewhere/run.mfz", "--by", "kind"});
  const nlohmann::json info = RunForJson({"info", "elsewhere/run.mfz"});
  EXPECT_EQ(info["companion"]["about"]["name"], "a run");
  EXPECT_EQ(info["records"], 100000);
  EXPECT_THAT(ContentsOf(folder.File("elsewhere")),
              ::testing::Not(::testing::Contains("run.mfz.mfindex")));
}

// All that is printed but for names of files.
TEST_F(PackTest, SubcommandsAnswerAsOfTheTraceItself) {
  Record("run.trace", 70000);
  fs::create_directory(folder.File("packed"));
  Succeed({"pack", "run.trace", "-o", "packed/run.trace"});
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"info", "run.trace"},
        {"check", "run.trace"},
        {"state", "run.trace", "--step", "4321"},
        {"state", "run.trace", "--cycle", "999", "--places"},
        {"events", "run.trace", "--cycles", "100:120"},
        {"events", "run.trace", "--last", "5"},
        {"events", "run.trace", "--thread", "2", "--count"},
        {"events", "run.trace", "--packet", "7", "--format", "csv"},
        {"stats", "run.trace", "--json"},
        {"notes", "run.trace"},
        {"why", "run.trace"}}) {
    SCOPED_TRACE(words[0]);
    const CommandResult plain = Run(words);
    std::vector<std::string> line = {MARROWFIN_TRACE};
    line.insert(line.end(), words.begin(), words.end());
    const CommandResult packed = testing::RunCommand(line, {"", folder.File("packed"), {}});
    EXPECT_EQ(0, packed.exitStatus) << packed.err;
    EXPECT_EQ(plain.err, packed.err);
    EXPECT_EQ(plain.out, packed.out);
  }
}

TEST_F(PackTest, PipesAreReadAndWritten) {
  Record("run.trace");
  EXPECT_EQ(0, Shell("\"$0\" pack - <run.trace >a.mfz && \"$0\" unpack - <a.mfz >again && "
                     "\"$0\" check - <a.mfz && gzip -c run.trace | \"$0\" pack - -o b.mfz")
                   .exitStatus);
  EXPECT_TRUE(Bytes("again") == Bytes("run.trace"));
  EXPECT_TRUE(Bytes("a.mfz") == Bytes("b.mfz"));
}

TEST_F(PackTest, AnyBytesComeBack) {
  Record("run.trace", 1000);
  WriteFile(folder.File("broken.trace"), Bytes("run.trace") + "what follows is no record");
  WriteFile(folder.File("empty.trace"), "");
  for (const std::string name : {"broken", "empty"}) {
    Succeed({"pack", name + ".trace"});
    Succeed({"unpack", name + ".mfz", "-o", name + ".again"});
    EXPECT_EQ(Bytes(name + ".trace"), Bytes(name + ".again"));
  }
}

TEST_F(PackTest, TheSameTraceGivesTheSameBytes) {
  LongTrace(200000);
  Succeed({"pack", "long.trace", "-o", "a.mfz"});
  Succeed({"pack", "long.trace", "-o", "b.mfz"});
  EXPECT_TRUE(Bytes("a.mfz") == Bytes("b.mfz"));
}

TEST_F(PackTest, WhatIsPackedAlreadyIsPackedAnew) {
  Record("run.trace");
  Succeed({"pack", "run.trace", "-o", "a.mfz"});
  Succeed({"pack", "a.mfz", "-o", "b.mfz"});
  EXPECT_TRUE(Bytes("a.mfz") == Bytes("b.mfz"));
}

TEST_F(PackTest, TheAccountTellsWhatWasPacked) {
  Record("run.trace", 1000);
  const nlohmann::json account = RunForJson({"pack", "run.trace"});
  EXPECT_EQ(account["records"], 1000);
  EXPECT_EQ(account["rawBytes"], 28000);
  EXPECT_EQ(account["bytes"], fs::file_size(folder.File("run.mfz")));
  EXPECT_EQ(account["output"], "run.mfz");
  EXPECT_EQ(account["notes"], true);
  const nlohmann::json bare =
      RunForJson({"pack", "run.trace", "-o", "bare.mfz", "--no-companion", "--no-index"});
  EXPECT_EQ(bare["notes"], false);
  EXPECT_EQ(bare["index"], false);
  EXPECT_LT(bare["bytes"], account["bytes"].get<uint64_t>());
  const nlohmann::json unpacked = RunForJson({"unpack", "run.mfz", "-o", "again"});
  EXPECT_EQ(unpacked["bytes"], 28000);
  EXPECT_EQ(unpacked["about"], true);
  EXPECT_EQ(unpacked["lostBlocks"], 0);
}

TEST_F(PackTest, WhatExistsIsReplacedOnlyWhenForced) {
  Record("run.trace", 1000);
  WriteFile(folder.File("run.mfz"), "mine");
  ExpectFailure(2,
                "run.mfz: exists already\n  Name another file, or replace this one with --force.\n",
                Run({"pack", "run.trace"}));
  EXPECT_EQ("mine", Bytes("run.mfz"));
  Succeed({"pack", "run.trace", "--force"});
  const CommandResult refused = Run({"unpack", "run.mfz"});
  EXPECT_EQ(2, refused.exitStatus);
  EXPECT_THAT(refused.err, HasSubstr("run.trace: exists already"));
  fs::remove(folder.File("run.trace"));
  EXPECT_THAT(Run({"unpack", "run.mfz"}).err, HasSubstr("run.trace.about: exists already"));
  Succeed({"unpack", "run.mfz", "--force"});
}

TEST_F(PackTest, TheInputIsNeverTheOutput) {
  Record("run.trace", 1000);
  fs::create_symlink(folder.File("run.trace"), folder.File("link"));
  for (const std::string output : {"run.trace", "link", "run.trace.notes", "run.trace.mfindex"}) {
    EXPECT_EQ(2, Run({"pack", "run.trace", "-o", output, "--force"}).exitStatus) << output;
  }
  Succeed({"pack", "run.trace"});
  EXPECT_EQ(2, Run({"unpack", "run.mfz", "-o", "run.mfz", "--force"}).exitStatus);
}

TEST_F(PackTest, TheCompanionOfATraceThatIsReplacedGoesWithIt) {
  Record("run.trace", 1000);
  Trace("fire 1 0 0 0\n", "bare");
  Succeed({"pack", "bare"});
  Succeed({"unpack", "bare.mfz", "-o", "run.trace", "--force"});
  EXPECT_FALSE(fs::exists(folder.File("run.trace.notes")));
  EXPECT_FALSE(fs::exists(folder.File("run.trace.about")));
}

TEST_F(PackTest, ACompanionThatIsThereIsNoLossWithoutForce) {
  LongTrace(1000);
  Succeed({"pack", "long.trace"});
  WriteFile(folder.File("again.about"), "format = 1\n");
  const CommandResult refused = Run({"unpack", "long.mfz", "-o", "again", "--no-companion"});
  EXPECT_EQ(2, refused.exitStatus) << refused.err;
  EXPECT_THAT(refused.err, HasSubstr("again.about"));
  EXPECT_EQ("format = 1\n", Bytes("again.about"));
  Succeed({"unpack", "long.mfz", "-o", "again", "--no-companion", "--force"});
  EXPECT_FALSE(fs::exists(folder.File("again.about"))) << "it was of another trace";
}

TEST_F(PackTest, WhatLiesBesideANewNameIsNoLossWithoutForce) {
  LongTrace(1000);
  for (const std::string there : {"new.mfz.about", "new.mfz.notes"}) {
    WriteFile(folder.File(there), "of old");
    for (std::vector<std::string> words :
         {std::vector<std::string>{"pack", "long.trace", "-o", "new.mfz"},
          {"cut", "long.trace", "-o", "new.mfz"},
          {"cut", "long.trace", "-o", "new.mfz", "--no-companion"}}) {
      SCOPED_TRACE(words[0] + " " + words.back() + " where " + there + " is");
      const CommandResult refused = Run(words);
      EXPECT_EQ(2, refused.exitStatus) << refused.err;
      EXPECT_THAT(refused.err, HasSubstr(there + ": exists already"));
      EXPECT_EQ("of old", Bytes(there));
      EXPECT_FALSE(fs::exists(folder.File("new.mfz")));
    }
    Succeed({"pack", "long.trace", "-o", "new.mfz", "--force"});
    EXPECT_FALSE(fs::exists(folder.File(there))) << "it was of another trace";
    fs::remove(folder.File("new.mfz"));
  }
}

TEST_F(PackTest, OnlyAFileWithBlocksIsSalvaged) {
  LongTrace(1000);
  Succeed({"pack", "long.trace"});
  for (const std::string& line : {std::string("\"$0\" unpack --salvage - -o again <long.mfz"),
                                  std::string("\"$0\" unpack --salvage long.trace -o again")}) {
    const CommandResult refused = Shell(line);
    EXPECT_EQ(2, refused.exitStatus) << line;
    EXPECT_THAT(refused.err, HasSubstr("--salvage looks for blocks"));
    EXPECT_FALSE(fs::exists(folder.File("again")));
  }
}

TEST_F(PackTest, ADamagedBlockIsNamedAndTheOthersAreSalvaged) {
  LongTrace(200000);
  Succeed({"pack", "long.trace"});
  std::string bytes = Bytes("long.mfz");
  bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
  WriteFile(folder.File("long.mfz"), bytes);
  const CommandResult refused = Run({"unpack", "long.mfz", "-o", "again"});
  EXPECT_EQ(1, refused.exitStatus);
  EXPECT_THAT(refused.err, HasSubstr("of the packed trace is damaged: records "));
  EXPECT_THAT(refused.err, HasSubstr("--salvage"));
  EXPECT_FALSE(fs::exists(folder.File("again")));
  const CommandResult salvaged = Run({"unpack", "long.mfz", "-o", "again", "--salvage"});
  EXPECT_EQ(1, salvaged.exitStatus);
  EXPECT_THAT(salvaged.err, HasSubstr("of the packed trace is damaged: records "));
  EXPECT_THAT(salvaged.err, HasSubstr("1 block is lost"));
  const uint64_t missing =
      fs::file_size(folder.File("long.trace")) - fs::file_size(folder.File("again"));
  EXPECT_GT(missing, 0U);
  EXPECT_LE(missing, 32768U * 36);
  EXPECT_EQ(1, Run({"check", "long.mfz"}).exitStatus);
}

TEST_F(PackTest, AQuestionThatNeedsNoDamagedBlockIsAnswered) {
  LongTrace(200000);
  Succeed({"pack", "long.trace"});
  const CommandResult before = Run({"events", "long.mfz", "--last", "5"});
  std::string bytes = Bytes("long.mfz");
  bytes[1000] = static_cast<char>(bytes[1000] ^ 1);
  WriteFile(folder.File("long.mfz"), bytes);
  const CommandResult after = Run({"events", "long.mfz", "--last", "5"});
  EXPECT_EQ(before.out, after.out);
}

TEST_F(PackTest, FactsAreToldOfTheRun) {
  Record("run.trace", 1000);
  Succeed({"pack", "run.trace", "--set", "name=another", "--set", "cycle_ns=1.5", "--set",
           "thread.2=answers", "--set", "place.3,4=memory"});
  Succeed({"pack", "run.mfz", "-o", "again.mfz", "--set", "tool=mine"});
  const nlohmann::json about = RunForJson({"info", "again.mfz"})["companion"]["about"];
  EXPECT_EQ(about["name"], "another");
  EXPECT_EQ(about["cycleNs"], 1.5);
  EXPECT_EQ(about["tool"], "mine");
  EXPECT_EQ(about["threadNames"][0]["name"], "answers");
  EXPECT_EQ(about["placeNames"][0]["name"], "memory");
}

TEST_F(PackTest, FactsAreToldOfATraceThatNothingWasToldOf) {
  LongTrace(1000);
  Succeed({"pack", "long.trace", "--set", "name=a = b"});
  EXPECT_EQ(RunForJson({"info", "long.mfz"})["companion"]["about"]["name"], "a = b");
  Succeed({"check", "long.mfz"});
}

TEST_F(PackTest, FactsThatAreNoneAreRefused) {
  Record("run.trace", 10);
  for (const std::string fact : {"name", "=x", "colour=red", "cycle_ns=0", "cycle_ns=1x",
                                 "thread.x=a", "place.1=a", "place.1,=a"}) {
    EXPECT_EQ(2, Run({"pack", "run.trace", "--set", fact}).exitStatus) << fact;
  }
  EXPECT_FALSE(HasFileLike(".mfz"));
}

TEST_F(PackTest, ATraceIsMadePackedByItsEndingOrWhereThatIsAskedFor) {
  const std::vector<std::string> how = {"--records", "50000", "--seed", "3", "-o"};
  const auto make = [&](std::vector<std::string> words) {
    words.insert(words.begin(), how.begin(), how.end());
    words.insert(words.begin(), "synth");
    Succeed(words);
  };
  make({"a.trace"});
  make({"a.mfz"});
  make({"b", "--pack"});
  EXPECT_TRUE(Bytes("a.mfz") == Bytes("b"));
  Succeed({"pack", "a.trace", "-o", "c.mfz"});
  EXPECT_TRUE(Bytes("a.mfz") == Bytes("c.mfz"));
}

TEST_F(PackTest, TracesThatAreMadeOfPackedOnesArePackedWithTheirCompanions) {
  Record("run.trace", 50000);
  Succeed({"pack", "run.trace"});
  fs::create_directory(folder.File("apart"));
  fs::rename(folder.File("run.mfz"), folder.File("apart/run.mfz"));
  Succeed({"cut", "run.trace", "--cycles", "100..5000", "-o", "part.trace"});
  Succeed({"cut", "apart/run.mfz", "--cycles", "100..5000", "-o", "part.mfz"});
  Succeed({"sort", "apart/run.mfz", "-o", "sorted", "--pack"});
  EXPECT_FALSE(fs::exists(folder.File("part.mfz.notes")));
  EXPECT_FALSE(fs::exists(folder.File("sorted.notes")));
  Succeed({"unpack", "part.mfz", "-o", "again"});
  EXPECT_TRUE(Bytes("again") == Bytes("part.trace"));
  EXPECT_TRUE(Bytes("again.notes") == Bytes("part.trace.notes"));
  EXPECT_EQ(Bytes("again.about"), Bytes("part.trace.about"));
  Succeed({"unpack", "sorted", "-o", "whole"});
  EXPECT_TRUE(Bytes("whole") == Bytes("run.trace"));
}

TEST_F(PackTest, NamesEndAsWhatTheyAre) {
  Record("a.trace", 10);
  ASSERT_EQ(0, Shell("gzip -k a.trace && cp a.trace b").exitStatus);
  EXPECT_EQ("a.mfz", RunForJson({"pack", "a.trace"})["output"]);
  EXPECT_EQ("a.mfz", RunForJson({"pack", "a.trace.gz", "--force"})["output"]);
  EXPECT_EQ("b.mfz", RunForJson({"pack", "b"})["output"]);
  EXPECT_EQ("b.trace", RunForJson({"unpack", "b.mfz"})["output"]);
  EXPECT_EQ("a.trace", RunForJson({"unpack", "a.trace.gz", "--force"})["output"]);
}

}  // namespace
}  // namespace marrowfin
