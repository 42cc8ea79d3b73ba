// Multiplies matrices on a simulated array of processing elements, and writes what happens as a
// trace for the viewer. README.md beside this file explains what to look at.
//
// Exit status: 0 if all products are right, 1 if not or if the run crashed or was interrupted, 2
// for a mistake on the command line.

#include <fcntl.h>

#include <cctype>
#include <csignal>
#include <cstdio>
#include <vector>

#include "Array.h"
#include "Util/Regression.h"
#include "Util/SimOutput.h"

namespace marrowfin::systolic {
namespace {

const int USAGE_ERROR = 2;
const unsigned MAX_SIDE = 256;      // PEs along an axis
const unsigned MAX_LENGTH = 1024;   // of matrices, and of the gap
const unsigned MAX_THREADS = 1024;  // each has a product in the making
const unsigned MAX_PRODUCTS = 1000000;

// All options of the program: the layout's, the array's with all units below it, the report's.
struct Program {
  explicit Program(const Layout& ofArray) : layout(ofArray), array(ofArray) {
    layout.AddOptions(options);
    options.AddParser(&array);
    options.AddParser(&printer);
    printer.AddPrefix(array.theFullName + "/stats/");
    StatsContainer::output = &printer;
  }

  Layout layout;
  Array array;
  StatsPrinter printer;
  CommandLineParser options;
};

// Whether a report can go to the file; opened as the printer does it, but without emptying it.
bool CanReportTo(const std::string& fileName) {
  File file(false);
  if (file.Open(fileName, O_WRONLY | O_CREAT, File::DEFAULT_MODE) != File::SUCCESS) {
    return false;
  }
  file.Close();
  return true;
}

// Writes the report when the run ends early, so that what was measured until then is not lost.
class ReportOnCrash final : public StatelessCallback {
 public:
  explicit ReportOnCrash(Program& program) : program(program) {
    Regression::AddCrashCallback(this);
  }
  ~ReportOnCrash() { Regression::CancelCrashCallback(this); }

  // The printer ends the program where its file cannot be opened. Within a crash that would be the
  // end without a verdict, so it is not called then.
  void operator()() override {
    const std::string& fileName = program.printer.outputFileName;
    if (fileName.empty() || CanReportTo(fileName)) {
      program.array.DoStatsOutput();
    } else {
      SimOutput::PrintError("systolic_matmul: can't write the report to %s\n", fileName.c_str());
    }
  }

 private:
  Program& program;
};

bool Contains(CommandLine& commandLine, const std::string& word) {
  for (unsigned i = 0; i < commandLine.size() && commandLine[i] != "--"; ++i) {
    if (commandLine[i] == word) {
      return true;
    }
  }
  return false;
}

int PrintHelp() {
  // Of the smallest array, which has one unit of each kind.
  Layout smallest;
  smallest.clusters = smallest.domains = smallest.pes = 1;
  Program program(smallest);
  SimOutput::Print(
      "systolic_matmul [OPTION VALUE]...\n"
      "Multiplies matrices on a systolic array and checks the products.\n\n"
      "An OPTION is a basic regular expression for whole names of options:\n"
      "  systolic_matmul -c 2 -.*inner 20 -.*outFilename run.trace\n"
      "Units are named CLUSTER/DOMAIN/PE, each by column and row: c0_1/d1_0/pe3_2.\n\n");
  program.options.PrintUsage(SimOutput::out);
  return 0;
}

int PrintVersion() {
  SimOutput::Print("systolic_matmul %s\n", MARROWFIN_VERSION);
  return 0;
}

bool HaveValues(CommandLine& commandLine) {
  for (unsigned i = 0; i < commandLine.size() && commandLine[i] != "--"; i += 2) {
    if (i + 1 == commandLine.size()) {
      SimOutput::PrintError("systolic_matmul: %s has no value\n", commandLine[i].c_str());
      return false;
    }
  }
  return true;
}

bool IsWithin(const char* option, unsigned value, unsigned least, unsigned most) {
  if (value >= least && value <= most) {
    return true;
  }
  SimOutput::PrintError("systolic_matmul: %s is %u, must be %u to %u\n", option, value, least,
                        most);
  return false;
}

bool IsPossible(const Layout& layout) {
  return IsWithin("-c", layout.clusters, 1, MAX_SIDE) &&
         IsWithin("-d", layout.domains, 1, MAX_SIDE) && IsWithin("-p", layout.pes, 1, MAX_SIDE) &&
         IsWithin("-c times -d times -p", layout.Side(), 1, MAX_SIDE);
}

bool IsPossible(const Schedule& schedule) {
  return IsWithin("rows", schedule.rows, 1, MAX_LENGTH) &&
         IsWithin("inner", schedule.inner, 1, MAX_LENGTH) &&
         IsWithin("columns", schedule.columns, 1, MAX_LENGTH) &&
         IsWithin("threads", schedule.threads, 1, MAX_THREADS) &&
         IsWithin("products", schedule.products, 1, MAX_PRODUCTS) &&
         IsWithin("gap", schedule.gap, 0, MAX_LENGTH);
}

// Whether a word sets an option that is a number.
bool SetsNumber(CommandLineParser& parser, const std::string& word) {
  std::vector<CommandLineParser::Option> options;
  parser.CollectAllOptions(options);
  for (CommandLineParser::Option& option : options) {
    if (option.type == CommandLineParser::UINT32 && parser.Matches(word, option)) {
      return true;
    }
  }
  return false;
}

// The library takes a number that begins with a zero for an octal one. Here numbers are decimal, so
// such zeros are taken away before it sees them; names of files keep theirs.
void MakeDecimal(CommandLine& commandLine, CommandLineParser& parser) {
  for (unsigned i = 0; i + 1 < commandLine.size() && commandLine[i] != "--"; i += 2) {
    std::string& value = commandLine[i + 1];
    const size_t digits = value.find_first_not_of('0');
    if (digits != 0 && digits != std::string::npos && isdigit(value[digits]) != 0 &&
        SetsNumber(parser, commandLine[i])) {
      value.erase(0, digits);
    }
  }
}

// The layout has to be known before the units, and with them the other options, exist: it is looked
// for among words that mean nothing yet.
Layout FindLayout(CommandLine& commandLine) {
  Layout layout;
  CommandLineParser parser;
  layout.AddOptions(parser);
  MakeDecimal(commandLine, parser);
  parser.ParseCommandLine(&commandLine, CommandLineParser::MODE_NOT_STRICT);
  return layout;
}

void WriteGraph(Array& array) {
  if (array.dotFile.empty()) {
    return;
  }
  File file(true);
  file.Open(array.dotFile, File::WRITE_FLAGS, File::DEFAULT_MODE);
  array.PrintAsDotGraph(file.GetFILE());
  file.Close();
}

// An interrupt ends the run between two cycles and nowhere else: then the trace ends with a whole
// record, and no unit is in the middle of anything when the report is written.
void Simulate(Array& array) {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  for (Cycle left = array.Cycles(); left > 0; --left) {
    sigprocmask(SIG_UNBLOCK, &interrupt, nullptr);
    sigprocmask(SIG_BLOCK, &interrupt, nullptr);
    array.Step();
  }
}

int Run(CommandLine& commandLine) {
  const Layout layout = FindLayout(commandLine);
  if (!HaveValues(commandLine) || !IsPossible(layout)) {
    return USAGE_ERROR;
  }
  Program program(layout);
  Array& array = program.array;
  MakeDecimal(commandLine, program.options);
  if (!program.options.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT) ||
      !IsPossible(array.host.schedule)) {
    SimOutput::PrintError("systolic_matmul: --help lists the options\n");
    return USAGE_ERROR;
  }
  WriteGraph(array);
  array.trace.InitializeForWrite();
  {
    const ReportOnCrash reportOnCrash(program);
    Simulate(array);
  }
  array.DoFinalize();
  array.DoStatsOutput();
  if (!program.printer.IsReportWritten()) {
    Regression::Fail("the report could not be written");
  }
  Regression::PrintSuccess();
  return Regression::success == Regression::SUCCESS ? 0 : 1;
}

}  // namespace
}  // namespace marrowfin::systolic

int main(int argc, char** argv) {
  using namespace marrowfin::systolic;
  CommandLine commandLine(argc, argv);
  if (Contains(commandLine, "--help")) {
    return PrintHelp();
  }
  if (Contains(commandLine, "--version")) {
    return PrintVersion();
  }
  Regression::Initialize();
  return Run(commandLine);
}
