// Simulates a mesh network on chip with virtual channels, and records what happens for the viewer.
// README.md beside this file explains what to look at.
//
// Exit status: 0 done, 1 where the recording failed, 2 for a mistake on the command line.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "Mesh.h"

namespace marrowfin::mesh {

// Zeros at the front make no number octal.
static std::string Decimal(const std::string& text) {
  return text.substr(std::min(text.find_first_not_of('0'), text.size() - (text.empty() ? 0 : 1)));
}

static void Declare(CLI::App& app, Options& o) {
  app.option_defaults()->always_capture_default();
  app.set_version_flag("--version", "mesh_noc " MARROWFIN_VERSION);
  app.add_option("--size", o.size, "Nodes along each side")->check(CLI::Range(2, 256));
  app.add_option("--channels", o.channels, "Virtual channels of a link")->check(CLI::Range(1, 16));
  app.add_option("--depth", o.depth, "Flits that a channel holds")->check(CLI::Range(1, 64));
  app.add_option("--flits", o.flits, "Flits of a packet")->check(CLI::Range(1, 64));
  app.add_option("--routing", o.routing, "How packets find their way")
      ->check(CLI::IsMember({"xy", "adaptive"}));
  app.add_option("--traffic", o.traffic, "Where packets go")
      ->check(CLI::IsMember({"uniform", "transpose", "hotspot", "neighbour"}));
  app.add_option("--slow-link", o.slowLink, "Cycles of one link a flit")->check(CLI::Range(1, 99));
  app.add_option("--rate", o.rate, "Packets of a node a cycle")->check(CLI::Range(0.0, 1.0));
  app.add_option("--cycles", o.cycles, "Cycles in which packets are made; then the mesh runs empty")
      ->check(CLI::Range(1, 1'000'000'000));
  app.add_option("--seed", o.seed, "Another one makes other packets");
  app.add_option("--notes", o.notes, "What it tells of events: packets are packet, kind, created")
      ->check(CLI::IsMember({"all", "packets", "none"}));
  app.add_option("--keep-last", o.keepLast, "Only so many cycles")->check(CLI::Range(0, 1'000'000));
  for (CLI::Option* option : app.get_options()) {
    option->transform(Decimal);
  }
  app.add_option("--trace", o.trace, "Record a trace, with a companion beside it");
  app.footer("Example: mesh_noc --traffic hotspot --rate 0.02 --trace hot.trace");
}

// A name and a number a line.
static void Print(const Options& options, const Results& r) {
  const double packets = static_cast<double>(std::max<uint64_t>(r.packets, 1));
  const double nodeCycles = 1.0 * options.size * options.size * static_cast<double>(r.cycles);
  std::cout << "packets " << r.packets << "\nflits " << r.flits << "\nhops " << r.hops
            << "\ncycles " << r.cycles << "\nlatencySum " << r.latencySum << "\nlatencyMax "
            << r.latencyMax << "\nhopsMean " << static_cast<double>(r.hops) / packets
            << "\nlatencyMean " << static_cast<double>(r.latencySum) / packets
            << "\nflitsPerNodeAndCycle " << static_cast<double>(r.flits) / nodeCycles << "\n";
}

static int Main(int argc, char** argv) {
  Options options;
  CLI::App app("Simulates a mesh of routers with virtual channels, cycle by cycle.", "mesh_noc");
  Declare(app, options);
  try {
    app.parse(argc, argv);
    if (options.routing == "adaptive" && options.channels < 2) {
      throw CLI::ValidationError("--channels", "adaptive routing needs at least two");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  std::string command = "mesh_noc";
  for (int i = 1; i < argc; ++i) {
    command += std::string(" ") + argv[i];
  }
  Recorder recorder(options, command);
  Print(options, Mesh(options, recorder).Run());
  recorder.Close();
  return 0;
}

}  // namespace marrowfin::mesh

int main(int argc, char** argv) try {
  return marrowfin::mesh::Main(argc, argv);
} catch (const std::exception& error) {
  std::cerr << "mesh_noc: " << error.what() << "\n";
  return 1;
}
