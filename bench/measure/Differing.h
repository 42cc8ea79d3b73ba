#ifndef BENCH_MEASURE_DIFFERING_H
#define BENCH_MEASURE_DIFFERING_H

#include <cstdint>
#include <string>

namespace marrowfin::bench {

// How long holding two traces against each other takes, beside comparing the files. Needs twice the
// room of one in the folder.
void MeasureDiffering(const std::string& folder, uint64_t records);

}  // namespace marrowfin::bench

#endif
