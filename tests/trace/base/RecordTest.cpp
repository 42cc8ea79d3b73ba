// The engine stands beside the trace tool and not on it, so each states the record for itself: here
// they are held together.

#include "trace/base/Record.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "Core/VisTool.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::testing {
namespace {

static_assert(static_cast<int>(SWITCH_RECORD) == static_cast<int>(NETWORK_SWITCH_TRANSMISSION));
static_assert(static_cast<int>(FIRE_RECORD) == static_cast<int>(PE_FIRE));
static_assert(static_cast<int>(SEND_RECORD) == static_cast<int>(MESSAGE_SEND));
static_assert(FIRST_SWITCH == MARROWFIN_TRACE_SWITCH_OFFSET);

std::vector<std::unique_ptr<VisToolEvent>> EveryEvent() {
  const Location l(0, 0);
  std::vector<std::unique_ptr<VisToolEvent>> events;
  events.push_back(std::make_unique<VisToolEvent>(0, 0));
  events.push_back(std::make_unique<LocationEvent>(0, 0, l));
  events.push_back(std::make_unique<NetworkSwitchTransmission>(0, 0, l));
  events.push_back(std::make_unique<PEFire>(0, 0, l));
  events.push_back(std::make_unique<MessageSend>(0, 0, l, l));
  return events;
}

TEST(RecordTest, TheTypesOfRecordsAreThoseThatTheTraceToolReads) {
  for (const auto& event : EveryEvent()) {
    const bool read = event->Class() != VIS_TOOL_EVENT && event->Class() != LOCATION_EVENT;
    EXPECT_EQ(read, IsRecordType(event->Class())) << event->Class();
  }
  EXPECT_FALSE(IsRecordType(MESSAGE_SEND + 1));
}

TEST(RecordTest, PayloadsAreAsLongAsTheTraceToolMakesThem) {
  for (const auto& event : EveryEvent()) {
    BinaryEvent record;
    event->ToBinaryEvent(record);
    if (IsRecordType(record.type)) {
      EXPECT_EQ(record.dataLength, PayloadSize(record.type)) << record.type;
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
