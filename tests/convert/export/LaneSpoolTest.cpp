// Pieces that came mixed are read back lane by lane.

#include "convert/export/LaneSpool.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Files.h"

namespace marrowfin {
namespace {

typedef std::vector<uint8_t> Piece;

struct Put {
  uint64_t lane;
  Piece piece;
};

// Pieces of a few bytes, and some that are larger than what is kept in memory.
std::vector<Put> RandomPuts(std::mt19937& random, size_t count, size_t lanes) {
  std::vector<Put> puts;
  for (size_t i = 0; i < count; ++i) {
    Piece piece(random() % 500 == 0 ? 100000 + random() % 1000 : 1 + random() % 40);
    for (uint8_t& byte : piece) {
      byte = static_cast<uint8_t>(random());
    }
    puts.push_back({(random() % lanes) << 32 | random() % 2, std::move(piece)});
  }
  return puts;
}

std::vector<Piece> ReadLane(const LaneSpool& spool, uint64_t lane, size_t portion) {
  std::vector<Piece> pieces;
  LaneSpool::Reader reader(spool, lane, portion);
  for (;;) {
    const Result<std::span<const uint8_t>> next = reader.Next();
    EXPECT_TRUE(next) << next.Why().Text();
    if (!next || next->empty()) {
      return pieces;
    }
    pieces.emplace_back(next->begin(), next->end());
  }
}

TEST(LaneSpoolTest, PiecesOfEachLaneComeBackInTheirOrderWhateverIsReadAtOnce) {
  const testing::TempDir folder;
  std::mt19937 random(3);
  for (const size_t lanes : {1, 3, 700}) {
    const std::vector<Put> puts = RandomPuts(random, 3000, lanes);
    std::map<uint64_t, std::vector<Piece>> wanted;
    LaneSpool spool(folder.Path(), "out");
    for (const Put& put : puts) {
      spool.Announce(put.lane, put.piece.size());
      wanted[put.lane].push_back(put.piece);
    }
    ASSERT_FALSE(spool.Begin());
    for (const Put& put : puts) {
      ASSERT_FALSE(spool.Put(put.lane, put.piece));
    }
    ASSERT_FALSE(spool.End());
    EXPECT_EQ(puts.size(), spool.Pieces());
    ASSERT_EQ(wanted.size(), spool.Lanes().size());
    for (const uint64_t lane : spool.Lanes()) {
      EXPECT_TRUE(wanted[lane] == ReadLane(spool, lane, 1 + random() % 5000)) << lane;
    }
  }
}

TEST(LaneSpoolTest, MoreThanWasAnnouncedIsRefusedAndHarmsNoOtherLane) {
  const testing::TempDir folder;
  LaneSpool spool(folder.Path(), "out");
  spool.Announce(1, 3);
  spool.Announce(2, 3);
  ASSERT_FALSE(spool.Begin());
  ASSERT_FALSE(spool.Put(2, Piece{4, 5, 6}));
  EXPECT_EQ(Fault::CHANGED, spool.Put(1, Piece{1, 2, 3, 4}).kind);
  EXPECT_EQ(Fault::CHANGED, spool.Put(3, Piece{1}).kind);
  ASSERT_FALSE(spool.Put(1, Piece{1, 2, 3}));
  EXPECT_EQ(Fault::CHANGED, spool.Put(1, Piece{7}).kind);
  ASSERT_FALSE(spool.End());
  EXPECT_EQ((std::vector<Piece>{{1, 2, 3}}), ReadLane(spool, 1, 1));
  EXPECT_EQ((std::vector<Piece>{{4, 5, 6}}), ReadLane(spool, 2, 100));
}

TEST(LaneSpoolTest, WhereNoFileCanBeTheFaultNamesWhatIsWritten) {
  LaneSpool spool("/no/such/folder", "out");
  spool.Announce(1, 1);
  const Fault fault = spool.Begin();
  EXPECT_EQ(Fault::SYSTEM, fault.kind);
  EXPECT_EQ("out", fault.file);
  EXPECT_NE("", fault.remedy);
}

}  // namespace
}  // namespace marrowfin
