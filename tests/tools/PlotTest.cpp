// marrowfin-trace plot

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using testing::ReadFile;
using ::testing::StartsWith;

class PlotTest : public CommandFixture {
 protected:
  PlotTest() {
    std::string text;
    for (int cycle = 0; cycle < 40; ++cycle) {
      text += "fire " + std::to_string(cycle) + " " + std::to_string(cycle % 2) + " " +
              std::to_string(cycle % 4) + " 0\n";
    }
    Trace(text + "switch 40 0 4 4\n");
  }

  CommandResult Plot(std::vector<std::string> flags) const {
    flags.insert(flags.begin() + 1, "t.trace");
    flags.insert(flags.begin(), "plot");
    return Run(flags);
  }

  // The bytes of the picture that is made without a word.
  std::string Picture(const std::vector<std::string>& flags, const std::string& name) const {
    std::vector<std::string> words = flags;
    words.insert(words.end(), {"-o", name, "--force"});
    const CommandResult result = Plot(words);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("", result.out);
    return ReadFile(folder.File(name));
  }
};

TEST_F(PlotTest, TheNameOfTheOutputTellsTheFormat) {
  for (const char* const kind :
       {"heat", "links", "threads", "timeline", "spacetime", "histogram", "why"}) {
    EXPECT_THAT(Picture({kind}, "a.png"), StartsWith("\x89PNG\r\n"));
    EXPECT_THAT(Picture({kind}, "a.svg"), AllOf(StartsWith("<?xml"), HasSubstr("</svg>")));
    EXPECT_THAT(Picture({kind}, "a.pdf"), StartsWith("%PDF-"));
  }
  const CommandResult piped = Plot({"heat", "-o", "-"});
  EXPECT_EQ(0, piped.exitStatus);
  EXPECT_EQ(Picture({"heat"}, "a.png"), piped.out);
}

TEST_F(PlotTest, TheSameFlagsMakeTheSameBytesAndOthersOthers) {
  const std::string heat = Picture({"heat"}, "a.svg");
  EXPECT_EQ(heat, Picture({"heat"}, "b.svg"));
  EXPECT_EQ(heat,
            Picture({"heat", "--text", "1", "--theme", "light", "--size", "column"}, "b.svg"));
  for (const std::vector<std::string>& flags :
       {std::vector<std::string>{"--measure", "utilisation"},
        {"--measure", "transmissions"},
        {"--level", "cluster"},
        {"--scale-max", "100"},
        {"--theme", "dark"},
        {"--theme", "print"},
        {"--size", "wide"},
        {"--size", "300x300"},
        {"--size", "slide"},
        {"--text", "1.5"},
        {"--no-title"},
        {"--no-caption"},
        {"--cycles", "0:9"},
        {"--thread", "1"},
        {"-c", "1", "-d", "1", "-p", "4"}}) {
    std::vector<std::string> words = {"heat"};
    words.insert(words.end(), flags.begin(), flags.end());
    EXPECT_NE(heat, Picture(words, "b.svg")) << flags[0];
  }
  EXPECT_NE(Picture({"timeline"}, "a.svg"), Picture({"timeline", "--by", "type"}, "b.svg"));
  EXPECT_NE(Picture({"threads"}, "a.svg"), Picture({"threads", "--level", "cluster"}, "b.svg"));
  const std::vector<std::string> links = {"links", "-c", "2", "-d", "1", "-p", "2"};
  const std::string observed = Picture(links, "a.svg");
  std::vector<std::string> between = links;
  between.insert(between.end(), {"--level", "cluster"});
  EXPECT_NE(observed, Picture(between, "b.svg"));
  between.back() = "pe";
  EXPECT_EQ(observed, Picture(between, "b.svg")) << "no message is far";
}

TEST_F(PlotTest, TheNumbersComeBesideThePictureOrInsteadOfIt) {
  const CommandResult csv = Plot({"timeline", "--cycles", "0:3", "--csv", "-"});
  ExpectOutput("firstCycle,cycles,thread0,thread1\n0,1,1,0\n1,1,0,1\n2,1,1,0\n3,1,0,1\n", csv);
  const std::string picture = Picture({"timeline", "--cycles", "0:3"}, "a.png");
  EXPECT_EQ(picture, Picture({"timeline", "--cycles", "0:3", "--csv", "b.csv", "--json", "b.json",
                              "--caption", "b.txt"},
                             "b.png"));
  EXPECT_EQ(csv.out, ReadFile(folder.File("b.csv")));
  const nlohmann::json json = Json(ReadFile(folder.File("b.json")));
  EXPECT_EQ("timeline", json["plot"]);
  EXPECT_EQ("t.trace", json["trace"]);
  EXPECT_EQ(3, json["lastCycle"]);
  ASSERT_EQ(4U, json["columns"].size());
  EXPECT_EQ(1, json["columns"][3]["thread1"]);
  EXPECT_EQ(std::string(json["title"]) + "\n" + std::string(json["finding"]) + "\n" +
                std::string(json["caption"]) + "\n",
            ReadFile(folder.File("b.txt")));
}

TEST_F(PlotTest, EveryKindTellsNumbersThatOtherParsersTake) {
  for (const char* const kind :
       {"heat", "links", "threads", "timeline", "spacetime", "histogram", "why"}) {
    const CommandResult result = Plot({kind, "--json", "-"});
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ(kind, Json(result.out)["plot"]);
    EXPECT_THAT(Plot({kind, "--csv", "-"}).out, HasSubstr(","));
  }
}

TEST_F(PlotTest, ThreadsAreToldByPlace) {
  ExpectOutput(
      "column,row,fires,thread,threadFires\n0,0,10,0,10\n1,0,10,1,10\n"
      "0,1,0,,0\n1,1,0,,0\n",
      Plot({"threads", "-c", "1", "-d", "1", "-p", "2", "--csv", "-"}));
  const CommandResult shared =
      Plot({"threads", "-c", "2", "-d", "1", "-p", "2", "--level", "cluster", "--json", "-"});
  EXPECT_THAT(std::string(Json(shared.out)["finding"]), StartsWith("Threads share all places"));
}

TEST_F(PlotTest, AMapOfPlacesAndTimesTellsItsCells) {
  ExpectOutput(
      "column,row,firstCycle,cycles,fires\n0,0,0,1,1\n0,0,4,1,1\n1,0,1,1,1\n1,0,5,1,1\n"
      "2,0,2,1,1\n3,0,3,1,1\n",
      Plot({"spacetime", "--cycles", "0:5", "--csv", "-"}));
  ExpectOutput(
      "column,row,firstCycle,cycles,fires,thread,ofThread\n1,0,1,1,1,1,1\n",
      Plot({"spacetime", "--cycles", "0:3", "--region", "1,0", "--by", "thread", "--csv", "-"}));
  const std::string map = Picture({"spacetime"}, "a.svg");
  EXPECT_NE(map, Picture({"spacetime", "--by", "thread"}, "b.svg"));
  EXPECT_NE(map, Picture({"spacetime", "--measure", "sends"}, "b.svg"));
  EXPECT_NE(map, Picture({"spacetime", "--scale-max", "5"}, "b.svg"));
}

TEST_F(PlotTest, PacketsAreDrawnWhereSomethingTellsThem) {
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"latency", "-o", "a.png"},
                                                {"histogram", "--of", "latency", "-o", "a.png"}}) {
    const CommandResult result = Plot(flags);
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_THAT(result.err, HasSubstr("t.trace: nothing tells its packets\n"));
    EXPECT_THAT(result.err, HasSubstr("--packets thread"));
  }
  EXPECT_FALSE(fs::exists(folder.File("a.png")));
  EXPECT_THAT(Picture({"latency", "--packets", "thread"}, "a.png"), StartsWith("\x89PNG"));
  // Each of the two threads enters with its first fire and leaves with its second one.
  ExpectOutput(
      "distribution,from,to,name,count,share\nlatency,0,1,,0,0\nlatency,1,2,,0,0\n"
      "latency,2,3,,2,1\n",
      Plot({"histogram", "--of", "latency", "--packets", "thread", "--cycles", "0:3", "--csv",
            "-"}));
  const CommandResult created =
      Plot({"latency", "--packets", "thread", "--since", "creation", "-o", "b.png"});
  EXPECT_EQ(1, created.exitStatus);
  EXPECT_THAT(created.err, HasSubstr("nothing tells when its packets were created"));
}

TEST_F(PlotTest, TheHistogramIsOfLatencyTooWherePacketsArriveAndElseOfDistanceAlone) {
  const auto has = [this](const char* cycles) {
    return Plot({"histogram", "--packets", "thread", "--cycles", cycles, "--csv", "-"}).out;
  };
  EXPECT_THAT(has("0:3"), HasSubstr("\nlatency,"));
  EXPECT_THAT(has("0:1"), AllOf(StartsWith("distribution,"), Not(HasSubstr("\nlatency,"))));
}

TEST_F(PlotTest, AttributesAreDrawnWhereTheCompanionHasThem) {
  const CommandResult none = Plot({"histogram", "--of", "attribute:size", "-o", "a.png"});
  EXPECT_EQ(1, none.exitStatus);
  EXPECT_THAT(none.err, HasSubstr("no notes stand beside it, so nothing tells of size"));
  EXPECT_EQ(2, Plot({"histogram", "--of", "size", "-o", "a.png"}).exitStatus);
  EXPECT_EQ(2, Plot({"histogram", "--of", "attribute:", "-o", "a.png"}).exitStatus);
  ExpectFailure(
      2, "--of: a picture has room for two distributions\n  Give it once or twice.\n",
      Plot({"histogram", "--of", "fires", "--of", "distance", "--of", "hops", "-o", "a.png"}));
  EXPECT_FALSE(fs::exists(folder.File("a.png")));
}

TEST_F(PlotTest, NoTwoOutputsAreOneAndNoneIsTheTrace) {
  ExpectFailure(2,
                "nothing is asked for\n"
                "  Name a picture with -o, or ask for its numbers with --csv or --json.\n",
                Plot({"heat"}));
  ExpectFailure(2, "-: asked for by -o and by --csv\n  Name another one of them.\n",
                Plot({"heat", "-o", "-", "--csv", "-"}));
  for (const char* const other : {"a", "./a", "link"}) {
    fs::remove(folder.File("link"));
    fs::create_symlink("a", folder.File("link"));
    ExpectFailure(
        2, std::string(other) + ": asked for by --csv and by --json\n  Name another one of them.\n",
        Plot({"heat", "--csv", "a", "--json", other}));
    EXPECT_FALSE(fs::exists(folder.File("a")));
  }
  EXPECT_EQ(2, Plot({"heat", "--csv", "-", "--json", "/dev/stdout"}).exitStatus);
  for (const char* const flag : {"--csv", "--json", "--caption"}) {
    ExpectFailure(2, std::string("t.trace: is the trace\n  Name another file with ") + flag + ".\n",
                  Plot({"heat", flag, "t.trace"}));
    EXPECT_EQ(3, Plot({"heat", flag, "none/a"}).exitStatus);
  }
}

TEST_F(PlotTest, ARangeWithoutEventsIsAnEmptyPicture) {
  EXPECT_THAT(Picture({"heat", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"timeline", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"links", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"threads", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  for (const char* const kind : {"heat", "links", "threads", "timeline"}) {
    EXPECT_THAT(Picture({kind, "--cycles", "7"}, "a.svg"), HasSubstr("</svg>")) << "one cycle";
  }
  EXPECT_THAT(Picture({"spacetime", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"spacetime", "--thread", "77", "--by", "thread"}, "a.png"),
              StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"histogram", "--thread", "77"}, "a.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(Picture({"latency", "--packets", "thread", "--thread", "77"}, "a.png"),
              StartsWith("\x89PNG"));
}

TEST_F(PlotTest, CommandLinesThatMakeNoPictureAreRefused) {
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"pie", "-o", "a.png"},
                                                {"heat"},
                                                {"heat", "-o", "a.jpg"},
                                                {"heat", "-o", "t.trace"},
                                                {"heat", "-o", "a.png", "--size", "0x5"},
                                                {"heat", "-o", "a.png", "--size", "x"},
                                                {"heat", "-o", "a.png", "--size", "5x"},
                                                {"heat", "-o", "a.png", "--size", "5x5x5"},
                                                {"heat", "-o", "a.png", "--text", "9"},
                                                {"heat", "-o", "a.png", "--text", "nan"},
                                                {"heat", "-o", "a.png", "--scale-max", "0"},
                                                {"heat", "-o", "a.png", "--scale-max", "nan"},
                                                {"links", "-o", "a.png", "--scale-max", "inf"},
                                                {"heat", "-o", "a.png", "--theme", "pink"},
                                                {"diff", "-o", "a.png"}}) {
    const CommandResult result = Plot(flags);
    EXPECT_EQ(2, result.exitStatus) << flags.back();
    EXPECT_NE("", result.err);
  }
  EXPECT_FALSE(fs::exists(folder.File("a.png")));
  EXPECT_THAT(Plot({"spacetime", "-o", "a.png", "--scale-max", "-3"}).err,
              HasSubstr("-3 is no number above 0"));
}

TEST_F(PlotTest, WhatIsSaidOfElementsIsAboutThoseOfTheRegion) {
  // Of (0, 0) to (1, 0) each fires ten times of forty cycles; nothing else is asked for.
  const CommandResult caption = Plot({"heat", "--region", "0,0:1,0", "--caption", "-"});
  EXPECT_THAT(caption.out, HasSubstr("PE (0, 0) has 10 fires, 1 times the mean 10; median 10"));
  EXPECT_EQ("column,row,fires\n0,0,10\n1,0,10\n",
            Plot({"heat", "--region", "0,0:1,0", "--csv", "-"}).out);
  EXPECT_THAT(Plot({"heat", "--region", "0,0:1,1", "--caption", "-"}).out,
              HasSubstr("2 of 4 PEs never"));
  EXPECT_THAT(Plot({"heat", "--region", "300,300", "--caption", "-"}).out,
              HasSubstr("no fires here"));
  EXPECT_THAT(Plot({"heat", "--measure", "transmissions", "--region", "4,4", "--caption", "-"}).out,
              HasSubstr("Cluster (0, 0) has 1 transmissions, 1 times the mean 1"));
  EXPECT_NE(Picture({"heat", "--region", "0,0:1,0"}, "a.png"),
            Picture({"heat", "--region", "0,0:1,1"}, "b.png"));
}

TEST_F(PlotTest, CyclesAreToldApartHoweverHighTheyAre) {
  const auto trace = [&](uint64_t first, const std::string& name) {
    std::string text;
    for (uint64_t cycle = 0; cycle < 300; ++cycle) {
      text += "fire " + std::to_string(first + cycle) + " 0 0 0\n";
    }
    Trace(text, name);
  };
  trace(uint64_t{1} << 60, "far.trace");
  trace(~uint64_t{0} - 299, "end.trace");
  for (const char* const name : {"far.trace", "end.trace"}) {
    for (const char* const kind : {"timeline", "spacetime", "why", "latency", "histogram"}) {
      const CommandResult drawn =
          Run({"plot", kind, name, "-o", "a.svg", "--packets", "thread", "--force"});
      const CommandResult plain = Run({"plot", kind, name, "-o", "a.svg", "--force"});
      EXPECT_TRUE(drawn.exitStatus == 0 || plain.exitStatus == 0) << kind << plain.err;
    }
  }
}

TEST_F(PlotTest, APageThatCannotHoldThePlotIsAWrongSizeOfTheCommandLine) {
  ExpectFailure(2,
                "plot: the page has no room for the plot\n"
                "  Ask for a larger page, or for smaller text.\n",
                Plot({"heat", "-o", "a.png", "--size", "10x10"}));
  ExpectFailure(2,
                "plot: the page has no room for the plot\n"
                "  Ask for a larger page, or for smaller text.\n",
                Plot({"heat", "-o", "a.png", "--size", "100x100", "--text", "4"}));
  ExpectFailure(2,
                "plot: a picture has at most 32,767 pixels each way\n"
                "  Ask for a smaller picture.\n",
                Plot({"heat", "-o", "a.png", "--size", "99999x99999"}));
  EXPECT_FALSE(fs::exists(folder.File("a.png")));
}

TEST_F(PlotTest, APictureThatCannotBeMadeOrWrittenLeavesNothing) {
  for (const std::vector<std::string>& flags :
       {std::vector<std::string>{"heat", "-o", "nowhere/a.png"}, {"heat", "-o", "nowhere/a.svg"}}) {
    const CommandResult result = Plot(flags);
    EXPECT_EQ(3, result.exitStatus) << result.err;
    EXPECT_NE("", result.err);
  }
  EXPECT_FALSE(fs::exists(folder.File("a.png")));
}

TEST_F(PlotTest, ABrokenTraceIsDrawnUpToTheBreakWhichIsTold) {
  const std::string path = folder.File("t.trace");
  testing::WriteFile(path, ReadFile(path).substr(0, 20 * 28 + 5));
  const CommandResult result = Plot({"heat", "-o", "a.png"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr("the trace ends"));
  EXPECT_THAT(ReadFile(folder.File("a.png")), StartsWith("\x89PNG"));
}

TEST_F(PlotTest, WhyDrawsTheChainOfTheEventThatIsNamed) {
  const std::string end = Picture({"why"}, "a.svg");
  EXPECT_NE(end, Picture({"why", "--record", "3"}, "b.svg"));
  EXPECT_EQ(Picture({"why", "--record", "36"}, "a.svg"),
            Picture({"why", "--pe", "0,0", "--cycle", "38"}, "b.svg"));
  for (const std::vector<std::string>& flags :
       {std::vector<std::string>{"why", "-o", "p.png", "--cycles", "3:5"},
        {"why", "-o", "p.png", "--thread", "1"},
        {"why", "-o", "p.png", "--cycle", "3"},
        {"why", "-o", "p.png", "--record", "3", "--pe", "0,0"}}) {
    EXPECT_EQ(Plot(flags).exitStatus, 2) << flags[3];
  }
  const CommandResult none = Plot({"why", "-o", "p.png", "--record", "999"});
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_THAT(none.err, HasSubstr("there is no record 999"));
}

TEST_F(PlotTest, ADifferenceOfTwoRunsIsAPictureOfBoth) {
  Trace("fire 0 0 0 0\nfire 1 0 0 0\nfire 9 1 3 3\n", "other.trace");
  const std::string plain = Picture({"diff", "other.trace"}, "a.svg");
  EXPECT_THAT(plain, StartsWith("<?xml"));
  EXPECT_EQ(plain, Picture({"diff", "other.trace"}, "b.svg"));
  for (const std::vector<std::string>& flags : {std::vector<std::string>{"--measure", "idle"},
                                                {"--measure", "transmissions"},
                                                {"--level", "cluster"},
                                                {"--theme", "print"},
                                                {"--cycles", "0:5"},
                                                {"--size", "slide"}}) {
    std::vector<std::string> words = {"diff", "other.trace"};
    words.insert(words.end(), flags.begin(), flags.end());
    EXPECT_NE(plain, Picture(words, "b.svg")) << flags[1];
  }
  const CommandResult numbers = Plot({"diff", "other.trace", "--json", "-"});
  EXPECT_EQ(0, numbers.exitStatus) << numbers.err;
  EXPECT_EQ("diff", Json(numbers.out)["plot"]);
  EXPECT_THAT(Plot({"diff", "other.trace", "--csv", "-"}).out,
              StartsWith("column,row,a,b,change\n"));
  for (const char* const name : {"t.trace", "other.trace"}) {
    EXPECT_EQ(2, Plot({"diff", "other.trace", "--csv", name}).exitStatus);
  }
  EXPECT_EQ(1, Plot({"diff", "none.trace", "-o", "a.png"}).exitStatus);
}

}  // namespace
}  // namespace marrowfin
