// Captures of real hardware, from the folder that MARROWFIN_CAPTURES names: nothing else in the
// suite needs them. What is known about them stands here, what they hold is read by the test
// itself.

#include <algorithm>
#include <cstdlib>
#include <map>

#include "tests/tools/ImportFixture.h"

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
    std::vector<std::string> words = {"import", "--format", "tt-npe", file,
                                      "-o",     Trace(),    "--json"};
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
      {"1x2_BLOCK_TO_2x4_HEIGHT.json", {176, 7320, "-c 1 -d 2 -p 3"}},
      {"2x4_BLOCK_TO_8x4_BLOCK.json", {320, 2520, "-c 1 -d 2 -p 5"}},
      {"DRAM_TO_4x4_BLOCK.json", {608, 9274, "-c 2 -d 2 -p 3"}},
      {"DRAM_TO_8x8_HEIGHT.json", {1792, 11359, "-c 2 -d 2 -p 3"}},
      {"mcast-util-trace-small.json", {7, 700, "-c 1 -d 2 -p 2"}},
      {"ring-4dev_all_gather_combined.json", {441, 36415, "-c 4 -d 2 -p 2"}}};
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
