#ifndef SIM_SIMULATION_H
#define SIM_SIMULATION_H

#include <memory>
#include <string>
#include <vector>

#include "Core/Component.h"
#include "Core/VisTool.h"
#include "Util/Regression.h"
#include "sim/Array.h"
#include "sim/Interrupts.h"
#include "sim/Placement.h"
#include "sim/Program.h"
#include "sim/Progress.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"

namespace marrowfin::sim {

// One run of the simulator: the options of the program, and everything from them to the verdict.
//
// Calling order: construct; parse the options; Prepare(); Run(); ReportStatistics(). Errors that
// can be known beforehand are returned by Prepare, and no file has been touched by then.
class Simulation : public Component {
 public:
  Simulation();

  // Checks the options, builds the array, places the program and opens the files. Returns what is
  // wrong; empty if nothing is.
  std::string Prepare(Interrupts& interrupts);

  // Runs the program until it ends or the trace fails, and settles the verdict.
  void Run(Interrupts& interrupts);

  // Writes the statistics so far; from a crash callback as well.
  void ReportStatistics();

  // Whether all that was printed has reached its file.
  bool IsReportWhole();

 private:
  std::string FaultOfOptions() const;
  std::string MakeProgram();
  std::string PlaceProgram();
  std::string OpenFiles(Interrupts& interrupts);
  std::string WriteGraph();
  void StartRound();
  void RunRound(Interrupts& interrupts);
  void CheckRound();
  void CheckSegments(uint32 thread, const SegmentData& expected);
  void CloseFiles();
  double ShareDone();

  // Options.
  std::string programName;
  std::string placementName;
  std::string logFilename;
  std::string dotFilename;
  ProgramSize size;
  uint32 threads;
  uint32 rounds;
  uint32 operationsPerPe;
  unsigned long long mostCycles;

  Array array;
  VisTool vis;
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
