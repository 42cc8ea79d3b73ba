#include "render/MessageBands.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "render/ArrayPieces.h"
#include "render/OffscreenContext.h"
#include "viewer/Display.h"

namespace marrowfin {
namespace {

// Messages on white, by one way or the other.
class MessageBandsTest : public ::testing::TestWithParam<OffscreenContext::Way> {
 protected:
  std::vector<Pixel> Drawn(const ArrayState& state) {
    ArrayPieces pieces(state.shape);
    const int units = pieces.Units();
    const auto side = static_cast<uint32_t>(units);
    if (!context || context->Size().width != side) {
      auto opened = OffscreenContext::Open({side, side}, GetParam());
      EXPECT_TRUE(opened) << opened.Why().Text();
      context = std::move(opened).Take();
    }
    FitPicture(units, units, units, units);
    glClearColor(1, 1, 1, 0);
    glClear(GL_COLOR_BUFFER_BIT);
    TurnPicture(units, units, 0);
    pieces.DrawMessages(state);
    std::vector<Pixel> pixels;
    const Picture picture = context->Read();
    for (size_t i = 0; i < picture.pixels.size(); i += Picture::CHANNELS) {
      pixels.push_back({picture.pixels[i], picture.pixels[i + 1], picture.pixels[i + 2], 0});
    }
    return pixels;
  }

  static std::vector<Pixel> Painted(const ArrayState& state) {
    const ArrayPieces pieces(state.shape);
    const auto side = static_cast<uint32_t>(pieces.Units());
    std::vector<Pixel> pixels(size_t{side} * side, Pixel{255, 255, 255, 0});
    const MessageBands bands(pieces.ElementBases(), side);
    EXPECT_TRUE(bands.CanPaint(state));
    bands.Paint(state, pixels.data());
    return pixels;
  }

  static ArrayState Random(const ArrayShape& shape, unsigned seed, size_t count) {
    std::mt19937 random(seed);
    ArrayState state;
    state.shape = shape;
    state.step = LAST_MESSAGE_AGE;
    const auto place = [&] {
      return Place{static_cast<uint32_t>(random() % shape.Columns()),
                   static_cast<uint32_t>(random() % shape.Rows())};
    };
    for (size_t i = 0; i < count; ++i) {
      const Place from = place();
      state.messages.push_back({i, random() % (LAST_MESSAGE_AGE + 1), 0, from, place()});
    }
    return state;
  }

  std::unique_ptr<OffscreenContext> context;  // of the last size that was drawn
};

TEST_P(MessageBandsTest, EveryMessageIsPaintedAsOpenGlDrawsIt) {
  for (const ArrayShape& shape : {ArrayShape(1, 1, 1), ArrayShape(1, 1, 9), ArrayShape(2, 2, 4),
                                  ArrayShape(4, 2, 8), ArrayShape(3, 1, 5)}) {
    for (unsigned seed = 0; seed < 6; ++seed) {
      const ArrayState state = Random(shape, seed, seed < 3 ? 12 : 400);
      ASSERT_TRUE(Drawn(state) == Painted(state)) << shape.Columns() << " columns, " << seed;
    }
  }
}

// Many of these lines pass between two pixels in the middle of a column or row.
TEST_P(MessageBandsTest, AllWaysFromOneElementAreThoseOfOpenGl) {
  const ArrayShape shape(1, 1, 24);
  ArrayState state;
  state.shape = shape;
  for (size_t i = 0; i < shape.Elements(); ++i) {
    state.messages.push_back({i, 0, 0, {12, 11}, shape.ElementAt(i)});
  }
  EXPECT_TRUE(Drawn(state) == Painted(state));
  for (size_t i = 0; i < shape.Elements(); i += 11) {
    state.messages = {{0, 0, 0, {12, 11}, shape.ElementAt(i)}};
    ASSERT_TRUE(Drawn(state) == Painted(state)) << i;
    std::swap(state.messages[0].from, state.messages[0].to);
    ASSERT_TRUE(Drawn(state) == Painted(state)) << i << ", back";
  }
}

TEST_P(MessageBandsTest, ALargePictureHasTheSamePixels) {
  const ArrayState state = Random(ArrayShape(8, 4, 8), 3, 300);
  EXPECT_TRUE(Drawn(state) == Painted(state));
}

TEST_P(MessageBandsTest, OtherMessagesHaveOtherPixels) {
  const ArrayState state = Random(ArrayShape(2, 2, 4), 1, 12);
  ArrayState other = state;
  other.messages[11].to.column ^= 1;
  EXPECT_FALSE(Drawn(other) == Painted(state));
}

TEST_P(MessageBandsTest, TheSampleHasMessagesInAllDirectionsThatOpenGlDrawsThere) {
  const ArrayState sample = MessageBands::Sample(ArrayShape(2, 2, 4));
  size_t level = 0;
  size_t upright = 0;
  size_t steep = 0;
  for (const LiveMessage& message : sample.messages) {
    const int64_t across = int64_t{message.to.column} - message.from.column;
    const int64_t up = int64_t{message.to.row} - message.from.row;
    level += up == 0 && across != 0 ? 1 : 0;
    upright += across == 0 && up != 0 ? 1 : 0;
    steep += std::abs(up) > std::abs(across) && across != 0 ? 1 : 0;
  }
  EXPECT_GT(level, 10U);
  EXPECT_GT(upright, 10U);
  EXPECT_GT(steep, 50U);
  EXPECT_TRUE(Drawn(sample) == Painted(sample));
}

TEST_P(MessageBandsTest, MessagesFromOrToNowhereAreLeftToOpenGl) {
  ArrayState state = Random(ArrayShape(1, 1, 4), 1, 3);
  const MessageBands bands(ArrayPieces(state.shape).ElementBases(), 100);
  EXPECT_TRUE(bands.CanPaint(state));
  state.messages[1].to = {4, 0};
  EXPECT_FALSE(bands.CanPaint(state));
  state.messages[1] = {0, 0, 0, {0, 4000000000}, {0, 0}};
  EXPECT_FALSE(bands.CanPaint(state));
}

INSTANTIATE_TEST_SUITE_P(Ways, MessageBandsTest,
                         ::testing::Values(OffscreenContext::BY_EGL, OffscreenContext::BY_OSMESA));

}  // namespace
}  // namespace marrowfin
