// What questions in SQL cost beside the same ones asked otherwise, each measured in this very run.
//
// usage: marrowfin_sql_bench [--quick] FOLDER
//
// A trace of 24 M records goes to FOLDER, which needs 1 GB (--quick: 2.4 M records, 0.1 GB), and is
// removed again. Times are medians of what takes turns, by the clock. Exits with 3 where a bar is
// not met.

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "measure/CountRun.h"
#include "sql/Query.h"
#include "trace/index/Index.h"
#include "trace/write/Synth.h"
#include "trace/write/Writer.h"

namespace marrowfin::bench {
namespace {

constexpr uint64_t SMALL = 2400000;
constexpr uint64_t LARGE = 24000000;
constexpr int REPETITIONS = 5;

// Adds up whole numbers, so that no answer goes unread and each can be compared.
class Sum : public SqlAnswer {
 public:
  Fault Begin(std::span<const std::string> /*names*/) override { return {}; }
  Fault Row(std::span<const SqlCell> cells) override {
    ++rows;
    for (const SqlCell& cell : cells) {
      const auto* const number = std::get_if<int64_t>(&cell);
      sum = sum * 31 + (number != nullptr ? *number : 0);
    }
    return {};
  }
  Fault End() override { return {}; }

  uint64_t rows = 0;
  uint64_t sum = 0;
};

// A made-up trace with its index, open for questions.
class Subject {
 public:
  Subject(const std::string& folder, uint64_t records) : file(folder + "/bench.trace") {
    options.records = records;
    options.threads = 8;
    Writer writer;
    Require(!writer.Open(file) && !Synthesize(options, writer) && !writer.Close(),
            "cannot write " + file);
    trace = Value(TraceSource::Open(file));
    index = Value(Index::Open(*trace));
    companion = Companion::Beside(*trace);
    query = Value(Query::Open(
        std::make_shared<SqlTrace>(SqlTrace{*trace, *index, *companion, options.shape})));
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;
  ~Subject() {
    unlink(file.c_str());
    unlink((file + ".mfindex").c_str());
  }

  Sum Ask(const std::string& sql) {
    Sum sum;
    Require(query->Run(sql, {}, sum));
    return sum;
  }

  // Fires by place as they are counted without SQL: out of the records, or of the index.
  void Count(bool fromIndex) const {
    RunQuestion question;
    question.shape = options.shape;
    question.sumsSuffice = fromIndex;
    Value(CountRun(*trace, index.get(), question));
  }

  const Summary& GetSummary() const { return index->GetSummary(); }

 private:
  std::string file;
  SynthOptions options;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  std::optional<Companion> companion;
  std::unique_ptr<Query> query;
};

// A range of cycles that has about one record in a hundred.
std::string Range(const Summary& summary) {
  const uint64_t cycles = summary.lastCycle - summary.firstCycle + 1;
  const uint64_t first = summary.firstCycle + cycles / 2;
  return "between " + std::to_string(first) + " and " + std::to_string(first + cycles / 100);
}

void BenchRange(Subject& subject) {
  const std::string range = Range(subject.GetSummary());
  const std::string sql = "select count(*), sum(col), max(thread) from events where ";
  Require(subject.Ask(sql + "cycle " + range).sum == subject.Ask(sql + "+cycle " + range).sum,
          "the index and the scan have other answers");
  const std::vector<Time> times =
      Alternate(REPETITIONS, {[&] { subject.Ask(sql + "cycle " + range); },
                              [&] { subject.Ask(sql + "+cycle " + range); }});
  Note("a range of 1 % of the cycles", times[0].elapsed * 1e3, "ms");
  AtLeast("the same without the index / with it", times[1].elapsed / times[0].elapsed, "", 20);
}

void BenchPlaces(Subject& subject) {
  const std::string grouped = "select col, row, count(*) from fires group by 1, 2";
  const std::string told = "select col, row, fires from activity where fires > 0 order by 1, 2";
  const std::string plain = "select col, row, count(*) from fires where +cycle >= 0 group by 1, 2";
  Require(subject.Ask(grouped).sum == subject.Ask(told).sum &&
              subject.Ask(grouped).sum == subject.Ask(plain).sum,
          "the index and the scan have other answers");
  const std::vector<Time> times =
      Alternate(REPETITIONS, {[&] { subject.Ask(grouped); }, [&] { subject.Ask(told); },
                              [&] { subject.Count(false); }, [&] { subject.Count(true); }});
  const Time rows = Measure([&] { subject.Ask(plain); });
  Note("all fires grouped by place", times[0].elapsed * 1e3, "ms");
  AtMost("the same / counting the run natively", times[0].elapsed / times[2].elapsed, "", 3);
  AtMost("the table activity / counting the run natively", times[1].elapsed / times[2].elapsed, "",
         3);
  Note("the same / natively out of the index", times[0].elapsed / times[3].elapsed, "");
  Note("row by row / counting the run natively", rows.elapsed / times[2].elapsed, "");
}

void BenchRows(Subject& subject) {
  const Time time = Measure([&] { subject.Ask("select cycle, thread, col, row from events"); });
  Note("rows that are told in a second",
       static_cast<double>(subject.GetSummary().records) / time.elapsed / 1e6, "M");
  const Time last =
      Measure([&] { subject.Ask("select * from events order by record desc limit 10"); });
  Note("the last ten events", last.elapsed * 1e3, "ms");
}

int Bench(const std::string& folder, uint64_t records) {
  std::printf("%s\n", Machine().c_str());
  Heading("SQL over a trace of " + std::to_string(records) + " records");
  Subject subject(folder, records);
  BenchRange(subject);
  BenchPlaces(subject);
  BenchRows(subject);
  Note("most memory of this program", PeakMemory(), "MiB");
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int count, char** arguments) {
  const bool quick = count > 1 && std::strcmp(arguments[1], "--quick") == 0;
  if (count != (quick ? 3 : 2)) {
    std::fprintf(stderr, "usage: marrowfin_sql_bench [--quick] FOLDER\n");
    return 2;
  }
  return marrowfin::bench::Bench(arguments[count - 1],
                                 quick ? marrowfin::bench::SMALL : marrowfin::bench::LARGE);
}
