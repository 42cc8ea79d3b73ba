#include "convert/import/TtNpe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace marrowfin {
namespace {

using ::testing::HasSubstr;

// An event of tile (1, 2) at time 10 whose processor is `processor`.
std::string Event(const std::string& processor, const std::string& more) {
  return R"({"proc":")" + processor + R"(","sx":1,"sy":2,"timestamp":10,)" + more + "}";
}

std::string Zone(const std::string& processor) {
  return Event(processor, R"("zone":"K","zone_phase":"begin")");
}

Result<Capture> Read(const std::string& json, const ReadingOptions& options = {}) {
  CharSource source;
  source.Open(MemorySource(reinterpret_cast<const uint8_t*>(json.data()), json.size()), "capture");
  return ReadTtNpe(source, options);
}

TEST(TtNpeTest, AnEventWithAnEmptyProcessorIsNoReasonToLoseTheOthers) {
  const std::string json =
      "[" + Zone("BRISC") + "," + Zone("") + "," + Zone("NCRISC") + "," + Zone("") + "]";
  const Result<Capture> capture = Read(json);
  ASSERT_TRUE(capture) << capture.Why().Text();
  EXPECT_EQ(4u, capture->eventsRead);
  EXPECT_EQ(2u, capture->events.size());
  const Skipped& skipped = capture->skipped[SKIP_ODD_VALUE];
  EXPECT_EQ(2u, skipped.events);
  EXPECT_EQ(1u, skipped.first);
  EXPECT_EQ("proc is a text of 0 bytes, must have 1 to 64", skipped.why);
  ASSERT_EQ(2u, capture->processors.size());
  EXPECT_EQ("NCRISC", capture->processors[1].name);
}

TEST(TtNpeTest, WhoeverIsStrictGetsTheFaultOfTheFirstOddEvent) {
  const std::string json = "[" + Zone("BRISC") + "," + Zone("") + "]";
  const Result<Capture> capture = Read(json, {true});
  EXPECT_EQ(Fault::REFUSED_INPUT, capture.Why().kind);
  EXPECT_EQ(json.find("\"\""), capture.Why().offset);
  EXPECT_EQ("capture: byte " + std::to_string(json.find("\"\"")) +
                ": [1].proc: is a text of 0 bytes, must have 1 to 64; "
                "correct the value, or record the capture again",
            capture.Why().Text());
}

// Each in a capture whose other event is whole.
TEST(TtNpeTest, OddEventsAreSkippedByWhatIsOddAboutThem) {
  struct Odd {
    std::string event;
    SkipReason reason;
    std::string why;
  };
  const std::string type = R"("type":"WRITE","dx":3,"dy":4)";
  const std::vector<Odd> odd = {
      {Event("P", R"("type":7,"dx":3,"dy":4)"), SKIP_ODD_VALUE, "type is a number, must be a text"},
      {Event("P", R"("type":null,"dx":3,"dy":4)"), SKIP_ODD_VALUE, "type is null, must be a text"},
      {Event("P", R"("type":["a",{"sx":[]}],"dx":3,"dy":4)"), SKIP_ODD_VALUE,
       "type is a list, must be a text"},
      {Event("P", R"("type":"WRITE","dx":300,"dy":4)"), SKIP_ODD_VALUE,
       "dx is 300, must lie from -1 to 255"},
      {Event("P", R"("type":"WRITE","dx":-1,"dy":4)"), SKIP_ODD_VALUE,
       "dx is -1 (no far tile) where the other coordinate is not"},
      {Event("P", type + R"(,"sx":1)"), SKIP_ODD_VALUE, "sx is given twice in one event"},
      {Event("P", R"("type":"WRITE","dx":3)"), SKIP_INCOMPLETE,
       "dy is missing (\"dx\" and \"dy\" go together)"},
      {R"({"proc":"P","sx":1,"timestamp":10,)" + type + "}", SKIP_INCOMPLETE,
       "sy is missing (every event needs it)"},
      // Of several things the first counts.
      {R"({"proc":"","sx":-1,)" + type + "}", SKIP_ODD_VALUE,
       "proc is a text of 0 bytes, must have 1 to 64"},
  };
  for (const Odd& one : odd) {
    SCOPED_TRACE(one.event);
    const Result<Capture> capture = Read("[" + Zone("BRISC") + "," + one.event + "]");
    ASSERT_TRUE(capture) << capture.Why().Text();
    EXPECT_EQ(2u, capture->eventsRead);
    EXPECT_EQ(1u, capture->events.size());
    EXPECT_EQ(1u, capture->skipped[one.reason].events);
    EXPECT_EQ(one.why, capture->skipped[one.reason].why);
    EXPECT_FALSE(Read("[" + Zone("BRISC") + "," + one.event + "]", {true}));
  }
}

TEST(TtNpeTest, AListInWhichEveryEventIsOddIsNoCapture) {
  EXPECT_THAT(Read(R"([{"ph":"X","ts":1},{"ph":"X","ts":2}])").Why().Text(),
              HasSubstr("[0].proc: is missing (every event needs it)"));
  EXPECT_TRUE(Read("[]")) << "an empty one is";
}

TEST(TtNpeTest, WhatMakesTheFileUnreadableIsAFaultBehindOddEventsToo) {
  for (const char* const rest : {"", ",", ",5]", "]]", ",{\"sx\":1e999}]"}) {
    const Result<Capture> capture = Read("[" + Zone("BRISC") + "," + Zone("") + rest);
    EXPECT_EQ(Fault::REFUSED_INPUT, capture.Why().kind) << rest;
  }
}

TEST(TtNpeTest, ARequestToStopIsAFault) {
  CharSource source([](const Progress&) { return false; });
  const std::string json = "[]";
  source.Open(MemorySource(reinterpret_cast<const uint8_t*>(json.data()), json.size()), "capture");
  EXPECT_EQ(Fault::CANCELLED, ReadTtNpe(source, {}).Why().kind);
}

}  // namespace
}  // namespace marrowfin
