#ifndef BENCH_TRACE_SECTIONS_H
#define BENCH_TRACE_SECTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "trace/index/Index.h"
#include "trace/write/Synth.h"

namespace marrowfin::bench {

// A made-up trace in a file, and its index beside it.
struct Subject {
  SynthOptions options;
  std::string folder;
  std::string file;
  bool peers = false;  // whether other programs are measured on it as well
  int repetitions = 5;
};

// Of the trace packed, with its index.
uint64_t PackedSize(const Subject& subject);

// What is compared between traces of different lengths, in seconds.
struct Latencies {
  double seek = 0;
  double state = 0;
};

// Decoding and writing, against a plain sum of the bytes and the trace tool.
void MeasureDecoding(const Subject& subject);

// Seeking without an index; building the index and its size; states and activity from it.
Latencies MeasureIndex(const Subject& subject);

// Going from step to step, of which a trace has so many, against `scratch`, the seconds that a
// state takes from the index.
void MeasureSteps(const Subject& subject, const TraceSource& trace, const Index& index,
                  uint64_t steps, double scratch);

// Finding events by what they are, counting them, and going through all of them.
void MeasureFinding(const Subject& subject, const TraceSource& trace, const Index& index);

// Notes beside a made-up trace of so many records: reading them, and questions about them.
void MeasureNotes(const std::string& folder, uint64_t records, int repetitions);

// Packing a trace and reading it packed, against zstd and the trace as it is.
void MeasurePacking(const Subject& subject);

// Ranges of cycles, and how often each processing element fired in them: row by row, as an
// ActivityReader lays it out.
struct Answer {
  uint64_t first = 0;
  uint64_t last = 0;
  uint32_t columns = 0;
  std::vector<uint64_t> fires;
};

// The same question to, and the same events in, other programs; `openSeconds` and `askSeconds` of
// processor time are what opening and the question took here.
void MeasurePeers(const Subject& subject, const Answer& answer, double openSeconds,
                  double askSeconds);

// Numbers that are the same in every run.
class Draw {
 public:
  uint64_t Below(uint64_t bound);

 private:
  uint64_t state = 1;
};

}  // namespace marrowfin::bench

#endif
