// marrowfin-trace events, of traces that have notes beside them.

#include <limits>
#include <sstream>

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class EventNotesTest : public CommandFixture {
 protected:
  EventNotesTest() { Record(); }

  // A trace of a rectangular array, all of whose attributes are of types of their own.
  void Record() const {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, folder.File("t.trace").c_str());
    marrowfin_trace_companion(&trace);
    const marrowfin_trace_array array = {2, 1, 1, 1, 8, 4, 1, 0, 0};
    marrowfin_trace_describe_array(&trace, &array);
    marrowfin_trace_name_thread(&trace, 1, "requests", "class");
    marrowfin_trace_name_place(&trace, 2, 7, "memory, \"east\"");
    const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    marrowfin_trace_value_name(&trace, kind, 0, "compute");
    marrowfin_trace_value_name(&trace, kind, 1, "wait");
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    const int created = marrowfin_trace_attribute(&trace, "created", MARROWFIN_TRACE_CYCLE, "");
    const int energy = marrowfin_trace_attribute(&trace, "type", MARROWFIN_TRACE_REAL, "pJ");
    const int from = marrowfin_trace_attribute(&trace, "consumes", MARROWFIN_TRACE_RECORDS, "");
    marrowfin_trace_send(&trace, 5, 1, 0, 0, 2, 7);
    marrowfin_trace_note(&trace, packet, 40);
    marrowfin_trace_send(&trace, 6, 0, 2, 7, 0, 1);
    marrowfin_trace_note(&trace, packet, 18446744073709551615U);
    marrowfin_trace_note_real(&trace, energy, 0.25);
    marrowfin_trace_switch(&trace, 7, 0, 0, 8);
    marrowfin_trace_fire(&trace, 260, 1, 2, 7);
    marrowfin_trace_note(&trace, kind, 1);
    marrowfin_trace_note(&trace, packet, 40);
    marrowfin_trace_note(&trace, created, 5);
    marrowfin_trace_note_real(&trace, energy, std::numeric_limits<double>::infinity());
    marrowfin_trace_note(&trace, from, 0);
    marrowfin_trace_note(&trace, from, 1);
    marrowfin_trace_fire(&trace, 261, 1, 0, 0);
    marrowfin_trace_note(&trace, kind, 7);
    EXPECT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  }

  CommandResult Events(std::vector<std::string> flags) const {
    flags.insert(flags.begin(), {"events", "t.trace"});
    return Run(flags);
  }

  // The numbers of the events that meet conditions.
  std::vector<uint64_t> Records(std::vector<std::string> flags) const {
    flags.insert(flags.end(), {"--format", "jsonl"});
    const CommandResult result = Events(flags);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    std::istringstream lines(result.out);
    std::vector<uint64_t> records;
    for (std::string line; std::getline(lines, line);) {
      records.push_back(json::parse(line)["record"]);
    }
    return records;
  }

  // What the list is without a companion.
  std::string Plain() const {
    EXPECT_EQ(0, Shell("mkdir -p plain && cp t.trace plain").exitStatus);
    return Run({"events", "plain/t.trace", "-c", "1", "-d", "1", "-p", "8"}).out;
  }

  std::string Notes() const { return folder.File("t.trace.notes"); }
  std::string About() const { return folder.File("t.trace.about"); }
};

TEST_F(EventNotesTest, TextHasAColumnForEachAttributeAndNamesThreadsAndPlaces) {
  ExpectOutput(
      "record  cycle  thread  named     kind                   packet  created  type  consumes  "
      "event\n"
      "     0      5       1  requests  -                          40        -     -         -  "
      "message 0 0 to 7 2 (memory, \"east\")\n"
      "     1      6       0  -         -        18446744073709551615        -  0.25         -  "
      "message 7 2 (memory, \"east\") to 1 0\n"
      "     2      7       0  -         -                           -        -     -         -  "
      "switch of cluster 1 0 at 12 4\n"
      "     3    260       1  requests  wait                       40        5   inf       0,1  "
      "element 7 2 (memory, \"east\")\n"
      "     4    261       1  requests  7                           -        -     -         -  "
      "element 0 0\n",
      Events({}));
}

TEST_F(EventNotesTest, CsvQuotesWhatHasToBeAndTellsAttributesFromColumns) {
  ExpectOutput(
      "record,cycle,thread,type,column,row,toColumn,toRow,threadName,place,toPlace,kind,packet,"
      "created,typeNote,consumes\n"
      "0,5,1,send,0,0,7,2,requests,,\"memory, \"\"east\"\"\",,40,,,\n"
      "1,6,0,send,7,2,1,0,,\"memory, \"\"east\"\"\",,,18446744073709551615,,0.25,\n"
      "2,7,0,switch,12,4,,,,,,,,,,\n"
      "3,260,1,fire,7,2,,,requests,\"memory, \"\"east\"\"\",,wait,40,5,inf,0 1\n"
      "4,261,1,fire,0,0,,,requests,,,7,,,,\n",
      Events({"--format", "csv"}));
}

TEST_F(EventNotesTest, JsonHasWhatIsNotedOfEachEvent) {
  const CommandResult result = Events({"--format", "jsonl"});
  EXPECT_EQ(0, result.exitStatus) << result.err;
  std::istringstream lines(result.out);
  std::vector<json> events;
  for (std::string line; std::getline(lines, line);) {
    events.push_back(Json(line));
  }
  ASSERT_EQ(5U, events.size());
  EXPECT_EQ(json({{"record", 0},
                  {"cycle", 5},
                  {"thread", 1},
                  {"threadName", "requests"},
                  {"type", "send"},
                  {"from", {0, 0}},
                  {"to", {7, 2}},
                  {"toPlace", "memory, \"east\""},
                  {"notes", {{"packet", 40}}}}),
            events[0]);
  EXPECT_EQ(json({{"packet", 18446744073709551615U}, {"type", 0.25}}), events[1]["notes"]);
  EXPECT_EQ("memory, \"east\"", events[1]["fromPlace"]);
  EXPECT_EQ(json({1, 0}), events[2]["cluster"]);
  EXPECT_EQ(json::object(), events[2]["notes"]);
  EXPECT_EQ(json({{"kind", "wait"},
                  {"packet", 40},
                  {"created", 5},
                  {"type", nullptr},
                  {"consumes", {0, 1}}}),
            events[3]["notes"]);
  EXPECT_EQ("memory, \"east\"", events[3]["place"]);
  EXPECT_EQ(json({{"kind", 7}}), events[4]["notes"]);
}

TEST_F(EventNotesTest, ConditionsOnNotesNarrowTheListWithAllOthers) {
  EXPECT_THAT(Records({"--packet", "40"}), ElementsAre(0, 3));
  EXPECT_THAT(Records({"--packet", "0040"}), ElementsAre(0, 3));
  EXPECT_THAT(Records({"--packet", "18446744073709551615"}), ElementsAre(1));
  EXPECT_THAT(Records({"--packet", "41"}), IsEmpty());
  EXPECT_THAT(Records({"--kind", "wait"}), ElementsAre(3));
  EXPECT_THAT(Records({"--kind", "7"}), ElementsAre(4));
  EXPECT_THAT(Records({"--where", "packet"}), ElementsAre(0, 1, 3));
  EXPECT_THAT(Records({"--where", "!packet"}), ElementsAre(2, 4));
  EXPECT_THAT(Records({"--where", "kind!=wait"}), ElementsAre(4));
  EXPECT_THAT(Records({"--where", "packet>=40", "--where", "type<1"}), ElementsAre(1));
  EXPECT_THAT(Records({"--where", "created=5..6"}), ElementsAre(3));
  EXPECT_THAT(Records({"--where", "consumes~1"}), ElementsAre(3));
  EXPECT_THAT(Records({"--packet", "40", "--type", "send"}), ElementsAre(0));
  EXPECT_THAT(Records({"--packet", "40", "--cycles", "6:"}), ElementsAre(3));
  EXPECT_THAT(Records({"--packet", "40", "--backwards"}), ElementsAre(3, 0));
  EXPECT_THAT(Records({"--where", "packet", "--last", "2"}), ElementsAre(1, 3));
  EXPECT_THAT(Records({"--where", "packet", "--limit", "2"}), ElementsAre(0, 1));
  ExpectOutput("3\n", Events({"--where", "packet", "--count"}));
}

TEST_F(EventNotesTest, ConditionsThatTheNotesCannotAnswerAreRefusedWithWhatThereIs) {
  ExpectFailure(1,
                "t.trace.notes: the notes have no attribute \"paket\"\n"
                "  They have kind, packet, created, type, consumes.\n",
                Events({"--where", "paket=1"}));
  ExpectFailure(1,
                "t.trace.notes: \"idle\" is no value of kind\n"
                "  It has compute, wait.\n",
                Events({"--kind", "idle"}));
  EXPECT_EQ(1, Events({"--where", ""}).exitStatus);
  std::filesystem::remove(Notes());
  for (const std::vector<std::string>& flags : std::vector<std::vector<std::string>>{
           {"--where", "packet=1"}, {"--packet", "1"}, {"--kind", "wait"}}) {
    ExpectFailure(1,
                  "t.trace: there are no notes beside it that could be asked\n"
                  "  Record it with a companion, or leave out --where, --kind and --packet.\n",
                  Events(flags));
  }
  EXPECT_EQ(2, Events({"--packet", "one"}).exitStatus);
}

TEST_F(EventNotesTest, WithoutACompanionTheListIsThatOfTheTrace) {
  std::filesystem::remove(Notes());
  std::filesystem::remove(About());
  ExpectOutput(Plain(), Events({"-c", "1", "-d", "1", "-p", "8"}));
}

TEST_F(EventNotesTest, OneFileOfACompanionStandsByItself) {
  std::filesystem::remove(Notes());
  EXPECT_THAT(Events({}).out, StartsWith("record  cycle  thread  named     event\n"));
  Record();
  std::filesystem::remove(About());
  const CommandResult result = Events({});
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, HasSubstr("  wait                       40        5   inf       0,1  "
                                    "element 7 2\n"));
}

TEST_F(EventNotesTest, NotesOfAnotherTraceAreToldAndNotBelieved) {
  testing::WriteFile(folder.File("t.trace"),
                     testing::TraceBytes("fire 5 1 7 2\nfire 6 1 7 2\nfire 7 1 7 2\nfire 8 1 7 2\n"
                                         "fire 9 1 7 2\n"));
  const CommandResult result = Events({"-c", "1", "-d", "1", "-p", "8"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ(Plain(), result.out);
  EXPECT_THAT(result.err, HasSubstr("marrowfin-trace: t.trace.notes: "));
  EXPECT_THAT(result.err, HasSubstr("notes of another trace (block at byte "));
  EXPECT_THAT(result.err, HasSubstr("; its notes are left out\n"));
  EXPECT_THAT(result.err, HasSubstr("marrowfin-trace: t.trace.about: "));
  EXPECT_THAT(result.err, HasSubstr("; what it tells of the run is left out\n"));
  const CommandResult asked = Events({"--packet", "40"});
  EXPECT_EQ(1, asked.exitStatus);
  EXPECT_EQ("", asked.out);
}

TEST_F(EventNotesTest, DamagedFilesAreToldAndNotBelieved) {
  testing::WriteFile(Notes(), "these are no notes");
  testing::WriteFile(About(), "format = \"one\"\n");
  const CommandResult result = Events({"-c", "1", "-d", "1", "-p", "8"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ(Plain(), result.out);
  EXPECT_THAT(result.err, HasSubstr("marrowfin-trace: t.trace.about: "));
  EXPECT_THAT(result.err, HasSubstr("marrowfin-trace: t.trace.notes: "));
}

TEST_F(EventNotesTest, NotesThatEndEarlyAreBelievedUpToThere) {
  // In a long trace, notes of the first records alone.
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, folder.File("t.trace").c_str());
  marrowfin_trace_companion(&trace);
  const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
  for (uint64_t i = 0; i < 200000; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
    marrowfin_trace_note(&trace, packet, i % 1000);
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const std::string whole = Events({"--packet", "7", "--limit", "3"}).out;
  const std::string notes = testing::ReadFile(Notes());
  testing::WriteFile(Notes(), notes.substr(0, notes.size() / 2));
  const CommandResult cut = Events({"--packet", "7", "--limit", "3"});
  EXPECT_EQ(0, cut.exitStatus);
  EXPECT_EQ(whole, cut.out);
  EXPECT_THAT(cut.err, HasSubstr("marrowfin-trace: t.trace.notes: "));
  EXPECT_THAT(cut.err, HasSubstr(" on have no notes\n"));
  EXPECT_THAT(Events({"--last", "1"}).out,
              EndsWith("199999  199999       0       -  element 0 0\n"));
  // Of a run that was stopped between two blocks they are sound, and end early all the same.
  const Result<std::unique_ptr<NotesFile>> blocks = NotesFile::Open(folder.File("t.trace.notes"));
  ASSERT_TRUE(blocks && (*blocks)->Blocks().size() > 2);
  const NotesEntry& third = (*blocks)->Blocks()[2];
  testing::WriteFile(Notes(), notes.substr(0, third.offset));
  using Line = std::vector<std::string>;
  for (const Line& line : {Line{"events", "t.trace", "--limit", "1"},
                           {"notes", "t.trace", "--places"},
                           {"info", "t.trace"},
                           {"state", "t.trace", "--cycle", "9", "--places"},
                           {"stats", "t.trace"},
                           {"why", "t.trace"}}) {
    const CommandResult told = Run(line);
    EXPECT_EQ(0, told.exitStatus) << line[0];
    EXPECT_EQ("marrowfin-trace: t.trace.notes: the notes end before the trace; records from " +
                  std::to_string(third.low) +
                  " on have no notes\n  Whoever records them was stopped, or goes on.\n",
              told.err)
        << line[0];
  }
  // A block in the middle that is damaged takes its own notes with it.
  std::string damaged = notes;
  damaged[notes.size() / 2] = static_cast<char>(~damaged[notes.size() / 2]);
  testing::WriteFile(Notes(), damaged);
  const CommandResult all = Events({});
  EXPECT_EQ(0, all.exitStatus);
  EXPECT_THAT(all.err, HasSubstr("; the notes of this block are left out\n"));
  EXPECT_THAT(all.out, HasSubstr("     7       7       0       7  element 0 0\n"));
  EXPECT_THAT(all.out, EndsWith("199999  199999       0     999  element 0 0\n"));
}

// The law of filters: what they let through is what a plain scan finds.
TEST_F(EventNotesTest, AFilterLetsThroughWhatAPlainScanFinds) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, folder.File("t.trace").c_str());
  marrowfin_trace_companion(&trace);
  const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
  for (uint64_t i = 0; i < 20000; ++i) {
    marrowfin_trace_fire(&trace, i / 3, static_cast<uint32_t>(i % 5), 0, 0);
    if (i % 7 != 0) {
      marrowfin_trace_note(&trace, packet, i * i % 97);
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  std::vector<uint64_t> expected;
  for (uint64_t i = 0; i < 20000; ++i) {
    if (i % 5 == 2 && i % 7 != 0 && i * i % 97 <= 4) {
      expected.push_back(i);
    }
  }
  EXPECT_EQ(expected, Records({"--thread", "2", "--where", "packet<=4"}));
}

}  // namespace
}  // namespace marrowfin
