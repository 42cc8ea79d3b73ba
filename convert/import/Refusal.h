#ifndef CONVERT_IMPORT_REFUSAL_H
#define CONVERT_IMPORT_REFUSAL_H

#include <cstdint>
#include <string>

#include "trace/base/Fault.h"

namespace marrowfin {

// The fault of an input that is not converted.
inline Fault Refusal(const std::string& file, const std::string& reason,
                     const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::REFUSED_INPUT;
  fault.file = file;
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

// The same because of what stands at a byte, counted from 0.
inline Fault RefusalAt(const std::string& file, uint64_t byte, const std::string& reason,
                       const std::string& remedy) {
  Fault fault = Refusal(file, "byte " + std::to_string(byte) + ": " + reason, remedy);
  fault.offset = byte;
  return fault;
}

}  // namespace marrowfin

#endif
