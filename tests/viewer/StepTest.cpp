// What one step of the animation reads, applies, prints and requests.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/support/Reports.h"
#include "tests/viewer/ViewerRun.h"

namespace marrowfin::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// The colours of threads.
const Color red = {255, 1, 1};
const Color green = {1, 255, 1};
const Color yellow = {255, 255, 1};
const Color blue = {1, 1, 255};
const Color magenta = {255, 1, 255};
const Color cyan = {1, 255, 255};

Color Grey(int value) { return {value, value, value}; }

ViewerRun Play(const std::string& trace, const std::string& script,
               const std::string& options = "") {
  return RunViewer({.options = options + " " + smallArray, .trace = trace, .script = script});
}

// The colours of the small array's elements: (0, 0), (column 0, row 1), (column 1, row 0), (1, 1).
std::vector<std::vector<Color>> ElementColors(const ViewerRun& run) {
  std::vector<std::vector<Color>> colors;
  for (const Picture& picture : Pictures(run)) {
    colors.push_back(picture.elements);
  }
  return colors;
}

std::vector<Color> SwitchColors(const ViewerRun& run) {
  std::vector<Color> colors;
  for (const Picture& picture : Pictures(run)) {
    colors.push_back(picture.networkSwitch);
  }
  return colors;
}

// A trace of fires of thread 0 at the origin, one for each cycle.
std::string FiresAt(const std::vector<std::string>& cycles) {
  std::string trace;
  for (const std::string& cycle : cycles) {
    trace += "fire " + cycle + " 0 0 0\n";
  }
  return trace;
}

std::string FiresAtCycles(int first, int last) {
  std::vector<std::string> cycles;
  for (int cycle = first; cycle <= last; ++cycle) {
    cycles.push_back(std::to_string(cycle));
  }
  return FiresAt(cycles);
}

void ExpectEndOfTrace(const ViewerRun& run) {
  EXPECT_THAT(ErrorsAfterStart(run), AssertionReport("viewer/main.cpp", "e"));
  EXPECT_EQ(SIGABRT, run.result.signal);
}

// One of its steps prints nothing and does nothing with GLUT but to request a redisplay.
void ExpectQuietSteps(const ViewerRun& run, size_t steps) {
  EXPECT_THAT(CallsAfter(run, "> idle"), SizeIs(steps));
  EXPECT_THAT(CallsAfter(run, "> idle"), Each(ElementsAre("glutPostRedisplay()")));
  EXPECT_EQ("", ErrorsAfterStart(run));
}

TEST(StepTest, BeforeTheFirstStepAllPiecesAreBlack) {
  const ViewerRun run = Play(FiresAtCycles(0, 2), "display");
  EXPECT_THAT(ElementColors(run), ElementsAre(Each(Grey(0))));
  EXPECT_THAT(SwitchColors(run), ElementsAre(Grey(0)));
}

TEST(StepTest, ATraceOfCycleZeroIsAppliedInOneStepThatEndsWithoutARedisplay) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "fire 0 1 0 1\n"
      "fire 0 2 1 0\n"
      "send 0 0 0 0 1 1\n",
      "abort-display\nidle 2\n");
  ExpectEndOfTrace(run);
  EXPECT_THAT(CallsAfter(run, "> idle"), ElementsAre(IsEmpty()));
  const std::vector<Picture> pictures = Pictures(run);
  ASSERT_THAT(pictures, SizeIs(1));
  EXPECT_THAT(pictures[0].elements, ElementsAre(Grey(110), green, yellow, Grey(110)));
  EXPECT_THAT(pictures[0].messages, ElementsAre(Message({255, 0, 0}, 0, 0, 1, 1)));
}

TEST(StepTest, AStepAppliesTheRestOfItsCycleAndTheFirstEventOfTheNext) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "fire 0 1 0 1\n"
      "fire 1 2 1 0\n"
      "fire 1 3 1 1\n"
      "fire 2 4 0 0\n",
      "abort-display\nturn 3\n");
  ExpectEndOfTrace(run);
  EXPECT_THAT(ElementColors(run),
              ElementsAre(ElementsAre(Grey(110), green, yellow, Grey(110)),
                          ElementsAre(magenta, Color{110, 255, 1}, Color{237, 255, 1}, blue),
                          ElementsAre(Color{237, 1, 255}, Color{165, 255, 1}, Color{237, 255, 1},
                                      Color{110, 1, 255})));
  EXPECT_THAT(CallsAfter(run, "> idle"),
              ElementsAre(ElementsAre("glutPostRedisplay()"), ElementsAre("glutPostRedisplay()"),
                          IsEmpty()));
}

TEST(StepTest, SkippingDiscardsTheFirstEventAtItsCycleToo) {
  const ViewerRun run = Play(
      "fire 10 0 0 0\n"
      "fire 60 1 0 1\n"
      "fire 60 2 1 0\n"
      "fire 70 3 1 1\n",
      "abort-display\nturn 3\n", "-F 50");
  ExpectEndOfTrace(run);
  EXPECT_THAT(
      ElementColors(run),
      ElementsAre(ElementsAre(Grey(110), Grey(110), yellow, Grey(110)),
                  ElementsAre(Grey(165), Grey(165), Color{237, 255, 1}, blue),
                  ElementsAre(Grey(192), Grey(192), Color{237, 255, 1}, Color{110, 1, 255})));
}

TEST(StepTest, SkippingToACycleThatIsThereDiscardsItsFirstEventOnly) {
  const ViewerRun run = Play(
      "fire 49 0 0 0\n"
      "fire 50 1 0 1\n"
      "fire 50 2 1 0\n"
      "fire 51 3 1 1\n",
      "turn", "-F 50");
  EXPECT_THAT(ElementColors(run),
              ElementsAre(ElementsAre(Grey(110), Grey(110), yellow, Grey(110))));
}

TEST(StepTest, AfterASkipTheFirstEventIsAlreadyAChangeOfCycle) {
  const ViewerRun run = Play(
      "fire 100 0 0 0\n"
      "fire 100 1 0 1\n"
      "fire 100 2 1 0\n"
      "fire 101 3 1 1\n",
      "turn", "-F 100");
  EXPECT_THAT(ElementColors(run), ElementsAre(ElementsAre(Grey(110), green, Grey(110), Grey(110))));
  EXPECT_EQ("Cycle = 100\n", ErrorsAfterStart(run));
}

TEST(StepTest, ASkipPastTheLastCycleConsumesTheWholeTrace) {
  const ViewerRun run = Play(FiresAtCycles(0, 9), "turn", "-F 10");
  ExpectEndOfTrace(run);
}

TEST(StepTest, ANegativeSkipAsksForAHugeCycle) {
  const std::string trace =
      "fire 4294967295 0 0 0\n"            // -1 in 32 bits
      "fire 18446744073709551614 1 0 1\n"  // -2 in 64 bits
      "fire 18446744073709551615 2 1 0\n"
      "fire 18446744073709551615 3 1 1\n"
      "fire 0 4 0 0\n";
  EXPECT_THAT(ElementColors(Play(trace, "turn", "-F -1")),
              ElementsAre(ElementsAre(Grey(110), Grey(110), Grey(110), blue)));
  EXPECT_THAT(ElementColors(Play(trace, "turn", "-F -2")),
              ElementsAre(ElementsAre(Grey(110), Grey(110), yellow, Grey(110))));
}

TEST(StepTest, EveryQuietStepRequestsOneRedisplay) {
  ExpectQuietSteps(Play(FiresAtCycles(0, 5), "idle 5"), 5);
}

TEST(StepTest, ACycleLineIsPrintedOncePerChangeToAMultipleOfAHundred) {
  const ViewerRun run =
      Play(FiresAt({"0", "99", "100", "100", "101", "200", "200", "300", "1000"}), "idle 6");
  EXPECT_EQ("Cycle = 100\nCycle = 200\nCycle = 300\nCycle = 1000\n", ErrorsAfterStart(run));
}

TEST(StepTest, AJumpOverMultiplesOfAHundredPrintsNothing) {
  ExpectQuietSteps(Play(FiresAt({"0", "99", "250", "251", "350", "1050"}), "idle 5"), 5);
}

TEST(StepTest, CyclesThatFallBackCountAsChangesAndCycleZeroIsAMultiple) {
  const ViewerRun run = Play(FiresAt({"0", "200", "100", "100", "7", "0", "0", "200"}), "idle 5");
  EXPECT_EQ("Cycle = 200\nCycle = 100\nCycle = 0\nCycle = 200\n", ErrorsAfterStart(run));
  EXPECT_THAT(CallsAfter(run, "> idle"), Each(ElementsAre("glutPostRedisplay()")));
}

TEST(StepTest, HugeCyclesAreMultiplesAsUnsignedAndPrintedAsSigned) {
  const ViewerRun run =
      Play(FiresAt({"0", "4294967300", "9223372036854775800", "9223372036854775900",
                    "18446744073709551600", "18446744073709551516"}),
           "idle 5");
  EXPECT_EQ(
      "Cycle = 4294967300\n"
      "Cycle = 9223372036854775800\n"
      "Cycle = -9223372036854775716\n"
      "Cycle = -16\n",
      ErrorsAfterStart(run));
}

TEST(StepTest, CyclesThatDifferInTheirHighHalfOnlyAreDifferent) {
  ExpectQuietSteps(Play(FiresAt({"5", "5", "4294967301", "4294967301", "5"}), "idle 3"), 3);
}

TEST(StepTest, AFirePaintsTheElementAtItsColumnAndRow) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "fire 0 5 1 0\n"
      "fire 1 0 0 1\n",
      "turn");
  const std::vector<Picture> pictures = Pictures(run);
  ASSERT_THAT(pictures, SizeIs(1));
  EXPECT_EQ(cyan, pictures[0].Element(1, 0));
  EXPECT_EQ(red, pictures[0].Element(0, 1));
  EXPECT_EQ(Grey(127), pictures[0].networkSwitch);
}

TEST(StepTest, ATransmissionOfASwitchPaintsItAndItFadesTowardsWhite) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "switch 1 3 4 4\n"
      "fire 2 0 0 0\n"
      "fire 3 0 0 0\n",
      "turn 3");
  EXPECT_THAT(SwitchColors(run), ElementsAre(blue, Color{128, 128, 255}, Color{191, 191, 255}));
  EXPECT_EQ(Grey(110), Pictures(run)[0].Element(1, 1));
}

TEST(StepTest, ASwitchIsFoundByItsRowAndColumn) {
  const ViewerRun run = RunViewer({.options = "-c 2 -d 1 -p 1 -f trace",
                                   .trace = "fire 0 0 0 0\nswitch 1 1 5 4\n",
                                   .script = "turn"});
  const auto displays = Displays(run);
  ASSERT_THAT(displays, ElementsAre(SizeIs(12)));
  EXPECT_EQ(Grey(127), displays[0][9].colors[0]);  // of column 0, row 1
  EXPECT_EQ(green, displays[0][10].colors[0]);     // of column 1, row 0
}

TEST(StepTest, ASendAddsAMessageAndPaintsNoPiece) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "send 1 2 0 1 1 0\n",
      "turn");
  const std::vector<Picture> pictures = Pictures(run);
  ASSERT_THAT(pictures, SizeIs(1));
  EXPECT_THAT(pictures[0].elements, Each(Grey(110)));
  EXPECT_EQ(Grey(127), pictures[0].networkSwitch);
  EXPECT_THAT(pictures[0].messages, ElementsAre(Message({255, 0, 0}, 0, 1, 1, 0)));
}

TEST(StepTest, SeveralSendsOfAStepAreAddedInTheirOrder) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "send 0 0 1 1 0 0\n"
      "send 0 1 0 1 1 0\n"
      "send 0 2 0 1 1 0\n"
      "send 1 0 0 0 0 1\n"
      "send 2 0 1 0 0 0\n",
      "turn 2");
  const Color fresh = {255, 0, 0};
  const Color once = {255, 51, 51};
  const std::vector<Picture> pictures = Pictures(run);
  ASSERT_THAT(pictures, SizeIs(2));
  EXPECT_THAT(pictures[0].messages,
              ElementsAre(Message(fresh, 1, 1, 0, 0), Message(fresh, 0, 1, 1, 0),
                          Message(fresh, 0, 1, 1, 0), Message(fresh, 0, 0, 0, 1)));
  EXPECT_THAT(
      pictures[1].messages,
      ElementsAre(Message(once, 1, 1, 0, 0), Message(once, 0, 1, 1, 0), Message(once, 0, 1, 1, 0),
                  Message(once, 0, 0, 0, 1), Message(fresh, 1, 0, 0, 0)));
}

TEST(StepTest, AMessageIsShownByTwelveRedisplaysWhileItFades) {
  const ViewerRun run = Play("fire 0 0 0 0\nsend 1 0 0 0 1 1\n" + FiresAtCycles(2, 20), "turn 15");
  std::vector<int> shades;
  for (const Picture& picture : Pictures(run)) {
    for (const Drawing& message : picture.messages) {
      shades.push_back(message.colors[0].green);
      EXPECT_EQ(Message({255, shades.back(), shades.back()}, 0, 0, 1, 1), message);
    }
  }
  EXPECT_THAT(shades, ElementsAre(0, 51, 91, 123, 149, 170, 187, 200, 211, 219, 226, 231));
  EXPECT_THAT(Pictures(run)[11].messages, SizeIs(1));
  EXPECT_THAT(Pictures(run)[12].messages, IsEmpty());
}

TEST(StepTest, AMessageStaysAsItIsWhileTheAnimationIsPaused) {
  const ViewerRun run = Play("fire 0 0 0 0\nsend 1 0 0 0 1 1\n" + FiresAtCycles(2, 20),
                             "turn 2\nmouse 0 0 1 1\nidle 30\ndisplay\nmouse 0 0 1 1\nturn\n");
  std::vector<int> shades;
  for (const Picture& picture : Pictures(run)) {
    ASSERT_THAT(picture.messages, SizeIs(1));
    shades.push_back(picture.messages[0].colors[0].green);
  }
  EXPECT_THAT(shades, ElementsAre(0, 51, 51, 91));
}

TEST(StepTest, AnEmptyTraceEndsAtTheFirstStep) {
  const ViewerRun run = Play("", "display\nidle\n");
  ExpectEndOfTrace(run);
  EXPECT_THAT(run.calls.back(), "> idle");
}

TEST(StepTest, ATraceOfOneRecordEndsAtTheFirstStep) {
  ExpectEndOfTrace(Play("fire 3 0 0 0", "idle"));
}

TEST(StepTest, TheAbortLosesTheLineOfTheOpenedTraceWhereTheOutputIsNoTerminal) {
  const ViewerRun run = Play("fire 0 0 0 0\nfire 1 0 0 0", "idle 2");
  ExpectEndOfTrace(run);
  EXPECT_EQ("", run.result.out);
}

TEST(StepTest, ARecordCutShortIsTheEndOfTheTrace) {
  const ViewerRun run = Play(
      "fire 0 0 0 0\n"
      "fire 1 1 1 1\n"
      "raw 3 2 1 8 00000001\n",
      "abort-display\nturn 2\n");
  ExpectEndOfTrace(run);
  EXPECT_THAT(ElementColors(run),
              ElementsAre(ElementsAre(Grey(110), Grey(110), Grey(110), green),
                          ElementsAre(Grey(165), Grey(165), Grey(165), Color{110, 255, 1})));
}

TEST(StepTest, AnUnknownTypeEndsTheProgramInTheTraceTool) {
  for (const std::string type : {"0", "1", "5", "4294967295"}) {
    const ViewerRun run = Play("fire 0 0 0 0\nraw " + type + " 0 0 8 0000000000000000", "idle");
    EXPECT_THAT(ErrorsAfterStart(run), AssertionReport("Core/VisTool.cpp", "0"));
    EXPECT_EQ(SIGABRT, run.result.signal);
    EXPECT_EQ("> idle", run.calls.back());
  }
}

TEST(StepTest, AnUnknownTypeInTheFirstRecordEndsTheProgramBeforeItsWindowOpens) {
  const ViewerRun run = Play("raw 9 0 0 0", "");
  EXPECT_THAT(ErrorsAfterStart(run), AssertionReport("Core/VisTool.cpp", "0"));
  EXPECT_EQ(SIGABRT, run.result.signal);
  EXPECT_THAT(run.calls, IsEmpty());
}

TEST(StepTest, AWrongPayloadLengthEndsTheProgram) {
  const ViewerRun run = Play("fire 0 0 0 0\nraw 4 0 0 8 0000000000000000", "idle");
  EXPECT_THAT(ErrorsAfterStart(run),
              AssertionReport("Core/VisTool.cpp", "e.dataLength == sizeof(uint32) * 4"));
  EXPECT_EQ(SIGABRT, run.result.signal);
}

// The update goes through the empty entry that the look-up made.
void ExpectEndsInNullPiece(const ViewerRun& run) {
#ifdef __SANITIZE_ADDRESS__
  EXPECT_THAT(run.result.err,
              ::testing::ContainsRegex("viewer/main.cpp:[0-9]+:[0-9]+: runtime error: member (call "
                                       "on|access within) null pointer of "
                                       "type 'struct ArchitecturePiece'"));
  EXPECT_EQ(1, run.result.exitStatus);
#else
  EXPECT_EQ("", ErrorsAfterStart(run));
  EXPECT_EQ(SIGSEGV, run.result.signal);
#endif
  EXPECT_EQ("> idle", run.calls.back());
}

TEST(StepTest, AFireAtAnUnknownLocationEndsInASegmentationFault) {
  ExpectEndsInNullPiece(Play("fire 0 0 0 0\nfire 1 0 2 0\n", "idle"));
  ExpectEndsInNullPiece(Play("fire 0 0 0 0\nfire 1 0 4 4\n", "idle"));
}

TEST(StepTest, ASwitchAtAnUnknownLocationEndsInASegmentationFault) {
  ExpectEndsInNullPiece(Play("fire 0 0 0 0\nswitch 1 0 0 0\n", "idle"));
  ExpectEndsInNullPiece(Play("fire 0 0 0 0\nswitch 1 0 4 5\n", "idle"));
}

}  // namespace
}  // namespace marrowfin::testing
