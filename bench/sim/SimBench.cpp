// How fast the simulator is: events per second with and without a trace, how that compares with the
// write calls that the trace tool alone would make, and how the speed depends on the size of the
// array.
//
// Traces go to the directory that TMPDIR names, else to /tmp.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "bench/sim/Measuring.h"
#include "sim/Array.h"
#include "sim/Placement.h"
#include "sim/Program.h"
#include "sim/RunAbout.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"

namespace marrowfin::sim {

namespace {

void SetOption(Array& array, const std::string& name, uint32 value) {
  std::vector<CommandLineParser::Option> options;
  array.CollectAllOptions(options);
  if (!array.DoMatches("-array/" + name, std::to_string(value), options)) {
    throw std::invalid_argument(name);
  }
}

int Create(const std::string& name) {
  return open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
}

// A program on an array of its own.
class Machine {
 public:
  Machine(const Program& program, const Shape& shape, const std::string& traceName,
          bool companion = false)
      : traceName(traceName) {
    SetOption(array, "clusters", shape.clusters);
    SetOption(array, "domains", shape.domains);
    SetOption(array, "pes", shape.pes);
    SetOption(array, "operandBuffer", 1024);
    const Placement placement = PlaceOperations(*FindPlacementPolicy("greedy"), program.GetGraph(),
                                                array.GetShape(), 0, array.PeCapacity(1), 1);
    array.Build(1, recorder, log);
    array.Load(program.GetGraph(), placement);
    Random random(1);
    array.WriteSegments(0, program.MakeData(random));
    if (placement.empty()) {
      throw std::runtime_error("the benchmark cannot run");
    }
    if (companion) {
      recorder.Attach(Create(traceName), traceName, Create(traceName + ".notes"),
                      AboutRun("stencil", program.GetGraph(), placement, array, 1));
    } else if (!traceName.empty()) {
      recorder.Attach(Create(traceName), traceName);
    }
    array.Start();
  }

  void Run() {
    while (array.IsRunning()) {
      array.RunCycle();
    }
  }

  // Writes what is left of the trace.
  void Finish() {
    if (!recorder.Close()) {
      throw std::runtime_error(recorder.Error());
    }
  }

  unsigned long long Events() const { return recorder.Events(); }
  unsigned long long Cycles() const { return array.Cycles(); }
  unsigned long long Ticks() const { return array.Ticks(); }

 private:
  std::string traceName;
  TraceRecorder recorder;
  RunLog log;
  Array array;
};

std::unique_ptr<Program> MakeProgram() { return FindProgram("stencil")->make({12, 20, 1, 1}); }

void SetRate(benchmark::State& state, unsigned long long events) {
  state.counters["events/s"] =
      benchmark::Counter(static_cast<double>(events), benchmark::Counter::kIsRate);
}

void WithoutTrace(benchmark::State& state) {
  const std::unique_ptr<Program> program = MakeProgram();
  unsigned long long events = 0;
  for ([[maybe_unused]] auto iteration : state) {
    state.PauseTiming();
    auto machine = std::make_unique<Machine>(*program, Shape{4, 2, 4}, "");
    state.ResumeTiming();
    machine->Run();
    state.PauseTiming();
    events += machine->Events();
    machine.reset();
    state.ResumeTiming();
  }
  SetRate(state, events);
}

// The calls alone: what the trace tool asks of the system for so many records of a fire.
double SecondsOfWrites(unsigned long long records) {
  const std::string name = TraceName();
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const char bytes[8] = {};
  const double start = Seconds();
  for (unsigned long long record = 0; record < records; ++record) {
    for (const size_t size : {4, 8, 4, 4, 8}) {
      if (write(file, bytes, size) != static_cast<ssize_t>(size)) {
        throw std::runtime_error("the benchmark cannot write");
      }
    }
  }
  const double seconds = Seconds() - start;
  close(file);
  unlink(name.c_str());
  return seconds;
}

// The same run without a trace.
double SecondsOfRun(const Program& program) {
  const auto machine = std::make_unique<Machine>(program, Shape{4, 2, 4}, "");
  const double start = Seconds();
  machine->Run();
  return Seconds() - start;
}

void WithTrace(benchmark::State& state) {
  const std::unique_ptr<Program> program = MakeProgram();
  unsigned long long events = 0;
  double plainSeconds = 0;
  double runSeconds = 0;
  double writeSeconds = 0;
  for ([[maybe_unused]] auto iteration : state) {
    state.PauseTiming();
    auto machine = std::make_unique<Machine>(*program, Shape{4, 2, 4}, TraceName());
    state.ResumeTiming();
    const double start = Seconds();
    machine->Run();
    machine->Finish();
    runSeconds += Seconds() - start;
    state.PauseTiming();
    unlink(TraceName().c_str());
    events += machine->Events();
    writeSeconds += SecondsOfWrites(machine->Events());
    plainSeconds += SecondsOfRun(*program);
    machine.reset();
    state.ResumeTiming();
  }
  SetRate(state, events);
  state.counters["times without"] = runSeconds / plainSeconds;
  state.counters["tool's writes alone, events/s"] = static_cast<double>(events) / writeSeconds;
  state.counters["times the tool's writes"] = runSeconds / writeSeconds;
}

// The same run with a trace, and with a companion beside it or not.
double SecondsOfRecording(const Program& program, bool companion) {
  const auto machine = std::make_unique<Machine>(program, Shape{4, 2, 4}, TraceName(), companion);
  const double start = Seconds();
  machine->Run();
  machine->Finish();
  const double seconds = Seconds() - start;
  unlink(TraceName().c_str());
  RemoveCompanion(TraceName());
  return seconds;
}

// Of a run ten times as long as the others: some of a companion costs the same however long a run
// is.
void WithCompanion(benchmark::State& state) {
  const std::unique_ptr<Program> program = FindProgram("stencil")->make({12, 200, 1, 1});
  double plainSeconds = 0;
  double traceSeconds = 0;
  double companionSeconds = 0;
  for ([[maybe_unused]] auto iteration : state) {
    plainSeconds += SecondsOfRun(*program);
    traceSeconds += SecondsOfRecording(*program, false);
    companionSeconds += SecondsOfRecording(*program, true);
  }
  state.counters["times without trace"] = companionSeconds / plainSeconds;
  state.counters["times with trace alone"] = companionSeconds / traceSeconds;
}

// The same program on arrays of 16 to 16,384 processing elements.
void BySize(benchmark::State& state) {
  const Shape shape = {static_cast<uint32>(state.range(0)), static_cast<uint32>(state.range(1)),
                       static_cast<uint32>(state.range(2))};
  const std::unique_ptr<Program> program = MakeProgram();
  unsigned long long events = 0;
  unsigned long long cycles = 0;
  unsigned long long ticks = 0;
  for ([[maybe_unused]] auto iteration : state) {
    state.PauseTiming();
    auto machine = std::make_unique<Machine>(*program, shape, "");
    state.ResumeTiming();
    machine->Run();
    state.PauseTiming();
    events += machine->Events();
    cycles += machine->Cycles();
    ticks += machine->Ticks();
    machine.reset();
    state.ResumeTiming();
  }
  SetRate(state, events);
  state.counters["PEs"] = shape.PeCount();
  state.counters["cycles/s"] =
      benchmark::Counter(static_cast<double>(cycles), benchmark::Counter::kIsRate);
  state.counters["ticks/cycle"] = static_cast<double>(ticks) / static_cast<double>(cycles);
}

// What it takes to make an array and to throw it away.
void Building(benchmark::State& state) {
  const std::unique_ptr<Program> program = FindProgram("reduce")->make({2, 1, 1, 1});
  const Shape shape = {static_cast<uint32>(state.range(0)), static_cast<uint32>(state.range(1)),
                       static_cast<uint32>(state.range(2))};
  for ([[maybe_unused]] auto iteration : state) {
    Machine machine(*program, shape, "");
  }
  state.counters["PEs"] = shape.PeCount();
}

BENCHMARK(WithoutTrace)->Unit(benchmark::kMillisecond);
BENCHMARK(WithTrace)->Unit(benchmark::kMillisecond);
BENCHMARK(WithCompanion)->Unit(benchmark::kMillisecond);
BENCHMARK(BySize)
    ->Unit(benchmark::kMillisecond)
    ->Args({1, 1, 4})
    ->Args({1, 2, 4})
    ->Args({2, 2, 4})
    ->Args({4, 2, 4})
    ->Args({4, 4, 4})
    ->Args({4, 4, 8});
BENCHMARK(Building)
    ->Unit(benchmark::kMillisecond)
    ->Args({1, 1, 4})
    ->Args({4, 2, 4})
    ->Args({4, 4, 8});

}  // namespace

}  // namespace marrowfin::sim

BENCHMARK_MAIN();
