#include "viewer/ArchPiece.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "Core/VisTool.h"
#include "tests/support/VirtualSlots.h"
#include "tests/viewer/ArrayTracking.h"
#include "tests/viewer/Drawing.h"
#include "tests/viewer/PieceTesting.h"
#include "viewer/Grid.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

// Four processing elements a domain, two domains a cluster, two clusters: 16 positions an axis.
class ArchPieceTest : public ::testing::Test {
 protected:
  ArchPieceTest() {
    CaptureStderr();
    grid = std::make_unique<Grid>(2, 2, 4);
    GetCapturedStderr();
  }

  std::unique_ptr<Grid> grid;
  ArchitecturePiece plain{2};
};

// Vertices 0 to 23 of a cube that begins at (x, y), by faces.
std::vector<Vertex> Cube(int x, int y) {
  const int x6 = x + 6;
  const int y6 = y + 6;
  return {{x, y, 0},   {x6, y, 0}, {x6, y6, 0}, {x, y6, 0},    // bottom
          {x, y, 6},   {x6, y, 6}, {x6, y6, 6}, {x, y6, 6},    // top
          {x, y, 0},   {x6, y, 0}, {x, y, 6},   {x6, y, 6},    // near side
          {x6, y6, 0}, {x, y6, 0}, {x6, y6, 6}, {x, y6, 6},    // far side
          {x, y, 0},   {x, y, 6},  {x, y6, 0},  {x, y6, 6},    // left side
          {x6, y, 0},  {x6, y, 6}, {x6, y6, 0}, {x6, y6, 6}};  // right side
}

std::vector<Vertex> Square(int x0, int y0, int x1, int y1) {
  return {{x0, y0, 0}, {x1, y0, 0}, {x1, y1, 0}, {x0, y1, 0}};
}

TEST_F(ArchPieceTest, AProcessingElementIsACubeWhoseSidesListTheirCornersCrosswise) {
  ProcessingElement piece(4, 0, grid.get());
  EXPECT_EQ(24u, piece.vertexCount);
  EXPECT_EQ(Cube(66, 20), VerticesOf(piece));
}

TEST_F(ArchPieceTest, AProcessingElementTakesItsColumnForXAndItsRowForY) {
  ProcessingElement piece(15, 9, grid.get());
  EXPECT_EQ(Cube(174, 112), VerticesOf(piece));
}

TEST_F(ArchPieceTest, AProcessingElementIsAsLargeAsTheGridSays) {
  grid->peSize = 5;
  ProcessingElement piece(0, 1, grid.get());
  EXPECT_EQ((Vertex{20, 28, 0}), VerticesOf(piece)[0]);
  EXPECT_EQ((Vertex{25, 33, 5}), VerticesOf(piece)[6]);
}

TEST_F(ArchPieceTest, ANetworkSwitchEndsASpaceBeforeTheSecondDomainOfItsCluster) {
  NetworkSwitch piece(0, 8, grid.get());
  EXPECT_EQ(4u, piece.vertexCount);
  EXPECT_EQ(Square(54, 138, 64, 148), VerticesOf(piece));
}

TEST_F(ArchPieceTest, ANetworkSwitchUsesTheGridsOffsetSpaceAndSize) {
  grid->domainOffset = 100;
  grid->switchSpace = 7;
  grid->switchSize = 30;
  NetworkSwitch piece(8, 0, grid.get());
  EXPECT_EQ(Square(167, 83, 197, 113), VerticesOf(piece));
}

TEST_F(ArchPieceTest, AClustersOutlineStandsTwoUnitsOutsideItOnEverySide) {
  Cluster piece(0, 8, grid.get());
  EXPECT_EQ(4u, piece.vertexCount);
  EXPECT_EQ(Square(18, 102, 98, 182), VerticesOf(piece));
}

TEST_F(ArchPieceTest, AClustersOutlineUsesTheGridsClusterSize) {
  grid->clusterSize = 50;
  Cluster piece(8, 0, grid.get());
  EXPECT_EQ(Square(102, 18, 156, 72), VerticesOf(piece));
}

TEST_F(ArchPieceTest, EveryNewPieceIsBlackAtEveryVertex) {
  ProcessingElement element(1, 2, grid.get());
  NetworkSwitch networkSwitch(0, 0, grid.get());
  Cluster cluster(0, 0, grid.get());
  for (ArchitecturePiece* piece :
       std::initializer_list<ArchitecturePiece*>{&plain, &element, &networkSwitch, &cluster}) {
    EXPECT_EQ((Color{0, 0, 0}), ColorOf(*piece));
  }
}

TEST_F(ArchPieceTest, AColourIsSetAtEveryVertexAndRead) {
  plain.SetColor(1, 2, 3);
  EXPECT_EQ((Color{1, 2, 3}), ColorOf(plain));
  EXPECT_THAT(std::vector<int>(plain.colors, plain.colors + 6), ElementsAre(1, 2, 3, 1, 2, 3));
}

TEST_F(ArchPieceTest, TheThreadColoursHaveLowChannelsOfOne) {
  const std::vector<Color> expected = {{255, 1, 1}, {1, 255, 1},   {255, 255, 1},
                                       {1, 1, 255}, {255, 1, 255}, {1, 255, 255}};
  ASSERT_EQ(expected.size(), std::size(threadColors));
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(expected[i], (Color{threadColors[i][0], threadColors[i][1], threadColors[i][2]}));
  }
}

TEST_F(ArchPieceTest, UpdatePaintsInTheColourOfTheThreadModuloSix) {
  const Location here(0, 0);
  const std::vector<std::pair<uint32, Color>> expected = {
      {0, {255, 1, 1}}, {1, {1, 255, 1}},   {2, {255, 255, 1}},
      {3, {1, 1, 255}}, {4, {255, 1, 255}}, {5, {1, 255, 255}},
      {6, {255, 1, 1}}, {7, {1, 255, 1}},   {4294967295U, {1, 1, 255}}};
  for (const auto& [thread, color] : expected) {
    const PEFire fire(99, thread, here);
    plain.Update(&fire);
    EXPECT_EQ(color, ColorOf(plain)) << "thread " << thread;
  }
}

TEST_F(ArchPieceTest, UpdateReadsTheThreadOnlyAndOfAnyEvent) {
  const VisToolEvent event(5, 1);
  NetworkSwitch networkSwitch(0, 0, grid.get());
  networkSwitch.Update(&event);
  EXPECT_EQ((Color{1, 255, 1}), ColorOf(networkSwitch));
  EXPECT_EQ(5u, event.cyc);
  EXPECT_EQ(1u, event.thread);
}

TEST_F(ArchPieceTest, UpdateRecoloursAClusterToo) {
  const VisToolEvent event(0, 3);
  Cluster cluster(0, 0, grid.get());
  cluster.Update(&event);
  EXPECT_EQ((Color{1, 1, 255}), ColorOf(cluster));
}

TEST_F(ArchPieceTest, ABlackProcessingElementFadesToRestAtLightGrey) {
  ProcessingElement piece(0, 0, grid.get());
  EXPECT_EQ(Greys({110, 165, 192, 206, 206, 206}), Fade(piece, 6));
}

TEST_F(ArchPieceTest, AProcessingElementOfThreadZeroFadesInItsRedOnly) {
  ProcessingElement piece(0, 0, grid.get());
  piece.SetColor(255, 1, 1);
  EXPECT_THAT(Fade(piece, 3), ElementsAre(Color{237, 1, 1}, Color{237, 1, 1}, Color{237, 1, 1}));
}

TEST_F(ArchPieceTest, AProcessingElementOfThreadOneKeepsItsGreenWhileItsRedClimbs) {
  ProcessingElement piece(0, 0, grid.get());
  piece.SetColor(1, 255, 1);
  EXPECT_THAT(Fade(piece, 5),
              ElementsAre(Color{110, 255, 1}, Color{165, 255, 1}, Color{192, 255, 1},
                          Color{206, 255, 1}, Color{206, 255, 1}));
}

TEST_F(ArchPieceTest, ThePlainFadeLeavesGreyOf206AndBrings241To230) {
  plain.SetColor(206, 206, 206);
  EXPECT_EQ(Greys({206}), Fade(plain, 1));
  plain.SetColor(241, 241, 241);
  EXPECT_EQ(Greys({230}), Fade(plain, 1));
}

TEST_F(ArchPieceTest, ThePlainFadeRestsFrom200To240) {
  for (const int value : {200, 201, 220, 239, 240}) {
    Paint(plain, {value, value, value});
    EXPECT_EQ(Greys({value}), Fade(plain, 1));
    Paint(plain, {value, 7, 9});
    EXPECT_THAT(Fade(plain, 1), ElementsAre(Color{value, 7, 9}));
  }
  plain.SetColor(199, 199, 199);
  EXPECT_EQ(Greys({209}), Fade(plain, 1));
}

TEST_F(ArchPieceTest, ThePlainFadeOfAColourMovesItsRedOnly) {
  plain.SetColor(250, 10, 10);
  EXPECT_THAT(Fade(plain, 2), ElementsAre(Color{235, 10, 10}, Color{235, 10, 10}));
  plain.SetColor(199, 199, 200);
  EXPECT_THAT(Fade(plain, 1), ElementsAre(Color{209, 199, 200}));
}

TEST_F(ArchPieceTest, GreyMeansThatAllThreeChannelsAreAlike) {
  plain.SetColor(10, 10, 20);
  EXPECT_THAT(Fade(plain, 1), ElementsAre(Color{115, 10, 20}));
  plain.SetColor(10, 20, 10);
  EXPECT_THAT(Fade(plain, 1), ElementsAre(Color{115, 20, 10}));
  plain.SetColor(10, 20, 20);
  EXPECT_THAT(Fade(plain, 1), ElementsAre(Color{115, 20, 20}));
}

TEST_F(ArchPieceTest, ThePlainFadeMovesEveryValueOutsideItsRestHalfwayTowards220) {
  for (int value = 0; value < 256; ++value) {
    const int expected = value >= 200 && value <= 240 ? value : (value + 220) / 2;
    Paint(plain, {value, value, value});
    EXPECT_EQ(Greys({expected}), Fade(plain, 1));
  }
}

TEST_F(ArchPieceTest, ABlackSwitchFadesTowardsWhiteAndRestsJustBelowIt) {
  NetworkSwitch piece(0, 0, grid.get());
  EXPECT_EQ(Greys({127, 191, 223, 239, 247, 251, 253, 254, 254}), Fade(piece, 9));
}

TEST_F(ArchPieceTest, ASwitchFadesInAllChannelsWhateverItsColour) {
  NetworkSwitch piece(0, 0, grid.get());
  for (int value = 0; value < 256; ++value) {
    Paint(piece, {value, 255 - value, 100});
    EXPECT_THAT(Fade(piece, 1), ElementsAre(Color{(value + 255) / 2, (510 - value) / 2, 177}));
  }
}

TEST_F(ArchPieceTest, AClusterNeverFades) {
  Cluster piece(0, 0, grid.get());
  EXPECT_EQ(Greys({0, 0}), Fade(piece, 2));
  piece.SetColor(250, 10, 10);
  EXPECT_THAT(Fade(piece, 1), ElementsAre(Color{250, 10, 10}));
}

TEST_F(ArchPieceTest, APieceThatStaysIsNeverFinished) {
  ProcessingElement element(0, 0, grid.get());
  NetworkSwitch networkSwitch(0, 0, grid.get());
  Cluster cluster(0, 0, grid.get());
  for (ArchitecturePiece* piece :
       std::initializer_list<ArchitecturePiece*>{&plain, &element, &networkSwitch, &cluster}) {
    Fade(*piece, 30);
    EXPECT_FALSE(piece->Finished());
  }
}

TEST_F(ArchPieceTest, AProcessingElementAndASwitchAreDrawnAsQuadrilaterals) {
  ProcessingElement element(3, 1, grid.get());
  NetworkSwitch networkSwitch(8, 0, grid.get());
  element.SetColor(9, 8, 7);
  ExpectDraws(element, "GL_QUADS");
  ExpectDraws(networkSwitch, "GL_QUADS");
}

TEST_F(ArchPieceTest, AClusterIsDrawnAsAClosedOutline) {
  Cluster cluster(8, 8, grid.get());
  ExpectDraws(cluster, "GL_LINE_LOOP");
}

TEST_F(ArchPieceTest, EveryDrawMakesItsFiveCallsAgainAndShowsTheColourOfTheMoment) {
  ProcessingElement piece(3, 1, grid.get());
  ExpectDraws(piece, "GL_QUADS");
  piece.SetColor(1, 2, 3);
  ExpectDraws(piece, "GL_QUADS");
}

TEST_F(ArchPieceTest, APlainPieceHoldsThreeNumbersPerVertexAndDrawsThemAll) {
  ArchitecturePiece piece(5);
  EXPECT_EQ(5u, piece.vertexCount);
  EXPECT_EQ(3 * 5 * sizeof(GLint), ArrayBytes(piece.vertices));
  EXPECT_EQ(3 * 5 * sizeof(GLubyte), ArrayBytes(piece.colors));
  for (int i = 0; i < 15; ++i) {
    piece.vertices[i] = i;
  }
  ExpectDraws(piece, "GL_QUADS");
}

// Destroys the piece; its colours are left to us.
template <class Piece>
void ExpectLeavesItsColours(Piece* piece) {
  GLint* vertices = piece->vertices;
  GLubyte* colors = piece->colors;
  static_cast<ArchitecturePiece*>(piece)->SetColor(1, 2, 3);
  delete piece;
  EXPECT_TRUE(ArrayReleased(vertices));
  ASSERT_FALSE(ArrayReleased(colors));
  EXPECT_EQ(1, colors[0]);
  EXPECT_EQ(3, colors[11]);
  delete[] colors;
}

TEST_F(ArchPieceTest, DestroyingAPieceReleasesItsVerticesAndLeavesItsColours) {
  const Location here(0, 0);
  ExpectLeavesItsColours(new ArchitecturePiece(4));
  ExpectLeavesItsColours(new ProcessingElement(0, 0, grid.get()));
  ExpectLeavesItsColours(new NetworkSwitch(0, 0, grid.get()));
  ExpectLeavesItsColours(new Cluster(0, 0, grid.get()));
  ExpectLeavesItsColours(new Transmission(here, here, grid.get()));
}

TEST_F(ArchPieceTest, TheVirtualOperationsAreDecayUpdateDrawFinished) {
  EXPECT_EQ(0u, VirtualSlot(&ArchitecturePiece::Decay));
  EXPECT_EQ(1u, VirtualSlot(&ArchitecturePiece::Update));
  EXPECT_EQ(2u, VirtualSlot(&ArchitecturePiece::Draw));
  EXPECT_EQ(3u, VirtualSlot(&ArchitecturePiece::Finished));
}

struct Observed : ArchitecturePiece {
  explicit Observed(bool* gone) : ArchitecturePiece(1), gone(gone) {}
  ~Observed() override { *gone = true; }

  bool* gone;
};

TEST_F(ArchPieceTest, TheDestructorFollowsTheFourOperations) {
  bool gone = false;
  auto* piece = new Observed(&gone);
  GLubyte* colors = piece->colors;
  CallVirtualSlot(piece, 5);  // behind the slot that leaves the storage alone
  EXPECT_TRUE(gone);
  delete[] colors;
}

TEST_F(ArchPieceTest, TheFieldsStandInTheirOrder) {
  const auto offset = [&](const void* field) {
    return static_cast<const char*>(field) - reinterpret_cast<const char*>(&plain);
  };
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(void*)), offset(&plain.vertexCount));
  EXPECT_LT(offset(&plain.vertexCount), offset(&plain.vertices));
  EXPECT_LT(offset(&plain.vertices), offset(&plain.colors));
  EXPECT_LT(offset(&plain.colors), offset(&plain.r));
  EXPECT_EQ(offset(&plain.r) + 1, offset(&plain.g));
  EXPECT_EQ(offset(&plain.r) + 2, offset(&plain.b));
}

static_assert(std::is_same_v<decltype(ArchitecturePiece::vertexCount), unsigned int>);
static_assert(std::is_same_v<decltype(ArchitecturePiece::vertices), GLint*>);
static_assert(std::is_same_v<decltype(ArchitecturePiece::colors), GLubyte*>);
static_assert(std::is_same_v<decltype(ArchitecturePiece::r), GLubyte>);
static_assert(std::has_virtual_destructor_v<ArchitecturePiece>);

// The kinds of pieces add no fields.
static_assert(sizeof(ProcessingElement) == sizeof(ArchitecturePiece));
static_assert(sizeof(NetworkSwitch) == sizeof(ArchitecturePiece));
static_assert(sizeof(Cluster) == sizeof(ArchitecturePiece));

}  // namespace
}  // namespace marrowfin::testing
