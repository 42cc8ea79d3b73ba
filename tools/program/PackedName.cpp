#include "tools/program/PackedName.h"

namespace marrowfin {

namespace {

bool HasEnding(const std::string& name, const std::string& ending) {
  return name.size() > ending.size() &&
         name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

bool IsPackedName(const std::string& name) { return HasEnding(name, PACKED_ENDING); }

std::string PackedName(const std::string& trace) {
  for (const std::string ending : {".trace", ".trace.gz", ".trace.zst"}) {
    if (HasEnding(trace, ending)) {
      return trace.substr(0, trace.size() - ending.size()) + PACKED_ENDING;
    }
  }
  return trace + PACKED_ENDING;
}

std::string UnpackedName(const std::string& packed) {
  for (const std::string ending : {PACKED_ENDING, ".trace.gz", ".trace.zst"}) {
    if (HasEnding(packed, ending)) {
      return packed.substr(0, packed.size() - ending.size()) + ".trace";
    }
  }
  return packed + ".trace";
}

}  // namespace marrowfin
