#include "measure/CausalGraph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "measure/RecordSet.h"

namespace marrowfin::testing {
namespace {

using ::testing::Optional;

struct Kept {
  std::vector<uint64_t> causes;
  Evidence evidence = Evidence::TOLD;
  uint32_t work = 0;
};

class CausalGraphTest : public ::testing::Test {
 protected:
  // Records with none, a few, and now and then with thousands of causes, near and far.
  void Fill(uint64_t records) {
    for (uint64_t record = 0; record < records; ++record) {
      Kept node = {{}, static_cast<Evidence>(random() % 3), static_cast<uint32_t>(random() % 8)};
      const uint64_t count = record == 0 ? 0 : random() % 997 == 0 ? 3000 : random() % 9;
      for (uint64_t i = 0; i < count; ++i) {
        const uint64_t reach = random() % 2 == 0 ? std::min<uint64_t>(record, 40) : record;
        node.causes.push_back(record - 1 - random() % reach);
      }
      graph.Add(node.causes, node.evidence, node.work);
      kept.push_back(std::move(node));
    }
  }

  void ExpectAt(CausalGraph::Reader& reader, uint64_t record) {
    const CausalGraph::Node node = reader.Read(record);
    const Kept& wanted = kept[record];
    ASSERT_EQ(std::vector(node.causes.begin(), node.causes.end()), wanted.causes) << record;
    ASSERT_EQ(node.evidence, wanted.evidence) << record;
    ASSERT_EQ(node.work, wanted.work) << record;
  }

  std::mt19937 random{7};
  CausalGraph graph;
  std::vector<Kept> kept;
};

TEST_F(CausalGraphTest, WhatWasAddedIsReadForwardsBackwardsAndInAnyOrder) {
  Fill(100 * 64 + 17);
  ASSERT_EQ(graph.Records(), kept.size());
  CausalGraph::Reader reader(graph);
  for (uint64_t record = 0; record < kept.size(); ++record) {
    ExpectAt(reader, record);
  }
  for (uint64_t record = kept.size(); record-- > 0;) {
    ExpectAt(reader, record);
  }
  for (int i = 0; i < 20000; ++i) {
    ExpectAt(reader, random() % kept.size());
  }
}

TEST_F(CausalGraphTest, GroupsThatFitNoBlockAreKeptAsWell) {
  std::vector<uint64_t> far(1 << 19);
  for (uint64_t record = 0; record < 1 << 10; ++record) {
    graph.Add({}, Evidence::TOLD, 0);
    kept.push_back({});
  }
  for (uint64_t& cause : far) {
    cause = random() % 512;
  }
  for (int i = 0; i < 130; ++i) {
    kept.push_back({i % 65 == 3 ? far : std::vector<uint64_t>{1}, Evidence::PACKET, 5});
    graph.Add(kept.back().causes, Evidence::PACKET, 5);
  }
  CausalGraph::Reader reader(graph);
  for (uint64_t record = kept.size(); record-- > 0;) {
    ExpectAt(reader, record);
  }
}

TEST_F(CausalGraphTest, ACauseNearbyTakesTwoBytes) {
  for (uint64_t record = 0; record < 1 << 20; ++record) {
    const uint64_t before[] = {record - 1};
    graph.Add(std::span(before).first(record == 0 ? 0 : 1), Evidence::INFERRED, 0);
  }
  EXPECT_LT(graph.Bytes(), (1 << 21) + (1 << 20));
}

TEST(RecordSetTest, TheNextAndTheLastBeforeAreFoundAcrossWords) {
  RecordSet set(300);
  EXPECT_EQ(set.From(0), std::nullopt);
  EXPECT_EQ(set.Before(300), std::nullopt);
  for (const uint64_t record : {0U, 63U, 64U, 200U, 299U}) {
    set.Add(record);
  }
  EXPECT_EQ(set.Size(), 5U);
  EXPECT_TRUE(set.Has(64));
  EXPECT_FALSE(set.Has(65));
  EXPECT_THAT(set.From(0), Optional(0U));
  EXPECT_THAT(set.From(1), Optional(63U));
  EXPECT_THAT(set.From(65), Optional(200U));
  EXPECT_THAT(set.From(300), std::nullopt);
  EXPECT_THAT(set.Before(300), Optional(299U));
  EXPECT_THAT(set.Before(299), Optional(200U));
  EXPECT_THAT(set.Before(200), Optional(64U));
  EXPECT_THAT(set.Before(64), Optional(63U));
  EXPECT_EQ(set.Before(0), std::nullopt);
  EXPECT_EQ(RecordSet(0).From(0), std::nullopt);
}

}  // namespace
}  // namespace marrowfin::testing
