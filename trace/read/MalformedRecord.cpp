#include "trace/read/MalformedRecord.h"

#include <string>

#include "trace/base/BigEndian.h"
#include "trace/base/Record.h"

namespace marrowfin {

Fault MalformedRecord(const uint8_t* data, const uint8_t* end) {
  const size_t left = static_cast<size_t>(end - data);
  Fault fault;
  fault.kind = Fault::CUT_RECORD;
  if (left < PAYLOAD_OFFSET) {
    fault.reason = "the trace ends after " + std::to_string(left) + " of the 20 bytes of a header";
    fault.remedy = "run the simulator to its end, or use the records before it";
    return fault;
  }
  const uint32_t type = Load32(data + TYPE_OFFSET);
  const uint32_t length = Load32(data + LENGTH_OFFSET);
  if (!IsRecordType(type)) {
    fault.kind = Fault::UNKNOWN_TYPE;
    fault.reason = "type " + std::to_string(type) + " is none of 2, 3 and 4";
    fault.remedy = "check that this is a trace, written whole and without text in between";
  } else if (length != PayloadSize(type)) {
    fault.kind = Fault::WRONG_LENGTH;
    fault.reason = "a payload of " + std::to_string(length) + " bytes, where type " +
                   std::to_string(type) + " has " + std::to_string(PayloadSize(type));
    fault.remedy = "check that this is a trace, written whole and without text in between";
  } else {
    fault.reason = "the trace ends after " + std::to_string(left - PAYLOAD_OFFSET) + " of the " +
                   std::to_string(length) + " bytes of a payload";
    fault.remedy = "run the simulator to its end, or use the records before it";
  }
  return fault;
}

}  // namespace marrowfin
