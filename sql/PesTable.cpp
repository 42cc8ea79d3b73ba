#include "sql/NumberedRows.h"
#include "sql/PlaceTables.h"
#include "sql/SqlText.h"

namespace marrowfin {

namespace {

class PesRows : public NumberedRows {
 public:
  explicit PesRows(SqlWork& /*work*/) {}

 private:
  Result<uint64_t> Find(const SqlTrace& of, const SqlQuestion& /*question*/) override {
    trace = &of;
    return of.shape ? uint64_t{of.shape->Elements()} : 0;
  }

  void TellOf(uint64_t number, size_t column, sqlite3_context* to) const override {
    const Place at = trace->shape->ElementAt(number);
    const Place levels[] = {at, trace->shape->ClusterOf(at), trace->shape->DomainOf(at)};
    if (column < 2 * std::size(levels)) {
      TellAxis(levels[column / 2], column % 2 == 1, to);
      return;
    }
    const About* const about = trace->companion.GetAbout();
    if (about != nullptr) {
      const auto name = about->places.find(at);
      if (name != about->places.end()) {
        TellText(name->second, to);
      }
    }
  }

  const SqlTrace* trace = nullptr;
};

}  // namespace

std::unique_ptr<SqlTable> MakePesTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<SmallTable<PesRows>>(
      std::vector<SqlColumn>{{"col", "INTEGER", "where the processing element is"},
                             {"row", "INTEGER", "the same"},
                             {"cluster_col", "INTEGER", "its cluster"},
                             {"cluster_row", "INTEGER", "the same"},
                             {"domain_col", "INTEGER", "its domain, over the whole array"},
                             {"domain_row", "INTEGER", "the same"},
                             {"name", "TEXT", "what the run called it"}},
      work);
}

}  // namespace marrowfin
