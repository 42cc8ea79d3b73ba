// What all subcommands that work on traces have in common.

#include <sys/stat.h>

#include <regex>
#include <set>
#include <sstream>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/Rights.h"
#include "tests/trace/support/Child.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

typedef std::vector<std::string> Line;

class SubcommandsTest : public CommandFixture {
 protected:
  // A command line of each subcommand that reads a trace, of this one.
  static std::vector<Line> ReadersOf(const std::string& trace) {
    return {{"info", trace},
            {"check", trace},
            {"index", trace},
            {"events", trace},
            {"events", trace, "--count"},
            {"query", trace, "select * from fires"},
            {"why", trace},
            {"state", trace, "--step", "0"},
            {"state", trace, "--cycle", "0"},
            {"state", trace, "--cycle", "0", "--places"}};
  }

  // The same, and of each that has no answer about a trace without records or does not print its
  // answer.
  static std::vector<Line> AllReadersOf(const std::string& trace) {
    std::vector<Line> lines = ReadersOf(trace);
    for (const Line& line : EmptyRefusersOf(trace)) {
      lines.push_back(line);
    }
    for (const Line& line : EditorsOf(trace)) {
      lines.push_back(line);
    }
    for (const char* const output : {"p.csv", "p.json", "p.sqlite", "p.h5"}) {
      lines.push_back({"export", trace, "-o", output});
    }
    return lines;
  }

  // The same of each that makes a trace of it.
  static std::vector<Line> EditorsOf(const std::string& trace) {
    return {{"cut", trace, "-o", "made.trace"},
            {"head", trace, "-o", "made.trace"},
            {"tail", trace, "-o", "made.trace"},
            {"split", trace, "--by-thread", "-o", "made.trace"},
            {"shift", trace, "--later", "1", "-o", "made.trace"},
            {"sort", trace, "-o", "made.trace"},
            {"merge", trace, "-o", "made.trace"}};
  }

  static std::vector<Line> EmptyRefusersOf(const std::string& trace) {
    return {{"stats", trace},
            {"notes", trace},
            {"report", trace, "-o", "p.html", "--force"},
            {"plot", "heat", trace, "-o", "p.svg", "--force"},
            {"plot", "links", trace, "-o", "p.svg", "--force"},
            {"plot", "threads", trace, "-o", "p.svg", "--force"},
            {"plot", "timeline", trace, "-o", "p.svg", "--force"}};
  }

  // A trace with notes of all that examples ask for.
  void RecordNotes(const std::string& name) const {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, folder.File(name).c_str());
    marrowfin_trace_companion(&trace);
    marrowfin_trace_about(&trace, "name", "a run");
    marrowfin_trace_about(&trace, "command", "run");
    marrowfin_trace_about(&trace, "tool", "a test");
    marrowfin_trace_date(&trace);
    const marrowfin_trace_array array = {1, 1, 1, 1, 8, 8, 1, 0, 0};
    marrowfin_trace_describe_array(&trace, &array);
    marrowfin_trace_name_thread(&trace, 0, "requests", "class");
    marrowfin_trace_name_place(&trace, 2, 1, "memory");
    marrowfin_trace_counter(&trace, "occupancy", "flits");
    const int kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    const int size = marrowfin_trace_attribute(&trace, "size", MARROWFIN_TRACE_NUMBER, "byte");
    marrowfin_trace_value_name(&trace, kind, 0, "wait");
    marrowfin_trace_fire(&trace, 5, 0, 1, 2);
    marrowfin_trace_note(&trace, kind, 0);
    marrowfin_trace_note(&trace, packet, 7);
    marrowfin_trace_note(&trace, size, 64);
    marrowfin_trace_value_name(&trace, kind, 1, "load");
    marrowfin_trace_fire(&trace, 6, 0, 1, 2);
    marrowfin_trace_note(&trace, kind, 1);
    marrowfin_trace_note(&trace, size, 128);
    // Packets on their ways.
    const int created =
        marrowfin_trace_attribute(&trace, "created", MARROWFIN_TRACE_CYCLE, "cycle");
    marrowfin_trace_value_name(&trace, kind, 2, "inject");
    marrowfin_trace_value_name(&trace, kind, 3, "eject");
    for (uint32_t i = 0; i < 5; ++i) {
      const auto note = [&](int of) {
        marrowfin_trace_note(&trace, kind, static_cast<uint64_t>(of));
        marrowfin_trace_note(&trace, packet, 100 + i);
        marrowfin_trace_note(&trace, created, 10 + i);
      };
      marrowfin_trace_fire(&trace, 20 + 100 * i, 0, 1, 2);
      note(2);
      marrowfin_trace_send(&trace, 21 + 100 * i, 0, 1, 2, 5, 6);
      note(0);
      marrowfin_trace_fire(&trace, 40 + 110 * i, 0, 5, 6);
      note(3);
    }
    EXPECT_EQ(0, marrowfin_trace_close(&trace));
  }
};

TEST_F(SubcommandsTest, AMissingFileIsNamed) {
  for (const std::string name : {"none", "none/none", ""}) {
    for (const Line& line : AllReadersOf(name)) {
      SCOPED_TRACE(::testing::PrintToString(line));
      ExpectFailure(1,
                    (name.empty() ? "trace" : name) +
                        ": cannot open: No such file or directory\n"
                        "  Name a file that you may read.\n",
                    Run(line));
    }
  }
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(SubcommandsTest, AFolderIsNamed) {
  fs::create_directory(folder.File("folder"));
  for (const Line& line : AllReadersOf("folder")) {
    const CommandResult result = Run(line);
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, StartsWith("marrowfin-trace: folder: cannot read: Is a directory\n"));
  }
  EXPECT_EQ(
      "marrowfin-trace: folder: cannot read: Is a directory\n"
      "  Name a file that you may read.\n",
      Run({"info", "folder"}).err);
  EXPECT_THAT(FolderContents(), ElementsAre("folder"));
}

TEST_F(SubcommandsTest, AFileThatMayNotBeReadIsNamed) {
  Trace("fire 1 0 0 0\n");
  ASSERT_EQ(0, chmod(folder.File("t.trace").c_str(), 0));
  testing::ExpectInChild([&] {
    GiveUpRights();
    for (const Line& line : AllReadersOf("t.trace")) {
      ExpectFailure(1,
                    "t.trace: cannot open: Permission denied\n"
                    "  Name a file that you may read.\n",
                    Run(line));
    }
  });
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

TEST_F(SubcommandsTest, AnEmptyFileIsATraceWithoutRecords) {
  Trace("");
  for (const Line& line : ReadersOf("t.trace")) {
    const CommandResult result = Run(line);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ(line[0] != "events" && line[0] != "query", result.out.starts_with("t.trace"));
    EXPECT_EQ("", result.err);
  }
  EXPECT_EQ(0, RunForJson({"index", "t.trace"})["records"]);
}

TEST_F(SubcommandsTest, OfATraceWithoutRecordsATraceWithoutRecordsIsMade) {
  Trace("");
  for (Line line : EditorsOf("t.trace")) {
    SCOPED_TRACE(::testing::PrintToString(line));
    line.push_back("--force");
    const CommandResult result = Run(line);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    if (line[0] != "split") {
      EXPECT_EQ("made.trace: 0 records\n", result.out);
      EXPECT_EQ("", testing::ReadFile(folder.File("made.trace")));
    }
  }
}

TEST_F(SubcommandsTest, WhatMeasuresARunRefusesATraceWithoutRecords) {
  Trace("");
  for (const Line& line : EmptyRefusersOf("t.trace")) {
    SCOPED_TRACE(::testing::PrintToString(line));
    ExpectFailure(1, "t.trace: there are no records\n", Run(line));
  }
  EXPECT_FALSE(fs::exists(folder.File("p.svg")));
}

TEST_F(SubcommandsTest, WhatIsNoTraceIsRefusedAtItsFirstRecord) {
  testing::WriteFile(folder.File("t.trace"), "#!/bin/sh\necho this is no trace\n");
  const std::string place = "t.trace: record 0 at byte 0: type 589377378 is none of 2, 3 and 4";
  for (const char* subcommand : {"info", "index"}) {
    const CommandResult result = Run({subcommand, "t.trace"});
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_THAT(result.err, HasSubstr(place));
  }
  EXPECT_THAT(Run({"check", "t.trace"}).out, StartsWith(place));
}

TEST_F(SubcommandsTest, ACommandLineThatIsNotUnderstoodReadsAndWritesNothing) {
  Trace("fire 1 0 0 0\nfire 2 0 0 0\n");
  std::vector<Line> lines = {
      {"check", "t.trace", "--most", "-1"},
      {"check", "t.trace", "--most", "many"},
      {"check", "t.trace", "--most", "18446744073709551616"},
      {"check", "t.trace", "--most"},
      {"index", "t.trace", "-o"},
      {"events", "t.trace", "--records", "-1"},
      {"events", "t.trace", "--cycles", "2:1"},
      {"events", "t.trace", "--steps", "1:x"},
      {"events", "t.trace", "-F", "1"},
      {"events", "t.trace", "--type", "message"},
      {"events", "t.trace", "--type", ""},
      {"events", "t.trace", "--thread", "4294967296"},
      {"events", "t.trace", "--threads", "5-2"},
      {"events", "t.trace", "--cluster", "1"},
      {"events", "t.trace", "--pe", "1,1:2,2"},
      {"events", "t.trace", "--rect", "1,1,0,2"},
      {"events", "t.trace", "--not"},
      {"events", "t.trace", "--region", "1"},
      {"events", "t.trace", "--region", "cluster:1,1:2,2"},
      {"events", "t.trace", "--limit", "1", "--last", "1"},
      {"events", "t.trace", "--count", "--limit", "1"},
      {"events", "t.trace", "--count", "--backwards"},
      {"events", "t.trace", "--format", "xml"},
      {"events", "t.trace", "--format", "0"},
      {"events", "t.trace", "-o"},
      {"events", "t.trace", "-o", "t.trace"},
      {"state", "t.trace"},
      {"state", "t.trace", "--step", "1", "--cycle", "1"},
      {"state", "t.trace", "--step", "-1"},
      {"state", "t.trace", "--step", "1.5"},
      {"state", "t.trace", "--step", "18446744073709551616"},
      {"state", "t.trace", "--cycle", "0x10"},
      {"state", "t.trace", "--cycle", "18446744073709551616"},
      {"state", "t.trace", "--cycle", "1", "-F", "1"},
      {"state", "t.trace", "--step", "1", "-F", "one"},
      {"state", "t.trace", "--step", "1", "-F", "2147483648"},
      {"export", "t.trace"},
      {"export", "t.trace", "-o", "made"},
      {"export", "t.trace", "-o", "made.csv", "--format", "xml"},
      {"export", "t.trace", "-o", "made.csv", "--cycles", "2:1"},
      {"export", "t.trace", "-o", "t.trace", "--format", "csv", "--force"},
      {"synth"},
      {"synth", "-o"},
      {"synth", "-o", "made", "more"},
      {"synth", "-o", "made", "--count"},
      {"synth", "-o", "made", "--records", "-1"},
      {"synth", "-o", "made", "--records", "1e6"},
      {"synth", "-o", "made", "--records", "18446744073709551616"},
      {"synth", "-o", "made", "--seed", "-1"},
      {"synth", "-o", "made", "--seed", "18446744073709551616"},
      {"synth", "-o", "made", "--threads", "0"},
      {"synth", "-o", "made", "--threads", "1000001"},
      {"synth", "-o", "made", "--threads", "-1"},
  };
  const std::vector<Line> shaped = {{"check", "t.trace"},
                                    {"events", "t.trace"},
                                    {"state", "t.trace", "--step", "1"},
                                    {"synth", "-o", "made", "--records", "1"}};
  for (const Line& line : shaped) {
    for (const char* flag : {"-c", "--domains", "-p"}) {
      for (const char* count : {"0", "-1", "4097", "4294967297", "two"}) {
        lines.push_back(line);
        lines.back().insert(lines.back().end(), {flag, count});
      }
    }
    // 2^12 positions is the most, and no product may come out small because it is too large.
    for (const Line& array : std::vector<Line>{{"-c", "4096", "-d", "2", "-p", "1"},
                                               {"-c", "4096", "-d", "4096", "-p", "256"},
                                               {"-c", "17", "-d", "16", "-p", "16"}}) {
      lines.push_back(line);
      lines.back().insert(lines.back().end(), array.begin(), array.end());
    }
  }
  for (const Line& line : ReadersOf("t.trace")) {
    lines.push_back({line[0]});
    for (const char* more : {"another", "--frame", "-x"}) {
      lines.push_back(line);
      lines.back().push_back(more);
    }
  }
  for (const Line& line : lines) {
    SCOPED_TRACE(::testing::PrintToString(line));
    const CommandResult result = Run(line);
    EXPECT_EQ(2, result.exitStatus);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, Not(IsEmpty()));
  }
  EXPECT_THAT(FolderContents(), ElementsAre("t.trace"));
}

TEST_F(SubcommandsTest, TheLargestArrayIsUnderstood) {
  Trace("fire 1 0 4095 4095\nfire 2 0 0 0\n");
  const Line array = {"-c", "16", "-d", "16", "-p", "16"};
  for (Line line :
       std::vector<Line>{{"check", "t.trace"}, {"synth", "-o", "made", "--records", "9"}}) {
    line.insert(line.end(), array.begin(), array.end());
    EXPECT_EQ(0, Run(line).exitStatus);
  }
  EXPECT_THAT(Run({"state", "t.trace", "--cycle", "1", "-c", "4096", "-d", "1", "-p", "1"}).out,
              HasSubstr("\nelement 4095 4095 #ff0101\n"));
}

TEST_F(SubcommandsTest, ResultsThatCannotBePrintedEndWithStatus3) {
  Trace("fire 1 0 0 0\n");
  std::vector<Line> lines = ReadersOf("t.trace");
  lines.push_back({"synth", "-o", "made", "--records", "1"});
  for (const Line& line : lines) {
    const CommandResult result = Shell("exec \"$0\" \"$@\" > /dev/full", line);
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(
        result.err,
        StartsWith("marrowfin-trace: standard output: cannot write: No space left on device\n"));
  }
}

TEST_F(SubcommandsTest, AHyphenIsStandardOutputForEachOutput) {
  RecordNotes("t.trace");
  testing::WriteFile(folder.File("in.json"), "[]");
  for (const Line& line :
       std::vector<Line>{{"events", "t.trace"},
                         {"events", "t.trace", "--count"},
                         {"stats", "t.trace"},
                         {"notes", "t.trace"},
                         {"why", "t.trace"},
                         {"plot", "heat", "t.trace"},
                         {"synth", "--records", "9", "--force"},
                         {"import", "--format", "tt-npe", "in.json", "--force"}}) {
    SCOPED_TRACE(::testing::PrintToString(line));
    Line toFile = line;
    toFile.insert(toFile.end(), {"-o", "made.png", "--force"});
    const CommandResult file = Run(toFile);
    Line toHyphen = line;
    toHyphen.insert(toHyphen.end(), {"-o", "-"});
    const CommandResult printed = Shell("\"$0\" \"$@\" | cat", toHyphen);
    EXPECT_EQ(file.exitStatus, printed.exitStatus) << printed.err;
    EXPECT_EQ(testing::ReadFile(folder.File("made.png")), printed.out);
    EXPECT_NE("", printed.out);
    EXPECT_FALSE(fs::exists(folder.File("-")));
    EXPECT_THAT(printed.err, Not(HasSubstr("-f -")));
  }
}

TEST_F(SubcommandsTest, AHyphenIsStandardInputWhereAStreamIsRead) {
  Trace("fire 1 0 0 0\nfire 2 0 3 0\n");
  testing::WriteFile(folder.File("in.json"), "[]");
  // Files of these names are none that anyone asks for.
  for (const char* name : {"-", "-.about", "-.notes"}) {
    testing::WriteFile(folder.File(name), "no trace");
  }
  for (const char* start : {"cat t.trace | ", "gzip -c t.trace | ", "< t.trace "}) {
    CommandResult result = Shell(std::string(start) + "\"$0\" info -");
    EXPECT_EQ("", result.err);
    EXPECT_THAT(result.out, StartsWith("-\nrecords       2 (56 bytes)\n"));
    result = Shell(std::string(start) + "\"$0\" check -");
    EXPECT_EQ("", result.err);
    EXPECT_EQ("-: 2 records, nothing wrong\n", result.out);
  }
  const CommandResult imported =
      Shell("cat in.json | \"$0\" import --format tt-npe - -o made.trace");
  EXPECT_EQ(0, imported.exitStatus) << imported.err;
  EXPECT_EQ(testing::TraceBytes("send 0 2 0 0 0 0\nsend 1 2 0 0 0 0"),
            testing::ReadFile(folder.File("made.trace")));
}

TEST_F(SubcommandsTest, NoTraceIsSentToATerminal) {
  const CommandResult result =
      Shell("script -qec \"'$0' synth --records 9 -o -\" typescript < /dev/null");
  EXPECT_EQ(2, result.exitStatus);
  EXPECT_THAT(result.out, StartsWith("marrowfin-trace: standard output is a terminal\r\n"));
}

TEST_F(SubcommandsTest, NamesThatAreNoUtf8AreReplacedInJson) {
  const std::string name = "\xff\xc3(\"\\\n.trace";
  Trace("fire 1 0 0 0\nfire 0 0 0 0\n", name);
  Line lines[] = {{"info", name}, {"check", name}, {"index", name}, {"state", name, "--step", "0"}};
  for (Line& line : lines) {
    const json told = RunForJson(line, line[0] == "check" ? 1 : 0);
    EXPECT_EQ("\xef\xbf\xbd\xef\xbf\xbd(\"\\\n.trace", told["trace"]);
  }
}

// The lines that begin with the program's name, of the part of a help text or page from `start`
// on.
Line ExamplesIn(const std::string& text, const std::string& start) {
  Line examples;
  const size_t begin = text.find(start);
  EXPECT_NE(std::string::npos, begin);
  std::istringstream stream(text.substr(begin == std::string::npos ? text.size() : begin));
  for (std::string line; std::getline(stream, line);) {
    const size_t word = line.find_first_not_of(' ');
    if (word != std::string::npos && line.compare(word, 16, "marrowfin-trace ") == 0) {
      examples.push_back(line.substr(word));
    }
  }
  return examples;
}

class ExamplesTest : public SubcommandsTest {
 protected:
  ExamplesTest() {
    LongTrace(20000, "run.trace");
    EXPECT_EQ(0, Shell("zstd -q run.trace").exitStatus);
    for (const char* const name : {"new.trace", "old.trace", "expected.trace"}) {
      fs::copy_file(folder.File("run.trace"), folder.File(name));
    }
    EXPECT_EQ(0, Shell("zstd -q old.trace").exitStatus);
    testing::WriteFile(folder.File("capture.json"),
                       R"([{"proc":"BRISC","sx":1,"sy":2,"timestamp":10,"type":"WRITE_FLUSH"}])");
    fs::copy_file(MARROWFIN_SOURCE_DIR "/fuzz/corpus/import_netrace/packed",
                  folder.File("run.tra.bz2"));
    testing::WriteFile(folder.File("log.csv"), "time,x,y\n5,1,2\n");
    testing::WriteFile(folder.File("hops.txt"), "12 | 5 -> 6 | 7\n");
    RecordNotes("noted.trace");
    testing::WriteFile(folder.File("rules.toml"),
                       "[[rule]]\nname = \"no message goes far\"\nmeasure = \"distance.max\"\n"
                       "at_most = 62\n");
  }

  // Runs a line as it stands, in the order in which a reader may try them.
  void ExpectRuns(std::string line) const {
    const size_t shown = line.find("| display");  // wants a screen
    if (shown != std::string::npos) {
      line.replace(shown, std::string::npos, "> shown.png");
    }
    // Whoever tries one example has not made the output of another one of that name.
    const std::regex output(
        " (-o|--pdf|--junit|--csv|--json|--caption) ([a-z][^ ]*\\.(png|svg|pdf|html|csv|xml))");
    for (std::sregex_iterator named(line.begin(), line.end(), output), end; named != end; ++named) {
      fs::remove(folder.File((*named)[2].str()));
    }
    const std::string path = fs::path(MARROWFIN_TRACE).parent_path();
    const CommandResult result = Shell("PATH=" + path + ":$PATH; " + line);
    EXPECT_EQ(0, result.exitStatus) << line << "\n" << result.err;
    // Who names an output may say nothing.
    const bool isNamed = line.find(" -o ") != std::string::npos ||
                         line.find(" --csv ") != std::string::npos ||
                         line.find(" --json ") != std::string::npos;
    EXPECT_TRUE(!result.out.empty() || isNamed) << line;
    EXPECT_EQ("", result.err) << line;
    if (line.find("--json") != std::string::npos && !result.out.empty()) {
      Json(result.out);
    }
  }

  // Those of the help of a subcommand, or of the program.
  void ExpectExamplesRun(Line words) const {
    words.push_back("--help");
    const Line examples = ExamplesIn(Run(words).out, "\nExamples:\n");
    EXPECT_LE(2U, examples.size()) << words[0];
    for (const std::string& example : examples) {
      ExpectRuns(example);
    }
  }
};

TEST_F(ExamplesTest, EveryExampleOfTheHelpRunsAsItStands) {
  for (const char* const name :
       {"info",       "check",  "index",  "state", "events", "query", "why",   "expect",
        "completion", "diff",   "cut",    "head",  "tail",   "split", "shift", "sort",
        "merge",      "import", "export", "pack",  "stats",  "notes", "synth"}) {
    ExpectExamplesRun({name});
  }
  ExpectExamplesRun({});
}

TEST_F(ExamplesTest, EveryExampleOfPicturesRunsAsItStands) {
  // Threads of Mesa that are about to end make the search for leaks crash.
  const char* const options = getenv("ASAN_OPTIONS");
  setenv("ASAN_OPTIONS",
         (std::string(options == nullptr ? "" : options) + ":detect_leaks=0").c_str(), 1);
  ExpectExamplesRun({"render"});
  ExpectExamplesRun({"report"});
  for (const char* const kind : {"heat", "links", "threads", "spacetime", "timeline", "histogram",
                                 "latency", "why", "diff"}) {
    ExpectExamplesRun({"plot", kind});
  }
}

// They begin with what pack made, where the trace itself is not.
TEST_F(ExamplesTest, EveryExampleOfUnpackRunsAsItStands) {
  ASSERT_EQ(0, Run({"pack", "run.trace"}).exitStatus);
  fs::remove(folder.File("run.trace"));
  std::string bytes = testing::ReadFile(folder.File("run.mfz"));
  bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
  testing::WriteFile(folder.File("damaged.mfz"), bytes);
  const Line examples = ExamplesIn(Run({"unpack", "--help"}).out, "\nExamples:\n");
  ASSERT_EQ(3U, examples.size());
  ExpectRuns(examples[0]);
  EXPECT_THAT(examples[1], HasSubstr("unpack run.mfz -o - | marrowfin-trace check -"));
  EXPECT_EQ(0, Shell("\"$0\" unpack run.mfz -o - | \"$0\" check -").exitStatus);
  EXPECT_THAT(examples[2], HasSubstr("damaged.mfz -o rest.trace --salvage"));
  const CommandResult salvaged = Run({"unpack", "damaged.mfz", "-o", "rest.trace", "--salvage"});
  EXPECT_EQ(1, salvaged.exitStatus);
  EXPECT_THAT(salvaged.err, HasSubstr("What the others held is in rest.trace."));
}

TEST_F(ExamplesTest, EveryExampleOfTheManualPageRunsAsItStands) {
  std::string page = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/man/marrowfin-trace.1");
  page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
  const Line examples = ExamplesIn(page, "\n.SH EXAMPLES\n");
  EXPECT_LE(5U, examples.size());
  for (const std::string& example : examples) {
    ExpectRuns(example);
  }
}

// All names of fields, at any depth.
void AddFields(const json& value, std::set<std::string>& fields) {
  for (const auto& [name, inner] : value.items()) {
    if (value.is_object()) {
      fields.insert(name);
    }
    if (inner.is_structured()) {
      AddFields(inner, fields);
    }
  }
}

// What fields of an account are named after; the page on captures has them.
const std::set<std::string> kindsAndReasons = {
    "zones",         "waits",         "reads",      "writes",       "multicasts",  "barriers",
    "flushes",       "setUps",        "semaphores", "fabricWrites", "unknownType", "unknownPhase",
    "noDestination", "unknownDevice", "oddValue",   "incomplete"};

TEST_F(SubcommandsTest, TheManualPageNamesEveryFieldOfTheJson) {
  testing::WriteFile(folder.File("capture.json"),
                     R"([{"proc":"BRISC","sx":1,"sy":2,"timestamp":10,"type":"WRITE_FLUSH"},{}])");
  // Threads that are not told apart, a message, and a cut.
  std::string text;
  for (int thread = 0; thread < 4200; ++thread) {
    text += "send 1 " + std::to_string(100 + thread) + " 0 0 1 1\n";
  }
  testing::WriteFile(folder.File("t.trace"), testing::TraceBytes(text) + "cut");
  RecordNotes("noted.trace");
  const std::string page = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/man/marrowfin-trace.1");
  const size_t start = page.find("\n.SH JSON\n");
  const size_t end = page.find("\n.SH ", start + 1);
  ASSERT_NE(std::string::npos, end);
  std::string section = page.substr(start, end - start);
  section.erase(std::remove(section.begin(), section.end(), '\\'), section.end());
  for (const Line& line :
       std::vector<Line>{{"info", "t.trace"},
                         {"check", "t.trace"},
                         {"index", "t.trace"},
                         {"state", "t.trace", "--cycle", "1"},
                         {"state", "t.trace", "--cycle", "1", "--places", "--region", "0,0:9,9"},
                         {"state", "noted.trace", "--cycle", "5", "--places"},
                         {"info", "noted.trace"},
                         {"cut", "noted.trace", "-o", "made.trace"},
                         {"import", "--format", "tt-npe", "capture.json", "-o", "out"}}) {
    std::set<std::string> fields;
    AddFields(RunForJson(line, line[1] == "t.trace" ? 1 : 0), fields);
    EXPECT_LE(7U, fields.size()) << line[0];
    for (const std::string& field : fields) {
      EXPECT_THAT(field, ::testing::MatchesRegex("[a-z]+([A-Z][a-z]+)*")) << line[0];
      if (kindsAndReasons.count(field) > 0) {
        continue;
      }
      EXPECT_THAT(section, ::testing::ContainsRegex("[% \"(]" + field + "[ \"\n]"));
    }
  }
}

}  // namespace
}  // namespace marrowfin
