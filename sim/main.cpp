// marrowfin-sim: simulates a tiled array cycle by cycle and records what happens in it.

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "Util/Regression.h"
#include "Util/SimOutput.h"
#include "sim/Completion.h"
#include "sim/Interrupts.h"
#include "sim/Simulation.h"
#include "sim/StandardOutput.h"
#include "sim/Words.h"

namespace marrowfin::sim {

namespace {

// Exit statuses, apart from 0 for a run that passed.
constexpr int FAILED = 1;     // the run failed or was interrupted
constexpr int NOT_BEGUN = 2;  // something was wrong before it began
constexpr int NO_MEMORY = 3;  // memory ran out, before or during the run

// Reports how far the run has come when a fatal signal ends it; the verdict follows by itself.
class ReportOnCrash final : public StatelessCallback {
 public:
  explicit ReportOnCrash(Simulation& simulation) : simulation(simulation) {
    Regression::AddCrashCallback(this);
  }
  ~ReportOnCrash() { Regression::CancelCrashCallback(this); }

  void operator()() override { simulation.ReportCrash(); }

 private:
  Simulation& simulation;
};

int Complain(const std::string& fault) {
  SimOutput::PrintError("marrowfin-sim: %s\n", fault.c_str());
  return NOT_BEGUN;
}

// Complains that the standard output was not written, unless nobody wants it.
int ComplainOfOutput() {
  return IsReaderGone() ? NOT_BEGUN : Complain("cannot write to the standard output");
}

int FinishPrinting(int status) { return IsOutputWritten() ? status : ComplainOfOutput(); }

int PrintHelp(Simulation& simulation) {
  SimOutput::Print(
      "marrowfin-sim [--settings] [--options FILE]... [OPTION VALUE]...\n"
      "marrowfin-sim --help | --version | --completion SHELL\n"
      "\n"
      "Simulates a tiled array of processing elements that runs a program, checks the results and\n"
      "writes a trace for the viewer: marrowfin-sim -outFilename run.trace\n"
      "\n"
      "--settings      prints the settings and ends\n"
      "--options FILE  reads options from a file, one option and its value a line, as --settings\n"
      "                prints them\n"
      "--completion SHELL\n"
      "                prints what completes command lines in bash or zsh\n"
      "--help          prints this text and the settings as they are without options\n"
      "--version       prints the version\n"
      "\n"
      "An option word is a pattern (a basic regular expression) for names of options, and every\n"
      "option takes a value: -array/.*Latency 3\n"
      "\n");
  simulation.PrintUsage(SimOutput::out);
  SimOutput::Print("Settings:\n%s", OptionTable(simulation).Text().c_str());
  return FinishPrinting(EXIT_SUCCESS);
}

int PrintSettings(Simulation& simulation) {
  SimOutput::Print("%s", OptionTable(simulation).Text().c_str());
  return FinishPrinting(EXIT_SUCCESS);
}

// Nothing may fail behind the verdict: what was printed until then is written out before.
int SettleVerdict() {
  if (!IsOutputWritten() && Regression::success == Regression::SUCCESS) {
    ComplainOfOutput();
    Regression::Fail("cannot write to the standard output");
  }
  Regression::PrintSuccess();
  return Regression::success == Regression::SUCCESS && IsOutputWritten() ? EXIT_SUCCESS : FAILED;
}

// Whether there is a run that has to have a verdict.
bool hasBegun = false;

// Ends the process of memory that ran out, with what was printed so far and a verdict where there
// is a run. Needs no memory itself.
[[noreturn]] void EndWithoutMemory() {
  constexpr char COMPLAINT[] =
      "marrowfin-sim: there is not enough memory for this array and this program\n";
  static_cast<void>(!write(STDERR_FILENO, COMPLAINT, strlen(COMPLAINT)));
  if (hasBegun) {
    FILE* const out = SimOutput::out.GetFILE();
    fputs("Regression FAILED: there is not enough memory\n\n", out);
    fflush(out);
  }
  _exit(NO_MEMORY);
}

std::terminate_handler endOfOtherExceptions = nullptr;

// Where memory runs out and no exception can be caught: before main, in a destructor.
[[noreturn]] void EndOfException() {
  try {
    if (std::current_exception()) {
      throw;
    }
  } catch (const std::bad_alloc&) {
    EndWithoutMemory();
  } catch (...) {
  }
  endOfOtherExceptions();
  abort();
}

// Ahead of the constructors of static objects.
[[gnu::constructor(101)]] void BeforeAll() {
  endOfOtherExceptions = std::set_terminate(EndOfException);
}

int RunAndReport(Simulation& simulation, Interrupts& interrupts, const CommandWords& words) {
  const std::string fault = simulation.Prepare(words.optionFiles);
  if (!fault.empty()) {
    return Complain(fault);
  }
  hasBegun = true;
  interrupts.Hold();
  {
    const ReportOnCrash report(simulation);
    simulation.Run(interrupts);
  }
  simulation.ReportStatistics();
  const int status = SettleVerdict();
  hasBegun = false;  // and has had its verdict
  return status;
}

std::string CommandOf(int argc, char** argv) {
  std::string command;
  for (int i = 0; i < argc; ++i) {
    command += (i == 0 ? "" : " ") + std::string(argv[i]);
  }
  return command;
}

int Main(int argc, char** argv) {
  Regression::Initialize();
  Interrupts interrupts;
  // What cannot be written is reported by the call that tried.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  Simulation simulation;
  simulation.SetCommand("marrowfin-sim " MARROWFIN_VERSION, CommandOf(argc, argv));
  OptionTable options(simulation);
  const CommandWords words = ReadCommandLine(argc, argv, options);
  switch (words.request) {
    case Request::HELP:
      return PrintHelp(simulation);
    case Request::VERSION:
      SimOutput::Print("marrowfin-sim %s\n", MARROWFIN_VERSION);
      return FinishPrinting(EXIT_SUCCESS);
    case Request::SETTINGS:
      return PrintSettings(simulation);
    case Request::COMPLETION:
      SimOutput::Print("%s", CompletionFor(words.shell, options).c_str());
      return FinishPrinting(EXIT_SUCCESS);
    case Request::RUN:
      return RunAndReport(simulation, interrupts, words);
    case Request::FAULT:
      break;
  }
  return Complain(words.fault);
}

}  // namespace

}  // namespace marrowfin::sim

int main(int argc, char** argv) {
  try {
    return marrowfin::sim::Main(argc, argv);
  } catch (const std::bad_alloc&) {
    marrowfin::sim::EndWithoutMemory();
  }
}
