#ifndef BENCH_SIM_MEASURING_H
#define BENCH_SIM_MEASURING_H

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace marrowfin {

// The processor time of this process so far: other programs of the machine do not count.
inline double Seconds() { return static_cast<double>(clock()) / CLOCKS_PER_SEC; }

inline std::string TraceName() {
  const char* directory = getenv("TMPDIR");
  return std::string(directory == nullptr ? "/tmp" : directory) + "/marrowfin-sim-bench-" +
         std::to_string(getpid()) + ".trace";
}

}  // namespace marrowfin

#endif
