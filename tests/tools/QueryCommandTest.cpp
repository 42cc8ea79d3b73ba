// SQL over a trace, as users ask it.

#include <fstream>
#include <set>

#include "tests/support/ScarceMemory.h"
#include "tests/tools/CommandFixture.h"

namespace marrowfin {
namespace {

using testing::CommandResult;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class QueryCommandTest : public CommandFixture {
 protected:
  QueryCommandTest() {
    Trace(
        "fire 10 0 0 0\n"
        "fire 10 0 1 0\n"
        "send 11 1 0 0 5 3\n"
        "fire 12 0 0 0\n",
        "run.trace");
  }

  CommandResult Query(const std::string& sql, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"query", "run.trace", sql});
    return Run(more);
  }
};

TEST_F(QueryCommandTest, TheQuestionOfTheManualIsAnswered) {
  ExpectOutput(
      "col  row  count(*)\n"
      "  0    0         2\n"
      "  1    0         1\n",
      Query("select col, row, count(*) from fires where cycle between 0 and 900 group by 1, 2"));
}

TEST_F(QueryCommandTest, NumbersStandAtTheRightEdgeAndWordsAtTheLeft) {
  ExpectOutput(
      "type  cycle  to_col    half\n"
      "fire     10       -     0.5\n"
      "send     11       5     0.5\n",
      Query("select type, cycle, to_col, 0.5 as \"  half\" from events where record in (0, 2)"));
}

TEST_F(QueryCommandTest, CsvIsQuotedWhereItHasToBe) {
  ExpectOutput(
      "a,\"b,c\",d,e\n"
      "1,\"x \"\"y\"\"\",,2.0\n",
      Query("select 1 as a, 'x \"y\"' as \"b,c\", null as d, 2.0 as e", {"--format", "csv"}));
}

TEST_F(QueryCommandTest, JsonIsAListOfObjectsThatHasNoNameTwice) {
  const CommandResult result =
      Query("select 1 as a, 2.5 as a, 'ä\"' as t, x'0aff' as b, null as n, 9e999 as i", {"--json"});
  EXPECT_EQ(nlohmann::json::parse(
                R"([{"a": 1, "a:2": 2.5, "t": "ä\"", "b": "0aff", "n": null, "i": null}])"),
            Json(result.out));
  EXPECT_EQ("[\n]\n", Query("select * from sends where cycle < 5", {"--json"}).out);
  EXPECT_EQ("{\"record\":0}\n{\"record\":1}\n",
            Query("select record from events limit 2", {"--format", "jsonl"}).out);
}

TEST_F(QueryCommandTest, SqlMayComeFromAFileOrStandardInput) {
  testing::WriteFile(folder.File("question.sql"), "-- how many\nselect count(*) from fires;\n");
  ExpectOutput("count(*)\n       3\n", Run({"query", "run.trace", "--file", "question.sql"}));
  ExpectOutput("count(*)\n       3\n",
               Run({"query", "run.trace", "-"}, "select count(*)\nfrom fires"));
  EXPECT_EQ(1, Run({"query", "run.trace", "--file", "none.sql"}).exitStatus);
  EXPECT_EQ(2, Run({"query", "run.trace"}).exitStatus);
  EXPECT_EQ(2, Query("select 1", {"--schema"}).exitStatus);
}

TEST_F(QueryCommandTest, SeveralAnswersAreApart) {
  ExpectOutput("a\n1\n\nb\n2\n", Query("select 1 as a; select 2 as b"));
}

TEST_F(QueryCommandTest, ParametersAreGivenByName) {
  ExpectOutput("record\n     2\n     3\n",
               Query("select record from events where cycle > :from", {"--param", "from=10"}));
  ExpectFailure(2, "SQL: the parameter 'from' has no value\n  Give it one.\n",
                Query("select :from"));
  ExpectFailure(2,
                "--param from: no name and value\n"
                "  Write --param from=100 for the parameter :from.\n",
                Query("select :from", {"--param", "from"}));
}

TEST_F(QueryCommandTest, WhatIsWrongIsToldWithItsPlaceAndTheNearestName) {
  ExpectFailure(2, "SQL: line 1, column 8: no such column: cyle\n  'cycle' is meant perhaps.\n",
                Query("select cyle from fires"));
  ExpectFailure(2,
                "SQL: line 1, column 28: near \"cycle\": syntax error\n"
                "  'marrowfin-trace query TRACE --schema' lists all tables and columns.\n",
                Query("select col from fires wher cycle = 1"));
  EXPECT_EQ(2, Query("delete from fires").exitStatus);
}

TEST_F(QueryCommandTest, AFileIsWrittenWholeAndNeverOverAnother) {
  ExpectOutput("rows.csv: 2 rows\n",
               Query("select col from fires where col = 0", {"--format", "csv", "-o", "rows.csv"}));
  EXPECT_EQ("col\n0\n0\n", testing::ReadFile(folder.File("rows.csv")));
  EXPECT_EQ(2, Query("select 1", {"-o", "rows.csv"}).exitStatus);
  EXPECT_EQ(2, Query("select 1", {"-o", "run.trace", "--force"}).exitStatus);
  EXPECT_EQ("col\n0\n0\n", testing::ReadFile(folder.File("rows.csv")));
  EXPECT_EQ(0, Query("select 1 as a", {"-o", "rows.csv", "--force"}).exitStatus);
  EXPECT_EQ("a\n1\n", testing::ReadFile(folder.File("rows.csv")));
  EXPECT_EQ(2, Query("select wrong", {"-o", "none.csv"}).exitStatus);
  EXPECT_FALSE(HasFileLike("none.csv"));
}

TEST_F(QueryCommandTest, APackedTraceIsAskedAsItStands) {
  ASSERT_EQ(0, Shell("gzip -k run.trace && zstd -q run.trace").exitStatus);
  for (const char* const name : {"run.trace.gz", "run.trace.zst"}) {
    ExpectOutput("max(cycle)\n        12\n", Run({"query", name, "select max(cycle) from events"}));
  }
}

TEST_F(QueryCommandTest, ATraceThatBreaksOffIsAskedAsFarAsItGoes) {
  std::ofstream(folder.File("run.trace"), std::ios::app) << "cut";
  const CommandResult result = Query("select count(*) from events");
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("count(*)\n       4\n", result.out);
  EXPECT_THAT(result.err, HasSubstr("missing from the answer"));
}

TEST_F(QueryCommandTest, AnIndexThatContradictsItsTraceIsBuiltAnew) {
  LongTrace(200000, "run.trace");
  const std::string sql = "select col, row, count(*), min(cycle) from fires group by 1, 2";
  const std::string answer = Query(sql).out;
  std::string index = testing::ReadFile(folder.File("run.trace.mfindex"));
  for (size_t at = index.size() / 4; at < index.size() / 2; ++at) {
    index[at] = static_cast<char>(~index[at]);
  }
  testing::WriteFile(folder.File("run.trace.mfindex"), index);
  EXPECT_EQ(answer, Query(sql).out);
}

TEST_F(QueryCommandTest, APipeThatIsClosedEndsItQuietly) {
  LongTrace(200000, "run.trace");
  const CommandResult result =
      Shell("\"$0\" query run.trace 'select * from events' | head -n 1; echo end");
  EXPECT_THAT(result.out, StartsWith("record  cycle"));
  EXPECT_THAT(result.out, HasSubstr("end"));
  EXPECT_EQ("", result.err);
}

// What is sorted here has 120 MB.
TEST_F(QueryCommandTest, MemoryIsBoundedWhateverIsAsked) {
  // Sanitizers have no limit that can be held, and take minutes for what sorts by the disk.
  LongTrace(testing::MEMORY_CAN_BE_SCARCE ? 600000 : 60000, "long.trace");
  ASSERT_EQ(0, Run({"index", "long.trace"}).exitStatus);
  const std::string limit = testing::MEMORY_CAN_BE_SCARCE ? "ulimit -d 90000; " : "";
  const auto ask = [&](const std::string& sql) {
    return Shell(limit + "exec \"$0\" query long.trace \"$1\" --format csv > rows.csv", {sql});
  };
  EXPECT_EQ(0, ask("select * from events").exitStatus);
  EXPECT_EQ(0, ask("select printf('%0200d', record) as p from events order by p desc").exitStatus);
  EXPECT_EQ(0, ask("select count(distinct printf('%0200d', record)) from events").exitStatus);
  EXPECT_THAT(ask("select group_concat(printf('%02000d', record)) from events").err,
              HasSubstr("string or blob too big"));
}

TEST_F(QueryCommandTest, TheSchemaIsThatOfTheDocument) {
  const std::string document = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/query.md");
  const std::string start = "\n```schema\n";
  const size_t begin = document.find(start) + start.size();
  EXPECT_EQ(document.substr(begin, document.find("```\n", begin) - begin),
            Run({"query", "run.trace", "--schema"}).out);
}

// Every block of commands in a document, as it stands, in a folder with a run of the simulator.
TEST_F(QueryCommandTest, EveryCommandOfTheDocumentRuns) {
  const std::string document = testing::ReadFile(MARROWFIN_SOURCE_DIR "/docs/query.md");
  const std::string programs = std::filesystem::path(MARROWFIN_TRACE).parent_path();
  ASSERT_EQ(0, Shell("rm run.trace*; '" + programs +
                     "/marrowfin-sim' -program stencil -outFilename run.trace > log")
                   .exitStatus);
  const std::string start = "\n```sh\n";
  int count = 0;
  for (size_t at = document.find(start); at != std::string::npos;
       at = document.find(start, at + 1)) {
    const size_t begin = at + start.size();
    const std::string script = document.substr(begin, document.find("\n```", begin) + 1 - begin);
    const CommandResult result = Shell("set -e; PATH='" + programs + "':$PATH\n" + script);
    EXPECT_EQ(0, result.exitStatus) << script << result.err;
    EXPECT_EQ("", result.err) << script;
    ++count;
  }
  EXPECT_LE(8, count);
}

}  // namespace
}  // namespace marrowfin
