#include "sim/Cluster.h"

#include "sim/Share.h"

namespace marrowfin::sim {

namespace {

std::string NameOfCluster(const Shape& shape, uint32 number) {
  return "c" + std::to_string(number % shape.clusters) + "_" +
         std::to_string(number / shape.clusters);
}

}  // namespace

Cluster::Cluster(const Context& context, uint32 number)
    : Component(NameOfCluster(context.shape, number).c_str()),
      context(context),
      number(number),
      clusterSwitch(context, number),
      memory(context, number) {
  AddStat(&counts.fires, "fires", "operations fired", 0);
  AddStat(&utilisation, "utilisation", "fires, in percent of the possible ones", 0);
  AddStat(&counts.stallOperand, "stallOperand", "cycles in which operands waited for others", 0);
  AddStat(&counts.stallOutput, "stallOutput", "cycles in which the output queue was full", 0);
  AddStat(&counts.stallWindow, "stallWindow", "cycles spent waiting for older iterations", 0);
}

void Cluster::Build() {
  Adopt(this, &clusterSwitch);
  Adopt(this, &memory);
  const uint32 count = context.shape.DomainsPerCluster();
  for (uint32 local = 0; local < count; ++local) {
    domains.push_back(std::make_unique<PeDomain>(context, number * count + local));
    Adopt(this, domains.back().get());
    domains.back()->Build(&memory);
    domains.back()->Join(&clusterSwitch);
  }
}

void Cluster::Compute() {
  counts = ProcessingElement::Counts();
  AddTo(counts);
  const uint32 pes = context.shape.DomainsPerCluster() * context.shape.PesPerDomain();
  utilisation = Percent(counts.fires, pes * context.scheduler.Now());
}

void Cluster::AddTo(ProcessingElement::Counts& sum) {
  for (const std::unique_ptr<PeDomain>& domain : domains) {
    for (uint32 position = 0; position < domain->PeCount(); ++position) {
      ProcessingElement& pe = domain->Pe(position);
      pe.Settle();
      sum.fires += pe.GetCounts().fires;
      sum.stallOperand += pe.GetCounts().stallOperand;
      sum.stallOutput += pe.GetCounts().stallOutput;
      sum.stallWindow += pe.GetCounts().stallWindow;
    }
  }
}

}  // namespace marrowfin::sim
