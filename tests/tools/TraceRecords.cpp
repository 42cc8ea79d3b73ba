#include "tests/tools/TraceRecords.h"

#include <memory>
#include <stdexcept>

#include "Core/VisTool.h"

namespace marrowfin {
namespace {

class Bytes {
 public:
  explicit Bytes(const std::string& bytes) : bytes(bytes), next(0) {}

  bool Done() const { return next == bytes.size(); }

  uint64_t Number(size_t size) {
    if (bytes.size() - next < size) {
      throw std::runtime_error("cut at byte " + std::to_string(next));
    }
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
      value = value << 8 | static_cast<unsigned char>(bytes[next++]);
    }
    return value;
  }

  uint32_t Word() { return static_cast<uint32_t>(Number(4)); }

 private:
  const std::string& bytes;
  size_t next;
};

TraceRecord FromEvent(const VisToolEvent& event) {
  TraceRecord record = {event.Class(), event.cyc, event.thread, {}};
  if (const auto* const message = dynamic_cast<const MessageSend*>(&event)) {
    record.words = {message->from.column, message->from.row, message->to.column, message->to.row};
  } else {
    const Location& at = dynamic_cast<const LocationEvent&>(event).l;
    record.words = {at.column, at.row};
  }
  return record;
}

}  // namespace

std::vector<TraceRecord> RecordsIn(const std::string& bytes) {
  std::vector<TraceRecord> records;
  Bytes rest(bytes);
  while (!rest.Done()) {
    TraceRecord record;
    record.type = rest.Word();
    record.cycle = rest.Number(8);
    record.thread = rest.Word();
    const uint32_t length = rest.Word();
    if (record.type < 2 || record.type > 4 || length != (record.type == 4 ? 16u : 8u)) {
      throw std::runtime_error("type " + std::to_string(record.type) + " of length " +
                               std::to_string(length));
    }
    for (uint32_t i = 0; i < length / 4; ++i) {
      record.words.push_back(rest.Word());
    }
    records.push_back(record);
  }
  return records;
}

std::vector<TraceRecord> RecordsThroughTraceTool(const std::string& path) {
  VisTool tool;
  tool.inFilename = path;
  tool.InitializeForRead();
  std::vector<TraceRecord> records;
  VisToolEvent* event = nullptr;
  while (tool.ReadEvent(event) == File::SUCCESS) {
    const std::unique_ptr<VisToolEvent> owned(event);
    records.push_back(FromEvent(*event));
  }
  tool.inFile.Close();
  return records;
}

}  // namespace marrowfin
