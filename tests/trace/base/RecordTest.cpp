// The engine stands beside the trace tool and not on it, so each states the record for itself: here
// they are held together.

#include "trace/base/Record.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "Core/VisTool.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::testing {
namespace {

static_assert(static_cast<int>(SWITCH_RECORD) == static_cast<int>(NETWORK_SWITCH_TRANSMISSION));
static_assert(static_cast<int>(FIRE_RECORD) == static_cast<int>(PE_FIRE));
static_assert(static_cast<int>(SEND_RECORD) == static_cast<int>(MESSAGE_SEND));
static_assert(FIRST_SWITCH == MARROWFIN_TRACE_SWITCH_OFFSET);

class RecordTest : public ::testing::Test {
 protected:
  // Lets the trace tool read a record with a payload of this length: it exits with status 0 where
  // it takes the record and aborts where it does not.
  void ReadByTheTool(uint32_t type, uint32_t length) {
    WriteFile(folder.File("t"),
              TraceBytes("raw " + std::to_string(type) + " 0 0 " + std::to_string(length) + " " +
                         std::string(2 * length, '0')));
    VisTool tool;
    tool.inFile.Open(folder.File("t"), File::READ_FLAGS, 0);
    VisToolEvent* event = nullptr;
    tool.ReadEvent(event);
    exit(event == nullptr);
  }

  TempDir folder;
};

// Far beyond the types there are: a class that the trace tool learns is one that the engine must
// learn too.
TEST_F(RecordTest, TypesAndPayloadsAreThoseThatTheTraceToolTakes) {
  for (uint32_t type = 0; type < 16; ++type) {
    for (const uint32_t length : {0U, 4U, 8U, 12U, 16U, 20U, 24U}) {
      SCOPED_TRACE(::testing::Message() << "type " << type << ", length " << length);
      if (IsRecordType(type) && PayloadSize(type) == length) {
        EXPECT_EXIT(ReadByTheTool(type, length), ::testing::ExitedWithCode(0), "");
      } else {
        EXPECT_EXIT(ReadByTheTool(type, length), ::testing::KilledBySignal(SIGABRT), "");
      }
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
