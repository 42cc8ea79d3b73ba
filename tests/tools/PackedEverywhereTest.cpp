// A packed trace in place of the trace, with its companion within: no subcommand tells them apart.

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/FilesWithin.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;
using testing::ReadFile;

typedef std::vector<std::string> Line;

// A command line that reads run.trace, and how it ends.
struct Reading {
  Line words;
  int exitStatus = 0;
};

const std::vector<Reading> readings = {
    {{"info", "run.trace"}},
    {{"info", "run.trace", "--json"}},
    {{"check", "run.trace"}},
    {{"state", "run.trace", "--step", "121"}},
    {{"state", "run.trace", "--cycle", "150", "--places", "--json"}},
    {{"events", "run.trace", "--cycles", "100..120"}},
    {{"events", "run.trace", "--packet", "6483", "--format", "csv", "-o", "made.csv"}},
    {{"events", "run.trace", "--last", "5", "--format", "jsonl"}},
    {{"query", "run.trace", "select kind, count(*), max(step) from events group by 1 order by 1"}},
    {{"query", "run.trace", "select * from counters limit 9", "--json"}},
    {{"query", "run.trace", "select * from state(99)", "--format", "csv", "-o", "made.csv"}},
    {{"query", "run.trace", "select * from about"}},
    {{"notes", "run.trace"}},
    {{"notes", "run.trace", "--counters"}},
    {{"stats", "run.trace", "--json"}},
    {{"stats", "run.trace"}},
    {{"diff", "run.trace", "other.trace"}, 1},
    {{"diff", "run.trace", "run.trace", "--json"}},
    {{"why", "run.trace"}},
    {{"why", "run.trace", "--packet", "6483", "--json"}},
    {{"expect", "rules.toml", "run.trace"}},
    {{"plot", "heat", "run.trace", "-o", "made.svg"}},
    {{"plot", "links", "run.trace", "-o", "made.svg"}},
    {{"plot", "threads", "run.trace", "-o", "made.svg"}},
    {{"plot", "spacetime", "run.trace", "-o", "made.png"}},
    {{"plot", "timeline", "run.trace", "--csv", "made.csv"}},
    {{"plot", "histogram", "run.trace", "-o", "made.svg"}},
    {{"plot", "latency", "run.trace", "-o", "made.svg"}},
    {{"plot", "why", "run.trace", "--json", "made.json"}},
    {{"plot", "diff", "run.trace", "other.trace", "-o", "made.svg"}},
    {{"report", "run.trace", "-o", "made.html"}},
    {{"report", "run.trace", "--against", "other.trace", "-o", "made.html"}},
#ifdef MARROWFIN_RENDERS
    {{"render", "run.trace", "--cycle", "150", "-o", "made.png"}},
#endif
    {{"cut", "run.trace", "--cycles", "100..140", "-o", "made.trace"}},
    {{"cut", "run.trace", "--packet", "6483", "-o", "made.mfz"}},
    {{"head", "run.trace", "-n", "500", "-o", "made.trace"}},
    {{"head", "run.trace", "-n", "50", "--types", "send", "-o", "made.trace"}},
    {{"tail", "run.trace", "-n", "500", "-o", "made.trace"}},
    {{"split", "run.trace", "--every-records", "900", "-o", "made.trace"}},
    {{"split", "run.trace", "--by-thread", "-o", "made.mfz"}},
    {{"shift", "run.trace", "--later", "7", "-o", "made.trace"}},
    {{"sort", "run.trace", "-o", "made.trace"}},
    {{"merge", "run.trace", "other.trace", "-o", "made.trace"}},
    {{"merge", "other.trace", "run.trace", "-o", "made.mfz"}},
    {{"export", "run.trace", "-o", "made.csv"}},
    {{"export", "run.trace", "-o", "made.jsonl"}},
    {{"export", "run.trace", "-o", "made.json"}},
    {{"export", "run.trace", "-o", "made.pftrace"}},
    {{"export", "run.trace", "-o", "made.vcd"}},
    {{"export", "run.trace", "-o", "made.h5"}},
    {{"export", "run.trace", "-o", "made.sqlite"}},
    {{"export", "run.trace", "-o", "made.otf2"}},
    {{"pack", "run.trace", "-o", "made.mfz"}},
    {{"unpack", "run.trace", "--no-companion", "-o", "made.trace"}},
};

// A report against another run reads its own for both.
bool IsReadTwice(const Line& words) {
  return std::count(words.begin(), words.end(), "run.trace") > 1 ||
         std::count(words.begin(), words.end(), "--against") > 0;
}

class PackedEverywhereTest : public CommandFixture {
 protected:
  // Two runs of a simulator with notes and counters, as they are in one folder and packed in
  // another, by the same names.
  void SetUp() override {
    const std::string folders = folder.Path();
    const std::string sim = fs::path(MARROWFIN_TRACE).parent_path() / "marrowfin-sim";
    for (const char* const name : {"raw", "packed"}) {
      fs::create_directory(folder.File(name));
      testing::WriteFile(folder.File(name) + "/rules.toml",
                         "[[rule]]\nname = \"no message goes far\"\nmeasure = \"distance.max\"\n"
                         "at_most = 62\n");
    }
    for (const std::string name : {"run", "other"}) {
      const CommandResult made = testing::RunCommand(
          {sim, "-program", "spmv", "-placement", name == "run" ? "greedy" : "random",
           "-outFilename", "raw/" + name + ".trace"},
          {"", folders, {}});
      ASSERT_EQ(0, made.exitStatus) << made.err << made.out;
      const std::string trace = name + ".trace";
      ASSERT_EQ(0, Run({"pack", "raw/" + trace, "-o", "packed/" + trace}).exitStatus);
    }
    ASSERT_TRUE(fs::exists(folder.File("raw/run.trace.notes")));
    ASSERT_FALSE(fs::exists(folder.File("packed/run.trace.notes")));
  }

  // What a run printed and wrote.
  struct Outcome {
    CommandResult result;
    std::map<std::string, std::string> files;
  };

  Outcome OutcomeOf(const std::string& in, const Line& words) const {
    return OutcomeOfCommand(in, Words(words));
  }

  Outcome OutcomeOfCommand(const std::string& in, const Line& words) const {
    Outcome outcome;
    outcome.result = testing::RunCommand(words, {"", folder.File(in), {}});
    for (const std::string& name : ContentsOf(folder.File(in))) {
      if (name.starts_with("made")) {
        const std::string path = folder.File(in) + "/" + name;
        if (fs::is_directory(path)) {
          outcome.files.merge(testing::FilesWithin(path));
        } else {
          outcome.files[name] = ReadFile(path);
        }
        fs::remove_all(path);
      }
    }
    return outcome;
  }
};

TEST_F(PackedEverywhereTest, EverySubcommandDoesTheSameOfAPackedTrace) {
  for (const Reading& reading : readings) {
    SCOPED_TRACE(::testing::PrintToString(reading.words));
    const Outcome plain = OutcomeOf("raw", reading.words);
    const Outcome packed = OutcomeOf("packed", reading.words);
    EXPECT_EQ(reading.exitStatus, plain.result.exitStatus) << plain.result.err;
    EXPECT_EQ(reading.exitStatus, packed.result.exitStatus) << packed.result.err;
    EXPECT_TRUE(!plain.result.out.empty() || !plain.files.empty());
    EXPECT_TRUE(plain.result.out == packed.result.out) << plain.result.out.substr(0, 2000) << "\n\n"
                                                       << packed.result.out.substr(0, 2000);
    EXPECT_EQ(plain.result.err, packed.result.err);
    ASSERT_EQ(plain.files.size(), packed.files.size());
    for (const auto& [name, bytes] : plain.files) {
      const auto found = packed.files.find(name);
      ASSERT_TRUE(found != packed.files.end()) << name;
      EXPECT_TRUE(bytes == found->second) << name;
    }
  }
}

// What has to be unpacked first, beside its companion.
TEST_F(PackedEverywhereTest, EverySubcommandReadsWhatGzipOrZstdPacked) {
  for (const std::string packer : {"gzip", "zstd"}) {
    ASSERT_EQ(0, Shell("mkdir " + packer + " && cp raw/*.notes raw/*.about raw/*.toml " + packer +
                       " && for name in run other; do " + packer + " -qc raw/$name.trace > " +
                       packer + "/$name.trace || exit 1; done")
                     .exitStatus);
  }
  for (const Reading& reading : readings) {
    SCOPED_TRACE(::testing::PrintToString(reading.words));
    // Of a stream less is told.
    if (reading.words[0] == "info") {
      continue;
    }
    const Outcome plain = OutcomeOf("raw", reading.words);
    for (const std::string packer : {"gzip", "zstd"}) {
      const Outcome packed = OutcomeOf(packer, reading.words);
      EXPECT_EQ(reading.exitStatus, packed.result.exitStatus) << packed.result.err;
      EXPECT_TRUE(plain.result.out == packed.result.out)
          << plain.result.out.substr(0, 900) << "\n\n"
          << packed.result.out.substr(0, 900);
      EXPECT_EQ(plain.result.err, packed.result.err);
      EXPECT_TRUE(plain.files == packed.files);
    }
  }
  for (const std::string packer : {"gzip", "zstd"}) {
    EXPECT_FALSE(fs::exists(folder.File(packer + "/run.trace.mfindex")));
  }
}

// What can be read once only, from front to back: a pipe by the same name, beside its companion.
TEST_F(PackedEverywhereTest, EverySubcommandReadsAPipe) {
  ASSERT_EQ(0, Shell("mkdir pipe && cp raw/* pipe && rm pipe/run.trace && mkfifo pipe/run.trace")
                   .exitStatus);
  for (const Reading& reading : readings) {
    SCOPED_TRACE(::testing::PrintToString(reading.words));
    // Of a stream less is told, nothing can be read from it twice, and who copies records in order
    // copies those of a pipe alone.
    if (std::set<std::string>{"info", "merge", "shift", "sort"}.count(reading.words[0]) > 0 ||
        IsReadTwice(reading.words)) {
      continue;
    }
    const Outcome plain = OutcomeOf("raw", reading.words);
    ASSERT_EQ(0, Shell("rm -f pipe/run.trace && mkfifo pipe/run.trace").exitStatus);
    Line fed = {"sh", "-c",
                "timeout -k 5 60 sh -c 'cat ../raw/run.trace > run.trace' & "
                "exec timeout -k 5 60 \"$@\"",
                ""};
    const Line words = Words(reading.words);
    fed.insert(fed.end(), words.begin(), words.end());
    const Outcome piped = OutcomeOfCommand("pipe", fed);
    EXPECT_EQ(reading.exitStatus, piped.result.exitStatus) << piped.result.err;
    EXPECT_TRUE(plain.result.out == piped.result.out) << plain.result.out.substr(0, 900) << "\n\n"
                                                      << piped.result.out.substr(0, 900);
    EXPECT_EQ(plain.result.err, piped.result.err);
    EXPECT_TRUE(plain.files == piped.files);
  }
  EXPECT_FALSE(fs::exists(folder.File("pipe/run.trace.mfindex")));
}

// Standard input stands beside nothing, so a trace without a companion is the same there.
TEST_F(PackedEverywhereTest, EverySubcommandReadsStandardInput) {
  ASSERT_EQ(0, Shell("mkdir bare in && cp raw/rules.toml raw/other.trace bare && "
                     "cp raw/rules.toml raw/other.trace in && cp raw/run.trace bare/-")
                   .exitStatus);
  for (const Reading& reading : readings) {
    SCOPED_TRACE(::testing::PrintToString(reading.words));
    Line words = Words(reading.words);
    const auto asked = std::find(words.begin(), words.end(), "run.trace");
    // What tells of notes has an answer only where there are some.
    const bool wantsNotes = std::any_of(words.begin(), words.end(), [](const std::string& word) {
      return word == "--packet" || word == "notes" || word == "latency" ||
             word.find("counters") != std::string::npos || word.find("kind") != std::string::npos;
    });
    if (reading.words[0] == "info" || reading.words[0] == "unpack" || wantsNotes ||
        IsReadTwice(words)) {
      continue;
    }
    *asked = "./-";
    const Outcome named = OutcomeOfCommand("bare", words);
    *asked = "-";
    Line fed = {"sh", "-c", "exec \"$@\" < ../raw/run.trace", ""};
    fed.insert(fed.end(), words.begin(), words.end());
    const Outcome given = OutcomeOfCommand("in", fed);
    EXPECT_EQ(reading.exitStatus, named.result.exitStatus) << named.result.err;
    EXPECT_EQ(reading.exitStatus, given.result.exitStatus) << given.result.err;
    const auto unnamed = [](std::string text) {
      for (size_t at = 0; (at = text.find("./-", at)) != std::string::npos;) {
        text.replace(at, 3, "-");
      }
      return text;
    };
    EXPECT_EQ(unnamed(named.result.out), given.result.out);
    EXPECT_EQ(unnamed(named.result.err), given.result.err);
    ASSERT_EQ(named.files.size(), given.files.size());
    for (const auto& [name, bytes] : named.files) {
      // Pictures and databases hold the name of the trace where it cannot be looked for.
      const bool hasNoName = name.ends_with(".trace") || name.ends_with(".csv") ||
                             name.ends_with(".jsonl") || name.ends_with(".vcd");
      EXPECT_TRUE(!hasNoName || bytes == given.files.at(name)) << name;
    }
  }
  EXPECT_THAT(ContentsOf(folder.File("in")),
              ::testing::UnorderedElementsAre("other.trace", "other.trace.mfindex", "rules.toml"));
}

TEST_F(PackedEverywhereTest, WhatIsPackedGoesThroughAPipeToo) {
  const std::string asked = " query - 'select count(*) from events'";
  const std::string program = MARROWFIN_TRACE;
  const CommandResult plain = Shell(program + asked + " < raw/run.trace");
  EXPECT_EQ(0, plain.exitStatus) << plain.err;
  EXPECT_EQ(plain.out, Shell("cat packed/run.trace | " + program + asked).out);
  EXPECT_EQ(plain.out, Shell("gzip -c raw/run.trace | " + program + asked).out);
}

TEST_F(PackedEverywhereTest, PicturesNameStandardInput) {
  const CommandResult result =
      Shell(std::string(MARROWFIN_TRACE) +
            " plot heat - -o made.svg --caption made.txt < raw/run.trace && cat made.txt");
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_THAT(result.out, ::testing::HasSubstr("standard input · cycles "));
}

TEST_F(PackedEverywhereTest, StandardInputIsOneInput) {
  for (const Line& words :
       {Line{"diff", "-", "-"}, Line{"plot", "diff", "-", "-", "-o", "made.svg"},
        Line{"query", "-", "-"}, Line{"query", "-", "--file", "-"}}) {
    SCOPED_TRACE(::testing::PrintToString(words));
    const Outcome outcome = OutcomeOf("raw", words);
    EXPECT_EQ(2, outcome.result.exitStatus);
    EXPECT_EQ("marrowfin-trace: standard input (-) is named more than once\n  Name it once.\n",
              outcome.result.err);
    EXPECT_TRUE(outcome.files.empty());
  }
  ASSERT_EQ(0, Shell("mkfifo raw/pipe").exitStatus);
  for (const Line& words :
       {Line{"diff", "pipe", "./pipe"}, Line{"merge", "pipe", "./pipe", "-o", "made.trace"}}) {
    const Outcome outcome = OutcomeOf("raw", words);
    EXPECT_EQ(2, outcome.result.exitStatus);
    EXPECT_EQ("marrowfin-trace: ./pipe: is the same pipe as pipe\n  Name it once.\n",
              outcome.result.err);
  }
  const Outcome report =
      OutcomeOf("raw", {"report", "-", "--against", "run.trace", "-o", "made.html"});
  EXPECT_EQ(2, report.result.exitStatus);
  EXPECT_EQ(
      "marrowfin-trace: -: is read twice where it is held against another run, and can be read "
      "once only\n  Copy it to a file first.\n",
      report.result.err);
}

// The table of readings is whole: what is not in it reads no trace, or has an index to tell of.
TEST_F(PackedEverywhereTest, EverySubcommandIsAsked) {
  std::set<std::string> missing;
  std::istringstream help(Run({"--help"}).out);
  bool listed = false;
  for (std::string line; std::getline(help, line);) {
    listed = line == "Subcommands:" || (listed && !line.empty());
    if (listed && line.starts_with("  ") && line[2] != ' ') {
      missing.insert(line.substr(2, line.find(' ', 2) - 2));
    }
  }
  EXPECT_GT(missing.size(), 20U);
  for (const Reading& reading : readings) {
    missing.erase(reading.words[0]);
  }
#ifndef MARROWFIN_RENDERS
  missing.erase("render");
#endif
  EXPECT_THAT(missing, ::testing::UnorderedElementsAre("index", "import", "synth", "completion"));
}

// It brings its own.
TEST_F(PackedEverywhereTest, ThereIsNothingToIndex) {
  EXPECT_EQ(0, Run({"index", "packed/run.trace"}).exitStatus);
  EXPECT_EQ(0, Run({"state", "packed/run.trace", "--step", "9"}).exitStatus);
  EXPECT_FALSE(fs::exists(folder.File("packed/run.trace.mfindex")));
}

TEST_F(PackedEverywhereTest, EveryTraceThatIsMadeIsPackedByItsEndingAndWhereThatIsAskedFor) {
  testing::WriteFile(folder.File("hops.txt"), "12 5 6\n13 6 7\n");
  testing::WriteFile(folder.File("in.json"),
                     R"([{"proc":"BRISC","sx":1,"sy":2,"timestamp":10,"type":"WRITE_FLUSH"}])");
  for (const Line& line :
       std::vector<Line>{{"cut", "raw/run.trace", "--cycles", "100..140"},
                         {"head", "raw/run.trace", "-n", "500"},
                         {"tail", "raw/run.trace", "-n", "500"},
                         {"split", "raw/run.trace", "--every-records", "900"},
                         {"shift", "raw/run.trace", "--later", "7"},
                         {"sort", "raw/run.trace"},
                         {"merge", "raw/run.trace", "raw/other.trace"},
                         {"synth", "--records", "5000"},
                         {"import", "--format", "hops", "hops.txt", "--width", "4"},
                         {"import", "--format", "tt-npe", "in.json"}}) {
    SCOPED_TRACE(::testing::PrintToString(line));
    const auto make = [&](const std::string& output, const Line& more) {
      Line words = line;
      words.insert(words.end(), {"-o", output});
      words.insert(words.end(), more.begin(), more.end());
      const CommandResult result = Run(words);
      EXPECT_EQ(0, result.exitStatus) << result.err;
      return result.out;
    };
    const bool splits = line[0] == "split";
    const std::string number = splits ? "-0001" : "";
    const std::string viewer = "marrowfin -c";
    EXPECT_NE(std::string::npos, make("plain.trace", {}).find(viewer));
    EXPECT_EQ(std::string::npos, make("by-name.mfz", {}).find(viewer)) << "no viewer shows it";
    EXPECT_EQ(std::string::npos, make("asked.trace", {"--pack"}).find(viewer));
    const std::string plain = folder.File("plain" + number + ".trace");
    const std::string byName = folder.File("by-name" + number + ".mfz");
    const std::string asked = folder.File("asked" + number + ".trace");
    const bool hasCompanion = fs::exists(plain + ".notes");
    EXPECT_EQ(hasCompanion, line[0] != "synth");
    EXPECT_FALSE(fs::exists(byName + ".notes"));
    EXPECT_FALSE(fs::exists(asked + ".about"));
    for (const std::string& packed : {byName, asked}) {
      EXPECT_EQ(0, Run({"unpack", packed, "-o", "again.trace"}).exitStatus);
      EXPECT_TRUE(ReadFile(folder.File("again.trace")) == ReadFile(plain));
      EXPECT_EQ(hasCompanion, fs::exists(folder.File("again.trace.notes")));
      if (hasCompanion) {
        EXPECT_TRUE(ReadFile(folder.File("again.trace.notes")) == ReadFile(plain + ".notes"));
      }
      EXPECT_EQ(0, Run({"check", packed}).exitStatus);
      EXPECT_EQ(0, Shell("rm -f again.trace*").exitStatus);
    }
    EXPECT_EQ(0, Shell("rm -f plain* by-name* asked*").exitStatus);
  }
}

}  // namespace
}  // namespace marrowfin
