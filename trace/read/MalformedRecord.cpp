#include "trace/read/MalformedRecord.h"

#include <string>

#include "trace/base/BigEndian.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

constexpr uint64_t LARGEST_NUMBER = 0xFFFFFFFF;  // of what a record holds

Fault Cut(uint64_t bytes, uint32_t type) {
  Fault fault;
  fault.kind = Fault::CUT_RECORD;
  fault.numbers = {bytes, type};
  fault.reason = "the trace ends after ";
  if (bytes < PAYLOAD_OFFSET) {
    fault.reason += std::to_string(bytes) + " of the 20 bytes of a header";
  } else {
    fault.reason += std::to_string(bytes - PAYLOAD_OFFSET) + " of the " +
                    std::to_string(PayloadSize(type)) + " bytes of a payload";
  }
  fault.remedy = "run the simulator to its end, or use the records before it";
  return fault;
}

Fault NoTrace(Fault::Kind kind, uint32_t type, uint32_t length, const std::string& reason) {
  Fault fault;
  fault.kind = kind;
  fault.numbers = {type, length};
  fault.reason = reason;
  fault.remedy = "check that this is a trace, written whole and without text in between";
  return fault;
}

Fault UnknownType(uint32_t type) {
  return NoTrace(Fault::UNKNOWN_TYPE, type, 0,
                 "type " + std::to_string(type) + " is none of 2, 3 and 4");
}

Fault WrongLength(uint32_t type, uint32_t length) {
  return NoTrace(Fault::WRONG_LENGTH, type, length,
                 "a payload of " + std::to_string(length) + " bytes, where type " +
                     std::to_string(type) + " has " + std::to_string(PayloadSize(type)));
}

}  // namespace

Fault MalformedRecord(const uint8_t* data, const uint8_t* end) {
  const size_t left = static_cast<size_t>(end - data);
  if (left < PAYLOAD_OFFSET) {
    return Cut(left, 0);
  }
  const uint32_t type = Load32(data + TYPE_OFFSET);
  const uint32_t length = Load32(data + LENGTH_OFFSET);
  if (!IsRecordType(type)) {
    return UnknownType(type);
  }
  return length == PayloadSize(type) ? Cut(left, type) : WrongLength(type, length);
}

std::optional<Fault> MalformedRecord(Fault::Kind kind, const std::array<uint64_t, 2>& numbers) {
  const auto [first, second] = numbers;
  if (first > LARGEST_NUMBER || second > LARGEST_NUMBER) {
    return std::nullopt;
  }
  const uint32_t type = static_cast<uint32_t>(kind == Fault::CUT_RECORD ? second : first);
  const bool known = IsRecordType(type);
  switch (kind) {
    case Fault::CUT_RECORD: {
      const bool header = first > 0 && first < PAYLOAD_OFFSET && type == 0;
      const bool payload = known && first >= PAYLOAD_OFFSET && first < RecordSize(type);
      return header || payload ? std::optional(Cut(first, type)) : std::nullopt;
    }
    case Fault::UNKNOWN_TYPE:
      return !known && second == 0 ? std::optional(UnknownType(type)) : std::nullopt;
    case Fault::WRONG_LENGTH:
      return known && second != PayloadSize(type)
                 ? std::optional(WrongLength(type, static_cast<uint32_t>(second)))
                 : std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace marrowfin
