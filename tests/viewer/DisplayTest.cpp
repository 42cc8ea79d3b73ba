// Drawing, reshaping, and what the mouse does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/viewer/ViewerRun.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// A trace that lasts for `steps` steps, all in the small array.
std::string TraceOf(int steps) {
  std::string trace;
  for (int cycle = 1; cycle <= steps + 1; ++cycle) {
    trace += "fire " + std::to_string(cycle) + " 0 0 0\n";
  }
  return trace;
}

ViewerRun Play(int steps, const std::string& script, const std::string& options = "") {
  return RunViewer(
      {.options = options + " " + smallArray, .trace = TraceOf(steps), .script = script});
}

// The turns of each display: about z, y and x.
std::vector<std::vector<std::string>> Rotations(const ViewerRun& run) {
  std::vector<std::vector<std::string>> displays;
  for (const auto& calls : CallsAfter(run, "> display")) {
    displays.emplace_back();
    for (const std::string& call : calls) {
      if (call.starts_with("glRotated")) {
        displays.back().push_back(call);
      }
    }
  }
  return displays;
}

std::vector<std::string> Turned(const std::string& z, const std::string& y, const std::string& x) {
  return {"glRotated(" + z + ", 0, 0, 1)", "glRotated(" + y + ", 0, 1, 0)",
          "glRotated(" + x + ", 1, 0, 0)"};
}

std::vector<std::string> Matrices(const std::string& centre, const std::string& back) {
  return {"glClear(GL_COLOR_BUFFER_BIT)",
          "glPushMatrix()",
          "glTranslated(0, 0, -20)",
          "glTranslated(" + centre + ", " + centre + ", 0)",
          "glRotated(0, 0, 0, 1)",
          "glRotated(0, 0, 1, 0)",
          "glRotated(0, 1, 0, 0)",
          "glTranslated(" + back + ", " + back + ", 0)",
          "glPopMatrix()",
          "glutSwapBuffers()"};
}

std::vector<std::string> DrawCalls(const Drawing& drawing) {
  return {"glEnableClientState(GL_VERTEX_ARRAY)", "glEnableClientState(GL_COLOR_ARRAY)",
          "glVertexPointer(3, GL_INT, 0, POINTER)",
          "glColorPointer(3, GL_UNSIGNED_BYTE, 0, POINTER)", DrawCall(drawing)};
}

TEST(DisplayTest, OfAnEmptyArrayIsTheMatrixSequenceAlone) {
  const ViewerRun run = RunViewer({.options = "-c 0 -f trace", .trace = "", .script = "display"});
  EXPECT_THAT(CallsAfter(run, "> display"), ElementsAre(Matrices("20", "-20")));
}

TEST(DisplayTest, DrawsThePiecesBetweenTheMatrices) {
  const ViewerRun run =
      RunViewer({.options = "-c 1 -d 1 -p 1 -f trace", .trace = "", .script = "display"});
  std::vector<std::string> expected = Matrices("33", "-33");
  std::vector<std::string> drawn;
  const auto displays = Displays(run);
  ASSERT_THAT(displays, ElementsAre(SizeIs(3)));
  for (const Drawing& drawing : displays[0]) {
    const std::vector<std::string> calls = DrawCalls(drawing);
    drawn.insert(drawn.end(), calls.begin(), calls.end());
  }
  expected.insert(expected.begin() + 8, drawn.begin(), drawn.end());
  EXPECT_THAT(CallsAfter(run, "> display"), ElementsAre(expected));
}

TEST(DisplayTest, SizesThatWrapBelowZeroAreHalvedTowardsZero) {
  const ViewerRun run = RunViewer({.options = "-c 1 -d 1073741825 -p -1073741823 -f trace",
                                   .trace = "",
                                   .script = "reshape 9 8\n"});
  EXPECT_THAT(CallsAfter(run, "> reshape"),
              ElementsAre(ElementsAre("glViewport(0, 0, 9, 8)", "glMatrixMode(GL_PROJECTION)",
                                      "glLoadIdentity()",
                                      "glOrtho(0, -2147483582, 0, -2147483582, -10000, 10000)",
                                      "glMatrixMode(GL_MODELVIEW)", "glLoadIdentity()")));
}

TEST(DisplayTest, TheCentreOfANegativeSizeIsNegative) {
  const ViewerRun run = RunViewer(
      {.options = "-c 1 -d 1073741825 -p -1073741823 -f trace", .trace = "", .script = "display"});
  const auto displays = CallsAfter(run, "> display");
  ASSERT_THAT(displays, SizeIs(1));
  EXPECT_EQ("glTranslated(-1073741791, -1073741791, 0)", displays[0][3]);
  EXPECT_EQ("glTranslated(1073741791, 1073741791, 0)", displays[0][7]);
}

TEST(DisplayTest, ReshapingStretchesThePictureToTheWindow) {
  const ViewerRun run =
      RunViewer({.options = "-f trace", .trace = "", .script = "reshape 300 200\nreshape 1 7"});
  EXPECT_THAT(CallsAfter(run, "> reshape"),
              ElementsAre(ElementsAre("glViewport(0, 0, 300, 200)", "glMatrixMode(GL_PROJECTION)",
                                      "glLoadIdentity()", "glOrtho(0, 376, 0, 376, -10000, 10000)",
                                      "glMatrixMode(GL_MODELVIEW)", "glLoadIdentity()"),
                          ElementsAre("glViewport(0, 0, 1, 7)", "glMatrixMode(GL_PROJECTION)",
                                      "glLoadIdentity()", "glOrtho(0, 376, 0, 376, -10000, 10000)",
                                      "glMatrixMode(GL_MODELVIEW)", "glLoadIdentity()")));
}

TEST(DisplayTest, TheDemosPictureHasTheSizeOfItsArrayAndNotOfItsWindow) {
  const ViewerRun run =
      RunViewer({.options = "-D -c 0 -f trace", .trace = "", .script = "reshape 820 820\ndisplay"});
  EXPECT_THAT(CallsAfter(run, "> reshape")[0][3], "glOrtho(0, 40, 0, 40, -10000, 10000)");
  EXPECT_THAT(CallsAfter(run, "> display"), ElementsAre(Matrices("20", "-20")));
}

TEST(MouseTest, ALeftPressPausesAndTheNextOneResumes) {
  const ViewerRun run =
      Play(9, "idle\nmouse 0 0 5 7\nidle\nmouse 0 0 -1 900\nidle\nmouse 0 0 0 0\nidle\n");
  EXPECT_THAT(
      CallsAfter(run, ">"),
      ElementsAre(ElementsAre("glutPostRedisplay()"), ElementsAre("glutIdleFunc(null)"), IsEmpty(),
                  ElementsAre("glutIdleFunc(set)"), ElementsAre("glutPostRedisplay()"),
                  ElementsAre("glutIdleFunc(null)"), IsEmpty(), IsEmpty()));
  EXPECT_EQ("Left button\nLeft button\nLeft button\n", ErrorsAfterStart(run));
}

TEST(MouseTest, TheDemoStartsAtItsSecondLeftPressOnly) {
  const ViewerRun run =
      Play(9, "idle\nmouse 0 0 1 1\nidle\nmouse 0 0 1 1\nidle\nmouse 0 0 1 1\n", "-D");
  EXPECT_THAT(CallsAfter(run, ">"),
              ElementsAre(IsEmpty(), ElementsAre("glutIdleFunc(null)"), IsEmpty(),
                          ElementsAre("glutIdleFunc(set)"), ElementsAre("glutPostRedisplay()"),
                          ElementsAre("glutIdleFunc(null)"), IsEmpty()));
  EXPECT_EQ("demo mode\n0 0\nLeft button\nLeft button\nLeft button\n", run.result.err);
}

TEST(MouseTest, OtherButtonsAndAllReleasesAreIgnored) {
  const ViewerRun run = Play(9,
                             "mouse 0 1 1 1\nmouse 1 0 1 1\nmouse 1 1 1 1\nmouse 2 1 1 1\n"
                             "mouse 3 0 1 1\nmouse 4 0 1 1\nmouse 7 0 1 1\nmouse 0 2 1 1\n"
                             "turn 2\n");
  EXPECT_THAT(CallsAfter(run, "> mouse"), ElementsAre(IsEmpty(), IsEmpty(), IsEmpty(), IsEmpty(),
                                                      IsEmpty(), IsEmpty(), IsEmpty(), IsEmpty()));
  EXPECT_EQ("", ErrorsAfterStart(run));
  EXPECT_THAT(Rotations(run), ElementsAre(Turned("0", "0", "0"), Turned("0", "0", "0")));
}

TEST(MouseTest, ARightPressTogglesSpinningWithoutAWord) {
  const ViewerRun run = Play(9,
                             "turn\nmouse 2 0 1 1\nturn 2\nmouse 2 0 1 1\nturn\n"
                             "mouse 2 0 1 1\nturn\n");
  EXPECT_THAT(Rotations(run), ElementsAre(Turned("0", "0", "0"), Turned("0.0625", "0.25", "1"),
                                          Turned("0.125", "0.5", "2"), Turned("0.125", "0.5", "2"),
                                          Turned("0.1875", "0.75", "3")));
  EXPECT_THAT(CallsAfter(run, "> mouse"), ElementsAre(IsEmpty(), IsEmpty(), IsEmpty()));
  EXPECT_EQ("", ErrorsAfterStart(run));
}

TEST(MouseTest, AReleaseOfTheRightButtonDoesNotStopTheSpin) {
  const ViewerRun run = Play(9, "mouse 2 0 1 1\nmouse 2 1 1 1\nturn 2\n");
  EXPECT_THAT(Rotations(run),
              ElementsAre(Turned("0.0625", "0.25", "1"), Turned("0.125", "0.5", "2")));
}

TEST(MouseTest, SpinningStandsStillWhilePausedAndMayBeSwitchedThere) {
  const ViewerRun run = Play(9,
                             "mouse 0 0 1 1\nmouse 2 0 1 1\nidle 5\ndisplay\n"
                             "mouse 0 0 1 1\nturn\n");
  EXPECT_THAT(Rotations(run), ElementsAre(Turned("0", "0", "0"), Turned("0.0625", "0.25", "1")));
}

TEST(SpinTest, RunsFrom1To2880AndBeginsAgainAt1) {
  const ViewerRun run = Play(2885,
                             "mouse 2 0 1 1\nidle 2879\ndisplay\nidle\ndisplay\nidle\ndisplay\n"
                             "idle\ndisplay\n");
  EXPECT_THAT(Rotations(run),
              ElementsAre(Turned("179.9375", "719.75", "2879"), Turned("180", "720", "2880"),
                          Turned("0.0625", "0.25", "1"), Turned("0.125", "0.5", "2")));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(SpinTest, TurnsThePictureButNotItsPieces) {
  const ViewerRun run = Play(5, "turn\nmouse 2 0 1 1\nturn 3\n");
  const auto displays = Displays(run);
  ASSERT_THAT(displays, SizeIs(4));
  EXPECT_EQ(displays[0][0], displays[3][0]);
  EXPECT_EQ(displays[0][1].vertices, displays[3][1].vertices);
}

}  // namespace
}  // namespace marrowfin::testing
