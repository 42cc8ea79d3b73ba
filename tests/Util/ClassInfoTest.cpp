#include "Util/ClassInfo.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

TEST(ClassInfoTest, FieldsAreTheClassBitsThenTheMostDerivedCode) {
  const ClassInfo info;
  static_assert(std::is_same_v<decltype(info.type), unsigned long long>);
  static_assert(std::is_same_v<decltype(info.myClass), uint32>);
  static_assert(!std::is_polymorphic_v<ClassInfo>);
  EXPECT_EQ(0u, OffsetOf(&info, &info.type));
  EXPECT_EQ(8u, OffsetOf(&info, &info.myClass));
  EXPECT_EQ(16u, sizeof(ClassInfo));
}

TEST(ClassInfoTest, NewOneIsOfNoClassAndHasCodeZero) {
  const ClassInfo info;
  EXPECT_EQ(0u, info.type);
  EXPECT_EQ(0u, info.myClass);
  EXPECT_EQ(0u, info.Class());
  EXPECT_FALSE(info.IsA(0));
}

TEST(ClassInfoTest, ClassBitIsOneShiftedByTheCode) {
  const ClassInfo info;
  EXPECT_EQ(1ull, info.ClassBit(0));
  EXPECT_EQ(16ull, info.ClassBit(4));
  EXPECT_EQ(0x80000000ull, info.ClassBit(31));
  EXPECT_EQ(0x100000000ull, info.ClassBit(32));
  EXPECT_EQ(0x8000000000000000ull, info.ClassBit(63));
}

TEST(ClassInfoTest, JoiningCollectsBitsAndTheLastCodeIsTheMostDerived) {
  ClassInfo info;
  info.JoinClass(0);
  info.JoinClass(40);
  info.JoinClass(3);
  EXPECT_EQ(0x10000000009ull, info.type);
  EXPECT_EQ(3u, info.myClass);
  EXPECT_EQ(3u, info.Class());
  EXPECT_TRUE(info.IsA(0));
  EXPECT_TRUE(info.IsA(40));
  EXPECT_TRUE(info.IsA(3));
  EXPECT_FALSE(info.IsA(1));
  EXPECT_FALSE(info.IsA(8));
}

TEST(ClassInfoTest, JoiningTwiceChangesNothing) {
  ClassInfo info;
  info.JoinClass(2);
  info.JoinClass(2);
  EXPECT_EQ(4u, info.type);
  EXPECT_EQ(2u, info.Class());
}

}  // namespace
}  // namespace marrowfin::testing
