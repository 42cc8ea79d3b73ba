#ifndef BENCH_TRACE_MEASURE_H
#define BENCH_TRACE_MEASURE_H

#include <functional>
#include <string>
#include <vector>

namespace marrowfin::bench {

// What something took, in seconds: by the clock on the wall, and of the processors in all threads
// and in the calling one. Other programs of a busy machine add to the first only.
struct Time {
  double elapsed = 0;
  double processor = 0;
  double ownProcessor = 0;
};

Time Measure(const std::function<void()>& work);

// The median time of each work, which take turns: whatever disturbs the machine disturbs all.
std::vector<Time> Alternate(int repetitions, const std::vector<std::function<void()>>& works);

double Median(std::vector<double> values);
double Quantile(std::vector<double> values, double part);

// What a program took and left behind. Its standard output goes to `output`, a file.
struct ChildResult {
  Time time;
  double peakMiB = 0;
};
ChildResult RunProgram(const std::vector<std::string>& arguments, const std::string& output);

// Ends the benchmark with a message: nothing it says can be relied on.
[[noreturn]] void Stop(const std::string& why);
void Require(bool condition, const std::string& otherwise);

}  // namespace marrowfin::bench

#endif
