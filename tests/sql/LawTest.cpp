// What SQL answers about a trace is what it answers about a table with the same rows, of which it
// goes through every one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "sql/EventTable.h"
#include "sql/TraceTables.h"
#include "tests/sql/Database.h"
#include "tests/sql/PlainTables.h"
#include "tests/sql/RandomClause.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/Opened.h"
#include "trace/read/Companion.h"

namespace marrowfin {
namespace {

using testing::Database;
using testing::RandomTraceOptions;

constexpr const char* TABLES[] = {"events", "fires", "sends", "switches"};

// The same events as a trace and as rows.
class BothForms {
 public:
  BothForms(std::mt19937& random, const RandomTraceOptions& options)
      : events(testing::RandomEvents(random, options)), opened(testing::Encode(events)) {
    companion = Companion::Beside(*opened.trace);
    trace.reset(new SqlTrace{*opened.trace, *opened.index, *companion, options.shape});
    EXPECT_EQ(SQLITE_OK, AddTraceTables(asked.Get(), trace, std::make_shared<SqlWork>()));
    testing::FillPlainTables(plain.Get(), events, options.shape);
  }

  // With notes, in blocks of about so many records.
  BothForms(std::mt19937& random, const testing::NotedEvents& noted, size_t blockRecords,
            const ArrayShape& shape)
      : events(noted.events), hasNotes(true), opened(testing::Encode(events)) {
    testing::WriteFile(opened.name + ".notes", testing::NotesBytes(noted, random, blockRecords));
    companion = Companion::Beside(*opened.trace);
    EXPECT_NE(nullptr, companion->Notes());
    trace.reset(new SqlTrace{*opened.trace, *opened.index, *companion, shape});
    EXPECT_EQ(SQLITE_OK, AddTraceTables(asked.Get(), trace, std::make_shared<SqlWork>()));
    testing::FillPlainTables(plain.Get(), noted, shape);
  }

  const std::vector<testing::Event> events;
  const bool hasNotes = false;
  testing::Opened opened;
  std::optional<Companion> companion;
  std::shared_ptr<const SqlTrace> trace;
  Database asked;
  Database plain;
};

std::string ColumnsOf(const std::string& table) {
  const std::string everywhere = "record, cycle, step, thread, col, row, cluster_col, cluster_row";
  const std::string domains = ", domain_col, domain_row";
  return table == "events"     ? everywhere + domains + ", type, to_col, to_row"
         : table == "fires"    ? everywhere + domains
         : table == "switches" ? everywhere
                               : everywhere + domains +
                                     ", to_col, to_row, to_cluster_col, to_cluster_row, "
                                     "to_domain_col, to_domain_row, distance";
}

// How many of random questions have other answers in one form than in the other; `told` says which.
int Disagreements(std::mt19937& random, const BothForms& both, const Database& asked, int questions,
                  bool told) {
  testing::RandomClause clauses(random, both.events, both.hasNotes);
  int disagreements = 0;
  for (int i = 0; i < questions; ++i) {
    const std::string table = TABLES[random() % std::size(TABLES)];
    const std::string sql = "select " + ColumnsOf(table) +
                            (both.hasNotes ? ", kind, packet, created, energy, size" : "") +
                            " from " + table + " where " + clauses.Where(table) + clauses.Order();
    if (asked.Ask(sql) != both.plain.Ask(sql)) {
      ++disagreements;
      if (told) {
        ADD_FAILURE() << sql;
      }
    }
  }
  return disagreements;
}

RandomTraceOptions Options(std::mt19937& random) {
  RandomTraceOptions options;
  options.records = 300 + random() % 1500;
  options.shape = random() % 2 == 0 ? ArrayShape(2, 2, 2) : ArrayShape(3, 1, 5);
  options.perCycle = 1 + random() % 20;
  options.firstCycle = random() % 3 == 0 ? (uint64_t{1} << 63) - 20 : random() % 3;
  options.threads = 1 + random() % 9;
  options.falling = random() % 4 == 0;
  return options;
}

TEST(SqlLawTest, ThousandsOfRandomQuestionsHaveTheAnswersOfAPlainScan) {
  std::mt19937 random(12);
  for (int i = 0; i < 10; ++i) {
    const BothForms both(random, Options(random));
    EXPECT_EQ(0, Disagreements(random, both, both.asked, 300, true));
  }
}

TEST(SqlLawTest, QuestionsOfALongTraceHaveTheAnswersOfAPlainScan) {
  std::mt19937 random(21);
  RandomTraceOptions options = testing::ManyKeyframes();
  options.records = 100000;
  const BothForms both(random, options);
  EXPECT_EQ(0, Disagreements(random, both, both.asked, 40, true));
}

TEST(SqlLawTest, QuestionsOfNotesHaveTheAnswersOfAPlainScan) {
  std::mt19937 random(5);
  for (int i = 0; i < 10; ++i) {
    const RandomTraceOptions options = Options(random);
    const testing::NotedEvents noted =
        testing::RandomNotes(random, testing::RandomEvents(random, options));
    const BothForms both(random, noted, 1 + random() % 200, options.shape);
    EXPECT_EQ(0, Disagreements(random, both, both.asked, 300, true));
  }
}

TEST(SqlLawTest, JoinsByNotesHaveTheAnswersOfAPlainScan) {
  std::mt19937 random(6);
  RandomTraceOptions options;
  options.records = 1500;
  const testing::NotedEvents noted =
      testing::RandomNotes(random, testing::RandomEvents(random, options));
  const BothForms both(random, noted, 100, options.shape);
  for (
      const char* const sql : {
          "select s.record, f.record from sends s join fires f on f.packet = s.packet and f.kind = "
          "'eject' where s.kind = 'inject' order by 1, 2",
          "select a.record, b.record from events a left join events b on b.packet = a.packet + 1 "
          "and b.kind = a.kind where a.record < 20 order by 1, 2",
          "select kind, count(*), min(packet) from events where kind = 'wait' or packet = 7 group "
          "by 1 order by 1",
          "select record from events where packet in (select packet from events where record = 50) "
          "order by record desc",
          "select record from events where kind in ('wait', 'barrier') and packet in (3, 60) order "
          "by 1",
      }) {
    EXPECT_EQ(both.plain.Ask(sql), both.asked.Ask(sql)) << sql;
    EXPECT_FALSE(both.plain.Ask(sql).empty()) << sql;
  }
}

TEST(SqlLawTest, JoinsAndGroupsHaveTheAnswersOfAPlainScan) {
  std::mt19937 random(3);
  RandomTraceOptions options;
  options.records = 2000;
  const BothForms both(random, options);
  for (const char* const sql : {
           "select s.record, f.record from sends s join fires f on f.cycle = s.cycle + 1 and "
           "f.col = s.to_col and f.row = s.to_row order by 1, 2",
           "select f.record from fires f where exists (select 1 from sends s where s.to_col = "
           "f.col and s.to_row = f.row and s.cycle between f.cycle - 5 and f.cycle) order by 1",
           "select col, row, count(*) from fires group by 1, 2 order by 1, 2",
           "select cycle, count(*), min(col) from events group by cycle order by 1",
           "select type, thread, count(*) from events group by 1, 2 order by 1, 2",
           "select max(cycle), min(cycle), max(record), count(*) from sends",
           "select max(step) from events",
           "select distinct cluster_col, cluster_row from switches order by 1, 2",
           "select a.record, b.record from events a, events b where b.record = a.record + 1 and "
           "a.cycle < 30 order by 1",
           "select record from events where cycle < 20 union all select record from events where "
           "thread = 3 order by 1",
       }) {
    EXPECT_EQ(both.plain.Ask(sql), both.asked.Ask(sql)) << sql;
    EXPECT_FALSE(both.plain.Ask(sql).empty()) << sql;
  }
}

// A table that leaves out the last row where it is asked anything, as a bound that is one too low
// would: what the law is there to find.
class TooNarrow : public SqlTable {
 public:
  explicit TooNarrow(std::unique_ptr<SqlTable> table) : table(std::move(table)) {}

  const std::vector<SqlColumn>& Columns() const override { return table->Columns(); }
  bool Narrows(size_t column, int comparison) const override {
    return table->Narrows(column, comparison);
  }
  std::unique_ptr<SqlCursor> Open() const override {
    return std::make_unique<Cursor>(table->Open());
  }

 private:
  class Cursor : public SqlCursor {
   public:
    explicit Cursor(std::unique_ptr<SqlCursor> rows) : rows(std::move(rows)) {}

    Fault Ask(const SqlTrace& trace, const SqlQuestion& question) override {
      left = ~uint64_t{0};
      if (question.conditions.empty()) {
        return rows->Ask(trace, question);
      }
      if (Fault fault = rows->Ask(trace, question)) {
        return fault;
      }
      uint64_t count = 0;
      for (; !rows->IsAtEnd(); ++count) {
        if (Fault fault = rows->Next()) {
          return fault;
        }
      }
      left = count == 0 ? 0 : count - 1;
      return rows->Ask(trace, question);
    }
    Fault Next() override {
      --left;
      return rows->Next();
    }
    bool IsAtEnd() const override { return left == 0 || rows->IsAtEnd(); }
    Fault Tell(size_t column, sqlite3_context* to) override { return rows->Tell(column, to); }
    sqlite3_int64 RowNumber() const override { return rows->RowNumber(); }

   private:
    std::unique_ptr<SqlCursor> rows;
    uint64_t left = 0;
  };

  std::unique_ptr<SqlTable> table;
};

TEST(SqlLawTest, BoundsThatAreTooNarrowByOneAreFound) {
  std::mt19937 random(12);
  RandomTraceOptions options;
  const BothForms both(random, options);
  Database narrow;
  const auto work = std::make_shared<SqlWork>();
  for (const TraceTable& table : TraceTables().first(std::size(TABLES))) {
    const auto make = [&table](const SqlTrace* trace, SqlWork& of) {
      return std::make_unique<TooNarrow>(table.make(trace, of));
    };
    ASSERT_EQ(SQLITE_OK, AddSqlTable(narrow.Get(), {table.name, make, both.trace, {}, work}));
  }
  EXPECT_LT(20, Disagreements(random, both, narrow, 200, false));
}

}  // namespace
}  // namespace marrowfin
