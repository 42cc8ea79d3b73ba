// marrowfin-trace expect

#include <sys/stat.h>

#include <functional>

#include "tests/tools/CommandFixture.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// Four elements and eleven cycles: one is busy, one is asked now and then, two do nothing.
constexpr char small[] =
    "fire 10 0 0 0\n"
    "fire 10 1 0 0\n"
    "send 10 0 0 0 1 0\n"
    "fire 11 0 0 0\n"
    "send 11 0 0 0 1 1\n"
    "fire 12 0 1 0\n"
    "send 19 0 1 0 1 1\n"
    "fire 20 0 1 0\n";

constexpr char good[] =
    "[[rule]]\n"
    "name = \"busy\"\n"
    "measure = \"firesPerCycle\"\n"
    "at_least = 0.4\n";

constexpr char bad[] =
    "[[rule]]\n"
    "name = \"No message goes far!\"\n"
    "description = \"Ask <Ada> & \\\"Bob\\\".\"\n"
    "measure = \"distance.max\"\n"
    "at_most = 1\n";

constexpr char near[] =
    "[[rule]]\n"
    "name = \"as before\"\n"
    "measure = \"*\"\n"
    "baseline = \"base.json\"\n"
    "within = \"5 %\"\n";

class ExpectTest : public CommandFixture {
 protected:
  ExpectTest() { Trace(small); }

  void Rules(const std::string& text) const { testing::WriteFile(folder.File("r.toml"), text); }

  CommandResult Expect(const std::vector<std::string>& flags = {}) const {
    std::vector<std::string> words = {"expect", "r.toml", "t.trace", "-c", "1",
                                      "-d",     "1",      "-p",      "2"};
    words.insert(words.end(), flags.begin(), flags.end());
    return Run(words);
  }

  json ExpectJson(int exitStatus, std::vector<std::string> flags = {}) const {
    flags.push_back("--json");
    const CommandResult result = Expect(flags);
    EXPECT_EQ(exitStatus, result.exitStatus) << result.err;
    return Json(result.out);
  }
};

TEST_F(ExpectTest, RulesThatHoldAreALineEachAndStatus0) {
  Rules(std::string(good) + "[[rule]]\nname = \"b\"\nmeasure = \"sends\"\nequals = 3\n");
  ExpectOutput(
      "r.toml:1: holds: busy: firesPerCycle is 0.454545 a cycle, wanted at least 0.4\n"
      "r.toml:5: holds: b: sends is 3 messages, wanted exactly 3\n"
      "t.trace: 2 rules: 2 hold\n",
      Expect());
}

TEST_F(ExpectTest, ARuleThatFailsTellsWhereWhenAndThePictureAndIsStatus1) {
  Rules(std::string(good) + bad);
  const CommandResult result = Expect();
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(
      "r.toml:1: holds: busy: firesPerCycle is 0.454545 a cycle, wanted at least 0.4\n"
      "r.toml:5: fails: No message goes far!: distance.max is 2 links, wanted at most 1\n"
      "  record 4 at cycle 11, from (0, 0) to (1, 1), of cycles 10 to 20\n"
      "  marrowfin-trace render t.trace --natural --cycle 11 -c 1 -d 1 -p 2 -o "
      "no-message-goes-far.png\n"
      "  Ask <Ada> & \"Bob\".\n"
      "t.trace: 2 rules: 1 holds, 1 fails\n",
      result.out);
  EXPECT_THAT(FolderContents(), ElementsAre("r.toml", "t.trace", "t.trace.mfindex"));
}

TEST_F(ExpectTest, WhatCannotBeToldIsStatus1UnlessItIsOptional) {
  const std::string rule = "[[rule]]\nname = \"a\"\nmeasure = \"packets.hops.max\"\nat_most = 1\n";
  Rules(rule);
  CommandResult result = Expect();
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out,
              AllOf(StartsWith("r.toml:1: untold: a: packets.hops.max cannot be told: nothing "),
                    HasSubstr("t.trace: 1 rule: 0 hold, 1 cannot be told\n")));
  Rules(rule + "optional = true\n");
  result = Expect();
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, AllOf(StartsWith("r.toml:1: skipped: a: packets.hops.max cannot"),
                                HasSubstr("1 rule: 0 hold, 1 is skipped\n")));
  Rules(rule);
  EXPECT_EQ(1, Expect({"--packets", "none"}).exitStatus);
  EXPECT_EQ(0, Expect({"--packets", "thread"}).exitStatus);
}

TEST_F(ExpectTest, JsonHasEverythingUnrounded) {
  Rules(std::string(bad) + "[[rule]]\nname = \"s\"\nmeasure = \"element.gap\"\nbelow = 2.5\n" +
        "[[rule]]\nname = \"l\"\nmeasure = \"link.load\"\nat_most = 1\n" +
        "[[rule]]\nname = \"k\"\nmeasure = \"fires\"\nequals = 1\nskip = \"so\"\n");
  const json told = ExpectJson(1);
  EXPECT_EQ(told["file"], "r.toml");
  EXPECT_EQ(told["trace"], "t.trace");
  EXPECT_EQ(told["holds"], 1);
  EXPECT_EQ(told["fails"], 2);
  EXPECT_EQ(told["untold"], 0);
  EXPECT_EQ(told["skipped"], 1);
  const json& far = told["rules"][0];
  EXPECT_EQ(far["outcome"], "fails");
  EXPECT_EQ(far["line"], 1);
  EXPECT_EQ(far["description"], "Ask <Ada> & \"Bob\".");
  EXPECT_EQ(far["findings"][0]["value"], 2);
  EXPECT_EQ(far["findings"][0]["wanted"]["most"], 1);
  EXPECT_EQ(far["findings"][0]["wanted"]["least"], nullptr);
  EXPECT_EQ(far["findings"][0]["where"]["cycle"], 11);
  EXPECT_EQ(far["findings"][0]["where"]["message"],
            json({{"record", 4}, {"from", {0, 0}}, {"to", {1, 1}}}));
  const json& gap = told["rules"][1]["findings"][0];
  EXPECT_EQ(gap["wanted"]["belowMost"], true);
  EXPECT_EQ(
      gap["where"]["place"],
      json(
          {{"kind", "element"}, {"at", {1, 0}}, {"position", {1, 0}}, {"name", "element (1, 0)"}}));
  EXPECT_EQ(told["rules"][2]["findings"][0]["where"]["place"]["heading"], "right");
  EXPECT_EQ(told["rules"][3]["reason"], "so");
  EXPECT_EQ(told["rules"][3]["findings"], json::array());
}

TEST_F(ExpectTest, EveryNameOfAMeasureOfTheRunIsAFieldOfStatsOrWhyWithTheSameNumber) {
  // All that stats tells, packets too.
  std::string text;
  for (int i = 0; i < 300; ++i) {
    const std::string cycle = std::to_string(10 * i);
    const std::string thread = std::to_string(i);
    const std::string to = std::to_string(i % 8) + " " + std::to_string(i % 5);
    text += "fire " + cycle + " " + thread + " 0 0\nsend " + cycle + " " + thread + " 0 0 " + to +
            "\nswitch " + cycle + " " + thread + " 4 4\nfire " + std::to_string(10 * i + i % 9) +
            " " + thread + " " + to + "\n";
  }
  Trace(text);
  Rules("[[rule]]\nname = \"all\"\nmeasure = \"*\"\nabove = -1\n");
  const std::vector<std::string> flags = {"-c", "2",         "-d",     "1",     "-p",
                                          "4",  "--packets", "thread", "--json"};
  std::vector<std::string> words = {"expect", "r.toml", "t.trace"};
  words.insert(words.end(), flags.begin(), flags.end());
  const json told = Json(Run(words).out);
  words = {"stats", "t.trace"};
  words.insert(words.end(), flags.begin(), flags.end());
  json stats = Json(Run(words).out);
  stats.update(Json(Run({"why", "t.trace", "-c", "2", "-d", "1", "-p", "4", "--json"}).out));
  int same = 0;
  for (const json& finding : told["rules"][0]["findings"]) {
    const std::string name = finding["measure"];
    std::string path = "/" + name;
    std::replace(path.begin(), path.end(), '.', '/');
    const json::json_pointer pointer(path);
    if (stats.contains(pointer)) {
      ++same;
      EXPECT_EQ(stats[pointer], finding["value"]) << name;
    } else {
      EXPECT_TRUE(name == "cycles" || name == "phases.count" || name == "links.maxLoad" ||
                  name.starts_with("chain.share."))
          << name;
    }
  }
  EXPECT_GT(same, 60);
}

TEST_F(ExpectTest, JUnitIsXmlThatAParserOfAnotherMakeReads) {
  Rules(std::string(good) + bad +
        "[[rule]]\nname = \"u\"\nmeasure = \"packets.hops.max\"\nat_most = 1\n" +
        "[[rule]]\nname = \"s\"\nmeasure = \"fires\"\nequals = 1\nskip = \"a \\u0085\\uffff\"\n");
  const CommandResult result = Expect({"--junit", "v.xml"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("4 rules"));
  const CommandResult parsed = testing::RunCommand(
      {MARROWFIN_PYTHON, "-c",
       "import sys, xml.etree.ElementTree as e\n"
       "suite = e.parse(sys.argv[1]).getroot()[0]\n"
       "print(suite.attrib)\n"
       "for case in suite:\n"
       "  print(case.attrib['name'], case.attrib['line'], case[0].tag, case[0].get('message'))\n"
       "  print((case[0].text or '').split('\\n')[:3])\n",
       folder.File("v.xml")});
  EXPECT_EQ(0, parsed.exitStatus) << parsed.err;
  EXPECT_EQ(
      "{'name': 'r.toml', 'tests': '4', 'failures': '1', 'errors': '1', 'skipped': '1'}\n"
      "busy 1 system-out None\n"
      "['firesPerCycle is 0.454545 a cycle, wanted at least 0.4']\n"
      "No message goes far! 5 failure distance.max is 2 links, wanted at most 1\n"
      "['distance.max is 2 links, wanted at most 1', 'record 4 at cycle 11, from (0, 0) to (1, "
      "1), of cycles 10 to 20', 'marrowfin-trace render t.trace --natural --cycle 11 -c 1 -d 1 -p "
      "2 -o no-message-goes-far.png']\n"
      "u 10 error packets.hops.max cannot be told: nothing tells packets: record the trace with a "
      "companion, or say --packets thread\n"
      "['packets.hops.max cannot be told: nothing tells packets: record the trace with a "
      "companion, or say --packets thread', 'r.toml:10', '']\n"
      "s 14 skipped a \xc2\x85?\n"
      "['']\n",
      parsed.out);
}

TEST_F(ExpectTest, TheSameInputGivesTheSameBytes) {
  Rules(std::string(good) + bad);
  std::string before;
  for (int i = 0; i < 2; ++i) {
    Expect({"--junit", "v.xml", "--json", "-o", "v.json", "--force"});
    const std::string now =
        testing::ReadFile(folder.File("v.xml")) + testing::ReadFile(folder.File("v.json"));
    EXPECT_TRUE(i == 0 || now == before);
    before = now;
  }
  EXPECT_NE(before, "");
}

TEST_F(ExpectTest, ABaselineIsMadeAndThenHeldAgainst) {
  Rules(near);
  ExpectFailure(4,
                "base.json: cannot open: No such file or directory\n"
                "  Make it with --update-baseline.\n",
                Expect());
  CommandResult result = Expect({"--update-baseline"});
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_THAT(result.out, HasSubstr("base.json: written\n  as before: "));
  const json made = Json(testing::ReadFile(folder.File("base.json")));
  EXPECT_EQ(made["rules"]["as before"]["fires"], 5);
  EXPECT_FALSE(HasFileLike("mfpart"));
  EXPECT_EQ(0, Expect().exitStatus);

  // A run that is another.
  Trace(std::string(small) + "fire 20 0 0 0\n");
  result = Expect();
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("\n  fires is 6 fires, wanted 4.75 to 5.25 (the baseline has "
                                    "5)\n"));
  result = Expect({"--update-baseline"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("\n  as before: fires is 6, was 5\n"));
  EXPECT_THAT(Expect({"--update-baseline"}).out,
              HasSubstr("base.json: written, nothing changed\n"));
  EXPECT_EQ(ExpectJson(0, {"--update-baseline"})["baselines"], json({"base.json"}));
}

TEST_F(ExpectTest, WhatStatsPrintsIsABaseline) {
  ASSERT_EQ(0,
            Run({"stats", "t.trace", "-c", "1", "-d", "1", "-p", "2", "--json", "-o", "base.json"})
                .exitStatus);
  Rules(near);
  EXPECT_EQ(0, Expect().exitStatus) << Expect().out;
  Trace(std::string(small) + "fire 20 0 0 0\n");
  EXPECT_EQ(1, Expect().exitStatus);
}

TEST_F(ExpectTest, ABaselineKeepsWhatIsNotMadeAnew) {
  testing::WriteFile(folder.File("base.json"),
                     R"({"rules": {"skipped": {"fires": 1}, "another": {"fires": 2}}})");
  Rules(std::string(near) + "[[rule]]\nname = \"skipped\"\nskip = \"so\"\nmeasure = \"fires\"\n" +
        "baseline = \"base.json\"\nwithin = 1\n" +
        "[[rule]]\nname = \"another\"\nmeasure = \"fires\"\nbaseline = \"base.json\"\nwithin = "
        "1\n");
  EXPECT_EQ(0, Expect({"--update-baseline", "--rule", "as*", "--rule", "skipped"}).exitStatus);
  const json made = Json(testing::ReadFile(folder.File("base.json")))["rules"];
  EXPECT_EQ(made["skipped"]["fires"], 1);
  EXPECT_EQ(made["another"]["fires"], 2);
  EXPECT_EQ(made["as before"]["fires"], 5);
}

TEST_F(ExpectTest, NothingIsWrittenOverWhatIsReadOrIsNoBaseline) {
  Rules(std::string(near));
  testing::WriteFile(folder.File("base.json"), "precious");
  CommandResult result = Expect({"--update-baseline"});
  EXPECT_EQ(4, result.exitStatus);
  EXPECT_THAT(result.err, StartsWith("marrowfin-trace: base.json: line 1: this is no JSON\n"));
  EXPECT_EQ("precious", testing::ReadFile(folder.File("base.json")));
  for (const char* const name : {"t.trace", "t.trace.notes", "r.toml", "./r.toml", "base.json"}) {
    for (const char* const flag : {"--junit", "-o"}) {
      result = Expect({flag, name, "--force"});
      EXPECT_EQ(2, result.exitStatus) << name << result.err;
      EXPECT_EQ("", result.out);
    }
  }
  EXPECT_EQ(2, Expect({"--junit", "x", "-o", "x"}).exitStatus);
  EXPECT_EQ(2, Expect({"--junit", "v.xml", "-o", "./v.xml"}).exitStatus);
  EXPECT_FALSE(HasFileLike("v.xml"));
  EXPECT_EQ(2, Expect({"--junit", "-"}).exitStatus);
  EXPECT_EQ(2, Expect({"--junit", "-", "-o", "-"}).exitStatus);
  Rules("[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nbaseline = \"t.trace.about\"\nwithin = 1\n");
  EXPECT_EQ(2, Expect({"--update-baseline"}).exitStatus);
  EXPECT_FALSE(HasFileLike("about"));
  Rules(std::string(near));
  EXPECT_EQ(2, Expect({"--update-baseline", "-o", "./base.json", "--force"}).exitStatus);
  EXPECT_EQ("precious", testing::ReadFile(folder.File("base.json")));
}

TEST_F(ExpectTest, WhatCannotBeReadIsTroubleAndLeavesNothing) {
  const auto expectTrouble = [&](const std::string& err) {
    const CommandResult result = Expect({"--junit", "v.xml"});
    EXPECT_EQ(4, result.exitStatus) << result.out;
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, HasSubstr(err));
    EXPECT_FALSE(HasFileLike("v.xml"));
  };
  expectTrouble("r.toml: cannot open: No such file or directory");
  Rules("[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nat_mots = 3\n");
  expectTrouble("r.toml: line 4: a rule has no 'at_mots'; is at_most meant?\n  Mend the line.\n");
  Rules(good);
  testing::WriteFile(folder.File("t.trace"), "#!/bin/sh\necho this is no trace\n");
  expectTrouble("t.trace: record 0 at byte 0: type 589377378 is none of 2, 3 and 4");
  Trace("");
  expectTrouble("t.trace: there are no records\n");
  std::filesystem::remove(folder.File("t.trace"));
  expectTrouble("t.trace: cannot open: No such file or directory");
  std::filesystem::create_directory(folder.File("t.trace"));
  expectTrouble("t.trace: cannot read: Is a directory");
  std::filesystem::remove(folder.File("r.toml"));
  std::filesystem::create_directory(folder.File("r.toml"));
  expectTrouble("r.toml: ");
}

TEST_F(ExpectTest, ATraceThatBreaksOffIsTroubleWhereRulesAskForWhatIsLost) {
  const std::string path = folder.File("t.trace");
  testing::WriteFile(path, testing::ReadFile(path).substr(0, 6 * 28 + 2 * 8 + 20));
  Rules(std::string(bad) + near);
  testing::WriteFile(folder.File("base.json"), R"({"rules": {"as before": {"fires": 4}}})");
  CommandResult result = Expect({"--update-baseline"});
  EXPECT_EQ(4, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("distance.max is 2 links")) << "what is there is told";
  EXPECT_THAT(result.err, HasSubstr("the trace ends"));
  EXPECT_THAT(testing::ReadFile(folder.File("base.json")), HasSubstr(": 4")) << "no baseline of it";
  Rules(std::string(bad) + "cycles = \"10:10\"\n");
  EXPECT_EQ(0, Expect().exitStatus) << "all that is asked for is there";
}

TEST_F(ExpectTest, RulesAreChosenByName) {
  Rules(std::string(good) + bad);
  EXPECT_THAT(Expect({"--rule", "b*"}).out, HasSubstr("t.trace: 1 rule: 1 holds\n"));
  EXPECT_EQ(1, Expect({"--rule", "No message goes far!"}).exitStatus);
  ExpectFailure(2, "r.toml: no rule is called buzy\n  Is 'busy' meant?\n",
                Expect({"--rule", "buzy"}));
}

TEST_F(ExpectTest, CommandLinesThatSayTooLittleAreRefused) {
  Rules(good);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"expect"}, {"expect", "r.toml"}, {"expect", "r.toml", ""}}) {
    ExpectFailure(2,
                  "a file of rules and a trace are needed\n"
                  "  Name both: expect RULES.toml TRACE.\n",
                  Run(words));
  }
  EXPECT_EQ(2, Expect({"--packets", "mail"}).exitStatus);
  EXPECT_EQ(2, Expect({"-p", "5000"}).exitStatus);
}

TEST_F(ExpectTest, OutputsThatCannotBeWrittenAreStatus3) {
  Rules(good);
  EXPECT_EQ(3, Expect({"--junit", "nowhere/v.xml"}).exitStatus);
  EXPECT_EQ(3, Expect({"-o", "nowhere/v.txt"}).exitStatus);
  Rules("[[rule]]\nname = \"a\"\nmeasure = \"fires\"\nbaseline = \"nowhere/b\"\nwithin = 1\n");
  EXPECT_EQ(3, Expect({"--update-baseline"}).exitStatus);
  Rules(bad);
  const CommandResult result =
      Shell("exec \"$0\" expect r.toml t.trace -c 1 -d 1 -p 2 > /dev/full");
  EXPECT_EQ(3, result.exitStatus) << "rather than 1: nobody could read why";
}

TEST_F(ExpectTest, MeasuresAreListed) {
  const CommandResult result = Run({"expect", "--measures"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_THAT(result.out, HasSubstr("\nelement.gap "));
  EXPECT_THAT(result.out, HasSubstr("\ndistance.max "));
}

TEST_F(ExpectTest, RulesMayAskForKindsAndNamedThreads) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, folder.File("n.trace").c_str());
  marrowfin_trace_companion(&trace);
  marrowfin_trace_name_thread(&trace, 1, "requests", "class");
  const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
  const int size = marrowfin_trace_attribute(&trace, "size", MARROWFIN_TRACE_NUMBER, "byte");
  marrowfin_trace_value_name(&trace, kind, 0, "load");
  for (int i = 0; i < 6; ++i) {
    marrowfin_trace_fire(&trace, 5 + i, i % 2, 1, 2);
    marrowfin_trace_note(&trace, size, 16 * i);
    if (i < 2) {
      marrowfin_trace_note(&trace, kind, 0);
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const std::string rule = "measure = \"fires\"\nequals = ";
  Rules("[[rule]]\nname = \"a\"\nkind = \"load\"\n" + rule + "2\n" +
        "[[rule]]\nname = \"b\"\nwhere = \"size>=48\"\n" + rule + "3\n" +
        "[[rule]]\nname = \"c\"\nthread = \"requests\"\nkind = \"load\"\n" + rule + "1\n" +
        "[[rule]]\nname = \"d\"\nwhere = [\"size>=48\", \"!kind\"]\ncycles = \"9:\"\n" + rule +
        "2\n" + "[[rule]]\nname = \"e\"\nkind = \"lode\"\n" + rule + "2\n");
  const CommandResult result = Run({"expect", "r.toml", "n.trace"});
  EXPECT_EQ(1, result.exitStatus) << result.err;
  EXPECT_THAT(result.out, HasSubstr("4 hold, 1 cannot be told")) << result.out;
  EXPECT_THAT(result.out, HasSubstr("load")) << "what there is";
}

TEST_F(ExpectTest, ATerminalGetsNoLineThatANameFakes) {
  const std::string name = "t\nr.toml:1: holds: x.trace";
  Trace(small, name);
  Rules(bad);
  const CommandResult result = testing::RunCommand(
      {MARROWFIN_PYTHON, "-c", "import pty, sys\nsys.exit(pty.spawn(sys.argv[1:]) >> 8)",
       MARROWFIN_TRACE, "expect", "r.toml", name, "-c", "1", "-d", "1", "-p", "2"},
      {"", folder.Path(), {}});
  EXPECT_EQ(1, result.exitStatus) << result.out;
  EXPECT_THAT(result.out, HasSubstr("t\\x0ar.toml:1"));
  EXPECT_THAT(result.out, Not(HasSubstr("\nr.toml:1: holds: x.trace")));
}

}  // namespace
}  // namespace marrowfin
