#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "render/plot/LatencyOfRun.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char latencyPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot latency noted.trace -o latency.png\n"
    "  marrowfin-trace plot latency noted.trace --since creation --size slide -o slide.png\n"
    "  marrowfin-trace plot latency noted.trace --packets thread --cycles 0:9999 -o latency.pdf\n"
    "  marrowfin-trace plot latency noted.trace --csv latency.csv\n"
    "\n"
    "Percentiles of the latencies of packets by the cycle at which they began, on a\n"
    "logarithmic axis; a dashed line where the network saturates. Packets are told where the "
    "trace\n"
    "has a companion that names them, or with --packets thread.";

struct LatencyFlags {
  RunPlotFlags shared;
  std::string since = "injection";
};

Result<Plot> MakeLatency(const LatencyFlags& flags, const RunToPlot& of) {
  const PacketCounts* const packets = of.run.packets;
  if (packets == nullptr) {
    return NothingTellsPackets(flags.shared.run);
  }
  if (flags.since == "injection") {
    return PlotLatency(of.run, LatencySince::INJECTION);
  }
  if (packets->Delivered() > 0 && packets->TotalLatencies().IsEmpty()) {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = flags.shared.run.trace;
    fault.reason = "nothing tells when its packets were created";
    fault.remedy = "leave --since out, or record it with a companion that does";
    return fault;
  }
  return PlotLatency(of.run, LatencySince::CREATION);
}

Action ConfigureLatencyPlot(CLI::App& app) {
  const auto flags = std::make_shared<LatencyFlags>();
  flags->shared.Declare(app, "column");
  flags->shared.run.DeclareNotes(app);
  flags->shared.run.DeclarePackets(app);
  app.add_option("--since", flags->since,
                 "Where the time of a packet begins: injection, or creation (with the queue of its "
                 "source)")
      ->check(CLI::IsMember({"injection", "creation"}))
      ->capture_default_str();
  return [flags](const Console& console) {
    return PlotRun("latency", flags->shared, {.packets = true, .sumsSuffice = true}, console,
                   [&](RunToPlot& of) { return MakeLatency(*flags, of); });
  };
}

}  // namespace

extern const Subcommand latencyKind = {"latency",
                                       "When a network saturates: latencies of packets over time",
                                       latencyPlotFooter, ConfigureLatencyPlot};

}  // namespace marrowfin
