// What the explorer's core adds to the questions of the trace engine, and what it answers how soon.
//
// usage: marrowfin_explorer_bench [--quick] FOLDER
//        marrowfin_explorer_bench --state TRACE SIDE
//
// A trace goes to FOLDER, which needs 1 GB (--quick: 0.1 GB), and is removed again. Times are
// medians of what takes turns, by processor time: one thread works. Exits with 3 where a bar is not
// met.
//
// With --state it prints how many milliseconds the engine's own question for a state at random
// takes by the clock, of a trace that is there and has its index: what a page is held against.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "explorer/core/Core.h"
#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/StateCursor.h"
#include "trace/ask/StateReader.h"
#include "trace/write/Synth.h"

namespace marrowfin::bench {
namespace {

constexpr uint64_t SMALL = 2400000;
constexpr uint64_t LARGE = 24000000;

SynthOptions Options(uint32_t side, uint64_t records) {
  SynthOptions options;
  options.shape = side == 64 ? ArrayShape{4, 2, 8} : ArrayShape{8, 4, 8};
  options.records = records;
  options.threads = 8;
  return options;
}

std::string ShapeText(const ArrayShape& shape) {
  const auto pair = [](PerAxis counts) {
    return "[" + std::to_string(counts.columns) + "," + std::to_string(counts.rows) + "]";
  };
  return R"("shape":{"clusters":)" + pair(shape.clusters) + R"(,"domains":)" + pair(shape.domains) +
         R"(,"pes":)" + pair(shape.pes) + "}";
}

// A trace that is open in a core, and by the engine alone.
struct Explored {
  explicit Explored(const std::string& file, const ArrayShape& shape)
      : shape(shape),
        trace(Value(TraceSource::Open(file))),
        index(Value(Index::Open(*trace))),
        traces({file}),
        core(traces, shape) {
    while (traces.Status()[0].state != TraceStatus::READY) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    front = R"({"protocol":1,"trace":")" + traces.Status()[0].fingerprint + R"(",)";
  }

  size_t Ask(const std::string& members) const {
    const std::string question = front + members + "}";
    const std::vector<uint8_t> answer =
        core.Answer({reinterpret_cast<const uint8_t*>(question.data()), question.size()});
    const std::string_view text(reinterpret_cast<const char*>(answer.data()),
                                std::min<size_t>(answer.size(), 200));
    Require(text.find("\"error\"") == std::string_view::npos, std::string(text));
    return answer.size();
  }

  ArrayShape shape;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  OpenTraces traces;
  Core core;
  std::string front;
};

std::vector<uint64_t> Moments(const Index& index, size_t count) {
  std::mt19937_64 random(11);
  std::vector<uint64_t> steps;
  const uint64_t all = index.GetSummary().changes;
  for (size_t i = 0; i < count; ++i) {
    steps.push_back(1 + random() % all);
  }
  return steps;
}

double RatioOf(const std::vector<std::function<void()>>& works, double& first) {
  const std::vector<Time> times = Alternate(5, works);
  first = times[0].processor;
  return times[1].processor / times[0].processor;
}

void MeasureStates(const Explored& explored) {
  constexpr size_t COUNT = 50;
  const std::vector<uint64_t> steps = Moments(*explored.index, COUNT);
  const StateReader reader(*explored.trace, *explored.index, explored.shape);
  double engine = 0;
  const double ratio =
      RatioOf({[&] {
                 for (const uint64_t step : steps) {
                   Value(reader.AtStep(step, 0));
                 }
               },
               [&] {
                 for (const uint64_t step : steps) {
                   explored.Ask(R"("ask":"state","reading":"viewer","step":)" +
                                std::to_string(step) + "," + ShapeText(explored.shape));
                 }
               }},
              engine);
  AtMost("a state at random, against the engine's own question", ratio, "x", 3);
  Note("  the engine's own", engine / COUNT * 1e3, "ms");
}

// Playing in pieces of 32 steps, as a page does.
void MeasureSteps(const Explored& explored, bool back) {
  constexpr uint64_t COUNT = 960;
  constexpr uint64_t PIECE = 32;
  const uint64_t from = explored.index->GetSummary().changes / 2;
  double engine = 0;
  const double ratio =
      RatioOf({[&] {
                 StateCursor cursor(*explored.trace, *explored.index, explored.shape);
                 Require(cursor.MoveToStep(from, 0));
                 for (uint64_t i = 0; i < COUNT; ++i) {
                   Value(back ? cursor.Previous() : cursor.Next());
                 }
               },
               [&] {
                 for (uint64_t i = 0; i < COUNT; i += PIECE) {
                   const uint64_t step = back ? from - i : from + i;
                   explored.Ask(R"("ask":"steps","reading":"viewer","count":32,"back":)" +
                                std::string(back ? "true" : "false") + R"(,"step":)" +
                                std::to_string(step) + "," + ShapeText(explored.shape));
                 }
               }},
              engine);
  AtMost(std::string("a step ") + (back ? "back" : "forward") + " of many, against the engine's",
         ratio, "x", 3);
  Note("  the engine's own", engine / COUNT * 1e6, "us");
}

void MeasureActivity(const Explored& explored) {
  const std::string last = std::to_string(explored.index->GetSummary().maxCycle);
  ActivityQuestion question;
  question.bins = 1600;
  question.last = explored.index->GetSummary().maxCycle;
  question.readAtMost = ActivityQuestion::QUICK;
  double engine = 0;
  const double ratio =
      RatioOf({[&] { Value(ActivityOverTime(*explored.trace, *explored.index, question)); },
               [&] {
                 explored.Ask(R"("ask":"activity","by":"thread","first":"0","last":")" + last +
                              R"(","bins":1600)");
               }},
              engine);
  AtMost("activity of all threads in 1,600 bins, against the engine's", ratio, "x", 3);
  const Time worst =
      Alternate(5, {[&] {
                  explored.Ask(R"("ask":"activity","by":"thread","worst":true,"first":"0",)"
                               R"("last":")" +
                               last + R"(","bins":1600)");
                }})[0];
  AtMost("the same with the worst of each", worst.processor * 1e3, "ms", 50);
}

void MeasureLists(const Explored& explored) {
  const uint64_t middle = explored.index->GetSummary().threads.at(3) / 2;
  const Time list =
      Alternate(5, {[&] {
                  explored.Ask(R"("ask":"events","filter":{"thread":3},"count":100,"nth":)" +
                               std::to_string(middle) + "," + ShapeText(explored.shape));
                }})[0];
  AtMost("the middle of the list of a thread", list.processor * 1e3, "ms", 100);
}

void MeasureOf(const std::string& folder, uint32_t side, uint64_t records) {
  const std::string file = folder + "/explorer.trace";
  const SynthOptions options = Options(side, records);
  Writer writer;
  Require(!writer.Open(file) && !Synthesize(options, writer) && !writer.Close(),
          "cannot write " + file);
  Heading(std::to_string(side) + " x " + std::to_string(side) + " PEs, " +
          std::to_string(records / 100000 / 10.0).substr(0, 4) + " M records");
  {
    const Explored explored(file, options.shape);
    MeasureStates(explored);
    MeasureSteps(explored, false);
    MeasureSteps(explored, true);
    MeasureActivity(explored);
    MeasureLists(explored);
  }
  unlink(file.c_str());
  unlink((file + ".mfindex").c_str());
}

int Run(const std::string& folder, bool quick) {
  printf("%s\n", Machine().c_str());
  for (const uint32_t side : {64U, 256U}) {
    MeasureOf(folder, side, quick ? SMALL : LARGE);
  }
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

int PrintState(const std::string& file, const std::string& side) {
  const std::unique_ptr<TraceSource> trace = Value(TraceSource::Open(file));
  const std::unique_ptr<Index> index = Value(Index::Open(*trace));
  const ArrayShape shape = Options(static_cast<uint32_t>(std::stoul(side)), 0).shape;
  const StateReader reader(*trace, *index, shape);
  std::vector<double> times;
  for (const uint64_t step : Moments(*index, 51)) {
    const auto began = std::chrono::steady_clock::now();
    Value(reader.AtStep(step, 0));
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - began;
    times.push_back(passed.count());
  }
  printf("%.4f\n", Median(times));
  return 0;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  if (argc == 4 && strcmp(argv[1], "--state") == 0) {
    return marrowfin::bench::PrintState(argv[2], argv[3]);
  }
  const bool quick = argc == 3 && strcmp(argv[1], "--quick") == 0;
  if (argc != 2 && !quick) {
    fprintf(stderr, "usage: %s [--quick] FOLDER\n       %s --state TRACE SIDE\n", argv[0], argv[0]);
    return 2;
  }
  return marrowfin::bench::Run(argv[argc - 1], quick);
}
