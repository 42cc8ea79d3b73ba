#ifndef TOOLS_PROGRAM_PACKEDNAME_H
#define TOOLS_PROGRAM_PACKEDNAME_H

#include <string>

namespace marrowfin {

// The ending of the names of packed traces.
constexpr char PACKED_ENDING[] = ".mfz";

// Whether a trace of that name is to be packed.
bool IsPackedName(const std::string& name);

// The name of a trace when it is packed, and of a packed one when it is not: the ending is put on
// or taken off, and of what has none ".trace" is put on.
std::string PackedName(const std::string& trace);
std::string UnpackedName(const std::string& packed);

}  // namespace marrowfin

#endif
