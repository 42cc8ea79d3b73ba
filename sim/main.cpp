// marrowfin-sim: simulates a tiled array cycle by cycle and records what happens in it.

#include <csignal>
#include <cstdlib>
#include <string>

#include "Util/Regression.h"
#include "Util/SimOutput.h"
#include "sim/Interrupts.h"
#include "sim/Simulation.h"
#include "sim/Words.h"

namespace marrowfin::sim {

namespace {

// Exit statuses, apart from 0 for a run that passed.
constexpr int FAILED = 1;     // the run failed or was interrupted
constexpr int NOT_BEGUN = 2;  // something was wrong before it began

// Reports how far the run has come when a fatal signal ends it; the verdict follows by itself.
class ReportOnCrash final : public StatelessCallback {
 public:
  explicit ReportOnCrash(Simulation& simulation) : simulation(simulation) {
    Regression::AddCrashCallback(this);
  }
  ~ReportOnCrash() { Regression::CancelCrashCallback(this); }

  void operator()() override { simulation.ReportStatistics(); }

 private:
  Simulation& simulation;
};

int Complain(const std::string& fault) {
  SimOutput::PrintError("marrowfin-sim: %s\n", fault.c_str());
  return NOT_BEGUN;
}

int FinishPrinting(int status) {
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    return Complain("cannot write to the standard output");
  }
  return status;
}

int PrintHelp(Simulation& simulation) {
  SimOutput::Print(
      "marrowfin-sim [--settings] [--options FILE]... [OPTION VALUE]...\n"
      "marrowfin-sim --help | --version\n"
      "\n"
      "Simulates a tiled array of processing elements that runs a program, checks the results and\n"
      "writes a trace for the viewer: marrowfin-sim -outFilename run.trace\n"
      "\n"
      "--settings      prints the settings and ends\n"
      "--options FILE  reads options from a file, one option and its value a line\n"
      "--help          prints this text and the settings as they are without options\n"
      "--version       prints the version\n"
      "\n"
      "An option word is a pattern (a basic regular expression) for names of options, and every\n"
      "option takes a value: -array/.*Latency 3\n"
      "\n");
  simulation.PrintUsage(SimOutput::out);
  SimOutput::Print("Settings:\n");
  simulation.PrintOptionsAndValues(SimOutput::out);
  return FinishPrinting(EXIT_SUCCESS);
}

int RunAndReport(Simulation& simulation, Interrupts& interrupts) {
  const std::string fault = simulation.Prepare(interrupts);
  if (!fault.empty()) {
    return Complain(fault);
  }
  {
    const ReportOnCrash report(simulation);
    interrupts.Deliver();
    simulation.Run(interrupts);
  }
  simulation.ReportStatistics();
  Regression::PrintSuccess();
  if (!simulation.IsReportWhole()) {
    Complain("the report could not be written");
    return FAILED;
  }
  return Regression::success == Regression::SUCCESS ? EXIT_SUCCESS : FAILED;
}

int Main(int argc, char** argv) {
  Interrupts interrupts;
  Regression::Initialize();
  // What cannot be written is reported by the call that tried.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  Simulation simulation;
  std::string fault;
  switch (ReadCommandLine(argc, argv, simulation, fault)) {
    case Request::HELP:
      return PrintHelp(simulation);
    case Request::VERSION:
      SimOutput::Print("marrowfin-sim %s\n", MARROWFIN_VERSION);
      return FinishPrinting(EXIT_SUCCESS);
    case Request::SETTINGS:
      simulation.PrintOptionsAndValues(SimOutput::out);
      return FinishPrinting(EXIT_SUCCESS);
    case Request::RUN:
      return RunAndReport(simulation, interrupts);
    case Request::FAULT:
      break;
  }
  return Complain(fault);
}

}  // namespace

}  // namespace marrowfin::sim

int main(int argc, char** argv) { return marrowfin::sim::Main(argc, argv); }
