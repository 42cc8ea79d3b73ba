#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/PieceCode.h"
#include "trace/ask/StateReader.h"
#include "trace/base/Fingerprint.h"
#include "trace/write/AboutText.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(TraceAnswersTest, AllThatIsKnownOfATraceIsTold) {
  const std::string bytes =
      TraceBytes("fire 5 0 0 0\nfire 5 3 1 0\nsend 7 7 0 0 2 3\nswitch 9 1 4 4\nfire 12 0 7 5\n");
  const AskedTrace asked(bytes);
  asked.UntilReady();
  const ReadAnswer answer = asked.Ask({{"ask", "trace"}});
  ASSERT_EQ(answer.Code(), "");
  const json& head = answer.head;
  EXPECT_EQ(head["name"], "t.trace");
  EXPECT_EQ(head["bytes"], bytes.size());
  EXPECT_EQ(head["records"], 5);
  EXPECT_EQ(head["fires"], 3);
  EXPECT_EQ(head["sends"], 1);
  EXPECT_EQ(head["switches"], 1);
  EXPECT_EQ(head["firstCycle"], "5");
  EXPECT_EQ(head["lastCycle"], "12");
  EXPECT_EQ(head["naturalSteps"], 4);
  EXPECT_EQ(head["steps"], 4);
  EXPECT_EQ(head["orderly"], true);
  EXPECT_THAT(head["threads"], ElementsAre(0, 1, 3, 7));
  EXPECT_THAT(head["extent"], ElementsAre(8, 6));
  EXPECT_TRUE(head["end"].is_null());
  EXPECT_TRUE(head["about"].is_null());
  EXPECT_TRUE(head["companionFault"].is_null());
  EXPECT_EQ(head["shapeFrom"], "extent");
  EXPECT_EQ(head["viewerShows"], true);
  EXPECT_EQ(head["indexed"], true);
  EXPECT_EQ(head["shapes"][0], head["shape"]);
}

TEST(TraceAnswersTest, WhatTheRunToldOfItselfIsToldToo) {
  const std::string bytes = TraceBytes("fire 5 0 0 0\nfire 6 1 3 1\n");
  Fingerprint print;
  print.Add(FIRE_RECORD, 5, 0, {0, 0}, {});
  print.Add(FIRE_RECORD, 6, 1, {3, 1}, {});
  About about;
  about.name = "a run";
  about.command = "sim -x";
  about.cycleNs = 1.25;
  about.printed = 2;
  about.fingerprint = print.Value();
  about.array = AboutArray{ArrayShape({2, 1}, {1, 1}, {2, 2}), false, true, false};
  about.threads[1] = {"vc1", "virtual channel"};
  about.places[{3, 1}] = "memory";
  const AskedTrace asked(bytes, {{".about", AboutText(about)}});
  asked.UntilReady();
  const json head = asked.Ask({{"ask", "trace"}}).head;
  ASSERT_FALSE(head["about"].is_null()) << head["companionFault"].dump();
  EXPECT_EQ(head["about"]["name"], "a run");
  EXPECT_EQ(head["about"]["command"], "sim -x");
  EXPECT_EQ(head["about"]["cycleNs"], 1.25);
  EXPECT_EQ(head["about"]["threads"]["1"]["name"], "vc1");
  EXPECT_EQ(head["about"]["threads"]["1"]["meaning"], "virtual channel");
  EXPECT_THAT(head["about"]["places"][0], ElementsAre(3, 1, "memory"));
  EXPECT_EQ(head["shape"], ShapeJson(about.array->shape));
  EXPECT_EQ(head["shapeFrom"], "about");
  EXPECT_EQ(head["gaps"], false);
  EXPECT_EQ(head["wrapColumns"], true);
  EXPECT_EQ(head["wrapRows"], false);
  EXPECT_EQ(head["viewerShows"], false);
  EXPECT_EQ(head["viewerShape"], ShapeJson(ArrayShape(2, 1, 2)));
}

TEST(TraceAnswersTest, NoMorePlacesAndThreadsAreFoundThanAreWanted) {
  const std::string bytes = TraceBytes("fire 5 0 0 0\nfire 6 1 3 1\n");
  Fingerprint print;
  print.Add(FIRE_RECORD, 5, 0, {0, 0}, {});
  print.Add(FIRE_RECORD, 6, 1, {3, 1}, {});
  About about;
  about.name = "a run";
  about.printed = 2;
  about.fingerprint = print.Value();
  about.threads = {{0, {"Lane a", ""}}, {1, {"lane b", ""}}};
  about.places = {{{0, 0}, "Memory"}, {{1, 0}, "core"}, {{3, 1}, "a memory"}};
  const AskedTrace asked(bytes, {{".about", AboutText(about)}});
  asked.UntilReady();
  const auto found = [&](const std::string& text, uint64_t most, const char* what) {
    return asked.Ask({{"ask", "search"}, {"text", text}, {"most", most}}).head[what].size();
  };
  EXPECT_EQ(found("memory", 1, "places"), 1U);
  EXPECT_EQ(found("memory", 2, "places"), 2U);
  EXPECT_EQ(found("MEMORY", 9, "places"), 2U);
  EXPECT_EQ(found("lane", 1, "threads"), 1U);
  EXPECT_EQ(found("lane", 9, "threads"), 2U);
  EXPECT_EQ(found("1", 9, "threads"), 1U);
}

TEST(TraceAnswersTest, AnArrayThatWasGivenComesBeforeAllOthers) {
  const ArrayShape shape = {2, 2, 4};
  const AskedTrace asked(TraceBytes("fire 5 0 0 0\n"), {}, shape);
  asked.UntilReady();
  const json head = asked.Ask({{"ask", "trace"}}).head;
  EXPECT_EQ(head["shapeFrom"], "option");
  EXPECT_EQ(head["shape"], ShapeJson(shape));
  EXPECT_EQ(
      asked.Ask({{"ask", "state"}, {"reading", "natural"}, {"cycle", "5"}}).Of("elements").size(),
      shape.Elements());
}

TEST(TraceAnswersTest, ATraceThatBreaksOffIsToldUpToThereWithItsEnd) {
  const std::string whole = TraceBytes("fire 5 0 0 0\nfire 6 0 1 0\n");
  for (size_t size = 0; size <= whole.size(); ++size) {
    const AskedTrace asked(whole.substr(0, size));
    asked.UntilReady();
    const json head = asked.Ask({{"ask", "trace"}}).head;
    ASSERT_EQ(head["records"], size / 28) << "cut at byte " << size;
    EXPECT_EQ(head["end"].is_null(), size % 28 == 0) << "cut at byte " << size;
    if (size % 28 != 0) {
      EXPECT_EQ(head["end"]["kind"], "cut-record");
      EXPECT_EQ(head["end"]["record"], size / 28);
      EXPECT_EQ(head["end"]["offset"], size / 28 * 28);
      EXPECT_THAT(head["end"]["message"].get<std::string>(), HasSubstr("bytes"));
    }
  }
}

TEST(TraceAnswersTest, AnyMomentIsFoundInBothReadings) {
  std::mt19937 random(5);
  const std::vector<Event> events = RandomEvents(random, {});
  const Opened opened(Encode(events));
  const AskedTrace asked(Encode(events));
  asked.UntilReady();
  const StateReader reader(*opened.trace, *opened.index, RandomTraceOptions().shape);
  const uint64_t steps = *reader.CountSteps(0);
  for (uint64_t step = 0; step <= steps + 1; ++step) {
    const ArrayState state = *reader.AtStep(step, 0);
    const json head = asked.Ask({{"ask", "when"}, {"reading", "viewer"}, {"step", step}}).head;
    ASSERT_EQ(head["record"], state.last) << step;
    ASSERT_EQ(head["step"], step);
    EXPECT_EQ(head["lastStep"], steps);
    if (state.last > 0 && step > 0 && step <= steps) {
      EXPECT_EQ(head["cycle"], std::to_string(state.cycle));
      // The last record of a step is in it.
      EXPECT_EQ(asked.Ask({{"ask", "when"}, {"record", state.last - 1}}).head["step"], step);
    }
  }
  for (uint64_t cycle = 0; cycle < events.back().cycle + 2; cycle += 7) {
    const ArrayState state = *reader.AtCycle(cycle);
    const json head =
        asked.Ask({{"ask", "when"}, {"reading", "natural"}, {"cycle", std::to_string(cycle)}}).head;
    EXPECT_EQ(head["record"], state.last) << cycle;
    EXPECT_EQ(head["naturalStep"], state.step) << cycle;
    const json byStep = asked
                            .Ask({{"ask", "state"},
                                  {"reading", "natural"},
                                  {"naturalStep", state.step},
                                  {"shape", ShapeJson(state.shape)}})
                            .head;
    EXPECT_EQ(byStep["step"], state.step) << cycle;
  }
}

TEST(TraceAnswersTest, PalettesAreTheColoursOfTheViewer) {
  const AskedTrace asked(TraceBytes("fire 5 0 0 0\n"));
  asked.UntilReady();
  for (const uint64_t step : {0U, 3U, 500U}) {
    const ReadAnswer answer = asked.Ask({{"ask", "palette"}, {"step", step}});
    std::vector<double> expected;
    for (const Color& color : ElementPaletteAt(step)) {
      expected.insert(expected.end(),
                      {static_cast<double>(color.red), static_cast<double>(color.green),
                       static_cast<double>(color.blue)});
    }
    EXPECT_EQ(answer.Of("elements"), expected);
    EXPECT_EQ(answer.Of("switches").size(), 3 * SwitchCodes::COUNT);
    EXPECT_EQ(answer.Of("messages").size(), 3 * 12U);
    EXPECT_EQ(answer.Of("messages")[0], MessageColor(0).red);
  }
}

}  // namespace
}  // namespace marrowfin::testing
