#ifndef TOOLS_COMMANDS_RENDEROUTPUT_H
#define TOOLS_COMMANDS_RENDEROUTPUT_H

#include <string>

#include "render/MomentRenderer.h"
#include "tools/commands/RenderFlags.h"
#include "tools/program/Failure.h"
#include "tools/program/Frames.h"
#include "tools/program/Subcommand.h"

namespace marrowfin {

// What `render` writes.

// Says on console.err what is drawn, for whoever asked for that.
void Account(const RenderFlags& flags, const MomentRenderer& renderer, const std::string& what,
             const ArrayShape& shape, const Console& console);

std::string MomentText(const ArrayState& state);

MaybeFailure WritePicture(const Picture& picture, const std::string& path);

// Draw all moments, with a line of progress; a signal ends the work in order.
MaybeFailure WriteFilm(const RenderFlags& flags, Frames& frames, MomentRenderer& renderer,
                       const Console& console);
MaybeFailure WriteSheet(const RenderFlags& flags, Frames& frames, MomentRenderer& renderer,
                        const Console& console);

}  // namespace marrowfin

#endif
