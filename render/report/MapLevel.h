#ifndef RENDER_REPORT_MAPLEVEL_H
#define RENDER_REPORT_MAPLEVEL_H

#include "measure/Level.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The units of which maps in a page are: the finest that can be seen, and of which there are not
// too many for a page.
Level MapLevelOf(const ArrayShape& shape);

}  // namespace marrowfin

#endif
