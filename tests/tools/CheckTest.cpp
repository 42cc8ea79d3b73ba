// marrowfin-trace check

#include <random>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/RunningProgram.h"
#include "tests/tools/SlowPipe.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::HasSubstr;
using testing::TraceBytes;

constexpr char inOrder[] = "write events in order of their cycles";
constexpr char notATrace[] =
    "check that this is a trace, written whole and without text in between";
constexpr char runToEnd[] = "run the simulator to its end, or use the records before it";
constexpr char otherArray[] =
    "give the counts of the array that wrote the trace (marrowfin-trace info shows them)";

json FaultJson(const std::string& kind, uint64_t record, uint64_t offset, const std::string& reason,
               const std::string& remedy) {
  return {{"kind", kind},
          {"record", record},
          {"offset", offset},
          {"reason", reason},
          {"remedy", remedy}};
}

// The line that stands for such a fault in the text.
std::string FaultLine(const std::string& name, const json& fault) {
  return name + ": record " + std::to_string(fault["record"].get<uint64_t>()) + " at byte " +
         std::to_string(fault["offset"].get<uint64_t>()) + ": " +
         fault["reason"].get<std::string>() + "; " + fault["remedy"].get<std::string>() + "\n";
}

class CheckTest : public CommandFixture {
 protected:
  // Expects that a check of `bytes` finds these faults and no others, as text and as JSON, in a
  // plain file, packed, and through a pipe.
  void ExpectFaults(const std::string& bytes, uint64_t records, const std::vector<json>& faults,
                    const std::vector<std::string>& flags = {}, uint64_t farEnds = 0) const {
    testing::WriteFile(folder.File("t.trace"), bytes);
    ASSERT_EQ(0, Shell("gzip -kf t.trace && zstd -qf t.trace").exitStatus);
    for (const std::string name : {"t.trace", "t.trace.gz", "t.trace.zst"}) {
      SCOPED_TRACE(name);
      ExpectTexts(Run(With(flags, {"check", name})), name, records, faults, farEnds);
      ExpectTexts(Shell("cat " + name + " | exec \"$0\" check /dev/stdin \"$@\"", flags),
                  "/dev/stdin", records, faults, farEnds);
      json told = RunForJson(With(flags, {"check", name}), faults.empty() ? 0 : 1);
      EXPECT_EQ(farEnds, told["farEnds"]);
      told.erase("farEnds");
      told.erase("firstFarEnd");
      EXPECT_EQ(json({{"trace", name},
                      {"records", records},
                      {"faults", faults.size()},
                      {"shown", faults}}),
                told);
    }
  }

  static std::vector<std::string> With(const std::vector<std::string>& flags,
                                       std::vector<std::string> words) {
    words.insert(words.end(), flags.begin(), flags.end());
    return words;
  }

  static void ExpectTexts(const CommandResult& result, const std::string& name, uint64_t records,
                          const std::vector<json>& faults, uint64_t farEnds) {
    std::string out;
    for (const json& fault : faults) {
      out += FaultLine(name, fault);
    }
    const std::string count = std::to_string(records) + (records == 1 ? " record" : " records");
    if (faults.empty()) {
      ExpectOutput(name + ": " + count + ", nothing wrong\n", result);
      return;
    }
    EXPECT_EQ(1, result.exitStatus);
    const std::string far =
        name + ": " + std::to_string(farEnds) +
        (farEnds == 1 ? " end of a message outside" : " ends of messages outside");
    EXPECT_EQ(out, result.out.substr(0, result.out.find(far)));
    EXPECT_EQ(farEnds > 0, result.out.find(far) != std::string::npos);
    EXPECT_EQ("marrowfin-trace: " + name + ": " + std::to_string(faults.size()) +
                  (faults.size() == 1 ? " fault" : " faults") + " in or behind " + count + "\n",
              result.err);
  }
};

TEST_F(CheckTest, ATraceInOrderHasNothingWrong) {
  ExpectFaults("", 0, {});
  ExpectFaults(TraceBytes("fire 5 0 9 9\nfire 5 0 9 9\nsend 6 1 0 0 9 9\nswitch 9 0 1 1\n"), 4, {});
}

TEST_F(CheckTest, ARecordThatIsCutAnywhereIsNamedWithWhatIsThere) {
  const std::string bytes = TraceBytes("fire 1 0 0 0\nswitch 1 0 4 4\nsend 2 0 0 0 1 1\n");
  for (const size_t left : {1U, 3U, 4U, 19U, 20U, 21U, 35U}) {
    const std::string reason =
        left < 20
            ? "the trace ends after " + std::to_string(left) + " of the 20 bytes of a header"
            : "the trace ends after " + std::to_string(left - 20) + " of the 16 bytes of a payload";
    ExpectFaults(bytes.substr(0, 56 + left), 2, {FaultJson("cut-record", 2, 56, reason, runToEnd)});
  }
}

TEST_F(CheckTest, AnUnknownTypeIsNamedAndEndsTheCheck) {
  for (const char* type : {"0", "1", "5", "6", "4294967295"}) {
    const std::string bytes = TraceBytes("fire 1 0 0 0\nraw " + std::string(type) +
                                         " 1 0 8 00000000 00000000\nfire 0 0 0 0\n");
    ExpectFaults(bytes, 1,
                 {FaultJson("unknown-type", 1, 28,
                            "type " + std::string(type) + " is none of 2, 3 and 4", notATrace)});
  }
}

TEST_F(CheckTest, AWrongLengthIsNamedAndEndsTheCheck) {
  const auto fault = [](int length, int type, int right) {
    return FaultJson("wrong-length", 1, 36,
                     "a payload of " + std::to_string(length) + " bytes, where type " +
                         std::to_string(type) + " has " + std::to_string(right),
                     notATrace);
  };
  const std::string before = "send 1 0 0 0 0 0\n";
  ExpectFaults(TraceBytes(before + "raw 2 1 0 16 00000000 00000000 00000000 00000000"), 1,
               {fault(16, 2, 8)});
  ExpectFaults(TraceBytes(before + "raw 3 1 0 9 00000000 00000000 00"), 1, {fault(9, 3, 8)});
  ExpectFaults(TraceBytes(before + "raw 4 1 0 8 00000000 00000000"), 1, {fault(8, 4, 16)});
  ExpectFaults(TraceBytes(before + "raw 3 1 0 0"), 1, {fault(0, 3, 8)});
}

TEST_F(CheckTest, EveryCycleThatFallsIsNamed) {
  ExpectFaults(TraceBytes("fire 5 0 0 0\nsend 4 0 0 0 0 0\nfire 4 0 0 0\nfire 9 0 0 0\n"
                          "switch 18446744073709551615 0 4 4\nfire 0 0 0 0\n"),
               6,
               {FaultJson("falling-cycle", 1, 28, "the cycle falls from 5 to 4", inOrder),
                FaultJson("falling-cycle", 5, 148, "the cycle falls from 18446744073709551615 to 0",
                          inOrder)});
}

TEST_F(CheckTest, EveryLocationOutsideAGivenArrayIsNamed) {
  // Of 2 clusters of 2 domains of 4: positions 0 to 15, switches at 4 and 12.
  const std::string bytes = TraceBytes(
      "fire 1 0 15 15\n"
      "fire 1 0 16 0\n"
      "fire 1 0 0 16\n"
      "send 1 0 15 0 0 15\n"
      "send 1 0 16 0 0 99\n"
      "send 1 0 0 0 4294967295 0\n"
      "switch 1 0 12 4\n"
      "switch 1 0 20 4\n"
      "switch 1 0 4 3\n"
      "switch 1 0 0 0\n");
  const auto fault = [](uint64_t record, uint64_t offset, const std::string& place,
                        const std::string& what) {
    return FaultJson("outside-array", record, offset, place + " is no " + what + " of the array",
                     otherArray);
  };
  const char element[] = "processing element";
  ExpectFaults(
      bytes, 10,
      {fault(1, 28, "column 16, row 0", element), fault(2, 56, "column 0, row 16", element),
       FaultJson("outside-array", 7, 220,
                 "column 20, row 4 is no switch of the array, as that of cluster 2 0 would be",
                 otherArray),
       fault(8, 248, "column 4, row 3", "switch"), fault(9, 276, "column 0, row 0", "switch")},
      {"-c", "2", "-d", "2", "-p", "4"}, 3);
  ExpectFaults(bytes, 10, {});
}

TEST_F(CheckTest, EndsOfMessagesMayBeAnywhereAndAreCountedByThemselves) {
  Trace("fire 1 0 15 15\nsend 1 0 15 0 4294967295 7\nsend 2 0 32 32 99 0\n");
  ExpectOutput(
      "t.trace: 3 records, nothing wrong\n"
      "t.trace: 3 ends of messages outside the array, as they may be, the first: "
      "t.trace: record 1 at byte 28: a message's end at column 4294967295, row 7 is outside the "
      "array; give larger counts to see all of the message\n",
      Run({"check", "t.trace", "-c", "4"}));
  const json told = RunForJson({"check", "t.trace", "-c", "4"});
  EXPECT_EQ(0, told["faults"]);
  EXPECT_EQ(3, told["farEnds"]);
  EXPECT_EQ("far-end", told["firstFarEnd"]["kind"]);
  EXPECT_EQ(1, told["firstFarEnd"]["record"]);
}

TEST_F(CheckTest, OneIsCountedAsOne) {
  Trace("send 2 0 3 0 99 0\n");
  ExpectOutput(
      "t.trace: 1 record, nothing wrong\n"
      "t.trace: 1 end of a message outside the array, as it may be, the first: "
      "t.trace: record 0 at byte 0: a message's end at column 99, row 0 is outside the "
      "array; give larger counts to see all of the message\n",
      Run({"check", "t.trace", "-c", "4"}));
  Trace("fire 2 0 99 0\n");
  EXPECT_THAT(Run({"check", "t.trace", "-c", "4"}).err,
              HasSubstr("t.trace: 1 fault in or behind 1 record\n"));
}

TEST_F(CheckTest, CountsThatAreNotGivenAreThoseOfTheViewer) {
  const std::string inside = "fire 1 0 31 31\nswitch 1 0 28 28\n";
  const auto outside = [](int position) { return "fire 1 0 0 " + std::to_string(position) + "\n"; };
  const auto count = [&](const std::string& text, const std::vector<std::string>& flags) {
    Trace(text);
    const CommandResult result = Run(With(flags, {"check", "t.trace", "--json"}));
    return Json(result.out)["faults"].get<int>();
  };
  EXPECT_EQ(0, count(inside, {"-c", "4"}));
  EXPECT_EQ(1, count(outside(32), {"-c", "4"}));
  EXPECT_EQ(0, count(inside, {"--domains", "2"}));
  EXPECT_EQ(1, count(outside(32), {"--domains", "2"}));
  EXPECT_EQ(0, count(inside, {"--pes", "4"}));
  EXPECT_EQ(1, count(outside(32), {"--pes", "4"}));
  EXPECT_EQ(0, count(outside(39), {"--clusters", "5"}));
  EXPECT_EQ(0, count(outside(47), {"-d", "3"}));
  EXPECT_EQ(0, count(outside(39), {"-p", "5"}));
  EXPECT_EQ(1, count(outside(40), {"-p", "5"}));
}

TEST_F(CheckTest, FaultsOfAllKindsAreNamedInTheOrderOfTheTrace) {
  ExpectFaults(TraceBytes("fire 9 0 0 0\nfire 8 0 16 0\nsend 8 0 0 0 0 0\nfire 7 0 0 0\n"
                          "raw 3 0 0 8 0000"),
               4,
               {FaultJson("falling-cycle", 1, 28, "the cycle falls from 9 to 8", inOrder),
                FaultJson("outside-array", 1, 28,
                          "column 16, row 0 is no processing element of the array", otherArray),
                FaultJson("falling-cycle", 3, 92, "the cycle falls from 8 to 7", inOrder),
                FaultJson("cut-record", 4, 120,
                          "the trace ends after 2 of the 8 bytes of a payload", runToEnd)},
               {"-c", "2"});
}

// Far more records than are read or decoded at a time.
TEST_F(CheckTest, EveryFaultOfALongTraceIsNamedWithItsPlace) {
  std::mt19937 random(1);
  testing::RandomTraceOptions options;
  options.records = 30000;
  options.falling = true;
  options.perCycle = 100;
  std::vector<testing::Event> events = RandomEvents(random, options);
  for (size_t i = 50; i < events.size(); i += 97) {
    (i % 2 == 0 ? events[i].at : events[i].to).column += 32;
  }
  std::vector<json> faults;
  uint64_t farEnds = 0;
  uint64_t offset = 0;
  for (size_t i = 0; i < events.size(); ++i) {
    const testing::Event& e = events[i];
    if (i > 0 && e.cycle < events[i - 1].cycle) {
      faults.push_back(FaultJson("falling-cycle", i, offset,
                                 "the cycle falls from " + std::to_string(events[i - 1].cycle) +
                                     " to " + std::to_string(e.cycle),
                                 inOrder));
    }
    const auto outside = [&](Place place, const std::string& what) {
      // Only columns were moved, by whole clusters.
      const std::string cluster = what == "switch"
                                      ? ", as that of cluster " + std::to_string(place.column / 8) +
                                            " " + std::to_string(place.row / 8) + " would be"
                                      : "";
      faults.push_back(FaultJson("outside-array", i, offset,
                                 "column " + std::to_string(place.column) + ", row " +
                                     std::to_string(place.row) + " is no " + what +
                                     " of the array" + cluster,
                                 otherArray));
    };
    if (e.type == SEND_RECORD) {
      farEnds += (e.at.column >= 32 ? 1 : 0) + (e.to.column >= 32 ? 1 : 0);
    } else if (e.at.column >= 32) {
      outside(e.at, e.type == SWITCH_RECORD ? "switch" : "processing element");
    }
    offset += e.type == SEND_RECORD ? 36 : 28;
  }
  ASSERT_LT(100U, faults.size());
  ASSERT_LT(50U, farEnds);
  ExpectFaults(Encode(events), events.size(), faults, {"-c", "4", "--most", "1000000"}, farEnds);
}

TEST_F(CheckTest, AtMostAHundredFaultsAreShownUnlessMoreAreAskedFor) {
  std::string text;
  for (int i = 0; i < 131; ++i) {
    text += "fire " + std::to_string(1000 - i) + " 0 0 0\n";
  }
  Trace(text);
  const auto shown = [&](const std::vector<std::string>& flags) {
    const json told = RunForJson(With(flags, {"check", "t.trace"}), 1);
    EXPECT_EQ(130, told["faults"]);
    return told["shown"].size();
  };
  EXPECT_EQ(100U, shown({}));
  EXPECT_EQ(0U, shown({"--most", "0"}));
  EXPECT_EQ(7U, shown({"--most", "7"}));
  EXPECT_EQ(130U, shown({"--most", "131"}));
  const CommandResult some = Run({"check", "t.trace", "--most", "2"});
  EXPECT_EQ(1, some.exitStatus);
  EXPECT_EQ(
      "t.trace: record 1 at byte 28: the cycle falls from 1000 to 999; " + std::string(inOrder) +
          "\nt.trace: record 2 at byte 56: the cycle falls from 999 to 998; " + inOrder + "\n",
      some.out);
  EXPECT_EQ(
      "marrowfin-trace: t.trace: 130 faults in or behind 131 records\n"
      "  Show more of them with --most.\n",
      some.err);
}

TEST_F(CheckTest, DamagedPackedDataAreAFaultBehindTheRecordsThatTheyHold) {
  std::string text;
  for (int i = 0; i < 50; ++i) {
    text += "fire " + std::to_string(i) + " 0 0 0\n";
  }
  Trace(text);
  for (const char* pack : {"gzip -c t.trace", "zstd -qc t.trace"}) {
    ASSERT_EQ(0, Shell(std::string(pack) + " > whole && head -c -1 whole > cut").exitStatus);
    EXPECT_EQ(0, Run({"check", "whole"}).exitStatus);
    const json told = RunForJson({"check", "cut"}, 1);
    EXPECT_EQ(1, told["faults"]);
    const json fault = told["shown"][0];
    EXPECT_EQ("damaged-input", fault["kind"]);
    EXPECT_EQ("the packed data ends early", fault["reason"]);
    EXPECT_EQ(told["records"], fault["record"]);
    EXPECT_EQ(28 * told["records"].get<uint64_t>(), fault["offset"]);
  }
}

TEST_F(CheckTest, ACutRecordInPackedDataIsNoDamageOfThePacking) {
  ExpectFaults(TraceBytes("fire 1 0 0 0\nfire 1 0 0 0\n").substr(0, 50), 1,
               {FaultJson("cut-record", 1, 28, "the trace ends after 2 of the 8 bytes of a payload",
                          runToEnd)});
}

TEST_F(CheckTest, AFileOfAnotherKindIsRefusedAtItsFirstRecord) {
  testing::WriteFile(folder.File("t.trace"), "[\n  {\"type\": \"READ\"}\n]\n");
  const CommandResult result = Run({"check", "t.trace"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("t.trace: record 0 at byte 0: type "));
}

TEST_F(CheckTest, ALongCheckShowsItsProgressOnATerminalOnly) {
  SlowPipe pipe(folder.File("pipe"));
  {
    RunningProgram program(Words({"check", pipe.Name()}), RunningProgram::TO_TERMINAL);
    pipe.FeedUntil([&] { return program.HasShown("MB/s"); });
    EXPECT_EQ(0, program.Wait());
    EXPECT_THAT(program.Err(), ::testing::EndsWith("\r\033[K"));
  }
  RunningProgram program(Words({"check", pipe.Name()}), RunningProgram::TO_FILE);
  pipe.FeedFor(std::chrono::milliseconds(700));
  EXPECT_EQ(0, program.Wait());
  EXPECT_EQ("", program.Err());
}

}  // namespace
}  // namespace marrowfin
