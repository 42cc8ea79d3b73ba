#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/StateReader.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;

// A picture that is kept by what answers tell.
struct Picture {
  uint64_t step = 0;
  uint64_t cycle = 0;
  uint64_t last = 0;
  std::vector<double> elements;
  std::vector<double> switches;
  std::vector<std::vector<double>> messages;  // record, age, thread, ends

  friend bool operator==(const Picture&, const Picture&) = default;
};

void AddMessages(const ReadAnswer& answer, const std::vector<std::string>& names, size_t from,
                 size_t to, std::vector<std::vector<double>>& messages) {
  const std::vector<double> ends[] = {answer.Of(names[3]), answer.Of(names[4])};
  for (size_t i = from; i < to; ++i) {
    messages.push_back({answer.Of(names[0])[i], answer.Of(names[1])[i], answer.Of(names[2])[i],
                        ends[0][2 * i], ends[0][2 * i + 1], ends[1][2 * i], ends[1][2 * i + 1]});
  }
}

Picture PictureOf(const ReadAnswer& answer) {
  Picture picture = {answer.head["step"],   std::stoull(answer.head["cycle"].get<std::string>()),
                     answer.head["last"],   answer.Of("elements"),
                     answer.Of("switches"), {}};
  AddMessages(answer, {"record", "age", "thread", "from", "to"}, 0, answer.Of("record").size(),
              picture.messages);
  return picture;
}

Picture PictureOf(const ArrayState& state) {
  Picture picture = {state.step, state.cycle, state.last, {}, {}, {}};
  picture.elements.assign(state.elementCodes.begin(), state.elementCodes.end());
  picture.switches.assign(state.switchCodes.begin(), state.switchCodes.end());
  for (const LiveMessage& m : state.messages) {
    picture.messages.push_back({static_cast<double>(m.record), static_cast<double>(state.AgeOf(m)),
                                static_cast<double>(m.thread), static_cast<double>(m.from.column),
                                static_cast<double>(m.from.row), static_cast<double>(m.to.column),
                                static_cast<double>(m.to.row)});
  }
  return picture;
}

size_t EndOf(const ReadAnswer& answer, const std::string& name, size_t moment) {
  return static_cast<size_t>(answer.Of(name)[moment]);
}

size_t BeginOf(const ReadAnswer& answer, const std::string& name, size_t moment) {
  return moment == 0 ? 0 : EndOf(answer, name, moment - 1);
}

// Takes a picture on by one moment of an answer, as a page does.
void Advance(const ReadAnswer& answer, size_t moment, bool back, Picture& picture) {
  picture.step = static_cast<uint64_t>(answer.Of("step")[moment]);
  picture.cycle = answer.Wide("cycle")[moment];
  picture.last = static_cast<uint64_t>(answer.Of("last")[moment]);
  for (size_t i = BeginOf(answer, "elementEnd", moment); i < EndOf(answer, "elementEnd", moment);
       ++i) {
    picture.elements[static_cast<size_t>(answer.Of("element")[i])] = answer.Of("elementCode")[i];
  }
  for (size_t i = BeginOf(answer, "switchEnd", moment); i < EndOf(answer, "switchEnd", moment);
       ++i) {
    picture.switches[static_cast<size_t>(answer.Of("switch")[i])] = answer.Of("switchCode")[i];
  }
  for (std::vector<double>& message : picture.messages) {
    message[1] += back ? -1 : 1;
  }
  for (size_t i = BeginOf(answer, "goneEnd", moment); i < EndOf(answer, "goneEnd", moment); ++i) {
    std::erase_if(picture.messages,
                  [&](const auto& message) { return message[0] == answer.Of("gone")[i]; });
  }
  AddMessages(answer, {"sent", "sentAge", "sentThread", "sentFrom", "sentTo"},
              BeginOf(answer, "sentEnd", moment), EndOf(answer, "sentEnd", moment),
              picture.messages);
  std::sort(picture.messages.begin(), picture.messages.end());
}

class StateAnswersTest : public ::testing::Test {
 protected:
  static RandomTraceOptions Options(bool falling = false) {
    RandomTraceOptions options;
    options.records = 3000;
    options.shape = {2, 2, 2};
    options.falling = falling;
    return options;
  }

  void Begin(const std::vector<Event>& events) {
    opened = std::make_unique<Opened>(Encode(events));
    asked = std::make_unique<AskedTrace>(Encode(events));
    asked->UntilReady();
    reader = std::make_unique<StateReader>(*opened->trace, *opened->index, shape);
  }

  json Question(const char* ask, json moment) const {
    moment["ask"] = ask;
    moment["shape"] = ShapeJson(shape);
    return moment;
  }

  static json AtStep(uint64_t step, uint64_t skipTo = 0) {
    return {{"reading", "viewer"}, {"step", step}, {"skipTo", std::to_string(skipTo)}};
  }
  static json AtCycle(uint64_t cycle) {
    return {{"reading", "natural"}, {"cycle", std::to_string(cycle)}};
  }

  const ArrayShape shape = {2, 2, 2};
  std::mt19937 random{20261122};
  std::unique_ptr<Opened> opened;
  std::unique_ptr<AskedTrace> asked;
  std::unique_ptr<StateReader> reader;
};

TEST_F(StateAnswersTest, AnyStepOfAViewerIsWhatTheEngineTells) {
  Begin(RandomEvents(random, Options()));
  const uint64_t steps = *reader->CountSteps(0);
  for (int i = 0; i < 100; ++i) {
    const uint64_t step = random() % (steps + 2);
    const ReadAnswer answer = asked->Ask(Question("state", AtStep(step)));
    ASSERT_EQ(answer.Code(), "");
    const ArrayState state = *reader->AtStep(step, 0);
    ASSERT_EQ(PictureOf(answer), PictureOf(state)) << step;
    EXPECT_EQ(answer.head["steps"], steps);
    EXPECT_EQ(answer.head["shown"], state.shown);
    EXPECT_EQ(answer.head["first"], state.first);
    EXPECT_EQ(answer.head["messages"], state.messages.size());
  }
}

TEST_F(StateAnswersTest, AViewerMaySkipToACycle) {
  Begin(RandomEvents(random, Options()));
  for (const uint64_t skipTo : {1U, 100U, 400U}) {
    const uint64_t steps = *reader->CountSteps(skipTo);
    for (const uint64_t step : {uint64_t{0}, uint64_t{1}, steps / 2, steps + 1}) {
      const ReadAnswer answer = asked->Ask(Question("state", AtStep(step, skipTo)));
      ASSERT_EQ(PictureOf(answer), PictureOf(*reader->AtStep(step, skipTo))) << step;
      EXPECT_EQ(answer.head["steps"], steps);
    }
  }
}

TEST_F(StateAnswersTest, AnyCycleOfTheNaturalReadingIsWhatTheEngineTells) {
  for (const bool falling : {false, true}) {
    Begin(RandomEvents(random, Options(falling)));
    const Summary& summary = opened->index->GetSummary();
    for (int i = 0; i < 30; ++i) {
      const uint64_t cycle = random() % (summary.maxCycle + 3);
      const ReadAnswer answer = asked->Ask(Question("state", AtCycle(cycle)));
      ASSERT_EQ(PictureOf(answer), PictureOf(*reader->AtCycle(cycle))) << cycle;
    }
  }
}

TEST_F(StateAnswersTest, StepsLeadForwardThroughEveryPicture) {
  Begin(RandomEvents(random, Options()));
  const uint64_t steps = *reader->CountSteps(0);
  Picture picture = PictureOf(asked->Ask(Question("state", AtStep(0))));
  for (bool ended = false; !ended;) {
    json question = Question("steps", AtStep(picture.step));
    question["count"] = 1 + random() % 100;
    const ReadAnswer answer = asked->Ask(question);
    ASSERT_EQ(answer.Code(), "");
    for (size_t i = 0; i < answer.head["moments"]; ++i) {
      Advance(answer, i, false, picture);
      ASSERT_EQ(picture, PictureOf(*reader->AtStep(picture.step, 0))) << picture.step;
    }
    ended = answer.head["ended"];
  }
  EXPECT_EQ(picture.step, steps + 1);
}

TEST_F(StateAnswersTest, StepsLeadBackThroughEveryPictureOfCycles) {
  Begin(RandomEvents(random, Options()));
  const uint64_t end = opened->index->GetSummary().maxCycle;
  Picture picture = PictureOf(asked->Ask(Question("state", AtCycle(end))));
  for (bool ended = false; !ended;) {
    json question = Question("steps", AtCycle(picture.cycle));
    question["count"] = 64;
    question["back"] = true;
    const ReadAnswer answer = asked->Ask(question);
    ASSERT_EQ(answer.Code(), "");
    for (size_t i = 0; i < answer.head["moments"]; ++i) {
      Advance(answer, i, true, picture);
      const ArrayState expected =
          picture.step == 0 ? AsBuilt(shape) : *reader->AtCycle(picture.cycle);
      ASSERT_EQ(picture, PictureOf(expected)) << picture.step;
    }
    ended = answer.head["ended"];
  }
  EXPECT_EQ(picture.step, 0U);
}

TEST_F(StateAnswersTest, QuestionsAboutManyMomentsInTurnDoNotMixThemUp) {
  Begin(RandomEvents(random, Options()));
  std::vector<Picture> pictures(10);
  for (size_t i = 0; i < pictures.size(); ++i) {
    pictures[i] = PictureOf(asked->Ask(Question("state", AtStep(i * 40))));
  }
  for (int round = 0; round < 8; ++round) {
    for (Picture& picture : pictures) {
      json question = Question("steps", AtStep(picture.step));
      question["count"] = 3;
      const ReadAnswer answer = asked->Ask(question);
      for (size_t i = 0; i < answer.head["moments"]; ++i) {
        Advance(answer, i, false, picture);
      }
      ASSERT_EQ(picture, PictureOf(*reader->AtStep(picture.step, 0)));
    }
  }
}

TEST_F(StateAnswersTest, TheSameStepsAreToldAlikeWhateverWasAskedBefore) {
  Begin(RandomEvents(random, Options()));
  for (const bool back : {false, true}) {
    json question = Question("steps", AtStep(300));
    question["count"] = 200;
    question["back"] = back;
    const ReadAnswer first = asked->Ask(question);
    json other = Question("steps", AtStep(350));
    other["count"] = 50;
    other["back"] = true;
    asked->Ask(other);  // leaves a cursor at step 300 that has come another way
    const ReadAnswer again = asked->Ask(question);
    EXPECT_EQ(again.head, first.head);
    for (const auto& [name, column] : first.columns) {
      EXPECT_EQ(again.columns.at(name).bytes, column.bytes) << name;
    }
  }
}

TEST_F(StateAnswersTest, AnEventThatTheArrayLacksIsToldWithItsPlace) {
  Begin({{FIRE_RECORD, 1, 0, {0, 0}, {}}, {FIRE_RECORD, 2, 0, {20, 0}, {}}});
  const ReadAnswer answer = asked->Ask(Question("state", AtCycle(2)));
  EXPECT_EQ(answer.Code(), "out-of-range");
  EXPECT_EQ(answer.head["error"]["place"], "record 1 at byte 28");
}

}  // namespace
}  // namespace marrowfin::testing
