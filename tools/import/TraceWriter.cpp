#include "tools/import/TraceWriter.h"

#include "Core/VisTool.h"
#include "Util/ByteOrder.h"

namespace marrowfin {
namespace {

constexpr size_t bufferSize = 256 * 1024;
constexpr size_t longestRecord = 36;

}  // namespace

TraceWriter::TraceWriter(OutputFile& output) : output(output), fires(0), messages(0) {
  buffer.reserve(bufferSize);
}

template <class Number>
void TraceWriter::Append(Number value) {
  const Number bytes = HostToTrace(value);
  const auto* const first = reinterpret_cast<const unsigned char*>(&bytes);
  buffer.insert(buffer.end(), first, first + sizeof(bytes));
}

void TraceWriter::Begin(uint32 type, Cycle cycle, uint32 thread, uint32 words) {
  if (buffer.size() + longestRecord > bufferSize) {
    Flush();
  }
  Append(type);
  Append(cycle);
  Append(thread);
  Append(static_cast<uint32>(words * sizeof(uint32)));
}

void TraceWriter::Add(const Place& place) {
  Append(place.column);
  Append(place.row);
}

void TraceWriter::Fire(Cycle cycle, uint32 thread, const Place& at) {
  Begin(PE_FIRE, cycle, thread, 2);
  Add(at);
  ++fires;
}

void TraceWriter::Message(Cycle cycle, uint32 thread, const Place& from, const Place& to) {
  Begin(MESSAGE_SEND, cycle, thread, 4);
  Add(from);
  Add(to);
  ++messages;
}

void TraceWriter::Flush() {
  if (!failure) {
    failure = output.Write(buffer.data(), buffer.size());
  }
  buffer.clear();
}

MaybeFailure TraceWriter::Finish() {
  Flush();
  return failure;
}

}  // namespace marrowfin
