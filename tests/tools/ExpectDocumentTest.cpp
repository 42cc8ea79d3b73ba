// What docs/expect.md says is what the program does.

#include <set>
#include <sstream>

#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class ExpectDocumentTest : public CommandFixture {
 protected:
  ExpectDocumentTest() : document(testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/expect.md")) {}

  // What stands between ```KIND and ```, of each such block.
  std::vector<std::string> Blocks(const std::string& kind) const {
    const std::string start = "\n```" + kind + "\n";
    std::vector<std::string> blocks;
    for (size_t at = document.find(start); at != std::string::npos;
         at = document.find(start, at + 1)) {
      const size_t begin = at + start.size();
      blocks.push_back(document.substr(begin, document.find("\n```", begin) + 1 - begin));
    }
    return blocks;
  }

  void Write(const std::string& name, const std::string& text) const {
    testing::WriteFile(folder.File(name), text);
  }

  // Runs a script with the programs on its path.
  CommandResult Script(const std::string& script) const {
    const std::string programs = std::filesystem::path(MARROWFIN_TRACE).parent_path();
    return testing::RunCommand({"sh", "-e", "-c", "PATH=" + programs + ":$PATH\n" + script},
                               {"", folder.Path(), {}});
  }

  std::string document;
};

TEST_F(ExpectDocumentTest, TheFirstExampleIsWhatTheProgramPrints) {
  std::string text;
  for (int cycle = 100; cycle <= 116; ++cycle) {
    text += "fire " + std::to_string(cycle) + " 0 0 0\n";
    text += cycle == 105 ? "send 105 0 0 0 5 4\n" : "";
  }
  Trace(text, "run.trace");
  ASSERT_GE(Blocks("toml").size(), 2U);
  Write("rules.toml", Blocks("toml")[0]);
  const CommandResult result =
      Run({"expect", "rules.toml", "run.trace", "-c", "1", "-d", "1", "-p", "8"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ(Blocks("text")[0], result.out);
}

TEST_F(ExpectDocumentTest, TheMeasuresAreThoseOfTheProgram) {
  EXPECT_EQ(Blocks("measures")[0], Run({"expect", "--measures"}).out);
}

// Names of the numbers of an answer, "a.b"; those of lists are not told.
void AddNumbers(const nlohmann::json& value, const std::string& name,
                std::vector<std::string>& names) {
  if (value.is_number()) {
    names.push_back(name);
  } else if (value.is_object()) {
    for (const auto& [key, inner] : value.items()) {
      AddNumbers(inner, name.empty() ? key : name + "." + key, names);
    }
  }
}

TEST_F(ExpectDocumentTest, EveryNumberOfStatsIsAMeasure) {
  ASSERT_EQ(0, Script("marrowfin-sim -program spmv -size 16 -companion true -outFilename sim.trace")
                   .exitStatus);
  std::set<std::string> measures;
  std::istringstream listed(Run({"expect", "--measures"}).out);
  for (std::string line; std::getline(listed, line);) {
    measures.insert(line.substr(0, line.find(' ')));
  }
  std::vector<std::string> names;
  AddNumbers(Json(Run({"stats", "sim.trace", "--json"}).out), "", names);
  EXPECT_GT(names.size(), 80U);
  for (const std::string& name : names) {
    // What only says more of numbers: of which packet and array they are, and of how wide a cut.
    const bool saysMore = name.starts_with("packets.slowest.") || name.starts_with("shape.") ||
                          name == "links.bisection.links" || name == "links.capacity";
    EXPECT_NE(measures.count(name) > 0, saysMore) << name;
  }
}

TEST_F(ExpectDocumentTest, EveryNumberOfWhyIsAMeasure) {
  ASSERT_EQ(0, Script("marrowfin-sim -program spmv -size 16 -companion true -outFilename sim.trace")
                   .exitStatus);
  std::set<std::string> measures;
  std::istringstream listed(Run({"expect", "--measures"}).out);
  for (std::string line; std::getline(listed, line);) {
    measures.insert(line.substr(0, line.find(' ')));
  }
  const nlohmann::json why = Json(Run({"why", "sim.trace", "--json"}).out);
  std::vector<std::string> names;
  AddNumbers(why, "", names);
  EXPECT_GT(names.size(), 20U);
  for (const std::string& name : names) {
    // What only says more of numbers: at which records they are.
    const bool saysMore = name.starts_with("event.") || name == "chain.firstRecord" ||
                          name == "chain.longestMessageRecord";
    EXPECT_NE(measures.count(name) > 0, saysMore) << name;
  }
  const std::pair<const char*, nlohmann::json> units[] = {
      {"element.chain.", why["chain"]["pes"][0]},
      {"domain.chain.", why["chain"]["domains"][0]},
      {"cluster.chain.", why["chain"]["clusters"][0]},
      {"element.slack.", why["slack"][0]}};
  for (const auto& [start, unit] : units) {
    for (const auto& [key, value] : unit.items()) {
      if (value.is_number() && key != "fires") {
        EXPECT_EQ(1U, measures.count(start + key)) << start << key;
      }
    }
  }
}

TEST_F(ExpectDocumentTest, EveryExampleOfARuleHoldsOfARunOfTheSimulator) {
  ASSERT_EQ(0, Script("marrowfin-sim -program stencil -outFilename run.trace").exitStatus);
  Write("rules.toml", Blocks("toml")[1]);
  EXPECT_EQ(1, Script(Blocks("sh")[1]).exitStatus);
  const CommandResult result = Run({"expect", "rules.toml", "run.trace"});
  const std::string text = result.out;
  EXPECT_EQ(1, result.exitStatus) << result.err << text;
  // Messages of this program do go far, between memories and elements.
  EXPECT_THAT(text, HasSubstr(": fails: no message goes more than six hops: "));
  EXPECT_THAT(text, HasSubstr(": 21 rules: 19 hold, 1 fails, 1 is skipped\n"));
}

TEST_F(ExpectDocumentTest, EveryKeyOfARuleIsExplained) {
  Trace("fire 1 0 0 0\n");
  Write("rules.toml", "[[rule]]\nwrong = 1\n");
  const std::string err = Run({"expect", "rules.toml", "t.trace"}).err;
  const size_t start = err.find("it may have ");
  ASSERT_NE(std::string::npos, start) << err;
  std::istringstream keys(err.substr(start + 12, err.find('\n') - start - 12));
  int count = 0;
  for (std::string key; keys >> key; ++count) {
    key.erase(key.find_last_not_of(',') + 1);
    const size_t row = document.find("`" + key + "`");
    EXPECT_LT(row, document.find("`[defaults]` may")) << key << " in the table";
  }
  EXPECT_EQ(20, count);
}

// All names of fields, at any depth.
void AddNames(const nlohmann::json& value, std::set<std::string>& names) {
  for (const auto& [name, inner] : value.items()) {
    if (value.is_object()) {
      names.insert(name);
    }
    if (inner.is_structured()) {
      AddNames(inner, names);
    }
  }
}

TEST_F(ExpectDocumentTest, TheManualPageNamesEveryFieldOfTheJson) {
  Trace("fire 1 0 0 0\nsend 1 0 0 0 1 1\nfire 2 0 1 1\n");
  Write("rules.toml",
        "[[rule]]\nname = \"a\"\nmeasure = [\"fires\", \"packets.latency.max\", \"distance.max\", "
        "\"packets.onset\"]\nbelow = 1\n"
        "[[rule]]\nname = \"b\"\nmeasure = \"link.load\"\nbelow = 0\n"
        "[[rule]]\nname = \"t\"\nmeasure = \"traffic.messages\"\nbelow = 0\n"
        "[[rule]]\nname = \"c\"\nmeasure = \"fires\"\nbaseline = \"b.json\"\nwithin = 1\n");
  const CommandResult result =
      Run({"expect", "rules.toml", "t.trace", "--packets", "thread", "--update-baseline", "--json",
           "-c", "2", "-d", "1", "-p", "1"});
  std::set<std::string> names;
  AddNames(Json(result.out), names);
  EXPECT_EQ(1U, names.count("untold"));
  EXPECT_EQ(1U, names.count("packet"));
  EXPECT_EQ(1U, names.count("to"));
  std::string page = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/man/marrowfin-trace.1");
  const size_t start = page.find("\n.B expect\n", page.find("\n.SH JSON\n"));
  ASSERT_NE(std::string::npos, start);
  const std::string section = page.substr(start, page.find("\n.TP\n", start) - start);
  for (const std::string& name : names) {
    EXPECT_THAT(section, ::testing::ContainsRegex("[^A-Za-z]" + name + "[^A-Za-z]"));
  }
}

// The example for ctest, with the programs of this build.
class CtestExampleTest : public ExpectDocumentTest {
 protected:
  CommandResult Ctest(const std::string& rules) const {
    Write("CMakeLists.txt", Blocks("cmake")[0]);
    Write("rules.toml", rules);
    return Script("'" MARROWFIN_CMAKE
                  "' -B build -S . > log 2>&1 || { cat log; exit 99; }\n"
                  "'" MARROWFIN_CTEST "' --test-dir build --output-on-failure");
  }
};

TEST_F(CtestExampleTest, ARunThatKeepsItsRulesPasses) {
  const CommandResult result = Ctest(
      "[[rule]]\nname = \"in time\"\nmeasure = \"lastCycle\"\nat_most = 6000\n"
      "[[rule]]\nname = \"busy\"\nmeasure = \"firesPerCycle\"\nat_least = 20\n");
  EXPECT_EQ(0, result.exitStatus) << result.out;
  EXPECT_THAT(result.out, HasSubstr("100% tests passed, 0 tests failed out of 2"));
  EXPECT_THAT(testing::ReadFile(folder.File("build/verdicts.xml")),
              HasSubstr("tests=\"2\" failures=\"0\""));
}

TEST_F(CtestExampleTest, ARunThatDoesNotIsToldWithItsRule) {
  const CommandResult result =
      Ctest("\n[[rule]]\nname = \"in time\"\nmeasure = \"lastCycle\"\nat_most = 600\n");
  EXPECT_NE(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("rules.toml:2: fails: in time: lastCycle is "));
  EXPECT_THAT(result.out, HasSubstr("50% tests passed, 1 tests failed out of 2"));
}

// What stands behind "run:" in the example for GitHub Actions, one step each.
std::vector<std::string> StepsOf(const std::string& yaml) {
  std::vector<std::string> steps;
  std::istringstream stream(yaml);
  bool inBlock = false;
  for (std::string line; std::getline(stream, line);) {
    const size_t run = line.find("run: ");
    if (run != std::string::npos) {
      inBlock = line.substr(run + 5) == "|";
      steps.push_back(inBlock ? "" : line.substr(run + 5));
    } else if (inBlock && line.starts_with("          ")) {
      steps.back() += line.substr(10) + "\n";
    } else {
      inBlock = false;
    }
  }
  return steps;
}

TEST_F(ExpectDocumentTest, TheStepsForGitHubActionsRunAndDrawWhatFails) {
  const std::vector<std::string> steps = StepsOf(Blocks("yaml")[0]);
  ASSERT_EQ(3U, steps.size());
  Write("rules.toml",
        "[[rule]]\nname = \"In time\"\nmeasure = \"lastCycle\"\nat_most = 600\n"
        "[[rule]]\nname = \"no gap\"\nmeasure = \"element.gap\"\nat_most = 6\n");
  ASSERT_EQ(0, Script(steps[0]).exitStatus);
  EXPECT_EQ(1, Script(steps[1]).exitStatus);
  EXPECT_TRUE(std::filesystem::exists(folder.File("verdicts.xml")));
  const CommandResult drawn = Script(steps[2]);
  EXPECT_THAT(drawn.out, StartsWith("rules.toml:1: fails: In time: "));
#ifdef MARROWFIN_RENDERS
  EXPECT_EQ(0, drawn.exitStatus) << drawn.err;
  for (const char* const picture : {"in-time.png", "no-gap.png"}) {
    ASSERT_TRUE(std::filesystem::exists(folder.File(picture))) << picture;
    EXPECT_THAT(testing::ReadFile(folder.File(picture)), StartsWith("\x89PNG"));
  }
#endif
}

}  // namespace
}  // namespace marrowfin
