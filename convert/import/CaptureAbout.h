#ifndef CONVERT_IMPORT_CAPTUREABOUT_H
#define CONVERT_IMPORT_CAPTUREABOUT_H

#include <cstddef>

#include "convert/import/ArrayLayout.h"
#include "convert/import/Capture.h"
#include "convert/import/Conversion.h"
#include "trace/base/About.h"

namespace marrowfin {

// A capture with more tiles than this names none of them.
constexpr size_t mostNamedTiles = 65536;

// What a capture tells of its run: the array, the threads, and where there are several devices the
// names of the tiles. Clock, date and links are in no capture.
About AboutCapture(const Capture& capture, const ArrayLayout& layout, const Account& account);

}  // namespace marrowfin

#endif
