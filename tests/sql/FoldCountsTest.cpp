// Counts by place that the index tells are those of all rows.

#include "sql/FoldCounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "sql/TraceTables.h"
#include "tests/sql/Database.h"
#include "tests/sql/PlainTables.h"
#include "tests/trace/support/Opened.h"

namespace marrowfin {
namespace {

using testing::Database;

TEST(FoldCountsTest, AStatementThatCountsByPlaceAsksForTheCounts) {
  EXPECT_EQ(
      "select  col, row, sum(\"events of the place\") as \"count(*)\" from (select cluster_col, "
      "cluster_row, col, domain_col, domain_row, row, fires as \"events of the place\" from "
      "activity(100, 900) where unit = 'pe' and fires > 0) group by 1, 2",
      FoldedCounts("select col, row, count(*) from fires where cycle between 100 and 900 "
                   "group by 1, 2"));
}

TEST(FoldCountsTest, AnyOtherStatementStaysAsItIs) {
  for (const char* const sql : {
           "select col, count(*) from fires group by col",
           "select col, row, count(cycle) from fires group by 1, 2",
           "select col, row, count(*), max(cycle) from fires group by 1, 2",
           "select col, row, cycle, count(*) from fires group by 1, 2",
           "select col, row, count(*) from events group by 1, 2",
           "select col, row, count(*) from fires f group by 1, 2",
           "select col, row, count(*) from fires, sends group by 1, 2",
           "select col, row, count(*) from fires where thread = 1 group by 1, 2",
           "select col, row, count(*) from fires where +cycle > 1 group by 1, 2",
           "select col, row, count(*) from fires where cycle > 1.5 group by 1, 2",
           "select col, row, count(*) from fires where cycle > 1 or col = 2 group by 1, 2",
           "select col, row, count(*) from fires where cycle > :from group by 1, 2",
           "select col, row, count(*) from fires where cycle < 0 group by 1, 2",
           "select distinct col, row, count(*) from fires group by 1, 2",
           "select col, row, count(*) over () from fires group by 1, 2",
           "select col, row, count(*) as row from fires group by 1, 2",
           "select col, row, count(*) from fires group by 1, 2 union select 1, 2, 3",
           "select col, row, count(*) from fires group by 1, 3",
           "select col, row, count(*) from fires group by 1, 99",
           "select col, row, count(*) from fires group by 1, 2 -- a remark",
           "select col, row, count(*) from fires",
           "select count(*) from fires",
           "select",
           "",
           ";",
           "from",
           "select col",
           "select col,",
           "select ) from fires",
       }) {
    EXPECT_EQ(std::nullopt, FoldedCounts(sql)) << sql;
  }
}

// A statement of the kind, at random.
std::string RandomCount(std::mt19937& random) {
  const auto below = [&](size_t end) { return static_cast<size_t>(random() % end); };
  const auto number = [&] { return std::to_string(below(40)); };
  const char* const items[] = {"col, row, count(*)", "row, col, COUNT( * )",
                               "count(*) as n, col, row, cluster_col",
                               "col, row, col + 2 * count(*) as weight, domain_row"};
  const char* const groups[] = {"col, row", "row, cluster_col, col", "col, row, domain_row"};
  const char* const tables[] = {"fires", "sends", "switches"};
  const std::string table = tables[below(3)];
  std::string text =
      std::string("select ") + items[below(table == "switches" ? 3 : 4)] + " from " + table;
  const char* const comparisons[] = {" = ", " < ", " <= ", " > ", " >= "};
  for (size_t i = 0, count = below(4); i < count; ++i) {
    const std::string column = below(3) == 0 ? "col" : below(4) == 0 ? "cluster_row" : "cycle";
    text += (i == 0 ? " where " : " and ") + column;
    const std::string low = column == "cycle" ? std::to_string(1 + below(400)) : number();
    text += below(2) == 0 ? " between " + low + " and " + std::to_string(below(900))
                          : comparisons[below(5)] + low;
  }
  text += std::string(" group by ") + groups[below(table == "switches" ? 2 : 3)];
  text += below(3) == 0 ? " having count(*) > 2 and col < 9" : "";
  text += below(2) == 0 ? " order by count(*) desc, row, col limit 5" : " order by row, col";
  return below(4) == 0 ? text + ";" : text;
}

TEST(FoldCountsTest, RandomCountsAreThoseOfAllRows) {
  std::mt19937 random(4);
  for (int i = 0; i < 8; ++i) {
    testing::RandomTraceOptions options;
    options.records = 500 + random() % 3000;
    options.falling = i % 4 == 3;
    options.firstCycle = i % 4 == 2 ? (uint64_t{1} << 63) - 30 : 0;
    options.shape = i % 2 == 0 ? ArrayShape(2, 2, 2) : ArrayShape(3, 1, 5);
    const std::vector<testing::Event> events = testing::RandomEvents(random, options);
    testing::Opened opened(testing::Encode(events));
    const Companion companion = Companion::Beside(*opened.trace);
    const std::shared_ptr<const SqlTrace> trace(
        new SqlTrace{*opened.trace, *opened.index, companion, options.shape});
    Database asked;
    Database plain;
    ASSERT_EQ(SQLITE_OK, AddTraceTables(asked.Get(), trace, std::make_shared<SqlWork>()));
    testing::FillPlainTables(plain.Get(), events, options.shape);
    for (int question = 0; question < 150; ++question) {
      const std::string sql = RandomCount(random);
      const std::optional<std::string> folded = FoldedCounts(sql);
      ASSERT_TRUE(folded) << sql;
      ASSERT_EQ(plain.Ask(sql), asked.Ask(*folded)) << sql << "\n" << *folded;
    }
  }
}

}  // namespace
}  // namespace marrowfin
