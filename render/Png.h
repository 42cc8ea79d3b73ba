#ifndef RENDER_PNG_H
#define RENDER_PNG_H

#include "render/Picture.h"
#include "trace/base/Fault.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Writes a picture as PNG, with the same bytes for the same pixels: no time is in it, nor anything
// else that tells of the run.
//
// The picture must have pixels, as many as its size says. Faults are those of the sink.
[[nodiscard]] Fault WritePng(const Picture& picture, ByteSink& sink);

}  // namespace marrowfin

#endif
