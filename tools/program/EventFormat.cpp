#include "tools/program/EventFormat.h"

#include "convert/export/EventCsv.h"
#include "convert/export/EventJsonLines.h"
#include "tools/program/EventText.h"

namespace marrowfin {

std::unique_ptr<EventLines> MakeEventLines(EventFormat format, const EventNaming& naming) {
  switch (format) {
    case EventFormat::CSV:
      return std::make_unique<EventCsv>(naming);
    case EventFormat::JSON_LINES:
      return std::make_unique<EventJsonLines>(naming);
    case EventFormat::TEXT:
      break;
  }
  return std::make_unique<EventText>(naming);
}

}  // namespace marrowfin
