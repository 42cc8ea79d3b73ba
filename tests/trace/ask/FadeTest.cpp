// The engine knows no screen and the viewer no engine, so each has the colours and their fading for
// itself: here they are held together, step by step, far beyond where all of them rest.

#include "trace/ask/Fade.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "Core/VisTool.h"
#include "viewer/ArchPiece.h"
#include "viewer/Grid.h"

namespace marrowfin::testing {
namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

class FadeTest : public ::testing::Test {
 protected:
  FadeTest() {
    CaptureStderr();
    grid = std::make_unique<Grid>(1, 1, 1);
    GetCapturedStderr();
  }

  static Color ColorOf(ArchitecturePiece& piece) {
    Color color;
    piece.GetColor(color.red, color.green, color.blue);
    return color;
  }

  // Steps the piece and compares each colour with that of the engine.
  template <class Expected>
  static void ExpectFades(ArchitecturePiece& piece, Expected expected) {
    for (uint64_t age = 0; age < 50; ++age) {
      ASSERT_TRUE(ColorOf(piece) == expected(age)) << "age " << age;
      piece.Decay();
    }
    ASSERT_TRUE(ColorOf(piece) == expected(~uint64_t{0})) << "at rest";
  }

  std::unique_ptr<Grid> grid;
};

TEST_F(FadeTest, ElementsFadeAsInTheViewerForEveryThread) {
  for (const uint32_t thread : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 4096U, ~0U}) {
    SCOPED_TRACE(thread);
    ProcessingElement piece(0, 0, grid.get());
    const PEFire event(0, thread, Location(0, 0));
    piece.Update(&event);
    ExpectFades(piece, [&](uint64_t age) { return ElementColor(thread, age); });
  }
}

TEST_F(FadeTest, SwitchesFadeAsInTheViewerForEveryThread) {
  for (const uint32_t thread : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 4096U, ~0U}) {
    SCOPED_TRACE(thread);
    NetworkSwitch piece(0, 0, grid.get());
    const NetworkSwitchTransmission event(0, thread, Location(4, 4));
    piece.Update(&event);
    ExpectFades(piece, [&](uint64_t age) { return SwitchColor(thread, age); });
  }
}

TEST_F(FadeTest, UntouchedPiecesFadeAsInTheViewer) {
  ProcessingElement element(0, 0, grid.get());
  ExpectFades(element, UntouchedElementColor);
  NetworkSwitch networkSwitch(0, 0, grid.get());
  ExpectFades(networkSwitch, UntouchedSwitchColor);
}

TEST_F(FadeTest, MessagesFadeAndFinishAsInTheViewer) {
  Transmission piece(Location(0, 0), Location(0, 0), grid.get());
  for (uint64_t age = 0; age < LAST_MESSAGE_AGE; ++age) {
    EXPECT_TRUE(ColorOf(piece) == MessageColor(age)) << "age " << age;
    EXPECT_FALSE(piece.Finished()) << "age " << age;
    piece.Decay();
  }
  // Still drawn in the step in which it is finished.
  EXPECT_TRUE(ColorOf(piece) == MessageColor(LAST_MESSAGE_AGE));
  EXPECT_TRUE(piece.Finished());
}

}  // namespace
}  // namespace marrowfin::testing
