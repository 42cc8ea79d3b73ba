#include "render/OffscreenContext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace marrowfin {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

typedef std::unique_ptr<OffscreenContext> Context;

Context Open(PictureSize size, OffscreenContext::Way way = OffscreenContext::ANY_WAY) {
  auto context = OffscreenContext::Open(size, way);
  EXPECT_TRUE(context) << context.Why().Text();
  return context ? std::move(context).Take() : nullptr;
}

void Fill(float red, float green, float blue) {
  glClearColor(red, green, blue, 1);
  glClear(GL_COLOR_BUFFER_BIT);
}

Picture Filled(PictureSize size, uint8_t red, uint8_t green, uint8_t blue) {
  Picture picture = {size, {}};
  for (size_t i = 0; i < size.Pixels(); ++i) {
    picture.pixels.insert(picture.pixels.end(), {red, green, blue});
  }
  return picture;
}

class WayTest : public ::testing::TestWithParam<OffscreenContext::Way> {};

TEST_P(WayTest, WhatIsDrawnIsRead) {
  const Context context = Open({7, 5}, GetParam());
  ASSERT_FALSE(context->MakeCurrent());
  Fill(1, 0, 1);
  EXPECT_EQ(Filled({7, 5}, 255, 0, 255), context->Read());
  Fill(0, 1, 0);
  EXPECT_EQ(Filled({7, 5}, 0, 255, 0), context->Read());
}

TEST_P(WayTest, TheTopmostRowComesFirst) {
  const Context context = Open({2, 2}, GetParam());
  ASSERT_FALSE(context->MakeCurrent());
  Fill(1, 1, 1);
  glViewport(0, 0, 2, 2);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0, 2, 0, 2, -1, 1);
  // The lower left pixel.
  const GLint corners[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  const GLubyte colors[12] = {};
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(3, GL_INT, 0, corners);
  glColorPointer(3, GL_UNSIGNED_BYTE, 0, colors);
  glDrawArrays(GL_QUADS, 0, 4);
  Picture expected = Filled({2, 2}, 255, 255, 255);
  std::fill_n(expected.pixels.begin() + 6, 3, uint8_t{0});
  EXPECT_EQ(expected, context->Read());
}

TEST_P(WayTest, ContextsDoNotDrawOnEachOther) {
  const Context one = Open({3, 3}, GetParam());
  const Context other = Open({4, 4}, GetParam());
  ASSERT_FALSE(one->MakeCurrent());
  Fill(1, 0, 0);
  ASSERT_FALSE(other->MakeCurrent());
  Fill(0, 0, 1);
  EXPECT_EQ(Filled({4, 4}, 0, 0, 255), other->Read());
  ASSERT_FALSE(one->MakeCurrent());
  EXPECT_EQ(Filled({3, 3}, 255, 0, 0), one->Read());
}

TEST_P(WayTest, TheEndOfOneContextLeavesAnotherCurrent) {
  const Context stays = Open({3, 3}, GetParam());
  Context goes = Open({4, 4}, GetParam());
  ASSERT_FALSE(stays->MakeCurrent());
  goes.reset();
  Fill(1, 0, 0);
  EXPECT_EQ(Filled({3, 3}, 255, 0, 0), stays->Read());
}

TEST_P(WayTest, AnotherThreadDrawsInAContextOfItsOwn) {
  const Context here = Open({3, 3}, GetParam());
  ASSERT_FALSE(here->MakeCurrent());
  Fill(1, 0, 0);
  std::thread([] {
    const Context there = Open({4, 4}, GetParam());
    ASSERT_FALSE(there->MakeCurrent());
    Fill(0, 1, 0);
    EXPECT_EQ(Filled({4, 4}, 0, 255, 0), there->Read());
  }).join();
  EXPECT_EQ(Filled({3, 3}, 255, 0, 0), here->Read());
}

TEST_P(WayTest, MorePixelsThanAreDrawnAreRefused) {
  const auto context = OffscreenContext::Open({40000, 1}, GetParam());
  ASSERT_FALSE(context);
  EXPECT_EQ(Fault::SYSTEM, context.Why().kind);
  EXPECT_THAT(context.Why().Text(),
              AllOf(HasSubstr("OpenGL: "), HasSubstr("40000 by 1"), HasSubstr("smaller")));
}

TEST_P(WayTest, TheDrawerIsNamedWithItsWay) {
  const char* const way = GetParam() == OffscreenContext::BY_EGL ? ", by EGL" : ", by OSMesa";
  EXPECT_THAT(Open({1, 1}, GetParam())->Drawer(),
              AllOf(HasSubstr("llvmpipe"), HasSubstr(", Mesa "), HasSubstr(way)));
}

INSTANTIATE_TEST_SUITE_P(By, WayTest,
                         ::testing::Values(OffscreenContext::BY_EGL, OffscreenContext::BY_OSMESA),
                         [](const auto& info) {
                           return info.param == OffscreenContext::BY_EGL ? "Egl" : "Osmesa";
                         });

TEST(OffscreenContextTest, EglIsTakenWhereItIs) {
  EXPECT_THAT(Open({1, 1})->Drawer(), HasSubstr("by EGL"));
}

TEST(OffscreenContextTest, WhereNoContextIsCurrentNothingIsDrawn) {
  SetCurrentFunctions(nullptr);
  Fill(1, 0, 0);
  EXPECT_EQ(nullptr, glGetString(GL_RENDERER));
  Open({1, 1}).reset();
  EXPECT_EQ(nullptr, CurrentFunctions());
}

TEST(OffscreenContextTest, AFunctionThatIsMissingIsNoticed) {
  GlFunctions functions;
  int asked = 0;
  EXPECT_TRUE(FindFunctions(
      [&](const char* /*name*/) {
        ++asked;
        return static_cast<void*>(&asked);
      },
      functions));
  const int count = asked;
  for (int missing = 1; missing <= count; ++missing) {
    asked = 0;
    EXPECT_FALSE(FindFunctions(
        [&](const char* /*name*/) {
          return ++asked == missing ? nullptr : static_cast<void*>(&asked);
        },
        functions));
    EXPECT_EQ(count, asked);
  }
}

}  // namespace
}  // namespace marrowfin
