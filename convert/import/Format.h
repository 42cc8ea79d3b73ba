#ifndef CONVERT_IMPORT_FORMAT_H
#define CONVERT_IMPORT_FORMAT_H

#include <span>

#include "convert/import/Capture.h"
#include "convert/import/CharSource.h"
#include "trace/base/Result.h"

namespace marrowfin {

struct ReadingOptions {
  bool strict = false;  // odd events are faults
};

// A format that can be imported. A new one is a source of its own in this folder and a line in the
// table in Formats.cpp.
struct ImportFormat {
  const char* name;     // as users write it
  const char* summary;  // a phrase
  Result<Capture> (*read)(CharSource& source, const ReadingOptions& options);
};

std::span<const ImportFormat> ImportFormats();

}  // namespace marrowfin

#endif
