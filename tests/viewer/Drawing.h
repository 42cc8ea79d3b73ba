#ifndef TESTS_VIEWER_DRAWING_H
#define TESTS_VIEWER_DRAWING_H

#include <ostream>
#include <string>
#include <vector>

namespace marrowfin::testing {

struct Vertex {
  int x;
  int y;
  int z;

  bool operator==(const Vertex&) const = default;
};

struct Color {
  int red;
  int green;
  int blue;

  bool operator==(const Color&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Vertex& vertex);
std::ostream& operator<<(std::ostream& out, const Color& color);

// What one glDrawArrays drew: the kind of primitives, and each vertex with its colour.
struct Drawing {
  std::string mode;  // such as "GL_QUADS"
  std::vector<Vertex> vertices;
  std::vector<Color> colors;

  bool operator==(const Drawing&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Drawing& drawing);

// A drawing all of one colour.
Drawing DrawnIn(const Color& color, const std::string& mode, const std::vector<Vertex>& vertices);

// The recorded form of a glDrawArrays call with its arrays' contents, such as
// "glDrawArrays(GL_LINES, 0, 2): (20,20,0) 255,0,0; (28,20,0) 255,0,0;".
std::string DrawCall(const Drawing& drawing);

// The other way round; throws std::invalid_argument for any other text.
Drawing ParseDrawCall(const std::string& call);

}  // namespace marrowfin::testing

#endif
