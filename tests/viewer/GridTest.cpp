#include "viewer/Grid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/viewer/GlCalls.h"
#include "tests/viewer/PieceTesting.h"
#include "tests/viewer/Sanitizers.h"
#include "viewer/ArchPiece.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

// Builds a grid; what it wrote goes to `said` if that is wanted.
std::unique_ptr<Grid> Build(unsigned int c, unsigned int d, unsigned int p,
                            std::string* said = nullptr) {
  CaptureStderr();
  auto grid = std::make_unique<Grid>(c, d, p);
  const std::string text = GetCapturedStderr();
  if (said != nullptr) {
    *said = text;
  }
  return grid;
}

template <class Operation>
std::vector<unsigned int> AtEachOf(Grid& grid, unsigned int positions, Operation operation) {
  std::vector<unsigned int> values;
  for (unsigned int i = 0; i < positions; ++i) {
    values.push_back((grid.*operation)(i));
  }
  return values;
}

typedef std::vector<std::string> Journal;

// A piece that writes what is done with it into a journal.
class JournalPiece : public ArchitecturePiece {
 public:
  JournalPiece(Journal& journal, const std::string& name, bool finished = false)
      : ArchitecturePiece(0), journal(journal), name(name), finished(finished) {}
  ~JournalPiece() override { journal.push_back(name + " gone"); }

  void Decay() override { journal.push_back(name + " decays"); }
  void Draw() override { journal.push_back(name + " draws"); }
  bool Finished() override { return finished; }

 private:
  Journal& journal;
  std::string name;
  bool finished;
};

TEST(GridTest, KeepsTheCountsAndTheFixedSizes) {
  const auto grid = Build(3, 2, 1);
  EXPECT_EQ(3u, grid->clusters);
  EXPECT_EQ(2u, grid->domains);
  EXPECT_EQ(1u, grid->pes);
  EXPECT_EQ(6u, grid->peSize);
  EXPECT_EQ(2u, grid->peSpace);
  EXPECT_EQ(4u, grid->domainSpace);
  EXPECT_EQ(8u, grid->clusterSpace);
  EXPECT_EQ(20u, grid->border);
  EXPECT_EQ(10u, grid->switchSize);
  EXPECT_EQ(2u, grid->switchSpace);
  EXPECT_EQ(8u, grid->peOffset);
}

TEST(GridTest, DerivesItsSizesFromTheCounts) {
  for (unsigned int d = 1; d <= 4; ++d) {
    for (unsigned int p = 1; p <= 4; ++p) {
      const auto grid = Build(1, d, p);
      EXPECT_EQ(8 * p - 2, grid->domainSize);
      EXPECT_EQ(8 * p + 14, grid->domainOffset);
      EXPECT_EQ(d * (8 * p - 2) + 4 * (d - 1) + 12, grid->clusterSize);
      EXPECT_EQ(grid->clusterSize + 8, grid->clusterOffset);
    }
  }
}

TEST(GridTest, OfTwoClustersOfTwoDomainsOfFourHasTheSizesOfTheWorkedExample) {
  const auto grid = Build(2, 2, 4);
  EXPECT_EQ(30u, grid->domainSize);
  EXPECT_EQ(46u, grid->domainOffset);
  EXPECT_EQ(76u, grid->clusterSize);
  EXPECT_EQ(84u, grid->clusterOffset);
  EXPECT_THAT(AtEachOf(*grid, 16, &Grid::PEBase),
              ElementsAre(20, 28, 36, 44, 66, 74, 82, 90, 104, 112, 120, 128, 150, 158, 166, 174));
}

TEST(GridTest, OfTwoClustersOfTwoDomainsOfFourHasAllPiecesUnderTheirKeys) {
  std::string said;
  const auto grid = Build(2, 2, 4, &said);
  EXPECT_EQ("0 0\n0 8\n8 0\n8 8\n", said);
  EXPECT_THAT(grid->persistant, SizeIs(4 + 256 + 4));
  EXPECT_THAT(grid->processingElements, SizeIs(256));
  EXPECT_THAT(grid->transient, IsEmpty());
  std::vector<std::pair<uint32, uint32>> keys;
  for (const auto& entry : grid->networkSwitches) {
    keys.emplace_back(entry.first.row, entry.first.column);
  }
  EXPECT_THAT(keys,
              ElementsAre(std::pair(12, 12), std::pair(12, 4), std::pair(4, 12), std::pair(4, 4)));
}

TEST(GridTest, OfOneOfEverythingHasOnePieceOfEachKind) {
  std::string said;
  const auto grid = Build(1, 1, 1, &said);
  EXPECT_EQ("0 0\n", said);
  EXPECT_EQ(6u, grid->domainSize);
  EXPECT_EQ(22u, grid->domainOffset);
  EXPECT_EQ(18u, grid->clusterSize);
  EXPECT_EQ(26u, grid->clusterOffset);
  EXPECT_EQ(20u, grid->PEBase(0));
  ASSERT_THAT(grid->persistant, SizeIs(3));
  EXPECT_EQ(grid->persistant[1], grid->processingElements.at(Location(0, 0)));
  EXPECT_EQ(grid->persistant[2], grid->networkSwitches.at(Location(4, 4)));
  EXPECT_THAT(grid->processingElements, SizeIs(1));
  EXPECT_THAT(grid->networkSwitches, SizeIs(1));
}

TEST(GridTest, OfNoClustersIsEmpty) {
  std::string said;
  const auto grid = Build(0, 2, 4, &said);
  EXPECT_EQ("", said);
  EXPECT_THAT(grid->persistant, IsEmpty());
  EXPECT_THAT(grid->processingElements, IsEmpty());
  EXPECT_THAT(grid->networkSwitches, IsEmpty());
  EXPECT_EQ(84u, grid->clusterOffset);
}

TEST(GridTest, LocatesAPositionInClusterDomainAndElement) {
  const auto grid = Build(2, 3, 2);
  EXPECT_THAT(AtEachOf(*grid, 12, &Grid::Cluster), ElementsAre(0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1));
  EXPECT_THAT(AtEachOf(*grid, 12, &Grid::Domain), ElementsAre(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5));
  EXPECT_THAT(AtEachOf(*grid, 12, &Grid::DomainInCluster),
              ElementsAre(0, 0, 1, 1, 2, 2, 0, 0, 1, 1, 2, 2));
  EXPECT_THAT(AtEachOf(*grid, 12, &Grid::PEInDomain),
              ElementsAre(0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1));
}

TEST(GridTest, PlacesClustersDomainsAndElements) {
  const auto grid = Build(2, 3, 2);  // offsets: clusters 70, domains 30, elements 8
  EXPECT_THAT(AtEachOf(*grid, 7, &Grid::ClusterBase), ElementsAre(20, 20, 20, 20, 20, 20, 90));
  EXPECT_THAT(AtEachOf(*grid, 9, &Grid::DomainBase),
              ElementsAre(20, 20, 50, 50, 80, 80, 90, 90, 120));
  EXPECT_THAT(AtEachOf(*grid, 9, &Grid::PEBase), ElementsAre(20, 28, 50, 58, 80, 88, 90, 98, 120));
}

TEST(GridTest, OfThreeDomainsReachesPastItsClustersOutline) {
  const auto grid = Build(1, 3, 4);
  EXPECT_EQ(110u, grid->clusterSize);
  EXPECT_EQ(132, VerticesOf(*grid->persistant[0])[1].x);
  EXPECT_EQ(142u, grid->PEBase(11) + grid->peSize);
}

TEST(GridTest, HoldsClustersThenElementsThenSwitchesEachByColumnsThenRows) {
  const auto grid = Build(2, 1, 2);  // offsets: clusters 34, elements 8
  ASSERT_THAT(grid->persistant, SizeIs(4 + 16 + 4));
  std::vector<Vertex> corners;
  for (const ArchitecturePiece* piece : grid->persistant) {
    corners.push_back(VerticesOf(*piece)[0]);
  }
  const std::vector<int> bases = {20, 28, 54, 62};
  std::vector<Vertex> expected = {{18, 18, 0}, {18, 52, 0}, {52, 18, 0}, {52, 52, 0}};
  for (const int x : bases) {
    for (const int y : bases) {
      expected.push_back({x, y, 0});
    }
  }
  expected.insert(expected.end(), {{38, 38, 0}, {38, 72, 0}, {72, 38, 0}, {72, 72, 0}});
  EXPECT_EQ(expected, corners);
}

TEST(GridTest, FilesEachElementUnderItsOwnRowAndColumn) {
  const auto grid = Build(2, 1, 2);
  ASSERT_THAT(grid->processingElements, SizeIs(16));
  for (uint32 column = 0; column < 4; ++column) {
    for (uint32 row = 0; row < 4; ++row) {
      EXPECT_EQ(grid->persistant[4 + 4 * column + row],
                grid->processingElements.at(Location(row, column)));
    }
  }
}

TEST(GridTest, FilesEachSwitchFourRowsAndColumnsFromItsCluster) {
  std::string said;
  const auto grid = Build(2, 1, 2, &said);
  EXPECT_EQ("0 0\n0 2\n2 0\n2 2\n", said);
  ASSERT_THAT(grid->networkSwitches, SizeIs(4));
  EXPECT_EQ(grid->persistant[20], grid->networkSwitches.at(Location(4, 4)));
  EXPECT_EQ(grid->persistant[21], grid->networkSwitches.at(Location(6, 4)));
  EXPECT_EQ(grid->persistant[22], grid->networkSwitches.at(Location(4, 6)));
  EXPECT_EQ(grid->persistant[23], grid->networkSwitches.at(Location(6, 6)));
}

TEST(GridTest, WalksItsElementsFromTheFarCornerToTheOrigin) {
  const auto grid = Build(1, 1, 2);
  std::vector<std::pair<uint32, uint32>> keys;
  for (const auto& entry : grid->processingElements) {
    keys.emplace_back(entry.first.row, entry.first.column);
  }
  EXPECT_THAT(keys,
              ElementsAre(std::pair(1, 1), std::pair(1, 0), std::pair(0, 1), std::pair(0, 0)));
}

TEST(GridTest, GivesALookUpOfAnUnknownLocationAnEmptyEntry) {
  const auto grid = Build(1, 1, 1);
  EXPECT_EQ(nullptr, grid->processingElements[Location(7, 7)]);
  EXPECT_THAT(grid->processingElements, SizeIs(2));
  EXPECT_THAT(grid->persistant, SizeIs(3));
}

// A grid without pieces of its own, to which each test adds journal pieces.
class GridOfJournalsTest : public ::testing::Test {
 protected:
  void Persist(const std::string& name) {
    grid->persistant.push_back(new JournalPiece(journal, name));
  }

  void Pass(const std::string& name, bool finished) {
    grid->transient.push_back(new JournalPiece(journal, name, finished));
  }

  Journal journal;
  std::unique_ptr<Grid> grid = Build(0, 1, 1);
};

TEST_F(GridOfJournalsTest, DrawsThePersistentPiecesBeforeTheTransientOnes) {
  Pass("t1", false);
  Persist("p1");
  Pass("t2", true);
  Persist("p2");
  grid->Draw();
  EXPECT_THAT(journal, ElementsAre("p1 draws", "p2 draws", "t1 draws", "t2 draws"));
}

TEST_F(GridOfJournalsTest, DecaysThePersistentPiecesBeforeTheTransientOnes) {
  Pass("t1", true);
  Persist("p1");
  Pass("t2", false);
  Persist("p2");
  grid->Decay();
  EXPECT_THAT(journal, ElementsAre("p1 decays", "p2 decays", "t1 decays", "t2 decays"));
}

TEST_F(GridOfJournalsTest, DestroysThePersistentPiecesBeforeTheTransientOnes) {
  Pass("t1", false);
  Persist("p1");
  Pass("t2", true);
  Persist("p2");
  grid.reset();
  EXPECT_THAT(journal, ElementsAre("p1 gone", "p2 gone", "t1 gone", "t2 gone"));
}

TEST_F(GridOfJournalsTest, IsDestroyedWithoutStumblingOverNullPieces) {
  Persist("p1");
  grid->persistant.push_back(nullptr);
  grid->transient.push_back(nullptr);
  Pass("t1", false);
  grid.reset();
  EXPECT_THAT(journal, ElementsAre("p1 gone", "t1 gone"));
}

TEST_F(GridOfJournalsTest, PurgeDestroysWhatIsFinishedAndKeepsTheOrderOfTheRest) {
  Persist("p1");
  for (const auto& [name, finished] : std::vector<std::pair<std::string, bool>>{
           {"t1", true}, {"t2", false}, {"t3", true}, {"t4", true}, {"t5", false}}) {
    Pass(name, finished);
  }
  grid->Purge();
  EXPECT_THAT(journal, ElementsAre("t1 gone", "t3 gone", "t4 gone"));
  EXPECT_THAT(grid->transient, SizeIs(2));
  EXPECT_THAT(grid->persistant, SizeIs(1));
  journal.clear();
  grid->Draw();
  EXPECT_THAT(journal, ElementsAre("p1 draws", "t2 draws", "t5 draws"));
}

TEST_F(GridOfJournalsTest, PurgeOfNothingDoesNothing) {
  Persist("p1");
  grid->Purge();
  EXPECT_THAT(journal, IsEmpty());
  EXPECT_THAT(grid->transient, IsEmpty());
  EXPECT_THAT(grid->persistant, SizeIs(1));
}

TEST_F(GridOfJournalsTest, PurgeEmptiesTheListWhenAllAreFinished) {
  Pass("t1", true);
  Pass("t2", true);
  grid->Purge();
  EXPECT_THAT(journal, ElementsAre("t1 gone", "t2 gone"));
  EXPECT_THAT(grid->transient, IsEmpty());
}

TEST_F(GridOfJournalsTest, PurgeNeverAsksPersistentPieces) {
  grid->persistant.push_back(new JournalPiece(journal, "p1", true));
  grid->Purge();
  EXPECT_THAT(journal, IsEmpty());
  EXPECT_THAT(grid->persistant, SizeIs(1));
}

// Notes how long the list is while the piece is destroyed.
struct WatchingPiece : ArchitecturePiece {
  WatchingPiece(const std::list<ArchitecturePiece*>& list, std::vector<size_t>& lengths)
      : ArchitecturePiece(0), list(list), lengths(lengths) {}
  ~WatchingPiece() override { lengths.push_back(list.size()); }
  bool Finished() override { return true; }

  const std::list<ArchitecturePiece*>& list;
  std::vector<size_t>& lengths;
};

TEST(GridTest, PurgeChangesItsListOnlyAfterTheWalk) {
  const auto grid = Build(0, 1, 1);
  std::vector<size_t> lengths;
  for (int i = 0; i < 3; ++i) {
    grid->transient.push_back(new WatchingPiece(grid->transient, lengths));
  }
  grid->Purge();
  EXPECT_THAT(lengths, ElementsAre(3, 3, 3));
}

TEST(GridTest, DrawsEachOfItsOwnPiecesInOrder) {
  const auto grid = Build(1, 1, 1);
  const Location here(0, 0);
  grid->transient.push_back(new Transmission(here, here, grid.get()));
  TakeGlCalls();
  grid->Draw();
  std::vector<std::string> modes;
  for (const std::string& call : TakeGlCalls()) {
    if (call.starts_with("glDrawArrays")) {
      modes.push_back(ParseDrawCall(call).mode);
    }
  }
  EXPECT_THAT(modes, ElementsAre("GL_LINE_LOOP", "GL_QUADS", "GL_QUADS", "GL_LINES"));
}

TEST(GridTest, PurgeRemovesAMessageToItsOwnPlaceAfterElevenStepsLikeAnyOther) {
  const auto grid = Build(1, 1, 2);
  const Location here(1, 0);
  const Location there(0, 1);
  grid->transient.push_back(new Transmission(here, here, grid.get()));
  grid->transient.push_back(new Transmission(here, there, grid.get()));
  for (int step = 1; step <= 11; ++step) {
    grid->Purge();
    EXPECT_THAT(grid->transient, SizeIs(2)) << "step " << step;
    grid->Decay();
  }
  grid->Purge();
  EXPECT_THAT(grid->transient, IsEmpty());
  EXPECT_THAT(grid->persistant, SizeIs(6));
}

TEST(GridDeathTest, NoDomainsOrElementsDivideByZeroWhileClustersAreBuilt) {
  EXPECT_DIVISION_BY_ZERO(Grid(1, 0, 1));
  EXPECT_DIVISION_BY_ZERO(Grid(1, 1, 0));
}

TEST(GridDeathTest, NoDomainsOrElementsDivideByZeroInTheAccessors) {
  const auto noDomains = Build(0, 0, 1);
  const auto noElements = Build(0, 1, 0);
  EXPECT_DIVISION_BY_ZERO(noDomains->Cluster(3));
  EXPECT_DIVISION_BY_ZERO(noDomains->DomainInCluster(3));
  EXPECT_DIVISION_BY_ZERO(noElements->Cluster(3));
  EXPECT_DIVISION_BY_ZERO(noElements->Domain(3));
  EXPECT_DIVISION_BY_ZERO(noElements->PEInDomain(3));
}

TEST(GridTest, TheFieldsStandInTheirOrder) {
  const auto grid = Build(0, 1, 1);
  const std::vector<const void*> fields = {
      &grid->clusters,       &grid->domains,     &grid->pes,
      &grid->peSize,         &grid->peSpace,     &grid->domainSpace,
      &grid->clusterSpace,   &grid->border,      &grid->switchSize,
      &grid->switchSpace,    &grid->peOffset,    &grid->domainSize,
      &grid->domainOffset,   &grid->clusterSize, &grid->clusterOffset,
      &grid->persistant,     &grid->transient,   &grid->processingElements,
      &grid->networkSwitches};
  EXPECT_EQ(grid.get(), fields[0]);
  for (size_t i = 1; i < fields.size(); ++i) {
    EXPECT_LT(fields[i - 1], fields[i]) << "field " << i;
  }
}

static_assert(!std::is_polymorphic_v<Grid>);
static_assert(std::is_same_v<decltype(Grid::persistant), std::vector<ArchitecturePiece*>>);
static_assert(std::is_same_v<decltype(Grid::transient), std::list<ArchitecturePiece*>>);
static_assert(std::is_same_v<decltype(&Grid::SwitchBase), decltype(&Grid::PEBase)>);

}  // namespace
}  // namespace marrowfin::testing
