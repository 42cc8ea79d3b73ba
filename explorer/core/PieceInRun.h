#ifndef EXPLORER_CORE_PIECEINRUN_H
#define EXPLORER_CORE_PIECEINRUN_H

#include <memory>

#include "explorer/core/Asking.h"
#include "explorer/core/KnownPieces.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What a piece does in the whole run: found, or as it was found before.
[[nodiscard]] Result<std::shared_ptr<const PieceInRun>> PieceInRunOf(const Asking& asking,
                                                                     const PieceOfArray& asked);

}  // namespace marrowfin

#endif
