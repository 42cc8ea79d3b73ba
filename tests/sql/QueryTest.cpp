// SQL over a trace as programs ask it.

#include "sql/Query.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <random>

#include "sql/SqlSchema.h"
#include "sql/UnitActivity.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/Opened.h"

namespace marrowfin {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::IsFine;
using ::testing::Not;

// What a cell holds, in words.
struct InWords {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return "real " + std::to_string(value); }
  std::string operator()(std::string_view text) const { return std::string(text); }
  std::string operator()(SqlBytes value) const { return "bytes " + std::string(value.bytes); }
};

// Keeps answers: a line for the names and each row, a blank between values.
class KeptAnswer : public SqlAnswer {
 public:
  Fault Begin(std::span<const std::string> names) override {
    lines.emplace_back();
    for (const std::string& name : names) {
      lines.back() += (lines.back().empty() ? "" : " ") + name;
    }
    return {};
  }
  Fault Row(std::span<const SqlCell> cells) override {
    lines.emplace_back();
    for (const SqlCell& cell : cells) {
      lines.back() += (lines.back().empty() ? "" : " ") + std::visit(InWords(), cell);
    }
    return {};
  }
  Fault End() override { return {}; }

  std::vector<std::string> lines;
};

class QueryTest : public ::testing::Test {
 protected:
  void Open(const std::string& bytes, const std::optional<ArrayShape>& shape = ArrayShape(2, 2, 2),
            const std::string& notes = "") {
    opened.emplace(bytes);
    if (!notes.empty()) {
      testing::WriteFile(opened->name + ".notes", notes);
    }
    companion = Companion::Beside(*opened->trace);
    trace.reset(new SqlTrace{*opened->trace, *opened->index, *companion, shape});
    query = testing::Made(Query::Open(trace));
  }

  void OpenText(const std::string& text) { Open(testing::TraceBytes(text)); }

  // Names and rows of a question that has an answer.
  std::vector<std::string> Ask(const std::string& sql, const SqlParameters& parameters = {}) {
    KeptAnswer answer;
    EXPECT_TRUE(IsFine(query->Run(sql, parameters, answer))) << sql;
    return answer.lines;
  }

  // The same without the names.
  std::vector<std::string> Rows(const std::string& sql) {
    std::vector<std::string> lines = Ask(sql);
    if (!lines.empty()) {
      lines.erase(lines.begin());
    }
    return lines;
  }

  Fault FaultOf(const std::string& sql, const SqlParameters& parameters = {}) {
    KeptAnswer answer;
    const Fault fault = query->Run(sql, parameters, answer);
    EXPECT_TRUE(fault) << sql;
    return fault;
  }

  std::optional<testing::Opened> opened;
  std::optional<Companion> companion;
  std::shared_ptr<const SqlTrace> trace;
  std::unique_ptr<Query> query;
};

constexpr char SMALL[] =
    "fire 10 0 0 0\n"
    "send 10 1 0 0 5 3\n"
    "switch 11 1 4 4\n"
    "fire 12 2 5 3\n"
    "send 12 2 5 3 40 3\n";

TEST_F(QueryTest, EventsAreToldWithAllTheirColumns) {
  OpenText(SMALL);
  EXPECT_THAT(
      Ask("select * from events"),
      ElementsAre("record cycle step type thread col row to_col to_row cluster_col cluster_row "
                  "domain_col domain_row",
                  "0 10 0 fire 0 0 0 null null 0 0 0 0", "1 10 1 send 1 0 0 5 3 0 0 0 0",
                  "2 11 2 switch 1 4 4 null null 0 0 null null",
                  "3 12 3 fire 2 5 3 null null 1 0 2 1", "4 12 4 send 2 5 3 40 3 1 0 2 1"));
}

TEST_F(QueryTest, MessagesAreToldWithTheirReceivers) {
  OpenText(SMALL);
  EXPECT_THAT(Rows("select to_cluster_col, to_cluster_row, to_domain_col, to_domain_row, distance "
                   "from sends"),
              ElementsAre("1 0 2 1 8", "null null null null 35"));
}

TEST_F(QueryTest, NothingIsInAClusterWhereNoArrayIsKnown) {
  Open(testing::TraceBytes(SMALL), std::nullopt);
  EXPECT_THAT(Rows("select distinct cluster_col, domain_row from events"),
              ElementsAre("null null"));
  EXPECT_THAT(Rows("select * from events where cluster_col >= 0"), IsEmpty());
  EXPECT_THAT(Rows("select * from pes"), IsEmpty());
}

TEST_F(QueryTest, CyclesBeyondTheIntegersOfSqlAreReals) {
  OpenText(
      "fire 9223372036854775807 0 0 0\nfire 9223372036854775808 0 1 0\n"
      "fire 18446744073709551615 0 2 0\n");
  EXPECT_THAT(Rows("select typeof(cycle) from fires"), ElementsAre("integer", "real", "real"));
  EXPECT_THAT(Rows("select col from fires where cycle > 9223372036854775807"),
              ElementsAre("1", "2"));
  EXPECT_THAT(Rows("select col from fires where cycle = 18446744073709551615"), ElementsAre("2"));
  EXPECT_THAT(Rows("select col from fires order by cycle desc"), ElementsAre("2", "1", "0"));
}

TEST_F(QueryTest, AnEmptyTraceHasNoRows) {
  OpenText("");
  for (const SqlSchema::Table& table : SchemaOf(trace.get()).tables) {
    if (table.name != "about" && table.name != "state" && table.name != "pes") {
      EXPECT_THAT(Rows("select * from " + table.name), IsEmpty()) << table.name;
    }
  }
}

TEST_F(QueryTest, SeveralStatementsAreAnsweredInTurn) {
  OpenText(SMALL);
  EXPECT_THAT(Ask("select 1 as a; -- a remark\nselect 2 as b;\n"), ElementsAre("a", "1", "b", "2"));
}

// Parameters --------------------------------------------------------------------------------------

TEST_F(QueryTest, ParametersStandForNumbersAndTexts) {
  OpenText(SMALL);
  EXPECT_THAT(Ask("select record from events where cycle between :from and @to and type = $type",
                  {{"from", "11"}, {"to", "12.5"}, {"type", "fire"}}),
              ElementsAre("record", "3"));
  EXPECT_THAT(Ask("select ?, ?2", {{"1", "a"}, {"2", "7"}}), ElementsAre("? ?2", "a 7"));
}

TEST_F(QueryTest, AParameterWithoutAValueIsRefusedAndSoIsAValueWithoutAParameter) {
  OpenText(SMALL);
  EXPECT_EQ("SQL: the parameter 'from' has no value; give it one", FaultOf("select :from").Text());
  EXPECT_EQ("SQL: no parameter is named 'form'; write :form where its value goes",
            FaultOf("select :from", {{"from", "1"}, {"form", "1"}}).Text());
}

// What is wrong -----------------------------------------------------------------------------------

TEST_F(QueryTest, WhatIsWrongIsToldWithItsPlaceAndTheNearestName) {
  OpenText(SMALL);
  EXPECT_EQ("SQL: line 1, column 8: no such column: cyle; 'cycle' is meant perhaps",
            FaultOf("select cyle from events").Text());
  EXPECT_EQ("SQL: line 2, column 11: no such column: f.colum; 'col' is meant perhaps",
            FaultOf("select 'ä',\n'ä' as a, f.colum from fires f").Text());
}

TEST_F(QueryTest, AColumnOfAnotherTableIsToldWithThatTable) {
  OpenText(SMALL);
  EXPECT_EQ("'to_col' is a column of events, sends, state",
            FaultOf("select to_col from fires").remedy);
}

TEST_F(QueryTest, ATableThatIsNoneIsToldWithTheNearest) {
  OpenText(SMALL);
  EXPECT_EQ("'fires' is meant perhaps", FaultOf("select 1 from fire").remedy);
  EXPECT_THAT(FaultOf("select 1 from xyzzyx").remedy, HasSubstr("there are events, fires, sends"));
}

TEST_F(QueryTest, ANameInQuotesThatNothingHasIsNoText) {
  OpenText(SMALL);
  EXPECT_THAT(FaultOf("select \"colum\" from fires").reason, HasSubstr("no such column"));
}

TEST_F(QueryTest, NothingIsToldWhereALaterStatementIsWrong) {
  OpenText(SMALL);
  KeptAnswer answer;
  EXPECT_TRUE(query->Run("select 1; selec 2", {}, answer));
  EXPECT_THAT(answer.lines, IsEmpty());
}

TEST_F(QueryTest, ATextWithoutAStatementIsRefused) {
  OpenText(SMALL);
  EXPECT_EQ("there is no statement", FaultOf(" -- nothing\n").reason);
  EXPECT_THAT(FaultOf(std::string("select 1\0", 9)).reason, HasSubstr("a byte that is 0"));
}

// Only reading ------------------------------------------------------------------------------------

TEST_F(QueryTest, NothingCanBeWrittenOrLoaded) {
  OpenText(SMALL);
  const std::string file = opened->folder.File("made.db");
  for (const std::string& sql : std::vector<std::string>{
           "create table t(a)",
           "create temp table t(a)",
           "create view v as select 1",
           "create virtual table v using fires",
           "insert into fires(col) values(1)",
           "update fires set col = 1",
           "delete from fires",
           "drop table fires",
           "attach '" + file + "' as other",
           "vacuum into '" + file + "'",
           "begin",
           "savepoint s",
           "pragma journal_mode = wal",
           "pragma temp_store = memory",
           "pragma writable_schema = 1",
           "pragma cache_size = 1000000",
           "analyze",
           "select load_extension('" + file + "')",
       }) {
    const Fault fault = FaultOf(sql);
    EXPECT_EQ(Fault::REFUSED_INPUT, fault.kind) << sql << ": " << fault.Text();
    EXPECT_THAT(fault.reason,
                ::testing::AnyOf(HasSubstr("queries only read"), HasSubstr("may not be modified"),
                                 HasSubstr("no such function")))
        << sql;
  }
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(QueryTest, SettingsThatTellOfTablesMayBeAsked) {
  OpenText(SMALL);
  EXPECT_THAT(Rows("select name from pragma_table_info('switches') where pk = 0 limit 2"),
              ElementsAre("record", "cycle"));
  EXPECT_THAT(Rows("explain query plan select * from fires"), Not(IsEmpty()));
}

// What is read ------------------------------------------------------------------------------------

class LongQueryTest : public QueryTest {
 protected:
  LongQueryTest() {
    std::mt19937 random(7);
    options = testing::ManyKeyframes();
    events = testing::RandomEvents(random, options);
    Open(testing::Encode(events), options.shape);
  }

  // The most records that a question had to go through, as its progress told.
  uint64_t GoneThrough(const std::string& sql) {
    uint64_t most = 0;
    KeptAnswer answer;
    EXPECT_TRUE(IsFine(query->Run(sql, {}, answer, [&](const Progress& now) {
      most = std::max(most, now.all);
      return true;
    })));
    return most;
  }

  // How often it told of its progress: at least once for each batch of records.
  int Looks(const std::string& sql) {
    int looks = 0;
    KeptAnswer answer;
    EXPECT_TRUE(IsFine(query->Run(sql, {}, answer, [&](const Progress&) { return ++looks > 0; })));
    return looks;
  }

  testing::RandomTraceOptions options;
  std::vector<testing::Event> events;
};

TEST_F(LongQueryTest, RangesOfWhatIsSortedGoThroughThatRangeAlone) {
  EXPECT_EQ(events.size(),
            GoneThrough("select count(*) from events where +cycle between 9 and 11"));
  EXPECT_GT(2000U, GoneThrough("select count(*) from events where cycle between 9 and 11"));
  EXPECT_EQ(100U, GoneThrough("select count(*) from events where record >= 500 and record < 600"));
  EXPECT_GT(2000U, GoneThrough("select count(*) from events where step in (9, 10)"));
  EXPECT_EQ(1U, GoneThrough("select * from events where record = 100000"));
}

TEST_F(LongQueryTest, TheLastRowsAreFoundFromTheEnd) {
  uint64_t done = 0;
  KeptAnswer answer;
  ASSERT_TRUE(IsFine(query->Run("select record from events order by record desc limit 3", {},
                                answer, [&](const Progress& now) {
                                  done = std::max(done, now.done);
                                  return true;
                                })));
  EXPECT_EQ(std::to_string(events.size() - 1), answer.lines[1]);
  EXPECT_GT(10000U, done);
}

TEST_F(LongQueryTest, WorkMayBeStopped) {
  int asked = 0;
  KeptAnswer answer;
  const Fault fault = query->Run("select count(*) from events", {}, answer,
                                 [&](const Progress&) { return ++asked < 3; });
  EXPECT_EQ(Fault::CANCELLED, fault.kind);
  EXPECT_EQ(3, asked);
  // What SQLite does by itself too.
  const Fault endless = query->Run(
      "with recursive n(i) as (select 1 union all select i + 1 from n) select count(*) from n", {},
      answer, [&](const Progress&) { return ++asked < 10; });
  EXPECT_EQ(Fault::CANCELLED, endless.kind);
  EXPECT_THAT(Ask("select count(*) from events"), ElementsAre("count(*)", "200000"));
}

TEST_F(LongQueryTest, AnAnswerThatTakesNoMoreEndsTheQuestion) {
  class Full : public KeptAnswer {
   public:
    Fault Row(std::span<const SqlCell> cells) override {
      const Fault fault = KeptAnswer::Row(cells);
      return lines.size() > 3 ? CancelledFault("output") : fault;
    }
  } answer;
  EXPECT_EQ("output", query->Run("select record from events", {}, answer).file);
  EXPECT_EQ(4U, answer.lines.size());
}

TEST_F(LongQueryTest, TheActivityThatTheIndexTellsIsThatOfTheRecords) {
  SqlWork work;
  for (const auto& [first, last] : std::vector<std::pair<uint64_t, uint64_t>>{
           {0, ~uint64_t{0}}, {0, 0}, {500, 900}, {1, 1999}, {1000, 5}, {7, ~uint64_t{0} - 1}}) {
    const auto told = ActivityOfUnits(*trace, first, last, work);
    const auto counted = ActivityOfRecords(*trace, first, last, work);
    ASSERT_TRUE(told && counted);
    EXPECT_EQ(*counted, *told) << first << " to " << last;
    EXPECT_EQ(first > last, told->empty());
  }
}

TEST_F(LongQueryTest, ActivityIsWhatGroupsOfEventsTell) {
  EXPECT_EQ(Rows("select col, row, count(*) from fires where cycle between 50 and 70 "
                 "group by 1, 2 order by 1, 2"),
            Rows("select col, row, fires from activity(50, 70) where fires > 0 order by 1, 2"));
  EXPECT_EQ(Rows("select to_col, to_row, count(*) from sends group by 1, 2 order by 1, 2"),
            Rows("select col, row, receives from activity where receives > 0 order by 1, 2"));
  EXPECT_EQ(Rows("select cluster_col, cluster_row, count(*) from switches group by 1, 2"),
            Rows("select cluster_col, cluster_row, transmissions from activity "
                 "where unit = 'switch' order by 1, 2"));
}

TEST_F(LongQueryTest, ThreadsAreToldWithWhatGroupsOfEventsTell) {
  EXPECT_EQ(Rows("select thread, sum(type = 'fire'), sum(type = 'send'), sum(type = 'switch') "
                 "from events group by thread order by thread"),
            Rows("select thread, fires, sends, switches from threads order by thread"));
}

TEST_F(LongQueryTest, CountsByPlaceComeFromTheIndex) {
  // Of the records it takes those at the end alone, which are in no segment yet.
  EXPECT_GT(200, Looks("select col, row, count(*) from fires group by 1, 2"));
  EXPECT_LT(700, Looks("select col, row, count(*) from fires where +cycle >= 0 group by 1, 2"));
  EXPECT_EQ(Rows("select col, row, count(*) from fires where +cycle >= 0 group by 1, 2"),
            Rows("select col, row, count(*) from fires group by 1, 2"));
}

TEST_F(LongQueryTest, AStateIsToldByStepAndByCycle) {
  EXPECT_THAT(Rows("select count(*) from state(1000) where unit = 'pe'"),
              ElementsAre(std::to_string(options.shape.Elements())));
  // The event that an element shows is the last one there.
  EXPECT_EQ(Rows("select col, row, max(record) from events where type = 'fire' and cycle <= 300 "
                 "group by col, row order by 1, 2"),
            Rows("select col, row, record from state where cycle = 300 and unit = 'pe' and "
                 "record is not null order by 1, 2"));
  EXPECT_EQ(Rows("select e.thread from events e join state(700) s on e.record = s.record "
                 "order by e.record"),
            Rows("select thread from state(700) where record is not null order by record"));
  EXPECT_THAT(FaultOf("select * from state").reason, HasSubstr("of a step or of a cycle"));
  EXPECT_EQ(Fault::OUT_OF_RANGE, FaultOf("select * from state(100000000)").kind);
}

TEST_F(LongQueryTest, AnArgumentThatIsNoWholeNumberFromZeroOnIsAFaultThatNamesIt) {
  for (const char* const table :
       {"state(-1)", "state('x')", "state(0.5)", "state(1e300)", "state(x'00ff')",
        "state where cycle = -1", "state(5) where skip_to = 'x'", "activity('a')",
        "activity(0, 'b')", "activity(-5, 10)", "activity(0, 99.5)", "activity(0, 9e999)"}) {
    const Fault fault = FaultOf(std::string("select count(*) from ") + table);
    EXPECT_EQ(fault.kind, Fault::OUT_OF_RANGE) << table;
    EXPECT_THAT(fault.reason, HasSubstr("is a whole number from 0 on, and not")) << table;
  }
  EXPECT_THAT(FaultOf("select * from activity(0, 'b')").reason,
              AllOf(HasSubstr("last_cycle"), EndsWith("not b")));
  EXPECT_THAT(FaultOf("select * from state(x'00ff')").reason, EndsWith("what it was given"));
  EXPECT_THAT(FaultOf("select * from state('" + std::string(100000, 'x') + "')").reason,
              EndsWith("what it was given"));
  // As with every function of tables, NULL has no rows; numbers may be texts and whole reals.
  EXPECT_EQ(Rows("select count(*) from state(null)"), Rows("select 0"));
  EXPECT_EQ(Rows("select count(*) from activity(null, 5)"), Rows("select 0"));
  EXPECT_EQ(Rows("select count(*) from state('700')"), Rows("select count(*) from state(700)"));
  EXPECT_EQ(Rows("select count(*) from state(700.0)"), Rows("select count(*) from state(700)"));
  EXPECT_EQ(Rows("select sum(fires) from activity(0, 1e19)"),
            Rows("select sum(fires) from activity"));
}

// Notes -------------------------------------------------------------------------------------------

class NotedQueryTest : public QueryTest {
 protected:
  NotedQueryTest() {
    std::mt19937 random(9);
    testing::RandomTraceOptions options;
    options.records = 3000;
    noted = testing::RandomNotes(random, testing::RandomEvents(random, options));
    Open(testing::Encode(noted.events), options.shape,
         testing::NotesBytes(noted, random, 300, true));
  }

  // What an attribute has for each event, in words of SQL.
  std::vector<std::string> Expected(size_t attribute) const {
    std::vector<std::string> all;
    for (const auto& values : noted.values[attribute]) {
      const NoteAttribute& declared = companion->Notes()->Declarations().attributes[attribute];
      all.push_back(values.empty() ? "null" : NoteValueText(declared, values[0]));
    }
    return all;
  }

  std::string Name(size_t attribute) const {
    return companion->Notes()->Declarations().attributes[attribute].name;
  }

  testing::NotedEvents noted;
};

TEST_F(NotedQueryTest, AttributesAreColumns) {
  for (const size_t attribute : {testing::KIND, testing::PACKET, testing::CREATED, testing::SIZE}) {
    EXPECT_EQ(Expected(attribute), Rows("select \"" + Name(attribute) + "\" from events"))
        << Name(attribute);
  }
}

TEST_F(NotedQueryTest, SeveralValuesAreAListThatJsonFunctionsTake) {
  const std::string name = Name(testing::CONSUMES);
  EXPECT_EQ(
      Rows("select record, value from notes where name = '" + name + "' order by 1, 2"),
      Rows("select record, j.value from events, json_each(\"" + name + "\") j order by 1, 2"));
  EXPECT_THAT(Rows("select record from notes where name = '" + name + "'"), Not(IsEmpty()));
}

TEST_F(NotedQueryTest, EveryValueIsARowOfItsOwn) {
  size_t values = 0;
  for (const auto& attribute : noted.values) {
    for (const auto& of : attribute) {
      values += of.size();
    }
  }
  EXPECT_THAT(Rows("select count(*) from notes"), ElementsAre(std::to_string(values)));
  EXPECT_EQ(Rows("select record, value from notes where name = 'packet' and +record between 100 "
                 "and 200"),
            Rows("select record, packet from events where record between 100 and 200 and packet "
                 "is not null"));
  EXPECT_EQ(Rows("select * from notes where +record between 100 and 200"),
            Rows("select * from notes where record between 100 and 200"));
}

class LongNotedQueryTest : public QueryTest {
 protected:
  LongNotedQueryTest() {
    std::mt19937 random(4);
    testing::RandomTraceOptions options;
    options.records = 100000;
    options.perCycle = 50;
    const testing::NotedEvents noted =
        testing::RandomNotes(random, testing::RandomEvents(random, options));
    Open(testing::Encode(noted.events), options.shape, testing::NotesBytes(noted, random, 1000));
  }

  int Looks(const std::string& sql) {
    int looks = 0;
    KeptAnswer answer;
    EXPECT_TRUE(IsFine(query->Run(sql, {}, answer, [&](const Progress&) { return ++looks > 0; })));
    return looks;
  }
};

TEST_F(LongNotedQueryTest, WhatIsNotedOfOnePacketIsFoundWithoutGoingThroughAllRecords) {
  // Makes the index of the notes.
  EXPECT_THAT(Rows("select count(*) from events where packet = 1"), Not(ElementsAre("0")));
  const int all = Looks("select count(*) from events where +packet = 2500");
  EXPECT_LE(20, all);
  EXPECT_GE(all / 4, Looks("select count(*) from events where packet = 2500"));
  EXPECT_GE(all / 4, Looks("select * from events where packet = 2500 order by record desc"));
  EXPECT_GE(all / 4, Looks("select * from sends where packet = 2500 and kind = 'inject'"));
  EXPECT_EQ(0, Looks("select * from events where kind = 'no such kind'"));
  EXPECT_EQ(Rows("select record from events where +packet = 2500"),
            Rows("select record from events where packet = 2500"));
  EXPECT_THAT(Rows("select count(*) from events where packet = 2500"), Not(ElementsAre("0")));
}

TEST_F(NotedQueryTest, NotesOfAnotherTraceMeetNoCondition) {
  std::mt19937 random(11);
  testing::RandomTraceOptions options;
  options.records = 3000;
  const testing::NotedEvents other =
      testing::RandomNotes(random, testing::RandomEvents(random, options));
  // The first block is of this trace, so that they are not refused at once.
  testing::NotedEvents mixed = noted;
  std::copy(other.events.begin() + 1500, other.events.end(), mixed.events.begin() + 1500);
  Open(testing::Encode(noted.events), options.shape, testing::NotesBytes(mixed, random, 300));
  ASSERT_NE(nullptr, companion->Notes());
  KeptAnswer answer;
  ASSERT_TRUE(IsFine(query->Run("select count(*) from events where packet > 70", {}, answer)));
  EXPECT_EQ("0", answer.lines.back());
  EXPECT_EQ(Fault::OTHER_TRACE, query->Refused().kind);
}

TEST_F(NotedQueryTest, SamplesOfCountersAreRows) {
  EXPECT_THAT(Rows("select count(*) > 0, count(distinct name) from counters"), ElementsAre("1 1"));
  EXPECT_EQ(Rows("select * from counters where +cycle between 100 and 300"),
            Rows("select * from counters where cycle between 100 and 300"));
}

}  // namespace
}  // namespace marrowfin
