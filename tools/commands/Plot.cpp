#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char plotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot heat run.trace -o heat.png\n"
    "  marrowfin-trace plot timeline run.trace --cycles 5000:9999 --theme dark -o when.pdf\n"
    "  marrowfin-trace plot heat --help\n"
    "\n"
    "The name of the output tells the format: .png, .svg or .pdf. The same options give the same\n"
    "bytes. --csv and --json write the numbers behind a picture.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the picture cannot be written or nowhere is room for the index.";

}  // namespace

extern const Subcommand plotSubcommand = {"plot", "Draw what a run does, as PNG, SVG or PDF",
                                          plotFooter, nullptr, PlotKinds};

}  // namespace marrowfin
