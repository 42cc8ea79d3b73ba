#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "tests/tools/ImportFixture.h"

namespace marrowfin {
namespace {

using ::testing::HasSubstr;

using ImportTest = ImportFixture;

std::string List(const std::vector<std::string>& events) {
  std::string list = "[";
  for (const std::string& event : events) {
    list += (list.size() > 1 ? "," : "") + event;
  }
  return list + "]";
}

// A fire of tile (1, 2) at `time`.
std::string FireAt(int time, const std::string& processor = "BRISC") {
  return R"({"proc":")" + processor + R"(","sx":1,"sy":2,"timestamp":)" + std::to_string(time) +
         R"(,"zone":"K","zone_phase":"begin"})";
}

std::string OnDevice(int device, int column, int row, const std::string& more) {
  return R"({"proc":"BRISC","timestamp":10,"sx":)" + std::to_string(column) + R"(,"sy":)" +
         std::to_string(row) + R"(,"src_device_id":)" + std::to_string(device) + "," + more + "}";
}

TEST_F(ImportTest, AReadIsAMessageFromTheFarTileToTheOwnOne) {
  ExpectRecords(List({Event(R"("type":"READ","dx":3,"dy":4)")}), "send 0 0 3 4 1 2");
}

TEST_F(ImportTest, EveryMemberOfTheReadFamilyIsAMessage) {
  ExpectRecords(List({Event(R"("type":"READ_","dx":3,"dy":4)"),
                      Event(R"("type":"READ_WITH_STATE","dx":5,"dy":6)")}),
                "send 0 0 3 4 1 2\nsend 0 0 5 6 1 2");
}

TEST_F(ImportTest, AWriteIsAMessageFromTheOwnTileToTheFarOne) {
  ExpectRecords(
      List({Event(R"("type":"WRITE","dx":3,"dy":4)"), Event(R"("type":"WRITE_","dx":5,"dy":6)"),
            Event(R"("type":"WRITE_INLINE","dx":0,"dy":0)")}),
      "send 0 0 1 2 3 4\nsend 0 0 1 2 5 6\nsend 0 0 1 2 0 0");
}

TEST_F(ImportTest, AMessageToTheOwnTileIsKept) {
  ExpectRecords(List({Event(R"("type":"READ","dx":1,"dy":2)")}), "send 0 0 1 2 1 2");
}

TEST_F(ImportTest, ASemaphoreChangeIsAMessageToTheFarTile) {
  ExpectRecords(List({Event(R"("type":"SEMAPHORE_INC","dx":3,"dy":4)"),
                      Event(R"("type":"SEMAPHORE_SET_REMOTE","dx":5,"dy":6)")}),
                "send 0 0 1 2 3 4\nsend 0 0 1 2 5 6");
}

TEST_F(ImportTest, BarriersFlushesWaitsAndSetUpsAreFiresOfTheTile) {
  for (const char* const type :
       {"READ_BARRIER_START", "READ_BARRIER_END", "WRITE_BARRIER_START", "WRITE_BARRIER_END",
        "READ_BARRIER_WITH_TRID", "WRITE_FLUSH", "SEMAPHORE_WAIT", "SEMAPHORE_WAIT_MIN",
        "SEMAPHORE_SET", "WRITE_WITH_TRID_SET_STATE", "READ_SET_STATE", "WRITE_SET_TRID"}) {
    SCOPED_TRACE(type);
    ExpectRecords(List({Event(std::string(R"("type":")") + type + R"(","dx":-1,"dy":-1)")}),
                  "fire 0 0 1 2");
    ExpectRecords(List({Event(std::string(R"("type":")") + type + R"(")")}), "fire 0 0 1 2");
  }
}

TEST_F(ImportTest, ASetUpFiresWhereItIsPreparedThoughItNamesAFarTile) {
  ExpectRecords(List({Event(R"("type":"WRITE_SET_STATE","dx":200,"dy":200)")}), "fire 0 0 1 2");
  EXPECT_EQ(nlohmann::json(3),
            Account(List({Event(
                R"("type":"WRITE_SET_STATE","dx":200,"dy":200)")}))["view"]["positionsPerSide"]);
}

TEST_F(ImportTest, AZoneIsAFireWhenItBeginsAndWhenItEnds) {
  for (const char* const phase : {"begin", "end", "ZONE_START", "ZONE_END"}) {
    SCOPED_TRACE(phase);
    ExpectRecords(List({Event(std::string(R"("zone":"K","zone_phase":")") + phase + R"(")")}),
                  "fire 0 0 1 2");
  }
}

TEST_F(ImportTest, AMulticastIsAMessageToEveryTileOfItsRectangle) {
  ExpectRecords(
      List({Event(R"("type":"WRITE_MULTICAST","dx":3,"dy":4,"mcast_start_x":3,"mcast_start_y":4,)"
                  R"("mcast_end_x":4,"mcast_end_y":6)")}),
      "send 0 0 1 2 3 4\nsend 0 0 1 2 4 4\n"
      "send 0 0 1 2 3 5\nsend 0 0 1 2 4 5\n"
      "send 0 0 1 2 3 6\nsend 0 0 1 2 4 6");
}

TEST_F(ImportTest, AMulticastMayNameTheCornersOfItsRectangleInAnyOrder) {
  ExpectRecords(List({Event(R"("type":"SEMAPHORE_SET_MULTICAST","mcast_start_x":4,)"
                            R"("mcast_start_y":3,"mcast_end_x":3,"mcast_end_y":4)")}),
                "send 0 0 1 2 3 3\nsend 0 0 1 2 4 3\nsend 0 0 1 2 3 4\nsend 0 0 1 2 4 4");
}

TEST_F(ImportTest, EventsAreSortedByTimeAndTheFirstIsCycleZero) {
  ExpectRecords(List({FireAt(300), FireAt(100, "NCRISC"), FireAt(200)}),
                "fire 0 1 1 2\nfire 100 0 1 2\nfire 200 0 1 2");
}

TEST_F(ImportTest, AbsoluteCountersOf64BitsAreRebased) {
  const std::string json = List({R"({"proc":"BRISC","sx":0,"sy":0,"timestamp":4349885131335,)"
                                 R"("zone":"K","zone_phase":"end"})",
                                 R"({"proc":"BRISC","sx":0,"sy":0,"timestamp":9223372036854775807,)"
                                 R"("zone":"K","zone_phase":"end"})"});
  ExpectRecords(json, "fire 0 0 0 0\nfire 9223367686969644472 0 0 0");
  EXPECT_EQ(4349885131335u, Account(json)["cycles"]["origin"]);
}

TEST_F(ImportTest, EventsOfOneTimeKeepTheirOrder) {
  std::vector<std::string> events;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    events.push_back(Event(R"("type":"WRITE","dy":0,"dx":)" + std::to_string(i)));
    expected += "send 0 0 1 2 " + std::to_string(i) + " 0\n";
  }
  ExpectRecords(List(events), expected);
}

TEST_F(ImportTest, TheOrderOfTheInputDoesNotMatterWhereTimesDiffer) {
  std::vector<std::string> events;
  for (int i = 0; i < 4; ++i) {
    events.push_back(FireAt(10 * i, i % 2 == 0 ? "NCRISC" : "TRISC" + std::to_string(i)));
  }
  ASSERT_EQ(0, Import(List(events)));
  const std::string expected = testing::ReadFile(Trace());
  std::sort(events.begin(), events.end());
  do {
    ASSERT_EQ(0, Import(List(events)));
    ASSERT_EQ(expected, testing::ReadFile(Trace()));
  } while (std::next_permutation(events.begin(), events.end()));
}

TEST_F(ImportTest, EachProcessorIsAThreadAndTheKnownNamesKeepTheirs) {
  ExpectRecords(List({FireAt(1, "TRISC1"), FireAt(2, "NCRISC"), FireAt(3, "ERISC"),
                      FireAt(4, "BRISC"), FireAt(5, "TRISC1")}),
                "fire 0 3 1 2\nfire 1 1 1 2\nfire 2 2 1 2\nfire 3 0 1 2\nfire 4 3 1 2");
  ExpectRecords(List({FireAt(1, "NCRISC")}), "fire 0 1 1 2");
}

TEST_F(ImportTest, EachDeviceGetsASquareOfWholeClustersSideBySide) {
  const std::string zone = R"("zone":"K","zone_phase":"end")";
  const std::string json =
      List({OnDevice(9, 0, 0, zone), OnDevice(2, 4, 6, zone), OnDevice(5, 1, 0, zone)});
  ExpectRecords(json, "fire 0 0 0 7\nfire 0 0 4 6\nfire 0 0 8 0");
  const nlohmann::json account = Account(json);
  EXPECT_EQ(nlohmann::json::parse(R"([{"device":2,"firstColumn":0,"firstRow":0},
                                      {"device":5,"firstColumn":7,"firstRow":0},
                                      {"device":9,"firstColumn":0,"firstRow":7}])"),
            account["devices"]);
  EXPECT_EQ("marrowfin -c 2 -d 1 -p 7 -f " + Trace(), account["view"]["command"]);
}

TEST_F(ImportTest, InfoSuggestsTheArrayThatTheAccountDoes) {
  const std::string zone = R"("zone":"K","zone_phase":"end")";
  for (const std::string& json :
       {List({OnDevice(9, 3, 6, zone)}), List({OnDevice(9, 5, 1, zone), OnDevice(2, 0, 0, zone)}),
        List({OnDevice(9, 0, 0, zone), OnDevice(2, 4, 6, zone), OnDevice(5, 1, 0, zone)})}) {
    const std::string command = Account(json)["view"]["command"];
    ASSERT_EQ(0, Run({"info", Trace()})) << err;
    EXPECT_THAT(out, HasSubstr("\nview it with  " + command + "\n"));
  }
}

TEST_F(ImportTest, AFabricWriteIsAMessageToATileOfTheOtherDevice) {
  ExpectRecords(List({OnDevice(0, 1, 2,
                               R"("type":"FABRIC_UNICAST_WRITE","dst_device_id":1,)"
                               R"("dx":3,"dy":3,"fabric_send":{"hops":1,"path":[{"a":1},[]]})")}),
                "send 0 0 1 2 7 3");
}

TEST_F(ImportTest, AReadFromAnotherDeviceComesFromThere) {
  ExpectRecords(List({OnDevice(1, 1, 2, R"("type":"READ","dst_device_id":0,"dx":3,"dy":3)")}),
                "send 0 0 3 3 5 2");
}

TEST_F(ImportTest, AZoneWithoutDeviceLiesOnTheDeviceOfItsRun) {
  ExpectRecords(List({Event(R"("zone":"K","zone_phase":"end","run_host_id":7)"),
                      Event(R"("zone":"K","zone_phase":"end","run_host_id":8)"),
                      OnDevice(3, 0, 0, R"("type":"WRITE_FLUSH","run_host_id":8)"),
                      OnDevice(4, 0, 0, R"("type":"WRITE_FLUSH","run_host_id":7)")}),
                "fire 0 0 4 2\nfire 0 0 1 2\nfire 0 0 0 0\nfire 0 0 3 0");
}

TEST_F(ImportTest, AnEventWithoutDeviceLiesOnTheOnlyDeviceThereIs) {
  ExpectRecords(List({Event(R"("zone":"K","zone_phase":"end","run_host_id":7)"),
                      OnDevice(3, 0, 0, R"("type":"WRITE_FLUSH","run_host_id":8)")}),
                "fire 0 0 1 2\nfire 0 0 0 0");
}

TEST_F(ImportTest, AnEventWhoseDeviceCannotBeKnownIsSkipped) {
  const std::string zone = R"("zone":"K","zone_phase":"end")";
  // Run 7 is on both devices, run 9 on none; no run is no run, whoever else has none.
  const nlohmann::json account = Account(
      List({OnDevice(3, 0, 0, zone + R"(,"run_host_id":7)"), Event(zone + R"(,"run_host_id":7)"),
            OnDevice(4, 0, 0, zone + R"(,"run_host_id":7)"), Event(zone + R"(,"run_host_id":9)"),
            OnDevice(4, 0, 0, zone), Event(zone)}));
  EXPECT_EQ(nlohmann::json::parse(R"({"events":3,"first":1})"),
            account["skipped"]["unknownDevice"]);
  EXPECT_EQ(3, account["converted"]["zones"]["events"]);
  EXPECT_EQ(5u, RecordsIn(testing::ReadFile(Trace())).size());
}

TEST_F(ImportTest, AnEventOfAnUnknownTypeIsSkippedByName) {
  const nlohmann::json account =
      Account(List({FireAt(1), Event(R"("type":"ATOMIC_SWAP","dx":3,"dy":4)"),
                    Event(R"("type":"READY","dx":3,"dy":4)"), Event(R"("type":"write")")}));
  EXPECT_EQ(nlohmann::json::parse(R"({"events":3,"first":1})"), account["skipped"]["unknownType"]);
  EXPECT_EQ(nlohmann::json::parse(R"({"read":4,"converted":1,"skipped":3})"), account["events"]);
}

TEST_F(ImportTest, AZoneInAnUnknownPhaseIsSkippedByName) {
  const nlohmann::json account = Account(List({Event(R"("zone":"K","zone_phase":"pause")")}));
  EXPECT_EQ(nlohmann::json::parse(R"({"events":1,"first":0})"), account["skipped"]["unknownPhase"]);
}

TEST_F(ImportTest, ATransferThatNamesNoDestinationIsSkippedByName) {
  const nlohmann::json account = Account(
      List({Event(R"("type":"READ","dx":-1,"dy":-1)"), Event(R"("type":"WRITE")"),
            Event(R"("type":"SEMAPHORE_INC")"), Event(R"("type":"WRITE_MULTICAST","dx":3,"dy":4)"),
            Event(R"("type":"FABRIC_UNICAST_WRITE","dx":3,"dy":4)")}));
  EXPECT_EQ(nlohmann::json::parse(R"({"events":5,"first":0})"),
            account["skipped"]["noDestination"]);
}

TEST_F(ImportTest, AKindOfItsOwnIsCountedForEachConvertedEvent) {
  const std::string all =
      List({Event(R"("zone":"K","zone_phase":"begin")"), Event(R"("type":"READ_BARRIER_END")"),
            Event(R"("type":"WRITE_FLUSH")"), Event(R"("type":"SEMAPHORE_WAIT")"),
            Event(R"("type":"SEMAPHORE_SET")"), Event(R"("type":"READ","dx":3,"dy":3)"),
            Event(R"("type":"WRITE","dx":3,"dy":3)"),
            Event(R"("type":"WRITE_MULTICAST","mcast_start_x":1,"mcast_start_y":1,)"
                  R"("mcast_end_x":3,"mcast_end_y":2)"),
            Event(R"("type":"SEMAPHORE_INC","dx":3,"dy":3)"),
            OnDevice(0, 1, 1, R"("type":"FABRIC_UNICAST_WRITE","dst_device_id":0,"dx":3,"dy":3)")});
  const nlohmann::json account = Account(all);
  for (const auto& [kind, counts] : account["converted"].items()) {
    EXPECT_EQ(1, counts["events"]) << kind;
    EXPECT_EQ(kind == "multicasts" ? 6 : 1, counts["records"]) << kind;
  }
  EXPECT_EQ(10u, account["converted"].size());
  EXPECT_EQ(nlohmann::json::parse(
                R"({"fires":5,"sends":10,"derived":0,"frame":2,"frameThread":2,"total":17})"),
            account["records"]);
}

TEST_F(ImportTest, TheFrameStandsBeforeAndBehindAllEventsOnAThreadOfItsOwn) {
  ASSERT_EQ(0, Import(List({FireAt(10, "ERISC"), FireAt(15), FireAt(15, "NCRISC")})));
  EXPECT_EQ(testing::TraceBytes("send 0 3 0 0 0 0\n"
                                "fire 0 2 1 2\nfire 5 0 1 2\nfire 5 1 1 2\n"
                                "send 6 3 0 0 0 0\n"),
            testing::ReadFile(Trace()));
}

TEST_F(ImportTest, TheTraceToolReadsWhatWasWritten) {
  ASSERT_EQ(0, Import(List({FireAt(10), Event(R"("type":"READ","dx":3,"dy":4)"), FireAt(70000)})));
  const std::vector<TraceRecord> records = RecordsIn(testing::ReadFile(Trace()));
  EXPECT_EQ(5u, records.size());
  EXPECT_EQ(records, RecordsThroughTraceTool(Trace()));
}

TEST_F(ImportTest, ACaptureWithoutEventsGivesATraceOfTheFrameAlone) {
  ASSERT_EQ(0, Import("[]"));
  EXPECT_EQ(testing::TraceBytes("send 0 2 0 0 0 0\nsend 1 2 0 0 0 0"), testing::ReadFile(Trace()));
  EXPECT_THAT(out, HasSubstr("marrowfin -c 1 -d 1 -p 1 -f "));
  ExpectRecords(" [ ] ", "");
}

TEST_F(ImportTest, UnknownFieldsMayHoldAnything) {
  ExpectRecords(
      List({Event(R"("a":null,"a":{"sx":-5,"b":[[],{}]},"c":1.5,"d":[1,"x",true],"noc":"NOC_0",)"
                  R"("type":"READ","dx":3,"dy":4)")}),
      "send 0 0 3 4 1 2");
}

TEST_F(ImportTest, EventsOfSeveralReadingChunksAreAllRead) {
  std::vector<std::string> events;
  for (int i = 0; i < 20000; ++i) {
    events.push_back(FireAt(i));
  }
  const std::string json = List(events);
  ASSERT_GT(json.size(), 1'000'000u);
  EXPECT_EQ(20000, Account(json)["converted"]["zones"]["events"]);
  EXPECT_EQ(20002u, RecordsIn(testing::ReadFile(Trace())).size());
}

TEST_F(ImportTest, APipeCanBeImported) {
  testing::WriteFile(Capture(), List({FireAt(10)}));
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const std::string feed = "cat '" + Capture() + "' > '" + pipe + "' &";
  ASSERT_EQ(0, system(feed.c_str()));
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", pipe, "-o", Trace(), "--no-frame"})) << err;
  EXPECT_EQ(testing::TraceBytes("fire 0 0 1 2"), testing::ReadFile(Trace()));
}

TEST_F(ImportTest, TheAccountIsPrintedForPeople) {
  ASSERT_EQ(0, Import(List({OnDevice(0, 1, 1, R"("type":"READ","dx":3,"dy":3)"),
                            OnDevice(1, 1, 1, R"("type":"WRITE_FLUSH")"),
                            OnDevice(1, 1, 1, R"("type":"ATOMIC")")})));
  EXPECT_EQ(
      "events read                                            3\n"
      "  converted                                            2\n"
      "    flushes                                            1  -> 1 fires\n"
      "    reads                                              1  -> 1 sends\n"
      "  skipped                                              1\n"
      "    of a type that is not known                        1  first: [2]\n"
      "records written                                        4\n"
      "  fires                                                1\n"
      "  sends                                                1\n"
      "  frame (before and behind, draws nothing)             2\n"
      "cycles 0 to 0 (cycle 0 is 10 in the capture)\n"
      "thread 0: processor \"BRISC\", 3 events\n"
      "thread 2: the two records of the frame\n"
      "device 0: from column 0, row 0\n"
      "device 1: from column 4, row 0\n"
      "companion: " +
          Trace() + ".about\ncompanion: " + Trace() +
          ".notes\n"
          "view it: marrowfin -c 2 -d 1 -p 4 -f " +
          Trace() + "\n",
      out);
  EXPECT_EQ("", err);
}

TEST_F(ImportTest, TheHelpSaysWhichPackedInputIsTaken) {
  ASSERT_EQ(0, Run({"import", "--help"}));
  EXPECT_THAT(out, ::testing::HasSubstr("Input that is packed by gzip, zstd or, but for tt-npe, "
                                        "bzip2 is\nunpacked on the way.\n"));
}

TEST_F(ImportTest, ReasonsToSkipHaveTheirWords) {
  ASSERT_EQ(0, Import(List({FireAt(10), Event(R"("type":"ATOMIC")"),
                            Event(R"("zone":"K","zone_phase":"pause")"), Event(R"("type":"WRITE")"),
                            "{}"})));
  for (const char* words :
       {"    of a type that is not known                        1  first: [1]\n",
        "    zones in a phase that is not known                 1  first: [2]\n",
        "    transfers that name no other tile                  1  first: [3]\n",
        "    that lack a field                                  1  first: [4]: proc is missing"}) {
    EXPECT_THAT(out, ::testing::HasSubstr(words));
  }
}

TEST_F(ImportTest, TheAccountIsPrintedForPrograms) {
  EXPECT_EQ(nlohmann::json::parse(R"({"format":"tt-npe","input":")" + Capture() +
                                  R"(","output":")" + Trace() + R"(",
      "companion":[")" + Trace() + R"(.about",")" +
                                  Trace() + R"(.notes"],
      "events":{"read":1,"converted":1,"skipped":0},
      "converted":{"zones":{"events":1,"records":1},"barriers":{"events":0,"records":0},
                   "flushes":{"events":0,"records":0},"waits":{"events":0,"records":0},
                   "setUps":{"events":0,"records":0},
                   "reads":{"events":0,"records":0},"writes":{"events":0,"records":0},
                   "multicasts":{"events":0,"records":0},"semaphores":{"events":0,"records":0},
                   "fabricWrites":{"events":0,"records":0}},
      "skipped":{"unknownType":{"events":0},"unknownPhase":{"events":0},
                 "noDestination":{"events":0},"unknownDevice":{"events":0},
                 "oddValue":{"events":0},"incomplete":{"events":0}},
      "records":{"fires":1,"sends":0,"derived":0,"frame":2,"frameThread":2,"total":3},
      "withoutRoute":0,
      "cycles":{"origin":10,"last":0},
      "threads":[{"thread":0,"processor":"BRISC","events":1},
                 {"thread":1,"processor":"NCRISC","events":0}],
      "devices":[{"device":0,"firstColumn":0,"firstRow":0}],
      "view":{"clusters":1,"domains":1,"pes":3,"positionsPerSide":3,
              "command":"marrowfin -c 1 -d 1 -p 3 -f )" +
                                  Trace() + R"("}})"),
            Account(List({FireAt(10)})));
}

TEST_F(ImportTest, NamesOfTheInputAreEscapedInTheAccount) {
  ASSERT_EQ(0, Import(List({FireAt(10, R"(\u001b[31m\u00e9)")})));
  EXPECT_THAT(out, HasSubstr(R"(processor "\u001b[31m\u00e9", 1 events)"));
}

TEST_F(ImportTest, TheOutputsNameIsQuotedForTheShell) {
  testing::WriteFile(Capture(), "[]");
  const std::string trace = folder.File("it's a trace");
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", Capture(), "-o", trace}));
  EXPECT_THAT(out, HasSubstr("-f '" + folder.Path() + "/it'\\''s a trace'\n"));
}

TEST_F(ImportTest, AFileWhoseNameIsAHyphenIsNamedByItsFolder) {
  ASSERT_EQ(0, chdir(folder.Path().c_str()));
  testing::WriteFile("-", List({FireAt(10)}));
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", "./-", "-o", "out.trace"})) << err;
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", "./-", "-o", "./-.trace"})) << err;
  EXPECT_EQ(testing::ReadFile("out.trace"), testing::ReadFile("-.trace"));
}

}  // namespace
}  // namespace marrowfin
