#include "convert/import/InputBytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "convert/import/Bzip2Source.h"
#include "convert/import/Refusal.h"

namespace marrowfin {
namespace {

constexpr size_t CHUNK = 256 * 1024;

}  // namespace

InputBytes::InputBytes(std::unique_ptr<ByteSource> source, const std::string& name,
                       ProgressCallback progress)
    : bytes(UnpackBzip2(std::move(source), name)),
      name(name),
      progress(std::move(progress)),
      buffer(CHUNK) {}

bool InputBytes::Refill() {
  if (trouble) {
    return false;
  }
  start += filled;
  next = 0;
  filled = 0;
  const Result<size_t> got = bytes->Read(buffer.data(), buffer.size());
  if (!got) {
    const Fault fault = got.Why();
    // There are no records whose place could be told.
    trouble =
        fault.kind == Fault::DAMAGED_INPUT ? Refusal(name, fault.reason, fault.remedy) : fault;
    return false;
  }
  filled = *got;
  if (progress && !progress({bytes->InputRead(), bytes->InputSize().value_or(0)})) {
    trouble = CancelledFault(name);
    filled = 0;
  }
  return filled != 0;
}

size_t InputBytes::Take(uint8_t* out, size_t size) {
  size_t taken = 0;
  while (taken < size && !AtEnd()) {
    const size_t part = std::min(size - taken, filled - next);
    std::memcpy(out + taken, buffer.data() + next, part);
    next += part;
    taken += part;
  }
  return taken;
}

bool InputBytes::Line(std::string_view& told) {
  line.clear();
  if (AtEnd()) {
    return false;
  }
  ++lines;
  for (bool ended = false; !ended && !AtEnd();) {
    const auto* const from = buffer.data() + next;
    const auto* const end = static_cast<const uint8_t*>(std::memchr(from, '\n', filled - next));
    const size_t size = end != nullptr ? static_cast<size_t>(end - from) : filled - next;
    ended = end != nullptr;
    if (line.size() + size > LONGEST_LINE) {
      trouble = Refusal(name,
                        "line " + std::to_string(lines) + ": more than " +
                            std::to_string(LONGEST_LINE) + " bytes without an end",
                        "this is no such text, or it is damaged here");
      return false;
    }
    line.append(reinterpret_cast<const char*>(from), size);
    next += size + (ended ? 1 : 0);
  }
  if (trouble) {
    return false;
  }
  if (line.ends_with('\r')) {
    line.pop_back();
  }
  told = line;
  return true;
}

}  // namespace marrowfin
