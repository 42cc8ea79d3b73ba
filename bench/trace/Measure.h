#ifndef BENCH_TRACE_MEASURE_H
#define BENCH_TRACE_MEASURE_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "trace/base/Result.h"

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

// What a program took. Its standard output goes to `output`, a file.
Time RunProgram(const std::vector<std::string>& arguments, const std::string& output);

// The most memory that this program has had so far, in MiB. What the system tells of a child that
// has ended would include the memory of this one, of which it was a copy at first.
double PeakMemory();

// The processor, how many there are, and how busy they were in the last minute.
std::string Machine();

// Ends the benchmark with a message: nothing it says can be relied on.
[[noreturn]] void Stop(const std::string& why);
void Require(bool condition, const std::string& otherwise);

// The same for what must meet no fault, or must bring a value.
inline void Require(const Fault& fault) { Require(!fault, fault.Text()); }

template <class T>
T Value(Result<T> result) {
  Require(result.Why());
  return std::move(result).Take();
}

}  // namespace marrowfin::bench

#endif
