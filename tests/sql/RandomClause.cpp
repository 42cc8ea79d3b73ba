#include "tests/sql/RandomClause.h"

#include <algorithm>

namespace marrowfin::testing {

namespace {

constexpr const char* EVERYWHERE[] = {"record", "cycle", "cycle",       "step",       "thread",
                                      "col",    "row",   "cluster_col", "cluster_row"};
constexpr const char* OF_SENDS[] = {"to_col",        "to_row",         "to_cluster_col",
                                    "to_domain_col", "to_cluster_row", "to_domain_row",
                                    "distance"};

}  // namespace

std::string RandomClause::Column(const std::string& table) {
  if (noted && Below(2) == 0) {
    return One({"packet", "packet", "kind", "kind", "created", "size", "energy"});
  }
  if (table == "sends" && Below(3) == 0) {
    return One(OF_SENDS);
  }
  if (table == "events" && Below(4) == 0) {
    return One({"type", "to_col", "to_row", "domain_col", "domain_row"});
  }
  if (table != "switches" && table != "events" && Below(6) == 0) {
    return One({"domain_col", "domain_row"});
  }
  return One(EVERYWHERE);
}

std::string RandomClause::Number(const std::string& column) {
  const Event& event = events[Below(events.size())];
  uint64_t number = column == "record"    ? Below(events.size())
                    : column == "cycle"   ? event.cycle
                    : column == "created" ? event.cycle - std::min(event.cycle, Below(9))
                    : column == "packet"  ? Below(events.size() / 20 + 8)
                    : column == "size"    ? size_t{8} << Below(4)
                    : column == "step"    ? Below(events.size() / 3 + 1)
                    : column == "thread"  ? event.thread
                    : column == "col"     ? event.at.column
                                          : Below(20);
  number += Below(8) == 0 ? Below(3) : 0;
  return std::to_string(number);
}

// Now and then a value that is no such number.
std::string RandomClause::Value(const std::string& column) {
  if (column == "type" && Below(8) != 0) {
    return One({"'fire'", "'send'", "'switch'", "'FIRE'", "'none'"});
  }
  if (column == "kind" && Below(8) != 0) {
    return One({"'compute'", "'inject'", "'wait'", "'barrier'", "'BARRIER'", "'none'", "'3'"});
  }
  if (Below(8) != 0) {
    return Number(column);
  }
  return One({"-1", "0", "2.5", "7.0", "-0.5", "1e19", "9223372036854775807", "9223372036854775808",
              "18446744073709551615", "1.8446744073709552e19", "-1e300", "1e300", "'5'", "'7.0'",
              "'abc'", "''", "x'35'", "null", "4294967296"});
}

std::string RandomClause::Condition(const std::string& table) {
  const std::string column = Column(table);
  switch (Below(10)) {
    case 0:
      return column + " between " + Value(column) + " and " + Value(column);
    case 1:
      return column + " in (" + Value(column) + ", " + Value(column) + ", " + Value(column) + ")";
    case 2:
      return column + " not in (" + Number(column) + ", " + Value(column) + ")";
    case 3:
      return column + One({" is null", " is not null"});
    case 4:
      return column + " in (select " + One({"record", "thread", "col"}) +
             " from fires where record < " + std::to_string(Below(60)) + ")";
    case 5:
      return Value(column) + One({" < ", " <= ", " > ", " >= ", " = "}) + column;
    default:
      return column + One({" = ", " = ", " < ", " <= ", " > ", " >= ", " <> ", " is "}) +
             Value(column);
  }
}

std::string RandomClause::Where(const std::string& table) {
  std::string clause = Condition(table);
  for (size_t i = Below(4); i > 0; --i) {
    const std::string next = (Below(8) == 0 ? "not " : "") + Condition(table);
    clause = Below(5) == 0 ? "(" + clause + " or " + next + ")" : clause + " and " + next;
  }
  return clause;
}

std::string RandomClause::Order() {
  switch (Below(6)) {
    case 0:
      return " order by record desc";
    case 1:
      return " order by cycle, record";
    case 2:
      return " order by step desc, record desc";
    case 3:
      return " order by cycle desc, record";
    case 4:
      return " order by thread, record limit 7";
    default:
      return " order by record";
  }
}

}  // namespace marrowfin::testing
