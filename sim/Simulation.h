#ifndef SIM_SIMULATION_H
#define SIM_SIMULATION_H

#include <memory>
#include <string>
#include <vector>

#include "Core/Component.h"
#include "sim/Array.h"
#include "sim/Interrupts.h"
#include "sim/OutputFiles.h"
#include "sim/Placement.h"
#include "sim/Program.h"
#include "sim/Progress.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"
#include "trace/base/About.h"

namespace marrowfin::sim {

// One run of the simulator: the options of the program, and everything from them to the verdict.
//
// Calling order: construct; parse the options; Prepare(); Run(); ReportStatistics(). Errors that
// can be known beforehand are returned by Prepare, and no file has been touched by then. All that
// goes wrong later is told on standard error and fails the regression.
class Simulation : public Component {
 public:
  Simulation();

  // What tells of the run in the companion of its trace: the program with its version, and the
  // words that it was started with.
  void SetCommand(const std::string& tool, const std::string& words);

  // Checks the options, builds the array, places the program and opens the files, none of which may
  // be one of `optionFiles`. Returns what is wrong; empty if nothing is.
  std::string Prepare(const std::vector<std::string>& optionFiles);

  // Runs the program until it ends, it is interrupted, or the trace or the log fails; closes both.
  void Run(const Interrupts& interrupts);

  // Writes the statistics so far.
  void ReportStatistics();

  // Saves what there is when the run crashes: the trace, the log and the statistics.
  void ReportCrash();

 private:
  std::string FaultOfOptions() const;
  std::string MakeProgram();
  std::string PlaceProgram();
  Placement PlaceWithin(uint32 capacity) const;
  std::string FaultOfFiles(const std::vector<std::string>& optionFiles);
  std::string OpenFiles();
  bool HasCompanion() const;
  void OpenTrace();
  About AboutThisRun() const;
  void WriteGraph();
  bool GoesOn();
  void StartRound();
  void RunRound(const Interrupts& interrupts);
  void CheckRound();
  void CheckSegments(uint32 thread, const SegmentData& expected);
  void CloseFiles();
  static void Fail(const std::string& fault);
  double ShareDone();

  // Options.
  std::string programName;
  std::string placementName;
  std::string traceFilename;
  bool companion;
  std::string logFilename;
  std::string dotFilename;
  ProgramSize size;
  uint32 threads;
  uint32 rounds;
  uint32 operationsPerPe;
  unsigned long long mostCycles;

  std::string tool;
  std::string command;
  OutputFiles files;
  Array array;
  StatsPrinter printer;
  TraceRecorder trace;
  RunLog log;
  Progress progress;
  std::unique_ptr<Program> program;
  Placement placement;
  Random data;
  std::vector<SegmentData> expected;  // of each thread, in this round
  uint32 round;                       // that runs, counted from 0
};

}  // namespace marrowfin::sim

#endif
