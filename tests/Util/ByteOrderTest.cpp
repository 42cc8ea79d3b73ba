#include "Util/ByteOrder.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <type_traits>

#include "tests/support/TraceText.h"

namespace marrowfin::testing {
namespace {

// What a machine of the order HOST has in memory where it holds `number`.
template <std::endian HOST, class Number>
std::string BytesOf(Number number) {
  std::string bytes;
  for (size_t i = 0; i < sizeof(number); ++i) {
    const size_t significance = HOST == std::endian::big ? sizeof(number) - 1 - i : i;
    bytes += static_cast<char>(number >> (8 * significance) & 0xFF);
  }
  return bytes;
}

template <std::endian HOST>
struct Host {
  static constexpr std::endian ORDER = HOST;
};

template <class Host>
class ByteOrderTest : public ::testing::Test {};

using Hosts = ::testing::Types<Host<std::endian::little>, Host<std::endian::big>>;
TYPED_TEST_SUITE(ByteOrderTest, Hosts);

TYPED_TEST(ByteOrderTest, WordsOfATraceStartWithTheirMostSignificantByteOnEveryHost) {
  constexpr std::endian HOST = TypeParam::ORDER;
  EXPECT_EQ(std::string("\x01\x23\x45\x67", 4),
            BytesOf<HOST>(HostToTrace<HOST>(uint32{0x01234567})));
  EXPECT_EQ(std::string("\x89\xab\xcd\xef\x01\x23\x45\x67", 8),
            BytesOf<HOST>(HostToTrace<HOST>(Cycle{0x89abcdef01234567})));
}

TYPED_TEST(ByteOrderTest, ReadingUndoesWritingOnEveryHost) {
  constexpr std::endian HOST = TypeParam::ORDER;
  EXPECT_EQ(uint32{0xfedcba98}, TraceToHost<HOST>(HostToTrace<HOST>(uint32{0xfedcba98})));
  EXPECT_EQ(Cycle{0xfedcba9876543210},
            TraceToHost<HOST>(HostToTrace<HOST>(Cycle{0xfedcba9876543210})));
}

// A PE at row 2, column 7 fires at cycle 5 for thread 1.
TYPED_TEST(ByteOrderTest, NumbersOfARecordHaveTheSameBytesOnEveryHost) {
  constexpr std::endian HOST = TypeParam::ORDER;
  std::string record = BytesOf<HOST>(HostToTrace<HOST>(uint32{3}));
  record += BytesOf<HOST>(HostToTrace<HOST>(Cycle{5}));
  for (const uint32 word : {1U, 8U, 7U, 2U}) {
    record += BytesOf<HOST>(HostToTrace<HOST>(word));
  }
  EXPECT_EQ(TraceBytes("fire 5 1 7 2"), record);
}

TEST(ByteOrderOfThisHostTest, IsTakenWhereNoneIsNamed) {
  constexpr std::endian HERE = std::endian::native;
  const uint32 word = HostToTrace(uint32{0x01234567});
  EXPECT_EQ(0, memcmp(&word, "\x01\x23\x45\x67", sizeof(word)));
  EXPECT_EQ(word, HostToTrace<HERE>(uint32{0x01234567}));
  EXPECT_EQ(HostToTrace<HERE>(Cycle{0x0123456789abcdef}), HostToTrace(Cycle{0x0123456789abcdef}));
  EXPECT_EQ(uint32{0x01234567}, TraceToHost(word));
  EXPECT_EQ(Cycle{5}, TraceToHost(HostToTrace(Cycle{5})));
}

TEST(ByteOrderOfThisHostTest, WordsAreUnsignedOf32BitsAndCyclesOf64) {
  static_assert(std::is_same_v<uint32, unsigned int> && sizeof(uint32) == 4);
  static_assert(std::is_same_v<Cycle, unsigned long long> && sizeof(Cycle) == 8);
  static_assert(std::is_same_v<decltype(TraceToHost(uint32{})), uint32>);
  static_assert(std::is_same_v<decltype(TraceToHost(Cycle{})), Cycle>);
}

}  // namespace
}  // namespace marrowfin::testing
