#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "render/floorplan/FloorplanRenderer.h"

namespace marrowfin {
namespace {

using ::testing::Each;
using ::testing::Ge;

const std::vector<ArrayShape>& Shapes() {
  static const std::vector<ArrayShape> shapes = {
      ArrayShape(1, 1, 8),
      ArrayShape(4, 2, 4),
      ArrayShape(2, 4, 3),
      ArrayShape(3, 3, 1),
      ArrayShape(PerAxis{4, 2}, PerAxis{2, 1}, PerAxis{4, 3}),
      ArrayShape(PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{12, 5}),
      ArrayShape(PerAxis{1, 5}, PerAxis{3, 1}, PerAxis{1, 7}),
  };
  return shapes;
}

bool Overlap(const PixelBox& a, const PixelBox& b) {
  return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

bool Contains(const PixelBox& outer, const PixelBox& inner) {
  return outer.x <= inner.x && outer.y <= inner.y &&
         outer.x + outer.width >= inner.x + inner.width &&
         outer.y + outer.height >= inner.y + inner.height;
}

TEST(FloorplanLayoutTest, CellsOfEveryShapeLieOnThePictureApartInTheirDomainsAndClusters) {
  for (const ArrayShape& shape : Shapes()) {
    const PictureSize size = FloorplanLayout::SizeFor(shape);
    const FloorplanLayout layout(shape, size);
    ASSERT_EQ(Level::PE, layout.Drawn());
    const PixelBox picture = {0, 0, size.width, size.height};
    for (size_t i = 0; i < shape.Elements(); ++i) {
      const Place place = shape.ElementAt(i);
      const PixelBox cell = layout.Element(place);
      EXPECT_EQ(cell.width, cell.height);
      EXPECT_TRUE(Contains(picture, cell));
      EXPECT_TRUE(Contains(layout.Domain(shape.DomainOf(place)), cell));
      EXPECT_TRUE(Contains(layout.Cluster(shape.ClusterOf(place)), cell));
      for (size_t j = 0; j < i; ++j) {
        EXPECT_FALSE(Overlap(cell, layout.Element(shape.ElementAt(j)))) << i << " " << j;
      }
    }
  }
}

TEST(FloorplanLayoutTest, ColumnsGoToTheRightAndRowsUpwards) {
  const ArrayShape shape(2, 2, 2);
  const FloorplanLayout layout(shape, FloorplanLayout::SizeFor(shape));
  EXPECT_LT(layout.Element({0, 0}).x, layout.Element({1, 0}).x);
  EXPECT_GT(layout.Element({0, 0}).y, layout.Element({0, 1}).y);
  EXPECT_EQ(layout.Element({0, 0}).y, layout.Element({7, 0}).y);
}

TEST(FloorplanLayoutTest, DomainsAndClustersStandApartAndAMeshIsFlat) {
  const ArrayShape shape(2, 2, 4);
  const FloorplanLayout layout(shape, FloorplanLayout::SizeFor(shape));
  const auto step = [](const FloorplanLayout& plan, uint32_t column) {
    return static_cast<double>(plan.Element({column + 1, 0}).x - plan.Element({column, 0}).x);
  };
  EXPECT_EQ(layout.Pitch(), step(layout, 0));
  EXPECT_EQ(2 * layout.Pitch(), step(layout, 3));    // the cross that the switch is in
  EXPECT_EQ(2.5 * layout.Pitch(), step(layout, 7));  // two frames, and a gap between
  const ArrayShape mesh(1, 1, 16);
  const FloorplanLayout flat(mesh, FloorplanLayout::SizeFor(mesh));
  for (uint32_t column = 0; column < 15; ++column) {
    EXPECT_EQ(flat.Pitch(), step(flat, column));
  }
}

TEST(FloorplanLayoutTest, TheSwitchOfAClusterMeetsNoCell) {
  for (const uint32_t domains : {2U, 3U, 4U}) {
    const ArrayShape shape(2, domains, 3);
    const FloorplanLayout layout(shape, FloorplanLayout::SizeFor(shape));
    const PixelSpot middle = layout.Switch({1, 1});
    const double radius = layout.SwitchRadius();
    const PixelBox box = {static_cast<int64_t>(std::ceil(middle.x - radius)),
                          static_cast<int64_t>(std::ceil(middle.y - radius)),
                          static_cast<int64_t>(2 * radius), static_cast<int64_t>(2 * radius)};
    EXPECT_TRUE(Contains(layout.Cluster({1, 1}), box)) << domains;
    for (size_t i = 0; i < shape.Elements(); ++i) {
      EXPECT_FALSE(Overlap(box, layout.Element(shape.ElementAt(i)))) << domains << " " << i;
    }
  }
}

TEST(FloorplanLayoutTest, TheFinestUnitWithRoomIsDrawn) {
  const ArrayShape shape(8, 4, 4);  // 128 by 128
  EXPECT_EQ(Level::PE, FloorplanLayout(shape, {1080, 1080}).Drawn());
  EXPECT_EQ(Level::DOMAIN, FloorplanLayout(shape, {500, 500}).Drawn());
  EXPECT_EQ(Level::CLUSTER, FloorplanLayout(shape, {100, 100}).Drawn());
  const ArrayShape large(64, 4, 4);
  EXPECT_EQ(Level::DOMAIN, FloorplanLayout(large, FloorplanLayout::SizeFor(large)).Drawn());
  EXPECT_GE(1080U, FloorplanLayout::SizeFor(large).width);
}

TEST(FloorplanLayoutTest, NumbersStandApartBesideTheArrayAndOnThePicture) {
  for (const ArrayShape& shape : Shapes()) {
    for (const PictureSize size : {FloorplanLayout::SizeFor(shape), PictureSize{400, 300},
                                   PictureSize{1920, 1080}, PictureSize{4000, 3000}}) {
      const FloorplanLayout layout(shape, size);
      if (std::min(size.width, size.height) < FloorplanLayout::LEAST_NUMBERED) {
        EXPECT_EQ(layout.NumberSize(), 0);
        continue;
      }
      EXPECT_GE(layout.NumberSize(), 11);
      EXPECT_GE(layout.NumberStep() * layout.Pitch(), 2.5 * layout.NumberSize());
      const PixelBox corner = layout.Cluster({0, 0});
      EXPECT_LT(layout.RowNumber(0).x, static_cast<double>(corner.x));
      EXPECT_GE(layout.RowNumber(0).x, 0.6 * layout.NumberSize());
      EXPECT_GT(layout.ColumnNumber(0).y - 0.73 * layout.NumberSize(),
                static_cast<double>(corner.y + corner.height));
      EXPECT_LT(layout.ColumnNumber(0).y, size.height);
    }
  }
}

TEST(FloorplanLayoutTest, NumbersAreAsFarApartAsTheHierarchyAndTheRoomAskFor) {
  const auto step = [](const ArrayShape& shape, PictureSize size) {
    return FloorplanLayout(shape, size).NumberStep();
  };
  EXPECT_EQ(step(ArrayShape(1, 1, 8), {400, 400}), 1U) << "cells of a mesh are large";
  EXPECT_EQ(step(ArrayShape(4, 2, 4), {1000, 1000}), 4U);
  EXPECT_EQ(step(ArrayShape(4, 2, 4), {500, 500}), 8U);
  EXPECT_EQ(step(ArrayShape(64, 4, 4), {1080, 1080}), 64U);
}

// Pictures.

class FloorplanRendererTest : public ::testing::Test {
 protected:
  Picture Draw(const ArrayState& state, const FloorplanView& view = {}) {
    auto opened = FloorplanRenderer::Open(state.shape, view);
    EXPECT_TRUE(opened) << opened.Why().Text();
    renderer = std::move(opened).Take();
    auto picture = renderer->Draw(state);
    EXPECT_TRUE(picture) << picture.Why().Text();
    return std::move(picture).Take();
  }

  static Color At(const Picture& picture, int64_t x, int64_t y) {
    const size_t first = Picture::CHANNELS * static_cast<size_t>(y * picture.size.width + x);
    return {picture.pixels[first], picture.pixels[first + 1], picture.pixels[first + 2]};
  }

  static Color Middle(const Picture& picture, const PixelBox& box) {
    return At(picture, box.x + box.width / 2, box.y + box.height / 2);
  }

  // How many pixels of the box have this colour.
  static int64_t Count(const Picture& picture, const PixelBox& box, Color color) {
    int64_t count = 0;
    for (int64_t y = box.y; y < box.y + box.height; ++y) {
      for (int64_t x = box.x; x < box.x + box.width; ++x) {
        count += At(picture, x, y) == color ? 1 : 0;
      }
    }
    return count;
  }

  static ArrayState With(const ArrayShape& shape, Place place, uint32_t thread, uint64_t age) {
    ArrayState state = AsBuilt(shape);
    state.elementCodes[shape.ElementNumber(place)] = ElementCodes::Encode(thread, age);
    return state;
  }

  std::unique_ptr<FloorplanRenderer> renderer;
  const FloorplanColors& light = FloorplanColors::Light();
};

TEST_F(FloorplanRendererTest, WhatIsFreshIsSolidAndWhatIsOldIsHollowAndSmaller) {
  const ArrayShape shape(1, 1, 4);
  FloorplanView view;
  view.size = PictureSize{96, 96};  // 20 pixels from one to the next
  int64_t before = 1 << 20;
  for (uint64_t age = 0; age <= ElementCodes::OLDEST; ++age) {
    const Picture picture = Draw(With(shape, {2, 1}, 3, age), view);
    const PixelBox box = renderer->Layout().Element({2, 1});
    const int64_t solid = Count(picture, box, light.threads[3]);
    EXPECT_GT(before, solid) << age;
    EXPECT_LT(0, solid) << age;
    before = solid;
    if (age == 0) {
      EXPECT_EQ(box.width * box.height, solid);
    } else {
      EXPECT_EQ(Mix(light.threads[3], light.paper, FillAt(static_cast<uint32_t>(age))),
                Middle(picture, box));
    }
  }
}

TEST_F(FloorplanRendererTest, CellsLessThanEightPixelsApartAreFullAtAnyAge) {
  const ArrayShape shape(1, 1, 8);
  const auto isFull = [&](uint32_t pitch) {
    FloorplanView view;
    view.size = PictureSize{8 * pitch + 16, 8 * pitch + 16};
    const Picture picture = Draw(With(shape, {2, 1}, 3, ElementCodes::OLDEST), view);
    EXPECT_EQ(pitch, renderer->Layout().Pitch());
    const PixelBox box = renderer->Layout().Element({2, 1});
    return Count(picture, box, Middle(picture, box)) == box.width * box.height;
  };
  EXPECT_TRUE(isFull(7));
  EXPECT_FALSE(isFull(8));
}

TEST_F(FloorplanRendererTest, WhatNothingHasTouchedIsADot) {
  const ArrayShape shape(2, 2, 2);
  FloorplanView view;
  view.size = PictureSize{200, 200};  // no room for digits
  const Picture picture = Draw(With(shape, {0, 0}, 1, 0), view);
  const PixelBox box = renderer->Layout().Element({5, 6});
  EXPECT_EQ(light.idle, Middle(picture, box));
  EXPECT_LT(0, Count(picture, box, light.paper));
  EXPECT_EQ(light.paper, At(picture, box.x, box.y));
  EXPECT_EQ(light.threads[1], Middle(picture, renderer->Layout().Element({0, 0})));
}

TEST_F(FloorplanRendererTest, ThreadsAreToldByDigitsWhereThereIsRoom) {
  const ArrayShape shape(1, 1, 2);
  FloorplanView view;
  view.size = PictureSize{80, 80};
  const Picture none = Draw(AsBuilt(shape), view);
  ASSERT_LE(FloorplanRenderer::DIGIT_PITCH, renderer->Layout().Pitch());
  std::set<std::vector<uint8_t>> digits;
  for (uint32_t thread = 0; thread < ElementCodes::THREADS; ++thread) {
    const Picture picture = Draw(With(shape, {0, 0}, thread, 0), view);
    const PixelBox box = renderer->Layout().Element({0, 0});
    std::vector<uint8_t> mask;
    for (int64_t y = box.y; y < box.y + box.height; ++y) {
      for (int64_t x = box.x; x < box.x + box.width; ++x) {
        mask.push_back(At(picture, x, y) == light.threads[thread] ? 0 : 1);
      }
    }
    EXPECT_TRUE(digits.insert(mask).second) << thread;
  }
}

TEST_F(FloorplanRendererTest, ColumnsAndRowsHaveTheirNumbers) {
  const ArrayShape shape(4, 2, 4);
  const Picture picture = Draw(AsBuilt(shape));
  const FloorplanLayout& layout = renderer->Layout();
  ASSERT_EQ(layout.NumberStep(), 4U);
  // The letters as they stand in a box beside the array.
  const auto below = [&](uint32_t column) {
    const auto x = static_cast<int64_t>(layout.ColumnNumber(column).x);
    const PixelBox corner = layout.Cluster({0, 0});
    return PixelBox{x - 9, corner.y + corner.height + 1, 18, 16};
  };
  const auto beside = [&](uint32_t row) {
    const auto y = static_cast<int64_t>(layout.MiddleOf({0, row}).y);
    return PixelBox{0, y - 6, layout.Cluster({0, 0}).x - 1, 12};
  };
  const auto ink = [&](const PixelBox& box) {
    return box.width * box.height - Count(picture, box, light.paper);
  };
  std::set<std::vector<Color>, bool (*)(const std::vector<Color>&, const std::vector<Color>&)>
      columns([](const std::vector<Color>& a, const std::vector<Color>& b) {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(),
            [](Color one, Color other) { return one.green < other.green; });
      });
  for (uint32_t number = 0; number < 32; ++number) {
    if (number % 4 == 0) {
      EXPECT_GT(ink(below(number)), 10) << number;
      EXPECT_GT(ink(beside(number)), 10) << number;
      std::vector<Color> letters;
      const PixelBox box = below(number);
      for (int64_t i = 0; i < box.width * box.height; ++i) {
        letters.push_back(At(picture, box.x + i % box.width, box.y + i / box.width));
      }
      EXPECT_TRUE(columns.insert(letters).second) << number;
    } else if (number % 4 == 2) {
      EXPECT_EQ(ink(below(number)), 0) << number;
      EXPECT_EQ(ink(beside(number)), 0) << number;
    }
  }
}

TEST_F(FloorplanRendererTest, AMessageGoesFromOneToTheOtherAndFades) {
  const ArrayShape shape(1, 1, 8);
  FloorplanView view;
  view.size = PictureSize{8 * 16 + 16, 8 * 16 + 16};
  ArrayState state = AsBuilt(shape);
  state.step = 30;
  const Picture without = Draw(state, view);
  size_t before = 0;
  for (const uint64_t age : {uint64_t{0}, uint64_t{3}, LAST_MESSAGE_AGE}) {
    state.messages = {{0, state.step - age, 0, {1, 2}, {6, 2}}};
    const Picture picture = Draw(state, view);
    size_t darkness = 0;
    for (size_t i = 0; i < picture.pixels.size(); ++i) {
      darkness += static_cast<size_t>(std::max(0, without.pixels[i] - picture.pixels[i]));
      const size_t row = i / Picture::CHANNELS / picture.size.width;
      if (without.pixels[i] != picture.pixels[i]) {
        const PixelBox cell = renderer->Layout().Element({1, 2});
        EXPECT_LE(cell.y, static_cast<int64_t>(row));
        EXPECT_GT(cell.y + cell.height, static_cast<int64_t>(row));
      }
    }
    EXPECT_LT(0U, darkness);
    if (age > 0) {
      EXPECT_GT(before, darkness) << age;
    }
    before = darkness;
  }
}

TEST_F(FloorplanRendererTest, AMessageIsWideWhereItComesFrom) {
  const ArrayShape shape(1, 1, 8);
  ArrayState state = AsBuilt(shape);
  state.step = 30;
  state.messages = {{0, 28, 0, {0, 0}, {7, 0}}};
  FloorplanView view;
  view.size = PictureSize{8 * 16 + 16, 8 * 16 + 16};
  const Picture picture = Draw(state, view);
  const auto dark = [&](int64_t x) {
    int sum = 0;
    for (int64_t y = 0; y < picture.size.height; ++y) {
      sum += 255 - At(picture, x, y).green;
    }
    return sum;
  };
  // Between cells there is nothing else.
  const int64_t start = renderer->Layout().Element({1, 0}).x - 1;
  const int64_t end = renderer->Layout().Element({7, 0}).x - 1;
  EXPECT_LT(2 * dark(end), dark(start));
}

TEST_F(FloorplanRendererTest, WhereCellsAreCloseAMessageIsNarrower) {
  const ArrayShape shape(1, 1, 8);
  ArrayState state = AsBuilt(shape);
  state.step = 30;
  state.messages = {{0, 28, 0, {0, 0}, {7, 0}}};
  // How dark it is right before the second cell, where there is nothing else.
  const auto darkAt = [&](uint32_t pitch) {
    FloorplanView view;
    view.size = PictureSize{8 * pitch + 16, 8 * pitch + 16};
    const Picture picture = Draw(state, view);
    EXPECT_EQ(pitch, renderer->Layout().Pitch());
    const int64_t x = renderer->Layout().Element({1, 0}).x - 1;
    int sum = 0;
    for (int64_t y = 0; y < picture.size.height; ++y) {
      sum += 255 - At(picture, x, y).green;
    }
    return sum;
  };
  const int close = darkAt(8);
  const int apart = darkAt(16);
  EXPECT_LT(0, close);
  EXPECT_LT(close, apart);
  EXPECT_LT(apart, 2 * close);
}

TEST_F(FloorplanRendererTest, ASwitchIsFilledWhileItIsFresh) {
  const ArrayShape shape(2, 2, 4);
  ArrayState state = AsBuilt(shape);
  const auto middle = [&] {
    const Picture picture = Draw(state);
    const PixelSpot spot = renderer->Layout().Switch({1, 0});
    return At(picture, static_cast<int64_t>(spot.x), static_cast<int64_t>(spot.y));
  };
  EXPECT_EQ(light.paper, middle());
  uint8_t& code = state.switchCodes[1];
  code = SwitchCodes::Encode(2, 0);
  EXPECT_EQ(light.threads[2], middle());
  code = SwitchCodes::Encode(2, 5);
  EXPECT_EQ(Mix(light.threads[2], light.paper, 0.38), middle());
  code = SwitchCodes::Encode(2, 6);
  EXPECT_EQ(light.paper, middle());
}

TEST_F(FloorplanRendererTest, ADomainTakesItsMostFrequentThreadAndTheMeanFillOfAllItsElements) {
  const ArrayShape shape(8, 4, 4);
  ArrayState state = AsBuilt(shape);
  const auto touch = [&](Place place, uint32_t thread, uint64_t age) {
    state.elementCodes[shape.ElementNumber(place)] = ElementCodes::Encode(thread, age);
  };
  for (uint32_t column = 4; column < 8; ++column) {
    touch({column, 8}, 2, 0);
    touch({column, 9}, 2, 1);
    touch({column, 10}, 5, 0);
  }
  touch({31, 31}, 4, 4);
  FloorplanView view;
  view.size = PictureSize{500, 500};
  const Picture picture = Draw(state, view);
  ASSERT_EQ(Level::DOMAIN, renderer->Layout().Drawn());
  EXPECT_EQ(Mix(light.threads[2], light.paper, (4 + 4 * 0.82 + 4) / 16),
            Middle(picture, renderer->Layout().Domain({1, 2})));
  EXPECT_EQ(light.paper, Middle(picture, renderer->Layout().Domain({2, 2})));
  EXPECT_EQ(Mix(light.threads[4], light.paper, 0.2),
            Middle(picture, renderer->Layout().Domain({7, 7})));
  view.size = PictureSize{100, 100};
  const Picture small = Draw(state, view);
  ASSERT_EQ(Level::CLUSTER, renderer->Layout().Drawn());
  EXPECT_EQ(Mix(light.threads[2], light.paper, 0.2),
            Middle(small, renderer->Layout().Cluster({0, 0})));
}

TEST_F(FloorplanRendererTest, AnArrayOfAThousandByAThousandIsAPicture) {
  const ArrayShape shape(64, 4, 4);
  ArrayState state = AsBuilt(shape);
  for (uint32_t i = 0; i < 256; ++i) {
    for (uint32_t j = 0; j < 256; ++j) {
      state.elementCodes[shape.ElementNumber({256 + i, 512 + j})] = ElementCodes::Encode(0, 0);
    }
  }
  const Picture picture = Draw(state);
  ASSERT_EQ(Level::DOMAIN, renderer->Layout().Drawn());
  for (uint32_t column = 64; column < 128; ++column) {
    EXPECT_EQ(light.threads[0], Middle(picture, renderer->Layout().Domain({column, 140})));
  }
  EXPECT_EQ(light.paper, Middle(picture, renderer->Layout().Domain({63, 140})));
}

TEST_F(FloorplanRendererTest, ThemesDiffer) {
  const ArrayState state = With(ArrayShape(2, 2, 4), {3, 3}, 1, 0);
  FloorplanView dark;
  dark.colors = &FloorplanColors::Dark();
  EXPECT_EQ(FloorplanColors::Dark().paper, At(Draw(state, dark), 0, 0));
  EXPECT_EQ(light.paper, At(Draw(state), 0, 0));
}

TEST_F(FloorplanRendererTest, ARendererThatIsKeptDrawsWhatANewOneDraws) {
  const ArrayShape shape(PerAxis{2, 1}, PerAxis{2, 2}, PerAxis{3, 4});
  ArrayState first = With(shape, {3, 3}, 1, 0);
  first.step = 5;
  first.messages = {{0, 4, 0, {0, 0}, {9, 6}}, {1, 5, 0, {9, 6}, {9, 7}}};
  const Picture fresh = Draw(first);
  ASSERT_TRUE(renderer->Draw(AsBuilt(shape)));
  EXPECT_EQ(fresh, *renderer->Draw(first));
  EXPECT_NE(fresh, *renderer->Draw(AsBuilt(shape)));
}

TEST_F(FloorplanRendererTest, PicturesOfAnySizeAreDrawn) {
  for (const ArrayShape& shape : Shapes()) {
    ArrayState state = With(shape, {0, 0}, 1, 2);
    state.messages = {{0, 0, 0, {0, 0}, {shape.Columns() - 1, shape.Rows() - 1}},
                      {1, 0, 0, {0, 0}, {0, 0}},
                      {2, 0, 0, {0, 0}, {shape.Columns(), 0}}};
    for (const uint32_t width : {1U, 2U, 3U, 7U, 63U, 64U, 65U, 300U}) {
      for (const uint32_t height : {1U, 5U, 64U, 200U}) {
        FloorplanView view;
        view.size = PictureSize{width, height};
        EXPECT_EQ(*view.size, Draw(state, view).size);
      }
    }
  }
}

}  // namespace
}  // namespace marrowfin
