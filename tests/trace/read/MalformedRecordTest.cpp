#include "trace/read/MalformedRecord.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/TraceText.h"

namespace marrowfin::testing {
namespace {

Fault FaultOf(const std::string& bytes) {
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  return MalformedRecord(data, data + bytes.size());
}

TEST(MalformedRecordTest, FaultIsMadeAgainFromItsNumbers) {
  const std::string fire = TraceBytes("fire 1 0 2 3\n");
  const std::string send = TraceBytes("send 1 0 2 3 4 5\n");
  std::vector<std::string> records = {
      TraceBytes("raw 9 1 0 8 0000000200000003\n"), TraceBytes("raw 4294967295 1 0 8 00\n"),
      TraceBytes("raw 3 1 0 16 00\n"), TraceBytes("raw 4 1 0 4294967295 00\n")};
  for (const std::string& whole : {fire, send}) {
    for (size_t size = 1; size < whole.size(); ++size) {
      records.push_back(whole.substr(0, size));
    }
  }
  for (const std::string& record : records) {
    const Fault fault = FaultOf(record);
    const std::optional<Fault> again = MalformedRecord(fault.kind, fault.numbers);
    ASSERT_TRUE(again) << fault.reason;
    EXPECT_EQ(again->kind, fault.kind);
    EXPECT_EQ(again->reason, fault.reason);
    EXPECT_EQ(again->remedy, fault.remedy);
    EXPECT_EQ(again->numbers, fault.numbers);
  }
}

TEST(MalformedRecordTest, NumbersThatNoMalformedRecordHasMakeNoFault) {
  constexpr uint64_t LARGE = uint64_t{1} << 32;
  const std::vector<std::pair<Fault::Kind, std::array<uint64_t, 2>>> none = {
      {Fault::CUT_RECORD, {0, 0}},
      {Fault::CUT_RECORD, {20, 0}},
      {Fault::CUT_RECORD, {5, 3}},
      {Fault::CUT_RECORD, {28, 3}},
      {Fault::CUT_RECORD, {36, 4}},
      {Fault::CUT_RECORD, {22, LARGE + 3}},
      {Fault::UNKNOWN_TYPE, {3, 0}},
      {Fault::UNKNOWN_TYPE, {9, 1}},
      {Fault::UNKNOWN_TYPE, {LARGE, 0}},
      {Fault::WRONG_LENGTH, {3, 8}},
      {Fault::WRONG_LENGTH, {9, 8}},
      {Fault::WRONG_LENGTH, {3, LARGE}},
      {Fault::NONE, {0, 0}},
      {Fault::SYSTEM, {0, 0}},
  };
  for (const auto& [kind, numbers] : none) {
    EXPECT_FALSE(MalformedRecord(kind, numbers)) << FaultName(kind) << " " << numbers[0];
  }
}

}  // namespace
}  // namespace marrowfin::testing
