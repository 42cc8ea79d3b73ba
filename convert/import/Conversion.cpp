#include "convert/import/Conversion.h"

#include <algorithm>

#include "convert/import/CaptureNotes.h"
#include "convert/import/Refusal.h"
#include "convert/import/SwitchRoute.h"

namespace marrowfin {
namespace {

constexpr uint64_t eventsPerReport = 65536;

// Turns the events of one capture into records.
class Converter {
 public:
  Converter(const ArrayLayout& layout, const std::optional<ArrayShape>& switchesOf, Writer& writer,
            CaptureNotes* notes, Account& account)
      : layout(layout), switchesOf(switchesOf), writer(writer), notes(notes), account(account) {}

  void Convert(const CaptureEvent& event) {
    const uint64_t cycle = event.time - account.origin;
    const uint64_t before = account.fires + account.sends;
    if (!IsMessage(event.kind)) {
      Fire(cycle, event, Own(event));
    } else if (event.kind == KIND_READ) {
      Send(cycle, event, Far(event, event.first.column, event.first.row), Own(event));
    } else {
      SendToAll(event, cycle);
    }
    ++account.converted[event.kind];
    account.convertedRecords[event.kind] += account.fires + account.sends - before;
  }

  // One of the two records that draw nothing.
  void Frame(uint64_t cycle) {
    const Place corner = {0, 0};
    writer.Send(cycle, account.frameThread, corner, corner);
    if (notes != nullptr) {
      notes->AddFrame(cycle, account.frameThread, corner);
    }
    ++account.frameRecords;
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

  void Fire(uint64_t cycle, const CaptureEvent& event, Place at) {
    writer.Fire(cycle, event.processor, at);
    if (notes != nullptr) {
      notes->Add(cycle, at, {}, event);
    }
    ++account.fires;
  }

  void Send(uint64_t cycle, const CaptureEvent& event, Place from, Place to) {
    writer.Send(cycle, event.processor, from, to);
    if (notes != nullptr) {
      notes->Add(cycle, from, to, event);
    }
    ++account.sends;
    if (switchesOf) {
      Derive(cycle, event.processor, from, to);
    }
  }

  void Derive(uint64_t cycle, uint32_t thread, Place from, Place to) {
    const bool isKnown = SwitchRoute(*switchesOf).ForEach(from, to, [&](Place at) {
      writer.Switch(cycle, thread, at);
      if (notes != nullptr) {
        notes->AddSwitch(cycle, thread, at);
      }
      ++account.derived;
    });
    account.withoutRoute += isKnown ? 0 : 1;
  }

  void SendToAll(const CaptureEvent& event, uint64_t cycle) {
    for (uint32_t row = event.first.row; row <= event.last.row; ++row) {
      for (uint32_t column = event.first.column; column <= event.last.column; ++column) {
        Send(cycle, event, Own(event), Far(event, column, row));
      }
    }
  }

  const ArrayLayout& layout;
  const std::optional<ArrayShape>& switchesOf;
  Writer& writer;
  CaptureNotes* notes;
  Account& account;
};

Fault TooMany(uint64_t records, const std::string& more, const std::string& input, uint64_t most) {
  return Refusal(
      input,
      "becomes " + more + std::to_string(records) + " records, more than " + std::to_string(most),
      "allow more if the disk has room for 36 bytes each");
}

// The records of an event are few beside the events of a capture: what is counted is events.
Fault WriteEvents(const Capture& capture, const ConversionOptions& options,
                  const std::string& input, Converter& converter, const Account& account,
                  const Writer& writer, const ProgressCallback& progress) {
  for (size_t i = 0; i < capture.events.size() && !writer.GetFault(); ++i) {
    converter.Convert(capture.events[i]);
    if (account.Records() - account.frameRecords > options.mostRecords) {
      return TooMany(account.Records() - account.frameRecords, "at least ", input,
                     options.mostRecords);
    }
    if (progress && i % eventsPerReport == 0 &&
        !progress({i, capture.events.size(), Progress::RECORDS})) {
      return CancelledFault("");
    }
  }
  return writer.GetFault();
}

}  // namespace

Fault CheckArray(const ArrayLayout& layout, const std::string& input) {
  const uint32_t side = layout.Shape().Columns();
  if (side <= ArrayShape::LONGEST_SIDE) {
    return {};
  }
  return Refusal(
      input,
      std::to_string(layout.Devices().size()) + " devices need an array of " +
          std::to_string(side) + " positions a side",
      "the limit is " + std::to_string(ArrayShape::LONGEST_SIDE) + ": split the capture by device");
}

Fault CheckRecords(const Capture& capture, const ConversionOptions& options,
                   const std::string& input) {
  uint64_t records = 0;
  for (const CaptureEvent& event : capture.events) {
    records += RecordsOf(event);
  }
  if (records <= options.mostRecords) {
    return {};
  }
  return TooMany(records, "", input, options.mostRecords);
}

void SortByTime(Capture& capture) {
  std::stable_sort(capture.events.begin(), capture.events.end(),
                   [](const CaptureEvent& a, const CaptureEvent& b) { return a.time < b.time; });
}

Result<Account> WriteRecords(const Capture& capture, const ArrayLayout& layout,
                             const ConversionOptions& options, const std::string& input,
                             Writer& writer, CaptureNotes* notes,
                             const ProgressCallback& progress) {
  Account account;
  account.frameThread = static_cast<uint32_t>(capture.processors.size());
  if (!capture.events.empty()) {
    account.origin = capture.events.front().time;
    account.lastCycle = capture.events.back().time - account.origin;
  }
  Converter converter(layout, options.switchesOf, writer, notes, account);
  if (options.frame) {
    converter.Frame(0);
  }
  if (Fault fault = WriteEvents(capture, options, input, converter, account, writer, progress)) {
    return fault;
  }
  if (options.frame) {
    converter.Frame(account.lastCycle + 1);
  }
  if (Fault fault = writer.Flush()) {
    return fault;
  }
  return account;
}

}  // namespace marrowfin
