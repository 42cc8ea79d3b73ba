// Outputs of marrowfin-trace that would take the place of what a question reads.

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

using testing::CommandResult;
using ::testing::HasSubstr;

class OutputApartTest : public CommandFixture {
 protected:
  OutputApartTest() {
    Trace("fire 5 0 0 0\nfire 6 0 1 0\n", "x.trace");
    for (const auto& [name, what] : beside) {
      testing::WriteFile(folder.File(name), name);
    }
  }

  // Expects that no subcommand writes to `output`, all of which say what it is.
  void ExpectRefused(const std::string& output, const std::string& what) const {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"events", "x.trace"},
                                                  {"stats", "x.trace"},
                                                  {"notes", "x.trace"},
                                                  {"report", "x.trace"},
                                                  {"diff", "x.trace", "x.trace"},
                                                  {"plot", "heat", "x.trace"},
                                                  {"plot", "links", "x.trace"},
                                                  {"plot", "threads", "x.trace"},
                                                  {"plot", "timeline", "x.trace"},
                                                  {"plot", "diff", "x.trace", "x.trace"}}) {
      std::vector<std::string> line = words;
      line.insert(line.end(), {"-o", output});
      ExpectFailure(2, output + ": " + what + "\n  Name another file with -o.\n", Run(line));
    }
  }

  const std::vector<std::pair<std::string, std::string>> beside = {
      {"x.trace.about", "is what is told about the trace, in its companion"},
      {"x.trace.notes", "is the notes in the trace's companion"},
      {"x.trace.mfindex", "is the index of the trace"},
      {"x.trace.notes.mfindex", "is the index of the trace's notes"}};
};

TEST_F(OutputApartTest, NoFileBesideATraceIsReplacedByAnAnswerAboutIt) {
  for (const auto& [name, what] : beside) {
    ExpectRefused(name, what);
    ExpectRefused("./" + name, what);
    fs::create_symlink(name, folder.File("n.svg"));
    ExpectRefused("n.svg", what);
    fs::remove(folder.File("n.svg"));
    fs::create_hard_link(folder.File(name), folder.File("n.svg"));
    ExpectRefused("n.svg", what);
    fs::remove(folder.File("n.svg"));
    EXPECT_EQ(name, testing::ReadFile(folder.File(name)));
  }
}

TEST_F(OutputApartTest, TheirNamesAreKeptFreeBeforeTheyAreThere) {
  for (const auto& [name, what] : beside) {
    fs::remove(folder.File(name));
    ExpectRefused(name, what);
    fs::create_symlink(name, folder.File("n.svg"));
    ExpectRefused("n.svg", what);
    fs::remove(folder.File("n.svg"));
    EXPECT_FALSE(fs::exists(folder.File(name)));
  }
}

TEST_F(OutputApartTest, ATraceThatIsNamedByALinkHasItsNeighboursStill) {
  fs::create_directory(folder.File("links"));
  fs::create_symlink("../x.trace", folder.File("links/y.trace"));
  ExpectFailure(2,
                "x.trace.notes: is the notes in the trace's companion\n"
                "  Name another file with -o.\n",
                Run({"events", "links/y.trace", "-o", "x.trace.notes"}));
  EXPECT_EQ("x.trace.notes", testing::ReadFile(folder.File("x.trace.notes")));
}

// Whatever is forced: by the name of the input and by its links.
TEST_F(OutputApartTest, NoFileIsReadAndWrittenAtOnce) {
  const std::string trace = testing::ReadFile(folder.File("x.trace"));
  ASSERT_EQ(0, Run({"pack", "x.trace", "-o", "x.mfz", "--no-companion"}).exitStatus);
  const std::string packed = testing::ReadFile(folder.File("x.mfz"));
  testing::WriteFile(folder.File("x.csv"), "cycle,column,row\n1,0,0\n");
  const std::string table = testing::ReadFile(folder.File("x.csv"));
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"split", "x.trace", "--every-records", "9"},
        {"pack", "x.trace"},
        {"unpack", "x.mfz"},
        {"export", "x.trace", "--format", "csv"},
        {"query", "x.trace", "select 1"},
        {"import", "x.csv", "--format", "csv"}}) {
    const std::string& input = words[1];
    const bool splits = words[0] == "split";
    const std::string piece = splits ? "piece.trace" : input;
    fs::create_symlink(input, folder.File("link"));
    fs::create_hard_link(folder.File(input), folder.File("hard"));
    fs::create_hard_link(folder.File(input), folder.File("piece-0001.trace"));
    for (const std::string& output : {piece, splits ? piece : "link", splits ? piece : "hard"}) {
      SCOPED_TRACE(words[0] + " to " + output);
      std::vector<std::string> line = words;
      line.insert(line.end(), {"-o", output, "--force"});
      const CommandResult result = Run(line);
      EXPECT_EQ(2, result.exitStatus) << result.err;
      EXPECT_THAT(result.err, HasSubstr(splits ? "piece-0001.trace: is the trace" : output));
      EXPECT_EQ(trace, testing::ReadFile(folder.File("x.trace")));
      EXPECT_EQ(packed, testing::ReadFile(folder.File("x.mfz")));
      EXPECT_EQ(table, testing::ReadFile(folder.File("x.csv")));
    }
    for (const char* const name : {"link", "hard", "piece-0001.trace"}) {
      fs::remove(folder.File(name));
    }
  }
}

TEST_F(OutputApartTest, AnIndexTakesItsUsualPlaceAndNoOther) {
  for (const auto& [name, what] : beside) {
    const CommandResult result = Run({"index", "x.trace", "-o", name});
    if (name == "x.trace.mfindex") {
      EXPECT_EQ(0, result.exitStatus) << result.err;
    } else {
      ExpectFailure(2, name + ": " + what + "\n  Name another file with -o.\n", result);
      EXPECT_EQ(name, testing::ReadFile(folder.File(name)));
    }
  }
}

TEST_F(OutputApartTest, NamesThatAreOnlyAlikeAreFree) {
  for (const char* const name : {"x.trace.csv", "x.notes", "y.trace.notes"}) {
    const CommandResult result = Run({"events", "x.trace", "-o", name});
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_THAT(testing::ReadFile(folder.File(name)), HasSubstr("element 1 0"));
  }
}

}  // namespace
}  // namespace marrowfin
