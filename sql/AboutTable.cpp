#include <string>
#include <utility>
#include <variant>

#include "sql/NumberedRows.h"
#include "sql/RunTables.h"
#include "sql/SqlText.h"

namespace marrowfin {

namespace {

typedef std::variant<uint64_t, double, std::string> FactValue;

class AboutRows : public NumberedRows {
 public:
  explicit AboutRows(SqlWork& /*work*/) {}

 private:
  Result<uint64_t> Find(const SqlTrace& trace, const SqlQuestion& /*question*/) override {
    facts.clear();
    AddTrace(trace);
    AddArray(trace.shape);
    if (trace.companion.GetAbout() != nullptr) {
      AddRun(*trace.companion.GetAbout());
    }
    return uint64_t{facts.size()};
  }

  void Add(const char* key, FactValue value) { facts.emplace_back(key, std::move(value)); }
  void AddText(const char* key, const std::string& text) {
    if (!text.empty()) {
      Add(key, text);
    }
  }

  void AddTrace(const SqlTrace& trace) {
    const Summary& summary = trace.index.GetSummary();
    Add("trace", trace.file.Name());
    Add("records", summary.records);
    Add("fires", summary.fires);
    Add("sends", summary.sends);
    Add("switches", summary.switches);
    Add("bytes", summary.bytes);
    if (summary.records > 0) {
      Add("first_cycle", summary.firstCycle);
      Add("last_cycle", summary.lastCycle);
    }
    AddText("breaks_off", summary.end ? summary.end.Text() : "");
  }

  void AddArray(const std::optional<ArrayShape>& shape) {
    if (shape) {
      Add("columns", uint64_t{shape->Columns()});
      Add("rows", uint64_t{shape->Rows()});
      Add("clusters_columns", uint64_t{shape->clusters.columns});
      Add("clusters_rows", uint64_t{shape->clusters.rows});
      Add("domains_columns", uint64_t{shape->domains.columns});
      Add("domains_rows", uint64_t{shape->domains.rows});
      Add("pes_columns", uint64_t{shape->pes.columns});
      Add("pes_rows", uint64_t{shape->pes.rows});
    }
  }

  void AddRun(const About& about) {
    AddText("name", about.name);
    AddText("command", about.command);
    AddText("date", about.date);
    AddText("tool", about.tool);
    if (about.cycleNs) {
      Add("cycle_ns", *about.cycleNs);
    }
  }

  void TellOf(uint64_t number, size_t column, sqlite3_context* to) const override {
    const auto& [key, value] = facts[number];
    if (column == 0) {
      TellText(key, to);
    } else if (const auto* const count = std::get_if<uint64_t>(&value)) {
      TellNumber(to, *count);
    } else if (const auto* const real = std::get_if<double>(&value)) {
      sqlite3_result_double(to, *real);
    } else {
      TellText(std::get<std::string>(value), to);
    }
  }

  std::vector<std::pair<std::string, FactValue>> facts;
};

}  // namespace

std::unique_ptr<SqlTable> MakeAboutTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<SmallTable<AboutRows>>(
      std::vector<SqlColumn>{{"key", "TEXT", "what is told, such as records or command"},
                             {"value", "", "it"}},
      work);
}

}  // namespace marrowfin
