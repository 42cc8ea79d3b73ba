// Captures of real hardware, from the folder that MARROWFIN_CAPTURES names: nothing else in the
// suite needs them. What is known about them stands here, what they hold is read by the test
// itself.

#include <algorithm>
#include <cstdlib>
#include <map>

#include "tests/tools/ImportFixture.h"
#include "tests/tools/NotesText.h"

namespace marrowfin {
namespace {

class CapturesTest : public ImportFixture {
 protected:
  void SetUp() override {
    const char* const captures = std::getenv("MARROWFIN_CAPTURES");
    if (captures == nullptr || *captures == '\0') {
      GTEST_SKIP() << "captures: not given (set MARROWFIN_CAPTURES)";
    }
    for (const auto& entry :
         std::filesystem::directory_iterator(captures + std::string("/tt-npe"))) {
      if (entry.path().extension() == ".json") {
        files.push_back(entry.path());
      }
    }
    std::sort(files.begin(), files.end());
    ASSERT_FALSE(files.empty());
  }

  nlohmann::json AccountOf(const std::string& file, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {"import", "--format", "tt-npe",  file,
                                      "-o",     Trace(),    "--force", "--json"};
    words.insert(words.end(), more.begin(), more.end());
    EXPECT_EQ(0, Run(words)) << err;
    return nlohmann::json::parse(out);
  }

  std::vector<std::string> files;
};

uint64_t Sum(const nlohmann::json& counts, const char* what) {
  uint64_t sum = 0;
  for (const auto& entry : counts) {
    sum += entry[what].get<uint64_t>();
  }
  return sum;
}

TEST_F(CapturesTest, EveryEventIsAccountedFor) {
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const nlohmann::json capture = nlohmann::json::parse(testing::ReadFile(file));
    const nlohmann::json account = AccountOf(file);
    EXPECT_EQ(capture.size(), account["events"]["read"]);
    EXPECT_EQ(capture.size(),
              Sum(account["converted"], "events") + Sum(account["skipped"], "events"));
    EXPECT_EQ(
        Sum(account["converted"], "records"),
        account["records"]["fires"].get<uint64_t>() + account["records"]["sends"].get<uint64_t>());
    EXPECT_EQ(account["records"]["total"], RecordsIn(testing::ReadFile(Trace())).size());
    EXPECT_EQ(capture.size(), Sum(account["threads"], "events"));
  }
}

TEST_F(CapturesTest, NoEventIsSkipped) {
  for (const std::string& file : files) {
    EXPECT_EQ(0, AccountOf(file)["events"]["skipped"]) << file;
  }
}

// What the notes call the events of the captures, by type.
const std::map<std::string, std::string> NOTED_KINDS = {{"READ", "read"},
                                                        {"READ_BARRIER_START", "barrier"},
                                                        {"READ_BARRIER_END", "barrier"},
                                                        {"WRITE_", "write"},
                                                        {"WRITE_MULTICAST", "multicast"},
                                                        {"WRITE_FLUSH", "flush"},
                                                        {"WRITE_BARRIER_START", "barrier"},
                                                        {"WRITE_BARRIER_END", "barrier"},
                                                        {"WRITE_WITH_TRID_SET_STATE", "set-up"},
                                                        {"SEMAPHORE_INC", "semaphore"},
                                                        {"SEMAPHORE_WAIT", "wait"},
                                                        {"FABRIC_UNICAST_WRITE", "fabric write"}};

// How many records of an event there are.
uint64_t RecordsOf(const nlohmann::json& event) {
  if (!event.contains("mcast_start_x")) {
    return 1;
  }
  const int columns = event["mcast_end_x"].get<int>() - event["mcast_start_x"].get<int>();
  const int rows = event["mcast_end_y"].get<int>() - event["mcast_start_y"].get<int>();
  return static_cast<uint64_t>(std::abs(columns) + 1) * (std::abs(rows) + 1);
}

// How many records are to have each note: their kinds, phases, networks, and the bytes of messages.
std::map<std::string, uint64_t> ExpectedNotes(const nlohmann::json& capture) {
  std::map<std::string, uint64_t> counts = {{"kind=frame", 2}};
  for (const nlohmann::json& event : capture) {
    const uint64_t records = RecordsOf(event);
    const std::string type = event.value("type", "");
    const std::string phase = event.value("zone_phase", type);
    counts["kind=" + (type.empty() ? "kernel" : NOTED_KINDS.at(type))] += records;
    if (phase == "begin" || phase.ends_with("_START")) {
      counts["phase=begin"] += records;
    } else if (phase == "end" || phase.ends_with("_END")) {
      counts["phase=end"] += records;
    }
    if (!type.empty()) {
      counts["network=" + event["noc"].get<std::string>()] += records;
    }
    if (event.contains("op_name")) {
      counts["operation=" + event["op_name"].get<std::string>()] += records;
    }
    if (event.value("vc", -1) >= 0) {
      counts["channel=" + std::to_string(event["vc"].get<int>())] += records;
    }
    if (event.contains("dx") && event["dx"] != -1 && !type.ends_with("_SET_STATE")) {
      counts["size=" + std::to_string(event["num_bytes"].get<int>())] += records;
    }
    counts["name=" + event.value("zone", type)] += records;
  }
  return counts;
}

TEST_F(CapturesTest, TheNotesTellOfEveryEventWhatItWas) {
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    AccountOf(file);
    std::map<std::string, uint64_t> counts;
    const std::vector<std::string> notes = NotesBeside(Trace());
    for (const auto& [note, count] :
         ExpectedNotes(nlohmann::json::parse(testing::ReadFile(file)))) {
      EXPECT_EQ(count, CountNoted(notes, note)) << note;
      counts[note.substr(0, note.find('='))] += count;
    }
    EXPECT_EQ(notes.size(), counts["kind"]);
    EXPECT_EQ(notes.size() - 2, counts["name"]);
  }
}

TEST_F(CapturesTest, ATraceHasTheSameBytesWithAndWithoutItsCompanion) {
  for (const std::string& file : files) {
    AccountOf(file);
    const std::string bytes = testing::ReadFile(Trace());
    AccountOf(file, {"--no-companion"});
    EXPECT_TRUE(bytes == testing::ReadFile(Trace())) << file;
  }
}

// (cycle, thread, from, to) or (cycle, thread, at), however often, for captures of one device and
// without multicasts; the mapping is written a second time here.
std::vector<TraceRecord> ExpectedRecords(const nlohmann::json& capture) {
  std::vector<TraceRecord> records;
  for (const nlohmann::json& event : capture) {
    const uint32_t thread = event["proc"] == "BRISC" ? 0 : 1;
    const uint32_t sx = event["sx"];
    const uint32_t sy = event["sy"];
    if (event.value("type", "") == "READ") {
      records.push_back({4, event["timestamp"], thread, {event["dx"], event["dy"], sx, sy}});
    } else {
      records.push_back({3, event["timestamp"], thread, {sx, sy}});
    }
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const TraceRecord& a, const TraceRecord& b) { return a.cycle < b.cycle; });
  const uint64_t origin = records.front().cycle;
  for (TraceRecord& record : records) {
    record.cycle -= origin;
  }
  return records;
}

TEST_F(CapturesTest, ACaptureOfReadsAndWaitsGivesExactlyTheirRecords) {
  int compared = 0;
  for (const std::string& file : files) {
    const nlohmann::json capture = nlohmann::json::parse(testing::ReadFile(file));
    if (capture[0].contains("run_id") || file.find("mcast") != std::string::npos) {
      continue;
    }
    SCOPED_TRACE(file);
    AccountOf(file, {"--no-frame"});
    EXPECT_TRUE(ExpectedRecords(capture) == RecordsIn(testing::ReadFile(Trace())));
    ++compared;
  }
  EXPECT_EQ(4, compared);
}

TEST_F(CapturesTest, CyclesNeverFallAndEveryPositionIsInTheArray) {
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const nlohmann::json account = AccountOf(file);
    const uint32_t side = account["view"]["positionsPerSide"];
    uint64_t cycle = 0;
    for (const TraceRecord& record : RecordsIn(testing::ReadFile(Trace()))) {
      ASSERT_LE(cycle, record.cycle);
      cycle = record.cycle;
      for (const uint32_t position : record.words) {
        ASSERT_LT(position, side);
      }
    }
    EXPECT_EQ(account["cycles"]["last"].get<uint64_t>() + 1, cycle);
  }
}

TEST_F(CapturesTest, TheTraceToolReadsEveryTrace) {
  for (const std::string& file : files) {
    AccountOf(file);
    EXPECT_TRUE(RecordsIn(testing::ReadFile(Trace())) == RecordsThroughTraceTool(Trace())) << file;
  }
}

TEST_F(CapturesTest, EveryTraceHasTheNumbersThatItsSourceStates) {
  struct Known {
    int events;
    uint64_t lastCycle;
    const char* view;
  };
  const std::map<std::string, Known> known = {
      {"1x2_BLOCK_TO_2x4_HEIGHT.json", {176, 7320, "-c 1 -d 1 -p 5"}},
      {"2x4_BLOCK_TO_8x4_BLOCK.json", {320, 2520, "-c 1 -d 1 -p 10"}},
      {"DRAM_TO_4x4_BLOCK.json", {608, 9274, "-c 1 -d 1 -p 12"}},
      {"DRAM_TO_8x8_HEIGHT.json", {1792, 11359, "-c 1 -d 1 -p 12"}},
      {"mcast-util-trace-small.json", {7, 700, "-c 1 -d 1 -p 3"}},
      {"ring-4dev_all_gather_combined.json", {441, 36415, "-c 2 -d 1 -p 7"}}};
  for (const auto& [name, numbers] : known) {
    SCOPED_TRACE(name);
    const auto file = std::find_if(files.begin(), files.end(), [&name = name](const auto& path) {
      return path.ends_with("/" + name);
    });
    ASSERT_NE(files.end(), file);
    const nlohmann::json account = AccountOf(*file);
    EXPECT_EQ(numbers.events, account["events"]["read"]);
    EXPECT_EQ(numbers.lastCycle, account["cycles"]["last"]);
    EXPECT_EQ(std::string("marrowfin ") + numbers.view + " -f " + Trace(),
              account["view"]["command"]);
  }
}

}  // namespace
}  // namespace marrowfin
