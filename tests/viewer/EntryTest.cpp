// What the viewer's entry does with answers of its trace tool that no trace can bring about, and
// what the program offers and takes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/support/Reports.h"
#include "tests/viewer/Sanitizers.h"
#include "tests/viewer/ViewerRun.h"

namespace marrowfin::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

// A run in which the entry's reader gives these answers (see ScriptedReader.cpp). The record of the
// trace is consumed by the skip at the start.
ViewerRun Answer(const std::string& answers, const std::string& script) {
  return RunViewer({.options = smallArray,
                    .trace = "fire 0 0 0 0",
                    .script = script,
                    .environment = {"MARROWFIN_EVENTS=" + answers},
                    .program = MARROWFIN_SCRIPTED_READER_VIEWER});
}

// The standard error without the lines of the start.
std::string Told(const ViewerRun& run) {
  const std::string start = "no grid no reader 830 830 0\n0 0\n";
  EXPECT_EQ(start, run.result.err.substr(0, start.size()));
  return run.result.err.substr(start.size());
}

TEST(EntryTest, BeginsWithoutGridAndReaderAndWithAPictureOf830) {
  EXPECT_EQ("", Told(Answer("", "")));
}

TEST(EntryTest, AnErrorLeavesTheStepQuietlyWithARedisplay) {
  const ViewerRun run = Answer("error error fire:1", "turn 3");
  EXPECT_EQ(
      "asked for error, spin is 0\nasked for error, spin is 0\n"
      "asked for fire:1, spin is 0\ndestroyed at 1, green is 255\n",
      Told(run));
  EXPECT_THAT(CallsAfter(run, "> idle"),
              ElementsAre(ElementsAre("glutPostRedisplay()"), ElementsAre("glutPostRedisplay()"),
                          ElementsAre("glutPostRedisplay()")));
  EXPECT_THAT(Pictures(run)[1].Element(1, 1), (Color{165, 165, 165}));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(EntryTest, AnErrorAfterEventsOfTheCycleLeavesTheStepToo) {
  const ViewerRun run = Answer("fire:0 error", "turn");
  EXPECT_THAT(Pictures(run)[0].Element(0, 0), (Color{1, 255, 1}));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(EntryTest, EachEventIsAppliedThenDestroyedBeforeTheNextIsRead) {
  EXPECT_EQ(
      "asked for fire:0, spin is 0\ndestroyed at 0, green is 255\n"
      "asked for fire:0, spin is 0\ndestroyed at 0, green is 255\n"
      "asked for fire:7, spin is 0\ndestroyed at 7, green is 255\n",
      Told(Answer("fire:0 fire:0 fire:7", "idle")));
}

TEST(EntryTest, AnEventHandedOverAtTheEndOfTheFileIsAppliedLikeAnyOther) {
  const ViewerRun run = Answer("last:0 last:5", "turn");
  EXPECT_THAT(Pictures(run)[0].Element(0, 0), (Color{1, 255, 1}));
  EXPECT_EQ(0, run.result.exitStatus);
}

TEST(EntryTest, ASuccessWithoutAnEventFailsTheCheckToo) {
  const ViewerRun run = Answer("null", "idle");
  EXPECT_THAT(Told(run).substr(std::string("asked for null, spin is 0\n").size()),
              AssertionReport("viewer/main.cpp", "e"));
  EXPECT_EQ(SIGABRT, run.result.signal);
  EXPECT_THAT(CallsAfter(run, "> idle"), ElementsAre(IsEmpty()));
}

TEST(EntryTest, AnEventOfAClassWithoutPieceFailsACheck) {
  for (const std::string kind : {"plain:1", "location:1"}) {
    const ViewerRun run = Answer(kind, "idle");
    EXPECT_THAT(Told(run).substr(("asked for " + kind + ", spin is 0\n").size()),
                AssertionReport("viewer/main.cpp", "0"));
    EXPECT_EQ(SIGABRT, run.result.signal);
  }
}

// The conversion of such an event gives a null pointer, which only the sanitizers tell apart from
// the pointer of an unchecked one.
TEST(EntryTest, AnEventThatIsNotOfTheClassOfItsCodeIsNeverTakenForOne) {
  for (const auto& [kind, name] :
       std::vector<std::pair<std::string, std::string>>{{"likeswitch", "NetworkSwitchTransmission"},
                                                        {"likefire", "PEFire"},
                                                        {"likesend", "MessageSend"}}) {
    const ViewerRun run = Answer(kind + ":1", "idle");
    if (sanitized) {
      EXPECT_THAT(run.result.err, ContainsRegex("viewer/main.cpp:[0-9]+:[0-9]+: runtime error: .*"
                                                "null pointer of type 'const struct " +
                                                name + "'"));
      EXPECT_EQ(1, run.result.exitStatus);
    } else {
      EXPECT_EQ("asked for " + kind + ":1, spin is 0\n", Told(run));
      EXPECT_EQ(SIGSEGV, run.result.signal);
    }
  }
}

TEST(EntryTest, TheSpinFlagIsOneOrZero) {
  EXPECT_EQ("asked for error, spin is 1\nasked for error, spin is 0\nasked for error, spin is 1\n",
            Told(Answer("error error error",
                        "mouse 2 0 1 1\nidle\nmouse 2 0 1 1\nidle\nmouse 2 0 1 1\nidle")));
}

// One symbol of the program: the letter that nm gives its kind, and its name.
typedef std::pair<char, std::string> Symbol;

std::vector<Symbol> SymbolsOfTheProgram() {
  const CommandResult nm = RunCommand({"nm", "-C", MARROWFIN_PROGRAM});
  EXPECT_EQ(0, nm.exitStatus) << nm.err;
  std::vector<Symbol> symbols;
  std::istringstream lines(nm.out);
  std::string line;
  while (std::getline(lines, line)) {
    symbols.emplace_back(line.at(17), line.substr(19));  // behind 16 digits or blanks
  }
  return symbols;
}

TEST(EntryTest, TakesNoMoreFromGlutAndOpenGlThanTheScriptedOnesOffer) {
  std::set<std::string> taken;
  for (const auto& [kind, name] : SymbolsOfTheProgram()) {
    if (kind == 'U' && name.starts_with("gl")) {
      taken.insert(name);
    }
  }
  EXPECT_THAT(
      taken, UnorderedElementsAre(
                 "glClear", "glClearColor", "glColorPointer", "glDrawArrays", "glEnableClientState",
                 "glLoadIdentity", "glMatrixMode", "glOrtho", "glPopMatrix", "glPushMatrix",
                 "glRotated", "glTranslated", "glVertexPointer", "glViewport", "glutCreateWindow",
                 "glutDisplayFunc", "glutIdleFunc", "glutInit", "glutInitDisplayMode",
                 "glutInitWindowPosition", "glutInitWindowSize", "glutMainLoop", "glutMouseFunc",
                 "glutPostRedisplay", "glutReshapeFunc", "glutSwapBuffers"));
}

TEST(EntryTest, ItsFunctionsAndVariablesAreProgramWideButTheSpin) {
  EXPECT_THAT(SymbolsOfTheProgram(),
              IsSupersetOf({Symbol('B', "grid"), Symbol('B', "vis"), Symbol('D', "pictureSizeX"),
                            Symbol('D', "pictureSizeY"), Symbol('B', "doSpin"), Symbol('b', "spin"),
                            Symbol('T', "nextCycle()"), Symbol('T', "doAnimation()"),
                            Symbol('T', "myDisplay()"), Symbol('T', "myReshape(int, int)"),
                            Symbol('T', "myMouse(int, int, int, int)")}));
}

TEST(EntryTest, GlutAndOpenGlAreSharedLibraries) {
  const CommandResult readelf = RunCommand({"readelf", "-d", MARROWFIN_PROGRAM});
  EXPECT_THAT(readelf.out, HasSubstr("Shared library: [libglut.so"));
  EXPECT_THAT(readelf.out, ContainsRegex("Shared library: \\[lib(Open)?GL\\.so"));
}

TEST(EntryTest, NothingDefinesWhereASwitchBegins) {
  for (const auto& [kind, name] : SymbolsOfTheProgram()) {
    EXPECT_THAT(name, Not(HasSubstr("Grid::SwitchBase")));
  }
}

}  // namespace
}  // namespace marrowfin::testing
