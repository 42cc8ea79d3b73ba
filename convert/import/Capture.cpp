#include "convert/import/Capture.h"

#include <algorithm>
#include <utility>

namespace marrowfin {

const std::array<Label, KIND_COUNT> kindLabels = {{
    {"zones", "kernel zones"},
    {"barriers", "barriers"},
    {"flushes", "flushes"},
    {"waits", "waits for semaphores"},
    {"setUps", "set-ups"},
    {"reads", "reads"},
    {"writes", "writes"},
    {"multicasts", "multicasts"},
    {"semaphores", "semaphore changes"},
    {"fabricWrites", "fabric writes"},
}};

const std::array<Label, SKIP_COUNT> skipLabels = {{
    {"unknownType", "of a type that is not known"},
    {"unknownPhase", "zones in a phase that is not known"},
    {"noDestination", "transfers that name no other tile"},
    {"unknownDevice", "events on a device that is not known"},
    {"oddValue", "with a value that is not known"},
    {"incomplete", "that lack a field"},
}};

const std::array<const char*, KIND_COUNT> kindNotes = {
    "kernel", "barrier", "flush",     "wait",      "set-up",
    "read",   "write",   "multicast", "semaphore", "fabric write"};

uint16_t NameTable::NumberOf(const std::string& name) {
  const auto known = numbers.find(name);
  if (known != numbers.end()) {
    return known->second;
  }
  if (names.size() == NONE) {
    return NONE;
  }
  const auto number = static_cast<uint16_t>(names.size());
  names.push_back(name);
  numbers.emplace(name, number);
  return number;
}

uint64_t RecordsOf(const CaptureEvent& event) {
  if (!IsMessage(event.kind)) {
    return 1;
  }
  return uint64_t{event.last.column - event.first.column + 1u} *
         (event.last.row - event.first.row + 1u);
}

void NumberThreads(Capture& capture, const std::vector<std::string>& fixed) {
  std::vector<Processor> numbered;
  for (const std::string& name : fixed) {
    numbered.push_back({name, 0});
  }
  const auto find = [&numbered](const std::string& name) {
    return std::find_if(numbered.begin(), numbered.end(),
                        [&name](const Processor& processor) { return processor.name == name; });
  };
  for (const Processor& processor : capture.processors) {
    const auto place = find(processor.name);
    if (place == numbered.end()) {
      numbered.push_back(processor);
    } else {
      place->events = processor.events;
    }
  }
  std::sort(numbered.begin() + static_cast<std::ptrdiff_t>(fixed.size()), numbered.end(),
            [](const Processor& a, const Processor& b) { return a.name < b.name; });
  std::vector<uint16_t> threads;
  for (const Processor& processor : capture.processors) {
    threads.push_back(static_cast<uint16_t>(find(processor.name) - numbered.begin()));
  }
  for (CaptureEvent& event : capture.events) {
    event.processor = threads[event.processor];
  }
  capture.processors = std::move(numbered);
}

}  // namespace marrowfin
