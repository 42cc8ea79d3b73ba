#ifndef TRACE_READ_OUTSIDEARRAY_H
#define TRACE_READ_OUTSIDEARRAY_H

#include <cstdint>
#include <string>

#include "trace/base/ArrayShape.h"

namespace marrowfin {

// "column 1, row 2".
std::string PlaceText(Place place);

// Why an array has no piece for a record of `type` at `place`, a fire or a transmission; a switch
// that a larger array would have is named by its cluster too.
std::string OutsideArrayText(const ArrayShape& shape, uint32_t type, Place place);

}  // namespace marrowfin

#endif
