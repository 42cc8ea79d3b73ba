#include "bench/trace/Measure.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <thread>

namespace marrowfin::bench {

namespace {

double Clock(clockid_t clock) {
  struct timespec now;
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Seconds(const struct timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// What stands behind "name:" in a file of the system.
std::string FieldOf(const std::string& file, const std::string& name) {
  std::ifstream lines(file);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.compare(0, name.size(), name) == 0) {
      const size_t value = line.find_first_not_of(" \t:", name.size());
      return value == std::string::npos ? "" : line.substr(value);
    }
  }
  return "";
}

[[noreturn]] void Become(const std::vector<std::string>& arguments, const std::string& output) {
  const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(out, STDOUT_FILENO);
  std::vector<char*> words;
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execvp(words[0], words.data());
  _exit(127);
}

}  // namespace

Time Measure(const std::function<void()>& work) {
  const double elapsed = Clock(CLOCK_MONOTONIC);
  const double processor = Clock(CLOCK_PROCESS_CPUTIME_ID);
  const double ownProcessor = Clock(CLOCK_THREAD_CPUTIME_ID);
  work();
  return {Clock(CLOCK_MONOTONIC) - elapsed, Clock(CLOCK_PROCESS_CPUTIME_ID) - processor,
          Clock(CLOCK_THREAD_CPUTIME_ID) - ownProcessor};
}

double Quantile(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1,
                         static_cast<size_t>(part * static_cast<double>(values.size())))];
}

double Median(std::vector<double> values) { return Quantile(std::move(values), 0.5); }

std::vector<Time> Alternate(int repetitions, const std::vector<std::function<void()>>& works) {
  std::vector<std::vector<double>> elapsed(works.size());
  std::vector<std::vector<double>> processor(works.size());
  std::vector<std::vector<double>> ownProcessor(works.size());
  for (int i = 0; i < repetitions; ++i) {
    for (size_t work = 0; work < works.size(); ++work) {
      const Time time = Measure(works[work]);
      elapsed[work].push_back(time.elapsed);
      processor[work].push_back(time.processor);
      ownProcessor[work].push_back(time.ownProcessor);
    }
  }
  std::vector<Time> medians;
  for (size_t work = 0; work < works.size(); ++work) {
    medians.push_back({Median(elapsed[work]), Median(processor[work]), Median(ownProcessor[work])});
  }
  return medians;
}

Time RunProgram(const std::vector<std::string>& arguments, const std::string& output) {
  fflush(nullptr);
  const double start = Clock(CLOCK_MONOTONIC);
  const pid_t child = fork();
  Require(child != -1, "cannot start a process");
  if (child == 0) {
    Become(arguments, output);
  }
  int status = 0;
  struct rusage usage;
  wait4(child, &status, 0, &usage);
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, arguments[0] + " failed");
  Time time;
  time.elapsed = Clock(CLOCK_MONOTONIC) - start;
  time.processor = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  return time;
}

double PeakMemory() {
  const std::string peak = FieldOf("/proc/self/status", "VmHWM");
  Require(!peak.empty(), "the system does not tell how much memory a process had");
  return std::stod(peak) / 1024;
}

std::string Machine() {
  double load = 0;
  getloadavg(&load, 1);
  char text[32];
  snprintf(text, sizeof(text), "%.1f", load);
  const std::string model = FieldOf("/proc/cpuinfo", "model name");
  return (model.empty() ? "unknown processor" : model) + ", " +
         std::to_string(std::thread::hardware_concurrency()) + " processors, load average " + text;
}

void Stop(const std::string& why) {
  fprintf(stderr, "marrowfin_trace_bench: %s\n", why.c_str());
  exit(1);
}

void Require(bool condition, const std::string& otherwise) {
  if (!condition) {
    Stop(otherwise);
  }
}

}  // namespace marrowfin::bench
