#include "convert/import/CsvEvents.h"
#include "convert/import/EventStream.h"
#include "convert/import/Hops.h"
#include "convert/import/JsonEvents.h"
#include "convert/import/Netrace.h"
#include "convert/import/Popnet.h"

namespace marrowfin {

std::span<const StreamFormat> StreamFormats() {
  static constexpr StreamFormat formats[] = {
      {"netrace", "packets of a Netrace recording, as .tra or .tra.bz2", 256, true, false,
       OpenNetrace},
      {"popnet", "lines of time, source, destination and flits", 1, false, false, OpenPopnet},
      {"hops", "lines of a cycle and two routers", std::nullopt, true, true, OpenHops},
      {"csv", "a table of events, as events and export write it", std::nullopt, false, true,
       OpenCsvEvents},
      {"jsonl", "a JSON object a line, likewise", std::nullopt, false, true, OpenJsonEvents},
  };
  return formats;
}

}  // namespace marrowfin
