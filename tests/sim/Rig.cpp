#include "tests/sim/Rig.h"

#include <fcntl.h>

#include <cmath>
#include <memory>
#include <stdexcept>

#include "sim/Array.h"
#include "sim/RunLog.h"
#include "sim/TraceRecorder.h"
#include "tests/support/Files.h"

namespace marrowfin::sim::testing {

namespace {

bool IsSame(double a, double b, double tolerance) {
  return (std::isnan(a) && std::isnan(b)) || a == b || std::abs(a - b) <= tolerance;
}

void Parse(Array& array, const std::vector<std::string>& words) {
  std::vector<char*> arguments = {const_cast<char*>("rig")};
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  CommandLine commandLine(static_cast<int>(arguments.size()), arguments.data());
  if (!array.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT)) {
    throw std::invalid_argument("no such option");
  }
}

int Create(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (descriptor == -1) {
    throw std::runtime_error("can't record");
  }
  return descriptor;
}

// Everything of a run that must stay where it is.
class Rig {
 public:
  Rig(const Program& program, const RigOptions& options) : program(program), options(options) {}

  RigResult Run() {
    Parse(array, options.words);
    result.shape = array.GetShape();
    result.settings = array.GetSettings();
    result.fault = Prepare();
    if (result.fault.empty()) {
      Start();
      while (array.IsRunning()) {
        array.RunCycle();
      }
      Finish();
    }
    return result;
  }

 private:
  std::string Prepare() {
    const Graph& graph = program.GetGraph();
    if (!array.Fault().empty() || !graph.Fault().empty()) {
      return array.Fault() + graph.Fault();
    }
    result.placement =
        PlaceOperations(*FindPlacementPolicy(options.placement), graph, result.shape,
                        options.operationsPerPe, array.PeCapacity(options.threads), options.seed);
    if (result.placement.empty()) {
      return "too large";
    }
    return array.MemoryFault(graph, result.placement, options.threads);
  }

  void Start() {
    array.Build(options.threads, recorder, log);
    array.Load(program.GetGraph(), result.placement);
    if (options.withTrace) {
      recorder.Attach(Create(directory.File("trace")), "trace");
    }
    if (options.withLog) {
      log.Attach(Create(directory.File("log")), "log");
    }
    Random random(options.seed);
    for (uint32 thread = 0; thread < options.threads; ++thread) {
      result.data.push_back(program.MakeData(random));
      array.WriteSegments(thread, result.data.back());
    }
    array.Start();
  }

  void Finish() {
    for (uint32 thread = 0; thread < options.threads; ++thread) {
      SegmentData words = result.data[thread];
      for (uint32 segment = 0; segment < words.size(); ++segment) {
        if (program.GetGraph().Segments()[segment].written) {
          words[segment] = array.ReadSegment(segment, thread);
        }
      }
      result.results.push_back(words);
    }
    result.cycles = array.Cycles();
    result.placementHops = array.PlacementHops();
    result.fires = array.Counts().fires;
    result.stalls = array.Counts();
    result.ticks = array.Ticks();
    result.tokensLeft = array.LiveTokens();
    if (!recorder.Close() || !log.Close()) {
      throw std::runtime_error("can't record");
    }
    result.trace = options.withTrace ? ReadFile(directory.File("trace")) : "";
    result.log = options.withLog ? ReadFile(directory.File("log")) : "";
  }

  const Program& program;
  const RigOptions& options;
  TempDir directory;
  TraceRecorder recorder;
  RunLog log;
  Array array;
  RigResult result;
};

}  // namespace

RigResult RunOnArray(const Program& program, const RigOptions& options) {
  return std::make_unique<Rig>(program, options)->Run();
}

std::vector<std::string> ArrayWords(uint32 clusters, uint32 domains, uint32 pes) {
  return {"-array/clusters", std::to_string(clusters), "-array/domains", std::to_string(domains),
          "-array/pes",      std::to_string(pes)};
}

size_t WrongWords(const Program& program, const RigResult& result) {
  size_t wrong = 0;
  for (size_t thread = 0; thread < result.data.size(); ++thread) {
    SegmentData plain = result.data[thread];
    program.ComputePlainly(plain);
    for (size_t segment = 0; segment < plain.size(); ++segment) {
      for (size_t word = 0; word < plain[segment].size(); ++word) {
        wrong += !IsSame(plain[segment][word], result.results[thread][segment][word],
                         program.Tolerance());
      }
    }
  }
  return wrong;
}

CommandResult RunSimulator(const std::vector<std::string>& words) {
  std::vector<std::string> command = {MARROWFIN_SIM};
  command.insert(command.end(), words.begin(), words.end());
  return RunCommand(command);
}

std::string StatisticIn(const std::string& report, const std::string& name) {
  const std::string start = "\n" + name + " = ";
  const size_t found = report.find(start);
  if (found == std::string::npos) {
    throw std::out_of_range("no statistic " + name);
  }
  const size_t value = report.find_first_not_of(' ', found + start.size());
  return report.substr(value, report.find('\n', value) - value);
}

}  // namespace marrowfin::sim::testing
