#include <array>
#include <map>
#include <optional>
#include <utility>

#include "sql/NumberedRows.h"
#include "sql/RunTables.h"
#include "sql/SqlText.h"
#include "trace/ask/EventCounter.h"

namespace marrowfin {

namespace {

class ThreadRows : public NumberedRows {
 public:
  enum Field { THREAD, NAME, MEANING, FIRE_COUNT, SEND_COUNT, SWITCH_COUNT };

  explicit ThreadRows(SqlWork& work) : work(work) {}

 private:
  // How many fires, sends and transmissions.
  typedef std::array<uint64_t, 3> Counts;

  struct ThreadRow {
    std::optional<uint32_t> thread;
    Counts counts = {};
  };

  Result<uint64_t> Find(const SqlTrace& of, const SqlQuestion& question) override {
    about = of.companion.GetAbout();
    ChooseThreads(of.index.GetSummary());
    if (question.Uses(FIRE_COUNT) || question.Uses(SEND_COUNT) || question.Uses(SWITCH_COUNT)) {
      if (Fault fault = CountAll(of)) {
        return fault;
      }
    }
    return uint64_t{rows.size()};
  }

  // Those that have records, those that were named, and all that are not told apart.
  void ChooseThreads(const Summary& summary) {
    std::map<uint32_t, uint64_t> threads = summary.threads;
    if (about != nullptr) {
      for (const auto& [thread, unused] : about->threads) {
        threads.try_emplace(thread, 0);
      }
    }
    rows.clear();
    for (const auto& [thread, unused] : threads) {
      rows.push_back({thread, {}});
    }
    if (summary.otherThreads > 0) {
      rows.push_back({std::nullopt, {}});
    }
  }

  // The last row gets what no other has.
  Fault CountAll(const SqlTrace& trace) {
    const Summary& summary = trace.index.GetSummary();
    Counts left = {summary.fires, summary.sends, summary.switches};
    for (ThreadRow& row : rows) {
      if (!row.thread) {
        row.counts = left;
        return {};
      }
      for (size_t type = 0; type < row.counts.size() && summary.threads.count(*row.thread) > 0;
           ++type) {
        const Result<uint64_t> count = CountOf(trace, *row.thread, type);
        if (!count) {
          return count.Why();
        }
        row.counts[type] = *count;
        left[type] -= *count;
      }
    }
    return {};
  }

  // The index tells it.
  Result<uint64_t> CountOf(const SqlTrace& trace, uint32_t thread, size_t type) {
    EventFilter filter;
    filter.thread = thread;
    filter.fires = type == 0;
    filter.sends = type == 1;
    filter.switches = type == 2;
    return EventCounter(trace.file, trace.index, filter).Count([this](const Progress&) {
      return work.GoesOn();
    });
  }

  void TellOf(uint64_t number, size_t column, sqlite3_context* to) const override {
    const ThreadRow& row = rows[number];
    if (column >= FIRE_COUNT) {
      TellNumber(to, row.counts[column - FIRE_COUNT]);
    } else if (column == THREAD && row.thread) {
      sqlite3_result_int64(to, *row.thread);
    } else if (about != nullptr && row.thread) {
      const auto known = about->threads.find(*row.thread);
      if (known != about->threads.end()) {
        TellText(column == NAME ? known->second.name : known->second.meaning, to);
      }
    }
  }

  SqlWork& work;
  const About* about = nullptr;
  std::vector<ThreadRow> rows;
};

}  // namespace

std::unique_ptr<SqlTable> MakeThreadsTable(const SqlTrace* /*trace*/, SqlWork& work) {
  return std::make_unique<SmallTable<ThreadRows>>(
      std::vector<SqlColumn>{{"thread", "INTEGER", "its number; NULL for all not told apart"},
                             {"name", "TEXT", "what the run called it"},
                             {"meaning", "TEXT", "what threads stand for"},
                             {"fires", "INTEGER", "how often it fired"},
                             {"sends", "INTEGER", "messages that it sent"},
                             {"switches", "INTEGER", "how often switches transmitted for it"}},
      work);
}

}  // namespace marrowfin
