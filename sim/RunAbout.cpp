#include "sim/RunAbout.h"

#include <map>

namespace marrowfin::sim {

namespace {

constexpr double OPERAND_BYTES = sizeof(double);  // of a message, of which a link takes one a cycle

// What a processing element does, such as "2 add, 1 load".
std::string TextOf(const std::map<Opcode, uint32>& counts) {
  std::string text;
  for (const auto& [opcode, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(opcode);
  }
  return text;
}

void NamePlaces(const Graph& graph, const Placement& placement, const Shape& shape, About& about) {
  std::map<uint32, std::map<Opcode, uint32>> countsOf;  // by processing element
  for (uint32 i = 0; i < placement.size(); ++i) {
    ++countsOf[placement[i]][graph.Operations()[i].opcode];
  }
  for (const auto& [pe, counts] : countsOf) {
    about.places[{shape.Column(pe), shape.Row(pe)}] = TextOf(counts);
  }
}

}  // namespace

About AboutRun(const std::string& program, const Graph& graph, const Placement& placement,
               const Array& array, uint32 threads) {
  const Shape& shape = array.GetShape();
  About about;
  about.name = program;
  about.array = AboutArray{ArrayShape(shape.clusters, shape.domains, shape.pes)};
  about.links =
      AboutLinks{"xy", OPERAND_BYTES, static_cast<double>(array.GetSettings().switchLink.latency)};
  // Every way out of a switch takes a message a cycle, and units take no time of their own.
  about.switches = AboutSwitches{shape.DomainsPerCluster(), {}, 0};
  for (uint32 thread = 0; thread < threads; ++thread) {
    about.threads[thread] = {program + " " + std::to_string(thread), "thread"};
  }
  NamePlaces(graph, placement, shape, about);
  return about;
}

}  // namespace marrowfin::sim
