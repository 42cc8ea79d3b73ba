// What a trace costs a simulator that writes it through the trace tool, as the example does.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "bench/sim/Measuring.h"
#include "examples/systolic_matmul/Array.h"

namespace marrowfin::systolic {

namespace {

double SecondsOfRun(const std::string& traceName) {
  Array array{Layout()};
  if (!traceName.empty()) {
    // As InitializeForWrite does, but without a word.
    array.trace.outFile.Open(traceName, File::WRITE_FLAGS, File::DEFAULT_MODE);
  }
  const double start = Seconds();
  for (Cycle left = array.Cycles(); left > 0; --left) {
    array.Step();
  }
  const double seconds = Seconds() - start;
  if (!traceName.empty()) {
    array.trace.outFile.Close();
    unlink(traceName.c_str());
  }
  return seconds;
}

void ExampleWithTrace(benchmark::State& state) {
  double plainSeconds = 0;
  double traceSeconds = 0;
  for ([[maybe_unused]] auto iteration : state) {
    plainSeconds += SecondsOfRun("");
    traceSeconds += SecondsOfRun(TraceName());
  }
  state.counters["times without"] = traceSeconds / plainSeconds;
}

BENCHMARK(ExampleWithTrace)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace marrowfin::systolic
