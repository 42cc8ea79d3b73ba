#include "sql/NumberedRows.h"
#include "sql/PlaceTables.h"
#include "sql/SqlText.h"
#include "sql/UnitActivity.h"

namespace marrowfin {

namespace {

class ActivityRows : public NumberedRows {
 public:
  enum Field {
    UNIT,
    COL,
    ROW,
    CLUSTER_COL,
    CLUSTER_ROW,
    DOMAIN_COL,
    DOMAIN_ROW,
    FIRE_COUNT,
    SEND_COUNT,
    RECEIVE_COUNT,
    TRANSMISSION_COUNT,
    FIRST_CYCLE,
    LAST_CYCLE,
  };

  explicit ActivityRows(SqlWork& work) : work(work) {}

 private:
  Result<uint64_t> Find(const SqlTrace& of, const SqlQuestion& question) override {
    trace = &of;
    first = ArgumentOf(question, FIRST_CYCLE);
    last = ArgumentOf(question, LAST_CYCLE);
    if (first.IsEmpty() || last.IsEmpty()) {
      units.clear();
      return uint64_t{0};
    }
    Result<std::vector<UnitActivity>> found = ActivityOfUnits(of, first.first, last.last, work);
    if (!found) {
      return found.Why();
    }
    units = std::move(found).Take();
    return uint64_t{units.size()};
  }

  void TellOf(uint64_t number, size_t column, sqlite3_context* to) const override {
    const UnitActivity& unit = units[number];
    switch (column) {
      case UNIT:
        sqlite3_result_text(to, unit.isSwitch ? "switch" : "pe", -1, SQLITE_STATIC);
        break;
      case COL:
      case ROW:
        TellAxis(unit.at, column == ROW, to);
        break;
      case FIRST_CYCLE:
        TellNumber(to, first.first);
        break;
      case LAST_CYCLE:
        TellNumber(to, last.last);
        break;
      default:
        TellMore(unit, column, to);
    }
  }

  void TellMore(const UnitActivity& unit, size_t column, sqlite3_context* to) const {
    if (column >= FIRE_COUNT) {
      const uint64_t counts[] = {unit.fires, unit.sends, unit.receives, unit.transmissions};
      TellNumber(to, counts[column - FIRE_COUNT]);
    } else if (trace->shape && (unit.isSwitch ? trace->shape->HasSwitch(unit.at)
                                              : trace->shape->HasElement(unit.at))) {
      TellLevel(unit, column, to);
    }
  }

  void TellLevel(const UnitActivity& unit, size_t column, sqlite3_context* to) const {
    const ArrayShape& shape = *trace->shape;
    if (column == CLUSTER_COL || column == CLUSTER_ROW) {
      TellAxis(unit.isSwitch ? shape.ClusterOfSwitch(unit.at) : shape.ClusterOf(unit.at),
               column == CLUSTER_ROW, to);
    } else if (!unit.isSwitch) {
      TellAxis(shape.DomainOf(unit.at), column == DOMAIN_ROW, to);
    }
  }

  SqlWork& work;
  const SqlTrace* trace = nullptr;
  NumberBounds first;
  NumberBounds last;
  std::vector<UnitActivity> units;
};

}  // namespace

std::unique_ptr<SqlTable> MakeActivityTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<SmallTable<ActivityRows>>(
      std::vector<SqlColumn>{{"unit", "TEXT", "pe or switch"},
                             {"col", "INTEGER", "where it is; of a switch where records have it"},
                             {"row", "INTEGER", "the same"},
                             {"cluster_col", "INTEGER", "its cluster"},
                             {"cluster_row", "INTEGER", "the same"},
                             {"domain_col", "INTEGER", "its domain, of a pe"},
                             {"domain_row", "INTEGER", "the same"},
                             {"fires", "INTEGER", "how often it fired"},
                             {"sends", "INTEGER", "messages that it sent"},
                             {"receives", "INTEGER", "messages to it"},
                             {"transmissions", "INTEGER", "how often it transmitted"},
                             {"first_cycle", "INTEGER", "argument: from this cycle on", true},
                             {"last_cycle", "INTEGER", "argument: up to this cycle", true}},
      work);
}

}  // namespace marrowfin
