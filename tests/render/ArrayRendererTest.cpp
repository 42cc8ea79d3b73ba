// That pictures are those of the real window is tested with the window (tests/window).

#include "render/ArrayRenderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "viewer/ArchPiece.h"
#include "viewer/Display.h"

namespace marrowfin {
namespace {

using ::testing::HasSubstr;

typedef std::unique_ptr<ArrayRenderer> Renderer;

Renderer Open(const ArrayShape& shape, const WindowView& view = {},
              OffscreenContext::Way way = OffscreenContext::ANY_WAY) {
  auto renderer = ArrayRenderer::Open(shape, view, way);
  EXPECT_TRUE(renderer) << renderer.Why().Text();
  return renderer ? std::move(renderer).Take() : nullptr;
}

Picture Draw(ArrayRenderer& renderer, const ArrayState& state) {
  auto picture = renderer.Draw(state);
  EXPECT_TRUE(picture) << picture.Why().Text();
  return picture ? std::move(picture).Take() : Picture();
}

ArrayState RandomState(const ArrayShape& shape, unsigned seed) {
  std::mt19937 random(seed);
  ArrayState state = AsBuilt(shape);
  state.step = 20 + seed;
  for (uint8_t& code : state.elementCodes) {
    code = static_cast<uint8_t>(random() % ElementCodes::COUNT);
  }
  for (uint8_t& code : state.switchCodes) {
    code = static_cast<uint8_t>(random() % SwitchCodes::COUNT);
  }
  for (uint64_t i = 0; i < 60; ++i) {
    const auto place = [&] {
      return Place{static_cast<uint32_t>(random() % shape.Columns()),
                   static_cast<uint32_t>(random() % shape.Rows())};
    };
    const Place from = place();
    state.messages.push_back({i, state.step - LAST_MESSAGE_AGE + i / 5, 0, from, place()});
  }
  Paint(state);
  return state;
}

// Red, green and blue of a pixel, counted in picture units from the lower left corner.
std::vector<int> PixelAt(const Picture& picture, uint32_t x, uint32_t y) {
  const size_t first = Picture::CHANNELS *
                       (static_cast<size_t>(picture.size.height - 1 - y) * picture.size.width + x);
  return {picture.pixels[first], picture.pixels[first + 1], picture.pixels[first + 2]};
}

// What the viewer's grid draws of a state, piece by piece as the viewer does it.
Picture DrawnByTheGrid(const ArrayState& state, PictureSize size, float spin) {
  const ArrayShape& shape = state.shape;
  Grid grid(shape.clusters.columns, shape.domains.columns, shape.pes.columns, nullptr);
  const auto at = [](Place place) { return Location(place.row, place.column); };
  for (size_t i = 0; i < shape.Elements(); ++i) {
    const Color color = state.elements[i];
    grid.processingElements.at(at(shape.ElementAt(i)))
        ->SetColor(color.red, color.green, color.blue);
  }
  for (size_t i = 0; i < shape.Switches(); ++i) {
    const Color color = state.switches[i];
    grid.networkSwitches.at(at(shape.SwitchAt(i)))->SetColor(color.red, color.green, color.blue);
  }
  for (const LiveMessage& message : state.messages) {
    grid.transient.push_back(new Transmission(at(message.from), at(message.to), &grid));
    const Color color = state.ColorOf(message);
    grid.transient.back()->SetColor(color.red, color.green, color.blue);
  }
  const auto context = OffscreenContext::Open(size);
  EXPECT_FALSE((*context)->MakeCurrent());
  const int units = PictureUnits(grid);
  glClearColor(1, 1, 1, 1);
  FitPicture(static_cast<int>(size.width), static_cast<int>(size.height), units, units);
  glClear(GL_COLOR_BUFFER_BIT);
  TurnPicture(units, units, spin);
  grid.Draw();
  return (*context)->Read();
}

TEST(ArrayRendererTest, EveryPixelIsThatOfTheViewersGrid) {
  std::mt19937 random(7);
  for (unsigned round = 0; round < 120; ++round) {
    const ArrayShape shape(1 + random() % 4, 1 + random() % 3, 1 + random() % 5);
    const PictureSize size = {1 + static_cast<uint32_t>(random() % 400),
                              1 + static_cast<uint32_t>(random() % 400)};
    const uint32_t spin = round % 2 == 0 ? 0 : random() % WindowView::MOST_SPIN;
    const ArrayState state = RandomState(shape, round);
    EXPECT_EQ(DrawnByTheGrid(state, size, static_cast<float>(spin)),
              Draw(*Open(shape, {size, spin}), state))
        << size.width << " by " << size.height << " at " << spin;
  }
}

TEST(ArrayRendererTest, AnArrayAsBuiltIsBlackOnWhite) {
  const ArrayShape shape(2, 2, 4);
  const Picture picture = Draw(*Open(shape), AsBuilt(shape));
  EXPECT_EQ((PictureSize{208, 208}), picture.size);
  EXPECT_EQ((std::vector<int>{255, 255, 255}), PixelAt(picture, 1, 1));
  EXPECT_EQ((std::vector<int>{0, 0, 0}), PixelAt(picture, 23, 23));
  EXPECT_EQ((std::vector<int>{0, 0, 0}), PixelAt(picture, 59, 59));
}

TEST(ArrayRendererTest, ColumnsRunToTheRightAndRowsUpwards) {
  const ArrayShape shape(2, 2, 4);
  ArrayState state = AsBuilt(shape);
  state.elements[shape.ElementNumber({15, 0})] = {1, 2, 3};
  state.switches[shape.SwitchNumber(shape.SwitchOf({0, 1}))] = {4, 5, 6};
  const Picture picture = Draw(*Open(shape), state);
  EXPECT_EQ((std::vector<int>{1, 2, 3}), PixelAt(picture, 177, 23));
  EXPECT_EQ((std::vector<int>{4, 5, 6}), PixelAt(picture, 59, 143));
}

TEST(ArrayRendererTest, ARendererThatIsKeptDrawsWhatANewOneDraws) {
  const ArrayShape shape(2, 2, 3);
  const WindowView view = {PictureSize{300, 200}, 50};
  const Renderer kept = Open(shape, view);
  Picture before;
  for (const unsigned seed : {1U, 2U, 3U, 1U}) {
    const ArrayState state = RandomState(shape, seed);
    const Picture picture = Draw(*kept, state);
    EXPECT_EQ(Draw(*Open(shape, view), state), picture) << seed;
    EXPECT_NE(before, picture) << seed;
    before = picture;
  }
}

TEST(ArrayRendererTest, EveryWayToDrawGivesTheSamePixels) {
  for (const uint32_t spin : {0U, 1U, 45U, 977U, WindowView::MOST_SPIN}) {
    const ArrayShape shape(2, 2, 4);
    const WindowView view = {PictureSize{300, 280}, spin};
    const ArrayState state = RandomState(shape, spin);
    const Picture byEgl = Draw(*Open(shape, view, OffscreenContext::BY_EGL), state);
    EXPECT_EQ(byEgl, Draw(*Open(shape, view, OffscreenContext::BY_OSMESA), state)) << spin;
    EXPECT_NE(byEgl, Draw(*Open(shape, {view.size, spin + 1}), state)) << spin;
  }
}

TEST(ArrayRendererTest, TwoRenderersTakeTurns) {
  const ArrayShape small(1, 1, 2);
  const ArrayShape large(3, 2, 2);
  const Renderer one = Open(small);
  const Renderer other = Open(large);
  const Picture first = Draw(*one, RandomState(small, 1));
  const Picture second = Draw(*other, RandomState(large, 1));
  EXPECT_EQ(first, Draw(*one, RandomState(small, 1)));
  EXPECT_EQ(second, Draw(*other, RandomState(large, 1)));
}

TEST(ArrayRendererTest, ShapesThatNoViewerShowsAreRefused) {
  const auto why = [](const ArrayShape& shape) {
    const auto renderer = ArrayRenderer::Open(shape, {});
    return renderer ? "" : renderer.Why().Text();
  };
  EXPECT_THAT(why(ArrayShape({2, 3}, {1, 1}, {1, 1})), HasSubstr("shows no array of this shape"));
  EXPECT_THAT(why(ArrayShape(0, 1, 1)), HasSubstr("shows no array of this shape"));
  EXPECT_THAT(why(ArrayShape(256, 2, 4)), HasSubstr("4194304 elements is too large"));
  EXPECT_THAT(why(ArrayShape(129, 2, 4)), HasSubstr("1065024 elements is too large"))
      << "over a thousand each way";
  EXPECT_THAT(why(ArrayShape(1, 1, 1)), ::testing::IsEmpty());
}

}  // namespace
}  // namespace marrowfin
