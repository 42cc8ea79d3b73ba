// The array that marrowfin-trace info names is one in which the viewer finds every location.

#include <random>

#include "tests/tools/CommandFixture.h"
#include "tests/trace/support/RandomTrace.h"
#include "viewer/Grid.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using testing::Event;

class ViewCommandTest : public CommandFixture {
 protected:
  json InfoOf(const std::string& bytes) const {
    testing::WriteFile(folder.File("t.trace"), bytes);
    return RunForJson({"info", "t.trace"});
  }

  static Grid GridOf(const json& view) {
    return Grid(view["clusters"], view["domains"], view["pes"]);
  }
};

// Events of whose places the viewer lacks one: of those that fired and of switches, or with the
// ends of messages, of all.
size_t MissingIn(const Grid& grid, const std::vector<Event>& events, bool withEnds = true) {
  size_t missing = 0;
  for (const Event& event : events) {
    if (event.type == SEND_RECORD && !withEnds) {
      continue;
    }
    const Location at(event.at.row, event.at.column);
    const Location to(event.to.row, event.to.column);
    missing += event.type == SWITCH_RECORD ? grid.networkSwitches.count(at) == 0
                                           : grid.processingElements.count(at) == 0;
    missing += event.type == SEND_RECORD && grid.processingElements.count(to) == 0;
  }
  return missing;
}

TEST_F(ViewCommandTest, TheViewerHasEveryLocationOfATrace) {
  std::mt19937 random(1);
  int needed = 0;
  for (int round = 0; round < 40; ++round) {
    testing::RandomTraceOptions options;
    options.shape = {1 + static_cast<uint32_t>(random() % 4),
                     1 + static_cast<uint32_t>(random() % 3),
                     1 + static_cast<uint32_t>(random() % 5)};
    options.records = 1 + random() % 60;
    std::vector<Event> events = RandomEvents(random, options);
    // One switch too few to tell how large a cluster is, or none, leaves more to guess.
    if (round % 4 == 0) {
      std::erase_if(events, [](const Event& event) { return event.type == SWITCH_RECORD; });
    }
    const json info = InfoOf(Encode(events));
    ASSERT_TRUE(info["view"].is_object()) << "round " << round;
    EXPECT_EQ(0U, MissingIn(GridOf(info["view"]), events, false)) << "round " << round << info;
    const bool larger = info.contains("viewOfEnds");
    EXPECT_EQ(0U, MissingIn(GridOf(info[larger ? "viewOfEnds" : "view"]), events))
        << "round " << round << info;
    needed += larger ? 1 : 0;
  }
  EXPECT_GT(needed, 0) << "some messages end where nothing fires";
}

TEST_F(ViewCommandTest, AnArrayWithOneClusterLessLacksALocation) {
  std::mt19937 random(2);
  for (int round = 0; round < 10; ++round) {
    testing::RandomTraceOptions options;
    options.shape = {2 + static_cast<uint32_t>(random() % 3), 2, 4};
    options.records = 1 + random() % 60;
    const std::vector<Event> events = RandomEvents(random, options);
    json view = InfoOf(Encode(events))["view"];
    if (view["clusters"] > 1) {
      view["clusters"] = view["clusters"].get<int>() - 1;
      Grid grid = GridOf(view);
      EXPECT_LT(0U, MissingIn(grid, events)) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace marrowfin
