#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "tests/viewer/Drawing.h"
#include "tests/viewer/PieceTesting.h"
#include "viewer/ArchPiece.h"
#include "viewer/Grid.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

class TransmissionTest : public ::testing::Test {
 protected:
  TransmissionTest() {
    CaptureStderr();
    grid = std::make_unique<Grid>(2, 2, 4);
    GetCapturedStderr();
  }

  Transmission Send(unsigned int fromColumn, unsigned int fromRow, unsigned int toColumn,
                    unsigned int toRow) {
    return {Location(fromRow, fromColumn), Location(toRow, toColumn), grid.get()};
  }

  std::unique_ptr<Grid> grid;
};

TEST_F(TransmissionTest, JoinsTheCornersOfTheUnitSquaresAtSenderAndReceiver) {
  const Transmission piece = Send(4, 1, 15, 8);
  EXPECT_EQ(8u, piece.vertexCount);
  EXPECT_THAT(VerticesOf(piece), ElementsAre(Vertex{66, 28, 0}, Vertex{174, 104, 0},    //
                                             Vertex{67, 28, 0}, Vertex{175, 104, 0},    //
                                             Vertex{66, 29, 0}, Vertex{174, 105, 0},    //
                                             Vertex{67, 29, 0}, Vertex{175, 105, 0}));  //
}

TEST_F(TransmissionTest, ToItsSenderIsFourLinesWithoutLengthThatAgeLikeAnyOther) {
  Transmission piece = Send(0, 0, 0, 0);
  EXPECT_THAT(
      VerticesOf(piece),
      ElementsAre(Vertex{20, 20, 0}, Vertex{20, 20, 0}, Vertex{21, 20, 0}, Vertex{21, 20, 0},
                  Vertex{20, 21, 0}, Vertex{20, 21, 0}, Vertex{21, 21, 0}, Vertex{21, 21, 0}));
  Fade(piece, 11);
  EXPECT_TRUE(piece.Finished());
}

TEST_F(TransmissionTest, BeginsRedAndUnaged) {
  Transmission piece = Send(0, 0, 1, 0);
  EXPECT_EQ((Color{255, 0, 0}), ColorOf(piece));
  EXPECT_EQ(0, piece.age);
  EXPECT_FALSE(piece.Finished());
}

TEST_F(TransmissionTest, FadesTowardsWhiteInElevenSteps) {
  Transmission piece = Send(0, 0, 1, 0);
  std::vector<Color> expected;
  for (const int value : {51, 91, 123, 149, 170, 187, 200, 211, 219, 226, 231}) {
    expected.push_back({255, value, value});
  }
  EXPECT_EQ(expected, Fade(piece, 11));
}

TEST_F(TransmissionTest, FadesAnyColourByAFifthInEveryChannel) {
  Transmission piece = Send(0, 0, 1, 0);
  for (int value = 0; value < 256; ++value) {
    Paint(piece, {value, 255 - value, 100});
    EXPECT_THAT(Fade(piece, 1),
                ElementsAre(Color{(4 * value + 255) / 5, (4 * (255 - value) + 255) / 5, 131}));
  }
}

TEST_F(TransmissionTest, IsFinishedAfterElevenStepsAndNotAfterTen) {
  Transmission piece = Send(0, 0, 1, 0);
  for (int age = 1; age <= 10; ++age) {
    piece.Decay();
    EXPECT_EQ(age, piece.age);
    EXPECT_FALSE(piece.Finished()) << "age " << age;
  }
  piece.Decay();
  EXPECT_EQ(11, piece.age);
  EXPECT_TRUE(piece.Finished());
  piece.Decay();
  EXPECT_TRUE(piece.Finished());
}

TEST_F(TransmissionTest, FinishesByItsAgeWhateverItsColour) {
  Transmission piece = Send(0, 0, 1, 0);
  piece.SetColor(231, 231, 231);
  EXPECT_FALSE(piece.Finished());
  piece.age = 11;
  piece.SetColor(255, 0, 0);
  EXPECT_TRUE(piece.Finished());
}

TEST_F(TransmissionTest, IsDrawnAsLinesWithTheArraysEnabledEveryTime) {
  Transmission piece = Send(3, 2, 1, 0);
  ExpectDraws(piece, "GL_LINES");
  piece.Decay();
  ExpectDraws(piece, "GL_LINES");
}

static_assert(std::is_same_v<decltype(Transmission::age), int>);
static_assert(std::is_base_of_v<ArchitecturePiece, Transmission>);

}  // namespace
}  // namespace marrowfin::testing
