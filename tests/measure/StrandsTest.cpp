#include "measure/Strands.h"

#include <gtest/gtest.h>

namespace marrowfin::testing {
namespace {

TEST(StrandsTest, MessagesAreUsedInTheOrderInWhichTheyWereSent) {
  Strands strands;
  for (uint64_t record = 0; record < 3; ++record) {
    strands.Send(strands.At({1, 2}, 7), {record, 10 + record, 0});
  }
  strands.Send(strands.At({2, 1}, 7), {3, 13, 0});
  strands.Send(strands.At({1, 2}, 8), {4, 14, 0});
  Strands::Strand& strand = strands.At({1, 2}, 7);
  for (uint64_t record = 0; record < 3; ++record) {
    ASSERT_TRUE(strand.HasMessages());
    EXPECT_EQ(strand.OldestRecord(), record);
    EXPECT_EQ(strand.OldestTime(), 10 + record);
    strands.Use(strand);
  }
  EXPECT_FALSE(strand.HasMessages());
  EXPECT_EQ(strands.Waiting(), 2U);
  EXPECT_EQ(strands.At({2, 1}, 7).OldestRecord(), 3U);
}

TEST(StrandsTest, ManyStrandsAreToldApart) {
  Strands strands;
  for (uint32_t column = 0; column < 100; ++column) {
    for (uint64_t key = 0; key < 100; ++key) {
      strands.At({column, 5}, key).Fire({column * 100 + key, 0, 0});
    }
  }
  for (uint32_t column = 0; column < 100; ++column) {
    for (uint64_t key = 0; key < 100; ++key) {
      EXPECT_EQ(strands.At({column, 5}, key).LastFire().record, column * 100 + key);
    }
  }
  EXPECT_EQ(strands.At({5, 0}, 0).HasFired(), false);
}

TEST(StrandsTest, OfTooManyStrandsThoseTouchedLastAreKept) {
  Strands strands({100, 1000});
  for (uint64_t record = 0; record < 10000; ++record) {
    Strands::Strand& strand = strands.At({0, 0}, record);
    EXPECT_FALSE(strand.HasFired());
    strand.Fire({record, 0, 0});
    if (record > 0) {
      EXPECT_EQ(strands.At({0, 0}, record - 1).LastFire().record, record - 1);
    }
  }
  EXPECT_EQ(strands.Forgotten(), 0U) << "no message waited";
}

TEST(StrandsTest, OfTooManyMessagesTheOlderHalfIsForgotten) {
  Strands strands({100, 1000});
  for (uint64_t record = 0; record < 5000; ++record) {
    strands.Send(strands.At({static_cast<uint32_t>(record % 10), 0}, 0), {record, record, 0});
    ASSERT_LE(strands.Waiting(), 1000U);
  }
  EXPECT_EQ(strands.Forgotten() + strands.Waiting(), 5000U);
  uint64_t seen = 0;
  for (uint32_t column = 0; column < 10; ++column) {
    Strands::Strand& strand = strands.At({column, 0}, 0);
    for (; strand.HasMessages(); strands.Use(strand), ++seen) {
      EXPECT_GE(strand.OldestRecord(), strands.Forgotten());
    }
  }
  EXPECT_GE(seen, 500U);
}

TEST(StrandsTest, MessagesOfForgottenStrandsAreForgotten) {
  Strands strands({100, 100000});
  for (uint64_t record = 0; record < 1000; ++record) {
    strands.Send(strands.At({0, 0}, record), {record, record, 0});
  }
  EXPECT_GE(strands.Forgotten(), 900U);
  EXPECT_EQ(strands.Forgotten() + strands.Waiting(), 1000U);
}

}  // namespace
}  // namespace marrowfin::testing
