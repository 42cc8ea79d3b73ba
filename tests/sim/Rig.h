#ifndef TESTS_SIM_RIG_H
#define TESTS_SIM_RIG_H

#include <string>
#include <vector>

#include "sim/Placement.h"
#include "sim/ProcessingElement.h"
#include "sim/Program.h"
#include "sim/Shape.h"
#include "tests/support/Command.h"

namespace marrowfin::sim::testing {

using namespace marrowfin::testing;

// What a program is run on, and how.
struct RigOptions {
  std::vector<std::string> words;  // options of the array, such as "-array/clusters" and "2"
  uint32 threads = 1;
  std::string placement = "greedy";
  uint32 operationsPerPe = 0;
  unsigned long long seed = 1;  // of data and places
  bool withTrace = false;
  bool withLog = false;
};

// What came out of a run.
struct RigResult {
  std::string fault;  // why nothing ran
  Shape shape;
  Settings settings;
  Placement placement;
  std::vector<SegmentData> data;     // what each thread started with
  std::vector<SegmentData> results;  // what each thread ended with, in the written segments
  unsigned long long cycles = 0;
  unsigned long long fires = 0;
  ProcessingElement::Counts stalls;
  unsigned long long ticks = 0;  // of all units
  unsigned long long tokensLeft = 0;
  unsigned long long placementHops = 0;
  std::string trace;  // its bytes
  std::string log;    // its text
};

// Runs a program once on an array of its own, without the simulator's entry.
RigResult RunOnArray(const Program& program, const RigOptions& options);

// The words that choose an array: clusters, domains and processing elements along an axis.
std::vector<std::string> ArrayWords(uint32 clusters, uint32 domains, uint32 pes);

// How many words of the results differ from the plain computation.
size_t WrongWords(const Program& program, const RigResult& result);

// Runs the simulator itself.
CommandResult RunSimulator(const std::vector<std::string>& words);

// The value of a statistic in a report, as text. Throws std::out_of_range where it is missing.
std::string StatisticIn(const std::string& report, const std::string& name);

}  // namespace marrowfin::sim::testing

#endif
