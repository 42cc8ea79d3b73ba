#include <string>
#include <vector>

#include "sql/NumberedRows.h"
#include "sql/RunTables.h"
#include "sql/SqlText.h"

namespace marrowfin {

namespace {

enum CounterField { SAMPLE_CYCLE, SAMPLE_NAME, SAMPLE_COL, SAMPLE_ROW, SAMPLE_VALUE, SAMPLE_UNIT };

// Goes through samples, block by block; blocks are passed over whose cycles are not asked for.
class SampleRows : public SqlCursor {
 public:
  explicit SampleRows(SqlWork& work) : work(work) {}

  [[nodiscard]] Fault Ask(const SqlTrace& trace, const SqlQuestion& question) override {
    notes = trace.companion.Notes();
    cycles = ArgumentOf(question, SAMPLE_CYCLE);
    block = row = 0;
    number = 0;
    samples.clear();
    return notes == nullptr || cycles.IsEmpty() ? Fault() : Load();
  }

  [[nodiscard]] Fault Next() override {
    ++number;
    return ++row < samples.size() ? Fault() : Load();
  }

  bool IsAtEnd() const override { return row >= samples.size(); }

  [[nodiscard]] Fault Tell(size_t column, sqlite3_context* to) override {
    const CounterSample& sample = samples[row];
    const NoteCounter& counter = notes->Declarations().counters[sample.counter];
    switch (column) {
      case SAMPLE_CYCLE:
        TellNumber(to, sample.cycle);
        break;
      case SAMPLE_NAME:
        TellText(counter.name, to);
        break;
      case SAMPLE_COL:
      case SAMPLE_ROW:
        TellAxis(sample.at, column == SAMPLE_ROW, to);
        break;
      case SAMPLE_VALUE:
        sqlite3_result_double(to, sample.value);
        break;
      default:
        TellText(counter.unit, to);
    }
    return {};
  }

  sqlite3_int64 RowNumber() const override { return number; }

 private:
  // The next block that has samples that may be asked for. What of the notes is damaged is left
  // out, and told.
  Fault Load() {
    row = 0;
    samples.clear();
    for (; block < notes->Blocks().size() && samples.empty(); ++block) {
      const NotesEntry& entry = notes->Blocks()[block];
      if (entry.kind != NotesBlockKind::SAMPLES || entry.high < cycles.first ||
          entry.low > cycles.last) {
        continue;
      }
      Result<std::vector<CounterSample>> read = notes->Samples(block);
      if (read) {
        samples = std::move(read).Take();
      } else if (read.Why().kind != Fault::DAMAGED_NOTES) {
        return read.Why();
      } else if (!work.refused) {
        work.refused = read.Why();
      }
      if (!work.GoesOn()) {
        return CancelledFault(notes->Name());
      }
    }
    return {};
  }

  SqlWork& work;
  const NotesFile* notes = nullptr;
  NumberBounds cycles;
  size_t block = 0;  // behind the one that is told
  std::vector<CounterSample> samples;
  size_t row = 0;  // of them
  sqlite3_int64 number = 0;
};

class CountersTable : public SmallTable<SampleRows> {
 public:
  using SmallTable::SmallTable;

  bool Narrows(size_t column, int /*comparison*/) const override { return column == SAMPLE_CYCLE; }
  double Rows() const override { return 1e5; }
};

}  // namespace

std::unique_ptr<SqlTable> MakeCountersTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<CountersTable>(
      std::vector<SqlColumn>{{"cycle", "INTEGER", "from when on the counter has the value"},
                             {"name", "TEXT", "the counter"},
                             {"col", "INTEGER", "where"},
                             {"row", "INTEGER", "the same"},
                             {"value", "REAL", "its value"},
                             {"unit", "TEXT", "what it is measured in"}},
      work);
}

}  // namespace marrowfin
