// marrowfin-trace render
//
// That its pictures are those of the window is tested with the window (tests/window).

#include <png.h>

#include <algorithm>

#include "render/ArrayRenderer.h"
#include "render/floorplan/FloorplanRenderer.h"
#include "tests/support/ScarceMemory.h"
#include "tests/tools/CommandFixture.h"
#include "trace/ask/StateReader.h"

namespace marrowfin {
namespace {

using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char events[] =
    "fire 5 1 7 2\n"
    "switch 6 0 4 4\n"
    "send 260 2 7 2 0 1\n"
    "fire 260 9 3 3\n"
    "fire 261 1 7 2\n";

class RenderCommandTest : public CommandFixture {
 protected:
  RenderCommandTest() {
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    // Mesa's threads that are about to end make the search for leaks crash.
    const char* const options = getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS",
           (std::string(options == nullptr ? "" : options) + ":detect_leaks=0").c_str(), 1);
    Trace(events);
  }

  CommandResult Render(std::vector<std::string> words,
                       const std::vector<std::string>& environment = {}) const {
    words.insert(words.begin(), {"render", "t.trace"});
    return testing::RunCommand(Words(words), {"", folder.Path(), environment});
  }

  Picture ReadPicture(const std::string& name) const {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(0, png_image_begin_read_from_file(&image, folder.File(name).c_str())) << name;
    image.format = PNG_FORMAT_RGB;
    Picture picture = {{image.width, image.height}, std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
    EXPECT_NE(0, png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr));
    return picture;
  }

  // The picture of a run that says nothing.
  Picture Rendered(std::vector<std::string> words) const {
    words.insert(words.end(), {"-o", "a.png", "--force"});
    ExpectOutput("", Render(words));
    return ReadPicture("a.png");
  }

  // What the libraries draw.
  template <class Ask>
  Picture Drawn(const ArrayShape& shape, const WindowView& view, Ask ask) const {
    const auto trace = TraceSource::Open(folder.File("t.trace"));
    const auto index = Index::Open(**trace);
    const auto state = ask(StateReader(**trace, **index, shape));
    EXPECT_TRUE(state) << state.Why().Text();
    const auto renderer = ArrayRenderer::Open(shape, view);
    EXPECT_TRUE(renderer) << renderer.Why().Text();
    return (*renderer)->Draw(*state).Take();
  }
};

TEST_F(RenderCommandTest, AStepIsDrawnInTheStateThatTheTraceEngineTells) {
  Picture before;
  for (const uint64_t step : {0U, 1U, 2U, 3U}) {
    const Picture picture = Rendered({"--step", std::to_string(step)});
    EXPECT_EQ(Drawn(ArrayShape(1, 2, 4), {}, [&](auto reader) { return reader.AtStep(step, 0); }),
              picture);
    EXPECT_NE(before, picture);
    before = picture;
  }
  EXPECT_EQ((PictureSize{124, 124}), before.size);
}

TEST_F(RenderCommandTest, ACycleIsDrawnWithEveryEventUpToIt) {
  const Picture picture = Rendered({"--cycle", "260"});
  EXPECT_EQ(Drawn(ArrayShape(1, 2, 4), {}, [&](auto reader) { return reader.AtCycle(260); }),
            picture);
  EXPECT_NE(picture, Rendered({"--step", "2"}));
}

TEST_F(RenderCommandTest, TheViewersOptionsAreTaken) {
  const Picture picture =
      Rendered({"--step", "1", "-F", "6", "-c", "2", "--size", "333x200", "--spin", "100"});
  EXPECT_EQ(Drawn(ArrayShape(2, 2, 4), {PictureSize{333, 200}, 100},
                  [&](auto reader) { return reader.AtStep(1, 6); }),
            picture);
}

TEST_F(RenderCommandTest, AFloorplanIsThatOfTheCycle) {
  const auto drawn = [this](const ArrayShape& shape, const FloorplanView& view, uint64_t cycle) {
    const auto trace = TraceSource::Open(folder.File("t.trace"));
    const auto index = Index::Open(**trace);
    const auto renderer = FloorplanRenderer::Open(shape, view);
    return (*renderer)->Draw(*StateReader(**trace, **index, shape).AtCycle(cycle)).Take();
  };
  const Picture picture = Rendered({"--natural", "--cycle", "260"});
  EXPECT_EQ(drawn(ArrayShape(1, 2, 4), {}, 260), picture);
  EXPECT_EQ(
      drawn(ArrayShape(2, 2, 4), {PictureSize{333, 200}, &FloorplanColors::Dark()}, 6),
      Rendered({"--natural", "--cycle", "6", "-c", "2", "--size", "333x200", "--theme", "dark"}));
  const CommandResult result =
      Render({"--natural", "--cycle", "6", "-c", "64", "-o", "b.png", "--verbose"});
  EXPECT_THAT(result.err, HasSubstr("drawn by Cairo, as a floorplan of domains: there is no room "
                                    "for PEs\n"));
}

TEST_F(RenderCommandTest, ASheetOfFloorplansIsOfCycles) {
  const Picture sheet = Rendered({"--natural", "--sheet", "2x1", "--from", "5", "--to", "260"});
  const Picture last = Rendered({"--natural", "--cycle", "260"});
  ASSERT_EQ(2 * last.size.width, sheet.size.width);
  ASSERT_EQ(last.size.height, sheet.size.height);
  const size_t row = last.size.width * Picture::CHANNELS;
  for (size_t y = 0; y < last.size.height; ++y) {
    ASSERT_TRUE(std::equal(last.pixels.begin() + static_cast<ptrdiff_t>(y * row),
                           last.pixels.begin() + static_cast<ptrdiff_t>((y + 1) * row),
                           sheet.pixels.begin() + static_cast<ptrdiff_t>((2 * y + 1) * row)))
        << y;
  }
}

TEST_F(RenderCommandTest, TheArrayIsTheSquareOfTheCompanionsUnlessFlagsSayAnother) {
  const auto atCycle = [](const StateReader& reader) { return reader.AtCycle(260); };
  testing::WriteFile(folder.File("t.trace.about"),
                     "format = 1\n[trace]\nrecords = 0\nfingerprint = \"cbf29ce484222325\"\n"
                     "[array]\npes = { columns = 10, rows = 6 }\n");
  EXPECT_EQ(Drawn(ArrayShape(1, 1, 10), {}, atCycle), Rendered({"--cycle", "260"}));
  EXPECT_EQ(Drawn(ArrayShape(1, 2, 5), {}, atCycle),
            Rendered({"--cycle", "260", "-c", "1", "-p", "5"}));
  const CommandResult floorplan =
      Render({"--natural", "--cycle", "260", "-o", "b.png", "--verbose"});
  EXPECT_THAT(floorplan.err, HasSubstr(", 1 x 1 clusters of 1 x 1 domains of 10 x 6 elements, "));
}

TEST_F(RenderCommandTest, TheSameOptionsGiveTheSameBytesInAFileAndOnStandardOutput) {
  ExpectOutput("", Render({"--step", "2", "-o", "a.png"}));
  ExpectOutput("", Render({"--step", "2", "-o", "b.png"}));
  const std::string bytes = testing::ReadFile(folder.File("a.png"));
  EXPECT_EQ(bytes, testing::ReadFile(folder.File("b.png")));
  EXPECT_EQ(bytes, Shell("\"$0\" render t.trace --step 2 -o -").out);
  EXPECT_EQ(bytes, Shell("\"$0\" render t.trace --step 2 -o /dev/stdout | cat").out);
  EXPECT_FALSE(HasFileLike("mfpart"));
}

TEST_F(RenderCommandTest, VerboseTellsWhatWasDrawnAndByWhat) {
  const CommandResult result = Render({"--step", "2", "-o", "a.png", "--verbose"});
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, MatchesRegex("a.png: 124 by 124 pixels of step 2, cycle 260, -c 1 -d 2 "
                                       "-p 4, drawn by llvmpipe .*, Mesa .*, by EGL\n"));
}

TEST_F(RenderCommandTest, WhereEglFindsNothingOsmesaDrawsTheSame) {
  ExpectOutput("", Render({"--step", "2", "-o", "a.png", "--spin", "30"}));
  const CommandResult result = Render({"--step", "2", "-o", "b.png", "--spin", "30", "--verbose"},
                                      {"__EGL_VENDOR_LIBRARY_FILENAMES=/dev/null"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr(", by OSMesa\n"));
  EXPECT_EQ(testing::ReadFile(folder.File("a.png")), testing::ReadFile(folder.File("b.png")));
}

TEST_F(RenderCommandTest, WhereNothingDrawsThatIsSaidAndNothingWritten) {
  testing::WriteFile(folder.File("libEGL.so.1"), "no library");
  testing::WriteFile(folder.File("libOSMesa.so.8"), "no library");
  ExpectFailure(3,
                "OpenGL: there is no EGL (libEGL.so.1), and there is no OSMesa (libOSMesa.so.8)\n"
                "  Install Mesa's EGL or OSMesa.\n",
                Render({"--step", "2", "-o", "a.png"}, {"LD_LIBRARY_PATH=" + folder.Path()}));
  EXPECT_FALSE(std::filesystem::exists(folder.File("a.png")));
  // The rest of the program goes on without them.
  EXPECT_EQ(0, testing::RunCommand(Words({"info", "t.trace"}),
                                   {"", folder.Path(), {"LD_LIBRARY_PATH=" + folder.Path()}})
                   .exitStatus);
}

TEST_F(RenderCommandTest, ATraceThatCannotBeReadIsNamed) {
  std::filesystem::create_directory(folder.File("folder"));
  const auto render = [this](const std::string& trace) {
    return Run({"render", trace, "--step", "0", "-o", "a.png"});
  };
  ExpectFailure(1,
                "none: cannot open: No such file or directory\n"
                "  Name a file that you may read.\n",
                render("none"));
  ExpectFailure(1,
                "folder: cannot read: Is a directory\n"
                "  Name a file that you may read.\n",
                render("folder"));
  EXPECT_FALSE(std::filesystem::exists(folder.File("a.png")));
}

TEST_F(RenderCommandTest, AStepThatIsNeverDrawnIsRefused) {
  ExpectFailure(1,
                "t.trace: step 4 is never drawn: the trace ends in it\n"
                "  Ask for a step before it, or with --cycle for all events up to a cycle.\n",
                Render({"--step", "4", "-o", "a.png"}));
  ExpectFailure(1,
                "t.trace: there is no step 5: the trace ends in step 4\n"
                "  Ask for a step up to that.\n",
                Render({"--step", "5", "-o", "a.png"}));
  EXPECT_FALSE(std::filesystem::exists(folder.File("a.png")));
}

TEST_F(RenderCommandTest, OfABrokenTraceOnlyMomentsBeforeTheBreakAreDrawn) {
  testing::WriteFile(folder.File("t.trace"), testing::TraceBytes(events).substr(0, 130));
  ExpectOutput("", Render({"--step", "2", "-o", "a.png"}));
  ExpectOutput("", Render({"--cycle", "6", "-o", "b.png"}));
  for (const std::vector<std::string>& moment :
       {std::vector<std::string>{"--step", "3"}, {"--cycle", "260"}, {"--step", "4"}}) {
    const CommandResult result = Render({moment[0], moment[1], "-o", "c.png"});
    EXPECT_EQ(1, result.exitStatus) << moment[1];
    EXPECT_THAT(result.err, HasSubstr("t.trace: record 4 at byte 120: the trace ends"));
  }
  EXPECT_FALSE(HasFileLike("c.png"));
}

TEST_F(RenderCommandTest, AFailureLeavesAnOutputThatExistsAsItWas) {
  testing::WriteFile(folder.File("a.png"), "before");
  EXPECT_EQ(1, Render({"--step", "9", "-o", "a.png", "--force"}).exitStatus);
  EXPECT_EQ(3, Render({"--step", "1", "-c", "512", "-o", "a.png", "--force"}).exitStatus);
  EXPECT_EQ("before", testing::ReadFile(folder.File("a.png")));
  ExpectOutput("", Render({"--step", "1", "-o", "a.png", "--force"}));
  EXPECT_EQ(Rendered({"--step", "1"}), ReadPicture("a.png"));
}

TEST_F(RenderCommandTest, TheTraceItselfIsNoPlaceForThePicture) {
  std::filesystem::create_symlink("t.trace", folder.File("link"));
  for (const char* name : {"t.trace", "./t.trace", "link"}) {
    ExpectFailure(2, std::string(name) + ": is the trace\n  Name another file with -o.\n",
                  Render({"--step", "1", "-o", name}));
  }
  EXPECT_EQ(testing::TraceBytes(events), testing::ReadFile(folder.File("t.trace")));
}

TEST_F(RenderCommandTest, TheFilesBesideTheTraceAreNoPlaceForThePicture) {
  testing::WriteFile(folder.File("t.trace.notes"), "notes");
  std::filesystem::create_symlink("t.trace.notes", folder.File("n.png"));
  for (const char* name : {"t.trace.notes", "n.png"}) {
    ExpectFailure(2,
                  std::string(name) +
                      ": is the notes in the trace's companion\n  Name another file with -o.\n",
                  Render({"--step", "1", "-o", name}));
  }
  EXPECT_EQ("notes", testing::ReadFile(folder.File("t.trace.notes")));
}

TEST_F(RenderCommandTest, ANameThatTellsNoFormatIsRefused) {
  for (const std::vector<std::string>& what :
       {std::vector<std::string>{"--step", "1"}, {"--sheet", "2x2"}}) {
    for (const char* name : {"x.jpg", "x", "x.PNG", "png"}) {
      std::vector<std::string> words = what;
      words.insert(words.end(), {"-o", name});
      ExpectFailure(2,
                    std::string(name) +
                        ": its name tells no format\n"
                        "  Name the output as .png, .mp4, .webm, .gif or .apng, or give --film.\n",
                    Render(words));
    }
  }
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

TEST_F(RenderCommandTest, FormatsOfFilmsAreToldAndTakenByName) {
  const std::string help = Render({"--help"}).out;
  EXPECT_THAT(help, HasSubstr("{mp4,webm,gif,apng}"));
  EXPECT_THAT(help, Not(HasSubstr("ENUM")));
  for (const char* number : {"0", "2"}) {
    EXPECT_EQ(2, Render({"--to", "1", "--film", number, "-o", "a"}).exitStatus);
  }
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

TEST_F(RenderCommandTest, ANameThatCannotBeWrittenIsNamed) {
  const CommandResult missing = Render({"--step", "1", "-o", "none/a.png"});
  EXPECT_EQ(3, missing.exitStatus);
  EXPECT_THAT(missing.err, HasSubstr("none/a.png"));
  const CommandResult full = Render({"--step", "1", "-o", "/dev/full"});
  EXPECT_EQ(3, full.exitStatus);
  EXPECT_THAT(full.err, HasSubstr("/dev/full: cannot write: No space left on device"));
}

TEST_F(RenderCommandTest, APictureIsNotSentToATerminal) {
  const CommandResult result =
      Shell("script -qec \"'$0' render t.trace --step 1 -o -\" typescript < /dev/null");
  EXPECT_EQ(2, result.exitStatus);
  EXPECT_EQ(
      "marrowfin-trace: standard output is a terminal\r\n"
      "  Send it to a file or a pipe, or name a file.\r\n",
      result.out);
}

TEST_F(RenderCommandTest, NothingIsKeptInTheFoldersOfTheUser) {
  unsetenv("MESA_SHADER_CACHE_DISABLE");
  ExpectOutput("", Render({"--step", "1", "-o", "a.png"}));
  EXPECT_THAT(ContentsOf(cache.Path()), IsEmpty());
  ExpectOutput("",
               Render({"--step", "1", "-o", "a.png", "--force"}, {"XDG_CACHE_HOME=/proc/none"}));
  EXPECT_THAT(FolderContents(), ElementsAre("a.png", "t.trace", "t.trace.mfindex"));
}

TEST_F(RenderCommandTest, PicturesThatAreTooLargeAreRefused) {
  const CommandResult result =
      Render({"--step", "1", "-c", "1", "-d", "2048", "-p", "2", "-o", "a.png"});
  EXPECT_EQ(3, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr("16777216 elements is too large to be drawn"));
}

TEST_F(RenderCommandTest, ACommandLineThatIsNotUnderstoodWritesNothing) {
  const std::vector<std::vector<std::string>> lines = {
      {"--step", "1"},
      {"-o", "a.png"},
      {"--step", "1", "--cycle", "1", "-o", "a.png"},
      {"--cycle", "1", "-F", "1", "-o", "a.png"},
      {"--step", "-1", "-o", "a.png"},
      {"--step", "1", "-c", "0", "-o", "a.png"},
      {"--step", "1", "--spin", "2881", "-o", "a.png"},
      {"--step", "1", "--spin", "-1", "-o", "a.png"},
      {"--step", "1", "--spin", "1.5", "-o", "a.png"},
      {"--step", "1", "--theme", "dark", "-o", "a.png"},
      {"--natural", "--step", "1", "-o", "a.png"},
      {"--natural", "--cycle", "1", "--spin", "1", "-o", "a.png"},
      {"--natural", "--cycle", "1", "--theme", "grey", "-o", "a.png"},
      {"--natural", "-F", "1", "--to", "9", "-o", "a.gif"},
      {"--natural", "-o", "a.png"},
      {"--step", "1", "--size", "0x1", "-o", "a.png"},
      {"--step", "1", "--size", "1x16385", "-o", "a.png"},
      {"--step", "1", "--size", "18446744073709551617x1", "-o", "a.png"},
      {"--step", "1", "--size", "100", "-o", "a.png"},
      {"--step", "1", "--size", "10x", "-o", "a.png"},
      {"--step", "1", "--size", "10x10x10", "-o", "a.png"},
      {"--step", "1", "--size", "-1x10", "-o", "a.png"},
  };
  for (const auto& line : lines) {
    const CommandResult result = Render(line);
    EXPECT_EQ(2, result.exitStatus) << ::testing::PrintToString(line);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, Not(IsEmpty()));
  }
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

// Memory that runs out anywhere: the picture that was there before is there whole.
class RenderWithScarceMemoryTest : public RenderCommandTest {
 protected:
  // How many of the runs ended with the words for it, and by a signal.
  struct Ends {
    int told = 0;
    int killed = 0;
  };

  Ends RunAll(std::vector<std::string> words, int places) const {
    words.insert(words.begin(), {"render", "t.trace"});
    words.insert(words.end(), {"-o", "a.png", "--force"});
    EXPECT_EQ(0, Run(words).exitStatus);
    const std::string whole = testing::ReadFile(folder.File("a.png"));
    Ends ends;
    testing::RunWithScarceMemory(Words(words), {"", folder.Path(), {}}, places,
                                 [&](const CommandResult& result, const std::string& what) {
                                   SCOPED_TRACE(what);
                                   EXPECT_TRUE(testing::ReadFile(folder.File("a.png")) == whole);
                                   if (result.signal == 0 && result.exitStatus != 0) {
                                     ++ends.told;
                                     EXPECT_EQ(3, result.exitStatus);
                                     EXPECT_THAT(result.err, HasSubstr(" memory\n"));
                                     EXPECT_THAT(result.err, Not(HasSubstr("may read")));
                                     EXPECT_FALSE(HasFileLike(".mfpart-"));
                                   }
                                   ends.killed += result.signal != 0;
                                 });
    return ends;
  }
};

TEST_F(RenderWithScarceMemoryTest, FloorplansEndCleanly) {
  const Ends ends = RunAll({"--natural", "--cycle", "260", "--size", "200x200"}, 25);
  EXPECT_TRUE(!testing::MEMORY_CAN_BE_SCARCE || ends.told > 25) << ends.told;
  EXPECT_EQ(0, ends.killed);
}

// Mesa and LLVM use what they were refused, or abort: then nobody can tell it, but nothing half
// written is taken for a picture.
TEST_F(RenderWithScarceMemoryTest, WhatTheViewerShowsIsNeverHalfWritten) {
  const Ends ends = RunAll({"--step", "2", "--size", "100x100"}, 20);
  EXPECT_TRUE(!testing::MEMORY_CAN_BE_SCARCE || ends.told > 10) << ends.told;
}

}  // namespace
}  // namespace marrowfin
