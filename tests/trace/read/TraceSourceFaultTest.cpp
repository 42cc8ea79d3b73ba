#include "trace/read/TraceSource.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace marrowfin::testing {
namespace {

class TraceSourceFaultTest : public ::testing::Test {
 protected:
  TraceSourceFaultTest() { WriteFile(name, TraceBytes("fire 1 0 1 1\nfire 2 0 1 1\n")); }

  TempDir folder;
  std::string name = folder.File("t");
};

TEST_F(TraceSourceFaultTest, OpeningAFileAfterOneThatIsMissingLeavesNoFault) {
  Result<std::unique_ptr<TraceSource>> trace = TraceSource::Open(folder.File("none"));
  EXPECT_FALSE(trace);
  EXPECT_EQ(trace.Why().kind, Fault::SYSTEM);
  trace = TraceSource::Open(name);
  ASSERT_TRUE(trace);
  EXPECT_FALSE(trace.Why());
}

TEST_F(TraceSourceFaultTest, DecodingAfterAFaultDecodesAsEver) {
  const Result<std::unique_ptr<TraceSource>> trace = TraceSource::Open(name);
  ASSERT_TRUE(trace);
  auto columns = std::make_unique<Columns>();
  Result<uint64_t> next = (*trace)->Decode(1, (*trace)->Size(), *columns);
  EXPECT_FALSE(next);
  EXPECT_EQ(next.Why().offset, 1U);
  EXPECT_EQ(columns->size, 0U);
  next = (*trace)->Decode(0, (*trace)->Size(), *columns);
  ASSERT_TRUE(next) << next.Why().Text();
  EXPECT_EQ(*next, (*trace)->Size());
  EXPECT_EQ(columns->size, 2U);
}

TEST_F(TraceSourceFaultTest, CopyingAfterAFaultCopiesAsEver) {
  const Result<std::unique_ptr<TraceSource>> trace = TraceSource::Open(name);
  ASSERT_TRUE(trace);
  uint8_t bytes[4] = {};
  Fault fault = (*trace)->Copy((*trace)->Size(), 1, bytes);
  EXPECT_EQ(fault.kind, Fault::CHANGED);
  fault = (*trace)->Copy(0, 4, bytes);
  EXPECT_FALSE(fault) << fault.Text();
  EXPECT_EQ(bytes[3], FIRE_RECORD);
}

}  // namespace
}  // namespace marrowfin::testing
