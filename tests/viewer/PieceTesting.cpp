#include "tests/viewer/PieceTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "tests/viewer/GlCalls.h"

namespace marrowfin::testing {

namespace {

std::string PointerText(const void* pointer) {
  char text[32];
  snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

}  // namespace

std::vector<Vertex> VerticesOf(const ArchitecturePiece& piece) {
  std::vector<Vertex> vertices;
  for (unsigned int i = 0; i < piece.vertexCount; ++i) {
    const GLint* v = piece.vertices + 3 * i;
    vertices.push_back({v[0], v[1], v[2]});
  }
  return vertices;
}

Color ColorOf(ArchitecturePiece& piece) {
  GLubyte red = 0;
  GLubyte green = 0;
  GLubyte blue = 0;
  piece.GetColor(red, green, blue);
  const Color color = {red, green, blue};
  EXPECT_EQ(color, (Color{piece.r, piece.g, piece.b}));
  for (unsigned int i = 0; i < piece.vertexCount; ++i) {
    const GLubyte* c = piece.colors + 3 * i;
    EXPECT_EQ(color, (Color{c[0], c[1], c[2]})) << "vertex " << i;
  }
  return color;
}

void Paint(ArchitecturePiece& piece, const Color& color) {
  piece.SetColor(static_cast<GLubyte>(color.red), static_cast<GLubyte>(color.green),
                 static_cast<GLubyte>(color.blue));
}

std::vector<Color> Fade(ArchitecturePiece& piece, int steps) {
  std::vector<Color> colors;
  for (int i = 0; i < steps; ++i) {
    piece.Decay();
    colors.push_back(ColorOf(piece));
  }
  return colors;
}

std::vector<Color> Greys(const std::vector<int>& values) {
  std::vector<Color> greys;
  for (const int value : values) {
    greys.push_back({value, value, value});
  }
  return greys;
}

void ExpectDraws(ArchitecturePiece& piece, const std::string& mode) {
  TakeGlCalls();
  piece.Draw();
  EXPECT_THAT(TakeGlCalls(),
              ::testing::ElementsAre(
                  "glEnableClientState(GL_VERTEX_ARRAY)", "glEnableClientState(GL_COLOR_ARRAY)",
                  "glVertexPointer(3, GL_INT, 0, " + PointerText(piece.vertices) + ")",
                  "glColorPointer(3, GL_UNSIGNED_BYTE, 0, " + PointerText(piece.colors) + ")",
                  DrawCall(DrawnIn(ColorOf(piece), mode, VerticesOf(piece)))));
}

}  // namespace marrowfin::testing
