// The viewer's command line and the calls that open its window.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "tests/viewer/Sanitizers.h"
#include "tests/viewer/ViewerRun.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// What building an array writes: each cluster's first position along both axes.
std::string SwitchLines(int clusters, int positionsPerCluster) {
  std::string lines;
  for (int x = 0; x < clusters; ++x) {
    for (int y = 0; y < clusters; ++y) {
      lines += std::to_string(x * positionsPerCluster) + " " +
               std::to_string(y * positionsPerCluster) + "\n";
    }
  }
  return lines;
}

std::string WindowSize(int pixels) {
  return "glutInitWindowSize(" + std::to_string(pixels) + ", " + std::to_string(pixels) + ")";
}

// The one window size that the run asked for.
std::string SizeAskedFor(const ViewerRun& run) {
  std::string sizes;
  for (const std::string& call : run.calls) {
    if (call.starts_with("glutInitWindowSize")) {
      sizes += call;
    }
  }
  return sizes;
}

TEST(StartTest, WithoutOptionsShowsTheDefaultArrayAndTheFileNamedDash) {
  const ViewerRun run =
      RunViewer({.options = "", .trace = "fire 0 0 0 0", .script = "", .traceName = "-"});
  EXPECT_THAT(run.calls,
              ElementsAre("glutInit(1: " MARROWFIN_PROGRAM ")", "glutInitDisplayMode(2)",
                          "glutInitWindowSize(376, 376)", "glutInitWindowPosition(100, 150)",
                          "glutIdleFunc(set)", "glutCreateWindow(Marrowfin)",
                          "glutDisplayFunc(set)", "glutReshapeFunc(set)", "glutMouseFunc(set)",
                          "glClearColor(1, 1, 1, 1)", "glutMainLoop()", "> end"));
  EXPECT_EQ(SwitchLines(4, 8), run.result.err);
  EXPECT_EQ("Opened tracefile  -\n", run.result.out);
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(StartTest, TheDefaultArrayHasSixteenClustersWithTheirElementsAndSwitches) {
  const ViewerRun run =
      RunViewer({.options = "-f trace", .trace = "fire 0 0 0 0", .script = "display"});
  const auto displays = Displays(run);
  ASSERT_THAT(displays, SizeIs(1));
  ASSERT_THAT(displays[0], SizeIs(16 + 1024 + 16));
  EXPECT_EQ("GL_LINE_LOOP", displays[0][15].mode);
  EXPECT_EQ((Vertex{18, 18, 0}), displays[0][0].vertices[0]);
  EXPECT_THAT(displays[0][16].vertices, SizeIs(24));
  EXPECT_THAT(displays[0][1039].vertices, SizeIs(24));
  EXPECT_THAT(displays[0][1040].vertices, SizeIs(4));
}

TEST(StartTest, DemoModeOpensItsOwnWindowPaused) {
  const ViewerRun run = RunViewer({.options = "-D " + smallArray, .trace = "", .script = "idle"});
  EXPECT_THAT(run.calls,
              ElementsAre("glutInit(10: " MARROWFIN_PROGRAM " -D -c 1 -d 1 -p 2 -f trace)",
                          "glutInitDisplayMode(2)", "glutInitWindowSize(820, 820)",
                          "glutInitWindowPosition(200, 20)", "glutIdleFunc(null)",
                          "glutCreateWindow(Marrowfin)", "glutDisplayFunc(set)",
                          "glutReshapeFunc(set)", "glutMouseFunc(set)", "glClearColor(1, 1, 1, 1)",
                          "glutMainLoop()", "> idle is not set", "> end"));
  EXPECT_EQ("demo mode\n0 0\n", run.result.err);
}

TEST(StartTest, DemoModeIsReportedAsOftenAsItIsAskedFor) {
  const ViewerRun run = RunViewer({.options = "-DD -c 0 -f trace", .trace = "", .script = ""});
  EXPECT_EQ("demo mode\ndemo mode\n", run.result.err);
  EXPECT_EQ(WindowSize(820), SizeAskedFor(run));
}

TEST(StartTest, CountsOfClustersDomainsAndElementsShapeTheArray) {
  const ViewerRun run =
      RunViewer({.options = "-c 2 -d 3 -p 1 -f trace", .trace = "", .script = "display"});
  EXPECT_EQ(SwitchLines(2, 3), run.result.err);
  EXPECT_EQ(WindowSize(2 * (3 * 6 + 2 * 4 + 12 + 8) + 40), SizeAskedFor(run));
  EXPECT_THAT(Displays(run), ElementsAre(SizeIs(4 + 36 + 4)));
}

TEST(StartTest, DomainsAndElementsKeepTheirDefaultsByThemselves) {
  EXPECT_EQ(WindowSize(84 + 40),
            SizeAskedFor(RunViewer({.options = "-c 1 -f trace", .trace = "", .script = ""})));
  EXPECT_EQ(WindowSize(4 * 50 + 40),
            SizeAskedFor(RunViewer({.options = "-d 1 -f trace", .trace = "", .script = ""})));
  EXPECT_EQ(WindowSize(4 * 36 + 40),
            SizeAskedFor(RunViewer({.options = "-p 1 -f trace", .trace = "", .script = ""})));
}

TEST(StartTest, OptionsMayBeJoinedWithTheirArgumentsAndTheLastOfAKindCounts) {
  const ViewerRun run =
      RunViewer({.options = "-c7 -d1 -p1 -c2 -fnone -ftrace", .trace = "", .script = ""});
  EXPECT_EQ(SwitchLines(2, 1), run.result.err);
  EXPECT_EQ("Opened tracefile  trace\n", run.result.out);
}

TEST(StartTest, ATextWithoutLeadingDigitsReadsAsZeroAndMakesAnEmptyArray) {
  const ViewerRun run = RunViewer({.options = "-c x -f trace", .trace = "", .script = "display"});
  EXPECT_EQ("", run.result.err);
  EXPECT_EQ(WindowSize(40), SizeAskedFor(run));
  EXPECT_THAT(Displays(run), ElementsAre(IsEmpty()));
  EXPECT_EQ(0, run.result.exitStatus);
}

// The division comes before the trace, which is missing, is opened.
TEST(StartTest, NoDomainsOrElementsEndTheProgramWhileTheArrayIsBuilt) {
  for (const std::string counts : {"-d 0", "-p 0", "-d x -p 0"}) {
    const ViewerRun run =
        RunViewer({.options = "-c 1 -f none " + counts, .trace = "", .script = ""});
    if (sanitized) {
      EXPECT_THAT(run.result.err, HasSubstr("runtime error: division by zero"));
      EXPECT_EQ(1, run.result.exitStatus);
    } else {
      EXPECT_EQ("", run.result.err);
      EXPECT_EQ(SIGFPE, run.result.signal);
    }
  }
}

TEST(StartTest, AnEmptyArrayNeedsNoDomainsOrElements) {
  const ViewerRun run =
      RunViewer({.options = "-c 0 -d 0 -p 0 -f trace", .trace = "", .script = "display"});
  EXPECT_EQ("", run.result.err);
  EXPECT_EQ(WindowSize(40), SizeAskedFor(run));
  EXPECT_THAT(Displays(run), ElementsAre(IsEmpty()));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(StartTest, TextAfterTheDigitsIsIgnored) {
  const ViewerRun run =
      RunViewer({.options = "-c 1x -d 1e9 -p 02 -f trace", .trace = "", .script = ""});
  EXPECT_EQ(WindowSize(34 + 40), SizeAskedFor(run));
}

TEST(StartTest, CountsHaveNoRangeAndWrapAround) {
  const ViewerRun run =
      RunViewer({.options = "-c 1 -d -1 -p -1 -f trace", .trace = "", .script = "display"});
  EXPECT_EQ("0 0\n", run.result.err);
  EXPECT_EQ(WindowSize(62), SizeAskedFor(run));
  EXPECT_THAT(Displays(run), ElementsAre(SizeIs(3)));
}

TEST(StartTest, AnUnknownOptionGetsAMessageAndParsingGoesOn) {
  const ViewerRun run =
      RunViewer({.options = "-x -c 1 -d 1 -p 1 -f trace", .trace = "", .script = ""});
  EXPECT_EQ(MARROWFIN_PROGRAM ": invalid option -- 'x'\n0 0\n", run.result.err);
  EXPECT_EQ(WindowSize(66), SizeAskedFor(run));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(StartTest, AMissingArgumentGetsAMessageAndLeavesTheDefault) {
  const ViewerRun run = RunViewer({.options = "-d 1 -p 1 -f trace -c", .trace = "", .script = ""});
  EXPECT_EQ(MARROWFIN_PROGRAM ": option requires an argument -- 'c'\n" + SwitchLines(4, 1),
            run.result.err);
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(StartTest, EveryOptionButTheDemoTakesAnArgument) {
  for (const std::string option : {"F", "c", "d", "p", "f"}) {
    const ViewerRun run =
        RunViewer({.options = "-" + option, .trace = "", .script = "", .traceName = "-"});
    EXPECT_EQ(
        MARROWFIN_PROGRAM ": option requires an argument -- '" + option + "'\n" + SwitchLines(4, 8),
        run.result.err);
  }
}

TEST(StartTest, OperandsAreIgnored) {
  const ViewerRun run =
      RunViewer({.options = "-c 1 -d 1 -p 1 -f trace other words", .trace = "", .script = ""});
  EXPECT_EQ("0 0\n", run.result.err);
  EXPECT_EQ("Opened tracefile  trace\n", run.result.out);
}

TEST(StartTest, TheNameOfTheTraceIsTakenAsItIs) {
  const ViewerRun run = RunViewer({.options = "-c 0 -f",
                                   .trace = "",
                                   .script = "",
                                   .traceName = "a trace %s",
                                   .words = {"a trace %s"}});
  EXPECT_EQ("Opened tracefile  a trace %s\n", run.result.out);
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(StartTest, GlutGetsTheCommandLine) {
  const ViewerRun run =
      RunViewer({.options = "-c 0 -f trace -F 5 word", .trace = "", .script = ""});
  ASSERT_FALSE(run.calls.empty());
  EXPECT_EQ("glutInit(8: " MARROWFIN_PROGRAM " -c 0 -f trace -F 5 word)", run.calls[0]);
}

TEST(StartTest, WithoutAFileNamedDashTheProgramEndsBeforeItOpensAWindow) {
  const ViewerRun run = RunViewer({.options = "-c 1 -d 1 -p 1", .trace = "", .script = ""});
  EXPECT_EQ("0 0\nNo such file or directory\n", run.result.err);
  EXPECT_EQ(SIGABRT, run.result.signal);
  EXPECT_THAT(run.calls, IsEmpty());
}

TEST(StartTest, DashIsNotTheStandardInput) {
  // The run's standard input is empty and would be a trace without records.
  const ViewerRun run = RunViewer({.options = "-c 0 -f -", .trace = "", .script = ""});
  EXPECT_EQ("No such file or directory\n", run.result.err);
  EXPECT_EQ(SIGABRT, run.result.signal);
}

TEST(StartTest, AMissingTraceIsFoundOutAfterTheOptionsAreReadAndTheArrayIsBuilt) {
  const ViewerRun run =
      RunViewer({.options = "-f none -D -c 1 -d 1 -p 1", .trace = "", .script = ""});
  EXPECT_EQ("demo mode\n0 0\nNo such file or directory\n", run.result.err);
  EXPECT_EQ(SIGABRT, run.result.signal);
}

TEST(StartTest, AnEmptyNameOpensNothingAndEndsAtTheFirstRead) {
  const ViewerRun run =
      RunViewer({.options = "-c 1 -d 1 -p 1 -f", .trace = "", .script = "", .words = {""}});
  EXPECT_EQ("0 0\nBad file descriptor\n", run.result.err);
  EXPECT_EQ("", run.result.out);
  EXPECT_EQ(SIGABRT, run.result.signal);
  EXPECT_THAT(run.calls, IsEmpty());
}

TEST(StartTest, ATraceThatCannotBeReadEndsTheProgram) {
  const ViewerRun run = RunViewer({.options = "-c 1 -d 1 -p 1 -f .", .trace = "", .script = ""});
  EXPECT_EQ("0 0\nIs a directory\n", run.result.err);
  EXPECT_EQ(SIGABRT, run.result.signal);
  EXPECT_THAT(run.calls, IsEmpty());
}

}  // namespace
}  // namespace marrowfin::testing
