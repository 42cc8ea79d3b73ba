#include "tools/import/Conversion.h"

#include <algorithm>

namespace marrowfin {
namespace {

constexpr uint64_t eventsPerReport = 65536;

// Turns the events of one capture into records.
class Converter {
 public:
  Converter(const ArrayLayout& layout, TraceWriter& writer) : layout(layout), writer(writer) {}

  void Convert(const CaptureEvent& event, Cycle cycle) {
    if (!IsMessage(event.kind)) {
      writer.Fire(cycle, event.processor, Own(event));
    } else if (event.kind == KIND_READ) {
      writer.Message(cycle, event.processor, Far(event, event.first.column, event.first.row),
                     Own(event));
    } else {
      SendToAll(event, cycle);
    }
  }

 private:
  Place On(uint32_t device, uint32_t column, uint32_t row) const {
    return {layout.FirstColumn(device) + column, layout.FirstRow(device) + row};
  }
  Place Own(const CaptureEvent& event) const {
    return On(event.device, event.tile.column, event.tile.row);
  }
  Place Far(const CaptureEvent& event, uint32_t column, uint32_t row) const {
    return On(event.farDevice, column, row);
  }

  void SendToAll(const CaptureEvent& event, Cycle cycle) {
    for (uint32_t row = event.first.row; row <= event.last.row; ++row) {
      for (uint32_t column = event.first.column; column <= event.last.column; ++column) {
        writer.Message(cycle, event.processor, Own(event), Far(event, column, row));
      }
    }
  }

  const ArrayLayout& layout;
  TraceWriter& writer;
};

uint64_t Records(const TraceWriter& writer) { return writer.Fires() + writer.Messages(); }

void WriteEvents(const Capture& capture, Converter& converter, TraceWriter& writer,
                 const CharSource::Watcher& watcher, Account& account) {
  for (size_t i = 0; i < capture.events.size() && !writer.Failed(); ++i) {
    const CaptureEvent& event = capture.events[i];
    const uint64_t before = Records(writer);
    converter.Convert(event, event.time - account.origin);
    ++account.converted[event.kind];
    account.convertedRecords[event.kind] += Records(writer) - before;
    if (watcher && i % eventsPerReport == 0) {
      watcher(i, capture.events.size());
    }
  }
}

}  // namespace

MaybeFailure CheckSize(const Capture& capture, const ArrayLayout& layout,
                       const ConversionOptions& options, const std::string& input) {
  const uint32_t side = layout.Shape().Columns();
  if (side > longestArraySide) {
    return Failure{
        EXIT_INPUT,
        input + ": " + std::to_string(layout.Devices().size()) + " devices need an array of " +
            std::to_string(side) + " positions a side",
        "The limit is " + std::to_string(longestArraySide) + ": split the capture by device."};
  }
  uint64_t records = 0;
  for (const CaptureEvent& event : capture.events) {
    records += RecordsOf(event);
  }
  if (records > options.mostRecords) {
    return Failure{EXIT_INPUT,
                   input + ": becomes " + std::to_string(records) + " records, more than " +
                       std::to_string(options.mostRecords),
                   "Raise the limit with --max-records if the disk has room for 36 bytes each."};
  }
  return std::nullopt;
}

void SortByTime(Capture& capture) {
  std::stable_sort(capture.events.begin(), capture.events.end(),
                   [](const CaptureEvent& a, const CaptureEvent& b) { return a.time < b.time; });
}

Account WriteRecords(const Capture& capture, const ArrayLayout& layout,
                     const ConversionOptions& options, TraceWriter& writer,
                     const CharSource::Watcher& watcher) {
  Account account;
  account.frameThread = static_cast<uint32>(capture.processors.size());
  if (!capture.events.empty()) {
    account.origin = capture.events.front().time;
    account.lastCycle = capture.events.back().time - account.origin;
  }
  const Place corner = {0, 0};
  if (options.frame) {
    writer.Message(0, account.frameThread, corner, corner);
    ++account.frameRecords;
  }
  Converter converter(layout, writer);
  WriteEvents(capture, converter, writer, watcher, account);
  if (options.frame) {
    writer.Message(account.lastCycle + 1, account.frameThread, corner, corner);
    ++account.frameRecords;
  }
  account.fires = writer.Fires();
  account.messages = writer.Messages() - account.frameRecords;
  return account;
}

}  // namespace marrowfin
