#ifndef TOOLS_PROGRAM_EVENTFORMAT_H
#define TOOLS_PROGRAM_EVENTFORMAT_H

#include <memory>

#include "convert/export/EventLines.h"

namespace marrowfin {

enum class EventFormat { TEXT, CSV, JSON_LINES };

// `naming`, and what it points to, outlive what is made.
std::unique_ptr<EventLines> MakeEventLines(EventFormat format, const EventNaming& naming);

}  // namespace marrowfin

#endif
