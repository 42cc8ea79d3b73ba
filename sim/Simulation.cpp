#include "sim/Simulation.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "Core/Message.h"
#include "Util/AppendFormat.h"
#include "Util/Regression.h"
#include "Util/SimOutput.h"
#include "sim/OptionTable.h"
#include "sim/Remedy.h"
#include "sim/RunAbout.h"
#include "sim/StandardOutput.h"

namespace marrowfin::sim {

namespace {

constexpr uint32 MOST_THREADS = 4096;

// The least operations of the largest program that is built only to find out what it would need.
constexpr unsigned long long MOST_TRIED = 1 << 16;

// Whether there is a plain file of that name, or nothing yet.
bool IsFile(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

// The options that name files, and what stands beside one of them.
const char* const NOTES = "the notes of -outFilename";
const char* const ABOUT = "the about file of -outFilename";
const char* const TRACE_OPTION = "-outFilename";
const char* const COMPANION_OPTION = "-companion";
const char* const LOG_OPTION = "-logFilename";
const char* const GRAPH_OPTION = "-dotFilename";
const char* const STATISTICS_OPTION = "-statistics/outputFileName";

}  // namespace

Simulation::Simulation() : Component("marrowfin-sim"), data(0), round(0) {
  AddOption(&programName, "-program", ("what runs: " + ProgramNames()).c_str(), "stencil");
  AddOption(&size.size, "-size", "size of the program", 18);
  AddOption(&size.sweeps, "-sweeps", "sweeps of the stencil", 16);
  AddOption(&size.nonzeros, "-nonzeros", "nonzeros of a row of the sparse matrix, on average", 8);
  AddOption(&threads, "-threads", "threads that run the program at once, on data of their own", 4);
  AddOption(&rounds, "-rounds", "how often the program runs, each time on new data", 1);
  AddOption(&placementName, "-placement",
            ("where operations go: " + PlacementPolicyNames()).c_str(), "greedy");
  AddOption(&operationsPerPe, "-operationsPerPe",
            "operations that a processing element is given; 0 spreads them evenly", 0);
  AddOption(&size.seed, "-seed", "what data, sparse matrices and random places are drawn from", 1);
  AddOption(&mostCycles, "-mostCycles", "cycles after which the run fails; 0 for any number", 0);
  AddOption(&traceFilename, TRACE_OPTION, "file for the trace; empty for none", "");
  AddOption(&companion, COMPANION_OPTION,
            "whether notes and what the run was are written beside the trace", true);
  AddOption(&logFilename, LOG_OPTION, "file for the log of links and arrivals; empty for none", "");
  AddOption(&dotFilename, GRAPH_OPTION,
            "file for the graph of the array in the DOT language; empty for none", "");
  AddChild(&array);
  AddParser(&printer);
  printer.AddPrefix("statistics/");
  // A report that cannot be written is told of, and ends nothing.
  printer.outputFile = File(false);
  array.AddStatContainer(&Message::stats);
}

std::string Simulation::FaultOfOptions() const {
  if (FindProgram(programName) == nullptr) {
    return "there is no program `" + programName + "'; there are " + ProgramNames();
  }
  if (FindPlacementPolicy(placementName) == nullptr) {
    return "there is no placement `" + placementName + "'; there are " + PlacementPolicyNames();
  }
  if (size.size == 0 || size.sweeps == 0 || threads == 0 || rounds == 0) {
    return "-size, -sweeps, -threads and -rounds must be at least 1";
  }
  if (threads > MOST_THREADS) {
    return "-threads must be at most " + std::to_string(MOST_THREADS);
  }
  std::string fault = array.Fault();
  if (fault.empty() && operationsPerPe > array.PeCapacity(threads)) {
    AppendFormat(
        fault, "-operationsPerPe must be at most %u for this buffer, window and number of threads",
        array.PeCapacity(threads));
    const unsigned long long entries = operationsPerPe * array.EntriesOfOperation(threads);
    if (entries <= Array::MOST_ENTRIES) {
      AppendFormat(fault, ": -array/operandBuffer %llu would do", entries);
    }
  }
  return fault;
}

std::string Simulation::Prepare(const std::vector<std::string>& optionFiles) {
  for (const auto step : {&Simulation::MakeProgram, &Simulation::PlaceProgram}) {
    std::string fault = (this->*step)();
    if (!fault.empty()) {
      return fault;
    }
  }
  const std::string fault = FaultOfFiles(optionFiles);
  if (!fault.empty()) {
    return fault;
  }
  array.Build(threads, trace, log);
  array.Load(program->GetGraph(), placement);
  data = Random(size.seed);
  StatsContainer::output = &printer;
  return OpenFiles();
}

std::string Simulation::MakeProgram() {
  std::string fault = FaultOfOptions();
  if (!fault.empty()) {
    return fault;
  }
  const ProgramInfo& info = *FindProgram(programName);
  const unsigned long long capacity = 1ULL * array.PeCapacity(threads) * array.GetShape().PeCount();
  const unsigned long long least = info.leastOperations(size.size);
  std::string text;
  // A program that may not fit into this machine either is not even built to find out what it
  // needs.
  if ((least > capacity && least > MOST_TRIED) || size.nonzeros > std::max(capacity, MOST_TRIED)) {
    AppendFormat(text, "%s of size %u is too large for the array, which holds %llu operations",
                 info.name, size.size, capacity);
    return text;
  }
  program = info.make(size);
  return program->GetGraph().Fault();
}

Placement Simulation::PlaceWithin(uint32 capacity) const {
  return PlaceOperations(*FindPlacementPolicy(placementName), program->GetGraph(), array.GetShape(),
                         operationsPerPe, capacity, size.seed);
}

std::string Simulation::PlaceProgram() {
  const Graph& graph = program->GetGraph();
  const uint32 capacity = array.PeCapacity(threads);
  placement = PlaceWithin(capacity);
  std::string text;
  if (placement.empty()) {
    AppendFormat(text,
                 "the program has %zu operations; each of the %u processing elements holds %u of "
                 "them for this number of threads",
                 graph.Operations().size(), array.GetShape().PeCount(), capacity);
  } else {
    text = array.MemoryFault(graph, placement, threads);
  }
  if (text.empty()) {
    return "";
  }
  const auto place = [this](uint32 within) { return PlaceWithin(within); };
  return text + ": " + RemedyFor(array, graph, threads, operationsPerPe, place);
}

std::string Simulation::FaultOfFiles(const std::vector<std::string>& optionFiles) {
  files.Add(GRAPH_OPTION, dotFilename);
  files.Add(LOG_OPTION, logFilename);
  // A pipe opens when its reader comes, who may well read the statistics last.
  files.Add(STATISTICS_OPTION, printer.outputFileName, false);
  files.Add(TRACE_OPTION, traceFilename);
  if (HasCompanion()) {
    files.Add(NOTES, traceFilename + ".notes");
    // Whatever has the name is replaced when there is something to say.
    files.Add(ABOUT, traceFilename + ".about", false);
  }
  for (const std::string& name : optionFiles) {
    files.Protect(name, "the options were read from it");
  }
  files.Protect(STDOUT_FILENO, "it is the standard output, where the verdict goes");
  files.Protect(STDERR_FILENO, "it is the standard error");
  std::string fault = files.Fault();
  for (const char* suffix : {".notes", ".about"}) {
    const bool isBeside = HasCompanion() && fault.starts_with(traceFilename + suffix + ":");
    fault += isBeside ? "; -companion false records without it" : "";
  }
  return fault;
}

std::string Simulation::OpenFiles() {
  std::string fault = files.Open();
  if (!fault.empty()) {
    return fault;
  }
  if (!logFilename.empty()) {
    log.Attach(files.Take(LOG_OPTION), logFilename);
  }
  if (!traceFilename.empty()) {
    OpenTrace();
    SimOutput::Print("Opened tracefile  %s\n", traceFilename.c_str());
  }
  return "";
}

// Beside what is no file nothing lies.
bool Simulation::HasCompanion() const {
  return companion && !traceFilename.empty() && IsFile(traceFilename);
}

// A companion that is there already is that of the trace that was emptied.
void Simulation::OpenTrace() {
  const int descriptor = files.Take(TRACE_OPTION);
  const int notes = files.Take(NOTES);
  if (notes != -1) {
    unlink((traceFilename + ".about").c_str());
    trace.Attach(descriptor, traceFilename, notes, AboutThisRun());
  } else {
    if (IsFile(traceFilename)) {
      RemoveCompanion(traceFilename);
    }
    trace.Attach(descriptor, traceFilename);
  }
}

About Simulation::AboutThisRun() const {
  About about = AboutRun(programName, program->GetGraph(), placement, array, threads);
  about.tool = tool;
  about.command = command;
  return about;
}

void Simulation::SetCommand(const std::string& toolName, const std::string& words) {
  tool = toolName;
  command = words;
}

void Simulation::WriteGraph() {
  if (dotFilename.empty()) {
    return;
  }
  File file(false);
  bool isWritten = file.SetFile(files.Take(GRAPH_OPTION), "w") == File::SUCCESS;
  if (isWritten) {
    array.PrintAsDotGraph(file.GetFILE());
    isWritten = fflush(file.GetFILE()) == 0 && ferror(file.GetFILE()) == 0;
    isWritten = file.Close() == File::SUCCESS && isWritten;
  }
  if (!isWritten) {
    Fail(dotFilename + ": " + strerror(errno));
  }
}

void Simulation::Run(const Interrupts& interrupts) {
  SimOutput::Print("Settings:\n%s", OptionTable(*this).Text().c_str());
  fflush(SimOutput::out.GetFILE());
  WriteGraph();
  for (round = 0; round < rounds && GoesOn(); ++round) {
    StartRound();
    RunRound(interrupts);
    if (GoesOn()) {
      CheckRound();
    }
  }
  CloseFiles();
  progress.Clear();
}

bool Simulation::GoesOn() {
  return Regression::success == Regression::SUCCESS && !trace.HasFailed() && !log.HasFailed();
}

void Simulation::StartRound() {
  expected.resize(threads);
  for (uint32 thread = 0; thread < threads; ++thread) {
    expected[thread] = program->MakeData(data);
    array.WriteSegments(thread, expected[thread]);
    program->ComputePlainly(expected[thread]);
  }
  array.Start();
}

void Simulation::RunRound(const Interrupts& interrupts) {
  while (array.IsRunning() && GoesOn()) {
    if (mostCycles != 0 && array.Cycles() >= mostCycles) {
      Regression::Fail("the program did not end within %llu cycles", mostCycles);
      return;
    }
    array.RunCycle();
    if (const char* signal = interrupts.Noted()) {
      Regression::Fail("%s", signal);
    }
    if (progress.IsDue()) {
      progress.Show({array.Cycles(), trace.Events(), ShareDone()});
    }
  }
}

double Simulation::ShareDone() {
  const unsigned long long fires = program->GetGraph().KnownFires() * threads * rounds;
  return fires == 0 ? -1 : static_cast<double>(array.Counts().fires) / static_cast<double>(fires);
}

void Simulation::CheckRound() {
  if (array.LiveTokens() != 0) {
    Regression::Fail("the program stopped with %llu operands left over", array.LiveTokens());
  }
  for (uint32 thread = 0; thread < threads; ++thread) {
    CheckSegments(thread, expected[thread]);
  }
}

void Simulation::CheckSegments(uint32 thread, const SegmentData& plain) {
  const std::vector<Segment>& segments = program->GetGraph().Segments();
  for (uint32 segment = 0; segment < segments.size(); ++segment) {
    if (!segments[segment].written) {
      continue;
    }
    const std::vector<double> words = array.ReadSegment(segment, thread);
    for (size_t i = 0; i < words.size(); ++i) {
      // Written so that a result which is not a number fails.
      if (!(std::abs(words[i] - plain[segment][i]) <= program->Tolerance())) {
        Regression::Fail("round %u, thread %u: word %zu of result %u is %g, not %g", round, thread,
                         i, segment, words[i], plain[segment][i]);
        return;
      }
    }
  }
}

void Simulation::CloseFiles() {
  if (!trace.Close()) {
    Fail(trace.Error());
  }
  if (!log.Close()) {
    Fail(log.Error());
  }
}

void Simulation::Fail(const std::string& fault) {
  SimOutput::PrintError("marrowfin-sim: %s\n", fault.c_str());
  Regression::Fail("%s", fault.c_str());
}

void Simulation::ReportStatistics() {
  progress.Clear();
  array.DoStatsOutput();
  if (printer.IsReportWritten()) {
    return;
  }
  if (printer.outputFileName.empty() && IsReaderGone()) {
    Regression::Fail("nobody read the report");
  } else {
    Fail((printer.outputFileName.empty() ? "the standard output" : printer.outputFileName) +
         ": the report could not be written");
  }
}

void Simulation::ReportCrash() {
  CloseFiles();
  ReportStatistics();
}

}  // namespace marrowfin::sim
