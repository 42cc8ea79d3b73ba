// The subcommand of a program that was built without what draws.

#include <CLI/CLI.hpp>

#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char renderWithoutPiecesFooter[] =
    "This marrowfin-trace was built without the viewer's pieces and draws nothing.";

Action ConfigureRenderWithoutPieces(CLI::App& app) {
  app.allow_extras();
  return [](const Console& /*console*/) -> MaybeFailure {
    return Failure{EXIT_SYSTEM, "render: this program was built without the viewer's pieces",
                   "Build it with the CMake option MARROWFIN_BUILD_VIEWER."};
  };
}

}  // namespace

extern const Subcommand renderSubcommand = {"render", "Draw a moment of a trace (not built)",
                                            renderWithoutPiecesFooter,
                                            ConfigureRenderWithoutPieces};

}  // namespace marrowfin
