#include "convert/import/CharSource.h"

#include <utility>

#include "convert/import/Refusal.h"
#include "trace/read/OpenSource.h"

namespace marrowfin {
namespace {

constexpr size_t chunk = 256 * 1024;

bool Separates(uint8_t c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',' || c == ':';
}

}  // namespace

CharSource::CharSource(ProgressCallback progress) : progress(std::move(progress)) {}

Fault CharSource::Open(const std::string& name) {
  Result<std::unique_ptr<ByteSource>> opened = OpenSource(name);
  if (!opened) {
    return opened.Why();
  }
  Open(std::move(opened).Take(), name);
  return {};
}

void CharSource::Open(std::unique_ptr<ByteSource> source, const std::string& name) {
  path = name;
  bytes = std::move(source);
  buffer.resize(chunk);
}

bool CharSource::AtEnd() {
  if (trouble) {
    return true;
  }
  if (Offset() - lastTokenEnd > longestToken) {
    trouble = RefusalAt(
        path, TokenStart(),
        "more than " + std::to_string(longestToken) + " bytes without an end of the value",
        "this is no capture, or it is damaged here: record it again");
    return true;
  }
  return next == filled && !Refill();
}

bool CharSource::Refill() {
  bufferStart += filled;
  next = 0;
  filled = 0;
  const Result<size_t> got = bytes->Read(buffer.data(), buffer.size());
  if (!got) {
    const Fault fault = got.Why();
    // There are no records whose place could be told.
    trouble =
        fault.kind == Fault::DAMAGED_INPUT ? Refusal(path, fault.reason, fault.remedy) : fault;
    return false;
  }
  filled = *got;
  ReportProgress();
  return !trouble && filled != 0;
}

void CharSource::ReportProgress() {
  if (progress && !progress({bytes->InputRead(), bytes->InputSize().value_or(0)})) {
    trouble = CancelledFault(path);
  }
}

void CharSource::Advance() {
  if (!tokenBegun && !Separates(buffer[next])) {
    tokenBegun = true;
    tokenStart = Offset();
  }
  ++next;
}

void CharSource::EndToken() {
  lastTokenEnd = Offset();
  tokenBegun = false;
}

}  // namespace marrowfin
