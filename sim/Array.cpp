#include "sim/Array.h"

#include <algorithm>
#include <utility>

#include "Util/AppendFormat.h"
#include "Util/Assert.h"
#include "sim/RunLog.h"
#include "sim/Share.h"

namespace marrowfin::sim {

namespace {

constexpr uint32 MOST_POSITIONS = 1024;  // of the array along an axis
constexpr uint32 LONGEST_LATENCY = 4096;
constexpr uint32 MOST_QUEUED = 1 << 20;

struct Range {
  const char* name;
  uint32 value;
  uint32 least;
  uint32 most;
};

std::string FaultOf(const Range& range) {
  std::string text;
  if (range.value < range.least || range.value > range.most) {
    AppendFormat(text, "-array/%s must be from %u to %u, not %u", range.name, range.least,
                 range.most, range.value);
  }
  return text;
}

}  // namespace

Array::Array() : Component("array"), threadCount(1), program(nullptr) {
  theFullName = "array";
  AddOptions();
  AddStats();
  FixUpCommandLineOptions();
  FixUpStatNames();
}

Array::~Array() = default;

void Array::AddOptions() {
  AddOption(&shape.clusters, "-clusters", "clusters along each axis of the array", 4);
  AddOption(&shape.domains, "-domains", "domains along each axis of a cluster", 2);
  AddOption(&shape.pes, "-pes", "processing elements along each axis of a domain", 4);
  AddOption(&settings.operandBuffer, "-operandBuffer",
            "entries of a processing element's operand buffer: one holds the operands of a fire",
            64);
  AddOption(&settings.outputQueue, "-outputQueue", "results that may wait in a processing element",
            4);
  AddOption(&window, "-window", "iterations of a thread that may be alive at a time", 4);
  AddOption(&settings.fireLatency, "-fireLatency", "cycles from a fire to its result", 1);
  AddOption(&settings.peLink.latency, "-peLinkLatency",
            "cycles between a processing element and its domain", 1);
  AddOption(&settings.peLink.queue, "-peLinkQueue",
            "messages of a processing element that may wait in its domain", 4);
  AddOption(&settings.domainLink.latency, "-domainLinkLatency",
            "cycles between a domain and its cluster's switch", 1);
  AddOption(&settings.domainLink.queue, "-domainLinkQueue",
            "messages that may wait at each end of the links between a domain and its switch", 4);
  AddOption(&settings.switchLink.latency, "-switchLinkLatency",
            "cycles between neighbouring switches", 2);
  AddOption(&settings.switchLink.queue, "-switchLinkQueue",
            "messages from a neighbouring switch that may wait in a switch", 4);
  AddOption(&settings.memoryLatency, "-memoryLatency", "cycles of a memory access", 4);
  AddOption(&settings.memoryPorts, "-memoryPorts",
            "accesses that a cluster's memory starts in a cycle", 4);
  AddOption(&settings.memoryWords, "-memoryWords", "words of a cluster's memory", 1 << 20);
  AddOption(&settings.peStatistics, "-peStatistics",
            "whether every processing element reports its own statistics", false);
}

void Array::AddStats() {
  AddStat(&cycles, "cycles", "cycles simulated", 0);
  AddStat(&ticks, "ticks", "cycles in which some unit worked, added up over all units", 0);
  AddStat(&counts.fires, "fires", "operations fired", 0);
  AddStat(&firesPerCycle, "firesPerCycle", "operations fired in a cycle, on average", 0);
  AddStat(&utilisation, "utilisation", "fires, in percent of the possible ones", 0);
  AddStat(&counts.stallOperand, "stallOperand",
          "cycles in which operands of a processing element waited for others", 0);
  AddStat(&counts.stallOutput, "stallOutput",
          "cycles in which the output queue of a processing element was full", 0);
  AddStat(&counts.stallWindow, "stallWindow",
          "cycles in which a processing element waited for older iterations to end", 0);
  AddStat(&placementHops, "placementHops",
          "switch transmissions that one message on each arc of the program would take", 0);
  AddStat(&traffic.messages, "messages", "operands that travelled as messages", 0);
  AddStat(&traffic.latency, "messageLatency", "cycles from sending to arrival", Histogram());
  AddStat(&traffic.hops, "messageHops", "switch transmissions of a message", Histogram());
}

std::string Array::Fault() const {
  const Range ranges[] = {
      {"clusters", shape.clusters, 1, MOST_POSITIONS},
      {"domains", shape.domains, 1, MOST_POSITIONS},
      {"pes", shape.pes, 1, MOST_POSITIONS},
      {"operandBuffer", settings.operandBuffer, 1, MOST_ENTRIES},
      {"outputQueue", settings.outputQueue, 1, MOST_QUEUED},
      {"window", window, 2, MOST_ENTRIES},
      {"fireLatency", settings.fireLatency, 1, LONGEST_LATENCY},
      {"peLinkLatency", settings.peLink.latency, 1, LONGEST_LATENCY},
      {"peLinkQueue", settings.peLink.queue, 1, MOST_QUEUED},
      {"domainLinkLatency", settings.domainLink.latency, 1, LONGEST_LATENCY},
      {"domainLinkQueue", settings.domainLink.queue, 1, MOST_QUEUED},
      {"switchLinkLatency", settings.switchLink.latency, 1, LONGEST_LATENCY},
      {"switchLinkQueue", settings.switchLink.queue, 1, MOST_QUEUED},
      {"memoryLatency", settings.memoryLatency, 1, LONGEST_LATENCY},
      {"memoryPorts", settings.memoryPorts, 1, MOST_QUEUED},
      {"memoryWords", settings.memoryWords, 1, MOST_WORDS},
  };
  for (const Range& range : ranges) {
    std::string fault = FaultOf(range);
    if (!fault.empty()) {
      return fault;
    }
  }
  const unsigned long long side = 1ULL * shape.clusters * shape.domains * shape.pes;
  std::string text;
  if (side > MOST_POSITIONS) {
    AppendFormat(text,
                 "the array would have %llu processing elements along an axis; %u are possible",
                 side, MOST_POSITIONS);
  }
  return text;
}

void Array::Build(uint32 threads, TraceRecorder& trace, RunLog& log) {
  threadCount = threads;
  scheduler = std::make_unique<Scheduler>(
      std::max({settings.fireLatency, settings.peLink.latency, settings.domainLink.latency,
                settings.switchLink.latency, settings.memoryLatency}));
  loops = std::make_unique<LoopControl>(threads, window);
  context =
      std::make_unique<Context>(Context{shape, settings, *scheduler, *loops, trace, log, traffic});
  std::vector<Switch*> switches;
  for (uint32 number = 0; number < shape.ClusterCount(); ++number) {
    clusters.push_back(std::make_unique<Cluster>(*context, number));
    Adopt(this, clusters.back().get());
    clusters.back()->Build();
    switches.push_back(&clusters.back()->GetSwitch());
  }
  for (Switch* clusterSwitch : switches) {
    clusterSwitch->Join(switches);
  }
  std::vector<const Component*> pes;
  for (uint32 pe = 0; pe < shape.PeCount(); ++pe) {
    pes.push_back(&Pe(pe));
  }
  log.SetPes(pes);
}

ProcessingElement& Array::Pe(uint32 pe) {
  const uint32 domain = shape.DomainOf(pe);
  return ClusterOf(pe).Domain(domain % shape.DomainsPerCluster()).Pe(shape.PositionInDomain(pe));
}

unsigned long long Array::MemoryNeed(const Graph& graph, const std::vector<uint32>& placement,
                                     uint32 threads) const {
  std::vector<std::pair<uint32, uint32>> places;  // of segments in clusters
  for (uint32 i = 0; i < graph.Operations().size(); ++i) {
    if (graph.Operations()[i].UsesMemory()) {
      places.emplace_back(shape.ClusterOf(placement[i]), graph.Operations()[i].segment);
    }
  }
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  std::vector<unsigned long long> words(shape.ClusterCount());
  for (const auto& [cluster, segment] : places) {
    words[cluster] += 1ULL * graph.Segments()[segment].words * threads;
  }
  return *std::max_element(words.begin(), words.end());
}

std::string Array::MemoryFault(const Graph& graph, const std::vector<uint32>& placement,
                               uint32 threads) const {
  const unsigned long long most = MemoryNeed(graph, placement, threads);
  std::string text;
  if (most > settings.memoryWords) {
    AppendFormat(text, "the program needs %llu words of a cluster's memory, which has %u", most,
                 settings.memoryWords);
  }
  return text;
}

void Array::Load(const Graph& graph, const std::vector<uint32>& placement) {
  program = &graph;
  peOf = placement;
  slotOf.resize(placement.size());
  for (uint32 i = 0; i < placement.size(); ++i) {
    PlaceOperation(i, placement[i]);
  }
  for (uint32 i = 0; i < placement.size(); ++i) {
    ConnectOperation(i);
  }
}

void Array::PlaceOperation(uint32 index, uint32 pe) {
  const Operation& operation = program->Operations()[index];
  Resident resident = {&operation, index, operation.TokenMask(), operation.Carries(), 0, 0, 0, {}};
  if (operation.UsesMemory()) {
    resident.segmentWords = program->Segments()[operation.segment].words;
    resident.firstWord =
        ClusterOf(pe).GetMemory().Place(operation.segment, resident.segmentWords, threadCount);
  }
  slotOf[index] = Pe(pe).Place(resident, threadCount);
}

void Array::ConnectOperation(uint32 index) {
  const Operation& operation = program->Operations()[index];
  Resident& resident = Pe(peOf[index]).At(slotOf[index]);
  for (int side = 0; side < 2; ++side) {
    for (const Arc& arc : operation.outputs[side]) {
      placementHops += Hops(peOf[index], peOf[arc.operation]);
      resident.targets[side].push_back(
          {arc.operation, peOf[arc.operation], slotOf[arc.operation], arc.port, arc.carried});
    }
  }
}

void Array::WriteSegments(uint32 thread, const SegmentData& data) {
  for (const std::unique_ptr<Cluster>& cluster : clusters) {
    for (uint32 segment = 0; segment < data.size(); ++segment) {
      if (cluster->GetMemory().Holds(segment)) {
        const uint32 words = static_cast<uint32>(data[segment].size());
        std::copy(data[segment].begin(), data[segment].end(),
                  cluster->GetMemory().Words(segment, words, thread));
      }
    }
  }
}

void Array::Start() {
  loops->Restart();
  for (const std::unique_ptr<Cluster>& cluster : clusters) {
    cluster->GetSwitch().TellQueue();
    cluster->GetMemory().TellQueue();
  }
  for (uint32 thread = 0; thread < threadCount; ++thread) {
    for (const StartToken& token : program->StartTokens()) {
      Pe(peOf[token.operation]).Start(slotOf[token.operation], token.port, thread, token.value);
    }
  }
}

void Array::RunCycle() {
  scheduler->RunCycle();
  loops->EndCycle();
}

std::vector<double> Array::ReadSegment(uint32 segment, uint32 thread) {
  const uint32 words = program->Segments()[segment].words;
  for (const std::unique_ptr<Cluster>& cluster : clusters) {
    if (cluster->GetMemory().Holds(segment)) {
      const double* first = cluster->GetMemory().Words(segment, words, thread);
      return std::vector<double>(first, first + words);
    }
  }
  return std::vector<double>(words);
}

const ProcessingElement::Counts& Array::Counts() {
  Compute();
  return counts;
}

uint32 Array::Hops(uint32 fromPe, uint32 toPe) const {
  return shape.Hops(shape.DomainOf(fromPe), shape.DomainOf(toPe));
}

void Array::Compute() {
  if (!scheduler) {
    return;
  }
  counts = ProcessingElement::Counts();
  for (const std::unique_ptr<Cluster>& cluster : clusters) {
    cluster->AddTo(counts);
  }
  cycles = scheduler->Now();
  ticks = scheduler->Ticks();
  firesPerCycle = Share(counts.fires, cycles);
  utilisation = Percent(counts.fires, cycles * shape.PeCount());
}

}  // namespace marrowfin::sim
