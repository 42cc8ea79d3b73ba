#include "Util/ByteOrder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

namespace marrowfin::testing {
namespace {

template <class Number>
std::string BytesOf(Number number) {
  char bytes[sizeof(number)];
  memcpy(bytes, &number, sizeof(number));
  return std::string(bytes, sizeof(number));
}

TEST(ByteOrderTest, WordsOfATraceStartWithTheirMostSignificantByte) {
  EXPECT_EQ(std::string("\x01\x23\x45\x67", 4), BytesOf(HostToTrace(uint32{0x01234567})));
  EXPECT_EQ(std::string("\x89\xab\xcd\xef\x01\x23\x45\x67", 8),
            BytesOf(HostToTrace(Cycle{0x89abcdef01234567})));
}

TEST(ByteOrderTest, ReadingUndoesWriting) {
  EXPECT_EQ(uint32{0xfedcba98}, TraceToHost(HostToTrace(uint32{0xfedcba98})));
  EXPECT_EQ(Cycle{0xfedcba9876543210}, TraceToHost(HostToTrace(Cycle{0xfedcba9876543210})));
}

TEST(ByteOrderTest, WordsAreUnsignedOf32BitsAndCyclesOf64) {
  static_assert(std::is_same_v<uint32, unsigned int> && sizeof(uint32) == 4);
  static_assert(std::is_same_v<Cycle, unsigned long long> && sizeof(Cycle) == 8);
  static_assert(std::is_same_v<decltype(TraceToHost(uint32{})), uint32>);
  static_assert(std::is_same_v<decltype(TraceToHost(Cycle{})), Cycle>);
}

}  // namespace
}  // namespace marrowfin::testing
