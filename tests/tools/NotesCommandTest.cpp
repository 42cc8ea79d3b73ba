// marrowfin-trace notes

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class NotesCommandTest : public CommandFixture {
 protected:
  NotesCommandTest() { Record("t.trace", 1); }

  // Forty cycles from 100 on: a fire in each, at the odd ones a wait, of which each fourth one has
  // no kind; a send at its start that has none either; and two places at which a counter steps up.
  void Record(const std::string& name, uint32_t place) const {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, folder.File(name).c_str());
    marrowfin_trace_companion(&trace);
    const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    const int size = marrowfin_trace_attribute(&trace, "size", MARROWFIN_TRACE_NUMBER, "byte");
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    marrowfin_trace_value_name(&trace, kind, 0, "compute");
    marrowfin_trace_value_name(&trace, kind, 1, "wait, or \"idle\"");
    const int queue = marrowfin_trace_counter(&trace, "queue", "flits");
    marrowfin_trace_counter(&trace, "power", "W");
    marrowfin_trace_send(&trace, 100, 0, 0, 0, 0, place);
    for (uint32_t i = 0; i < 40; ++i) {
      marrowfin_trace_fire(&trace, 100 + i, 0, 0, i % 2 * place);
      marrowfin_trace_note(&trace, packet, i);
      if (i % 4 != 3) {
        marrowfin_trace_note(&trace, kind, i % 2);
        marrowfin_trace_note(&trace, size, 64);
      }
      if (i % 10 == 0) {
        marrowfin_trace_count(&trace, 100 + i, 0, place, queue, i / 10);
      }
      if (i == 10) {
        marrowfin_trace_count(&trace, 110, 3, 2, queue, 0.5);
      }
    }
    EXPECT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  }

  CommandResult Notes(std::vector<std::string> flags) const {
    flags.insert(flags.begin(), {"notes", "t.trace"});
    return Run(flags);
  }

  json Rows(std::vector<std::string> flags) const {
    flags.insert(flags.end(), {"--format", "json"});
    const CommandResult result = Notes(flags);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    return Json(result.out)["rows"];
  }
};

TEST_F(NotesCommandTest, WithoutAFlagItTellsTheRecordsOfEachKind) {
  const std::string kinds =
      "first  last  value            fires  sends  transmissions\n"
      "  100   139  compute             20      0              0\n"
      "  100   139  wait, or \"idle\"     10      0              0\n"
      "  100   139  -                   10      1              0\n";
  ExpectOutput(kinds, Notes({}));
  ExpectOutput(kinds, Notes({"--by", "kind"}));
}

TEST_F(NotesCommandTest, AnyAttributeOfFewValuesIsToldOverTime) {
  ExpectOutput(
      "first,last,value,fires,sends,transmissions\n"
      "110,114,64,4,0,0\n"
      "110,114,,1,0,0\n"
      "115,120,64,4,0,0\n"
      "115,120,,2,0,0\n",
      Notes({"--by", "size", "--cycles", "110:120", "--bins", "2", "--format", "csv"}));
  ExpectOutput(
      "first,last,value,fires,sends,transmissions\n"
      "101,101,compute,0,0,0\n"
      "101,101,\"wait, or \"\"idle\"\"\",1,0,0\n",
      Notes({"--cycles", "101", "--format", "csv"}));
}

TEST_F(NotesCommandTest, JsonTellsTheSameAndWhatWasAsked) {
  const CommandResult result =
      Notes({"--by", "size", "--cycles", "110:120", "--bins", "2", "--format", "json"});
  EXPECT_EQ(0, result.exitStatus) << result.err;
  const auto row = [](int first, int last, const json& value, int fires) {
    return json({{"first", first},
                 {"last", last},
                 {"value", value},
                 {"fires", fires},
                 {"sends", 0},
                 {"transmissions", 0}});
  };
  EXPECT_EQ(json({{"trace", "t.trace"},
                  {"attribute", "size"},
                  {"firstCycle", 110},
                  {"lastCycle", 120},
                  {"rows",
                   {row(110, 114, 64, 4), row(110, 114, nullptr, 1), row(115, 120, 64, 4),
                    row(115, 120, nullptr, 2)}}}),
            Json(result.out));
}

TEST_F(NotesCommandTest, JsonHasAFlagOfItsOwn) {
  EXPECT_EQ(Notes({"--counters", "--format", "json"}).out, Notes({"--counters", "--json"}).out);
}

TEST_F(NotesCommandTest, MoreBinsThanCyclesLeaveOutThoseWithoutOne) {
  EXPECT_EQ(3U, Rows({"--counter", "queue", "--cycles", "110:112", "--bins", "100"}).size());
  EXPECT_EQ(json::array(), Rows({"--cycles", "140:"}));
  EXPECT_EQ(json::array(), Rows({"--counter", "queue", "--cycles", ":99"}));
}

TEST_F(NotesCommandTest, ACounterIsToldOverTimeSummedOrAtAPlace) {
  ExpectOutput(
      "first  last  lowest   mean  highest\n"
      "  100   119       0  0.750     1.50\n"
      "  120   139    2.50      3     3.50\n",
      Notes({"--counter", "queue", "--bins", "2"}));
  ExpectOutput("first,last,lowest,mean,highest\n100,109,0,0,0\n110,119,1,1,1\n",
               Notes({"--counter", "queue", "--at", "1,0", "--cycles", "100:119", "--bins", "2",
                      "--format", "csv"}));
  EXPECT_EQ(json({{{"first", 100},
                   {"last", 109},
                   {"lowest", nullptr},
                   {"mean", nullptr},
                   {"highest", nullptr}}}),
            Rows({"--counter", "queue", "--at", "2,3", "--cycles", "100:109"}));
  const CommandResult result = Notes({"--counter", "queue", "--at", "2,3", "--format", "json"});
  EXPECT_EQ("flits", Json(result.out)["unit"]);
  EXPECT_EQ(json({2, 3}), Json(result.out)["at"]);
}

TEST_F(NotesCommandTest, EachCounterAndEachPlaceOfOneHasARow) {
  ExpectOutput(
      "counter  unit   places  lowest  mean  highest\n"
      "queue    flits       2       0  1.88     3.50\n"
      "power    W           0       -     -        -\n",
      Notes({"--counters"}));
  ExpectOutput("column,row,lowest,mean,highest\n1,0,0,1.5,3\n2,3,0.5,0.5,0.5\n",
               Notes({"--counter", "queue", "--places", "--format", "csv"}));
  EXPECT_EQ(3, Rows({"--counter", "queue", "--places", "--cycles", "130:"})[0]["lowest"]);
}

TEST_F(NotesCommandTest, PlacesHaveTheEventsThatMeetAllConditions) {
  ExpectOutput("column  row  events\n     0    0      21\n     1    0      20\n",
               Notes({"--places"}));
  ExpectOutput("column,row,events\n0,0,20\n",
               Notes({"--places", "--kind", "compute", "--format", "csv"}));
  ExpectOutput("column,row,events\n1,0,5\n",
               Notes({"--places", "--where", "!kind", "--type", "fire", "--cycles",
                      "120:", "--format", "csv"}));
  ExpectOutput("column,row,events\n", Notes({"--places", "--thread", "7", "--format", "csv"}));
  EXPECT_EQ(20, Rows({"--places", "--region", "1,0", "--type", "fire"})[0]["events"]);
}

TEST_F(NotesCommandTest, WhatTheNotesDoNotTellIsRefusedWithWhatThereIs) {
  ExpectFailure(1,
                "t.trace.notes: no attribute has the name colour\n"
                "  There are: kind, size, packet.\n",
                Notes({"--by", "colour"}));
  ExpectFailure(1, "t.trace.notes: no counter has the name size\n  There are: queue, power.\n",
                Notes({"--counter", "size"}));
  Record("long.trace", 1);
  EXPECT_THAT(Notes({"--by", "packet"}).err,
              HasSubstr("packet has no names and too many values to count each"));
  Trace("fire 1 0 0 0\n", "plain.trace");
  ExpectFailure(1,
                "plain.trace: there are no notes beside it that could be asked\n"
                "  Record it with a companion.\n",
                Run({"notes", "plain.trace"}));
}

TEST_F(NotesCommandTest, NotesOfAnotherTraceAreNoAnswer) {
  Record("other.trace", 2);
  std::filesystem::copy_file(folder.File("other.trace.notes"), folder.File("t.trace.notes"),
                             std::filesystem::copy_options::overwrite_existing);
  const CommandResult result = Notes({});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, HasSubstr("notes of another trace"));
}

TEST_F(NotesCommandTest, OfABrokenTraceWhatIsThereIsToldAndThatItIsBroken) {
  const std::string bytes = testing::ReadFile(folder.File("t.trace"));
  testing::WriteFile(folder.File("t.trace"), bytes + "cut");
  const CommandResult whole = Notes({"--counter", "queue", "--cycles", "100:120"});
  EXPECT_EQ(0, whole.exitStatus) << whole.err;
  const CommandResult cut = Notes({"--counter", "queue"});
  EXPECT_EQ(1, cut.exitStatus);
  EXPECT_THAT(cut.out, StartsWith("first  last"));
  EXPECT_THAT(cut.err, HasSubstr("missing from the answer"));
}

TEST_F(NotesCommandTest, AnIndexOfTheNotesThatIsDamagedIsMadeAnew) {
  const std::string sound = Notes({"--counter", "queue", "--bins", "3"}).out;
  const std::string name = folder.File("t.trace.notes.mfindex");
  const std::string index = testing::ReadFile(name);
  for (size_t at = 0; at < index.size(); at += 7) {
    std::string damaged = index;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
    testing::WriteFile(name, damaged);
    const CommandResult result = Notes({"--counter", "queue", "--bins", "3"});
    EXPECT_EQ(0, result.exitStatus) << at << ": " << result.err;
    EXPECT_EQ(sound, result.out) << at;
  }
}

TEST_F(NotesCommandTest, QuestionsThatContradictEachOtherAreRefused) {
  const std::vector<std::vector<std::string>> lines = {
      {"--by", "kind", "--counters"},
      {"--by", "kind", "--counter", "queue"},
      {"--by", "kind", "--places"},
      {"--counters", "--places"},
      {"--at", "1,0"},
      {"--counter", "queue", "--places", "--at", "1,0"},
      {"--counter", "queue", "--at", "1,0:2,0"},
      {"--counter", "queue", "--at", "cluster:0,0"},
      {"--places", "--bins", "2"},
      {"--counters", "--bins", "2"},
      {"--kind", "wait"},
      {"--by", "kind", "--thread", "1"},
      {"--counter", "queue", "--places", "--type", "fire"},
      {"--bins", "0"},
      {"--bins", "100001"},
      {"--format", "jsonl"},
      {"-o", "t.trace.notes"},
  };
  for (const std::vector<std::string>& line : lines) {
    const CommandResult result = Notes(line);
    EXPECT_EQ(2, result.exitStatus) << ::testing::PrintToString(line);
    EXPECT_EQ("", result.out);
  }
}

TEST_F(NotesCommandTest, AnAnswerGoesToAFileWholeOrNotAtAll) {
  ExpectOutput("", Notes({"--counters", "-o", "made"}));
  EXPECT_EQ(Notes({"--counters"}).out, testing::ReadFile(folder.File("made")));
  EXPECT_EQ(3, Notes({"--counters", "-o", "none/made"}).exitStatus);
}

}  // namespace
}  // namespace marrowfin
