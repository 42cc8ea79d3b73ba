#include "tests/viewer/Drawing.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace marrowfin::testing {

std::ostream& operator<<(std::ostream& out, const Vertex& vertex) {
  return out << "(" << vertex.x << "," << vertex.y << "," << vertex.z << ")";
}

std::ostream& operator<<(std::ostream& out, const Color& color) {
  return out << color.red << "," << color.green << "," << color.blue;
}

std::ostream& operator<<(std::ostream& out, const Drawing& drawing) {
  return out << DrawCall(drawing);
}

Drawing DrawnIn(const Color& color, const std::string& mode, const std::vector<Vertex>& vertices) {
  return {mode, vertices, std::vector<Color>(vertices.size(), color)};
}

std::string DrawCall(const Drawing& drawing) {
  std::ostringstream out;
  out << "glDrawArrays(" << drawing.mode << ", 0, " << drawing.vertices.size() << "):";
  for (size_t i = 0; i < drawing.vertices.size(); ++i) {
    out << " " << drawing.vertices[i] << " " << drawing.colors.at(i) << ";";
  }
  return out.str();
}

Drawing ParseDrawCall(const std::string& call) {
  Drawing drawing;
  char mode[32];
  int rest = 0;
  if (sscanf(call.c_str(), "glDrawArrays(%31[A-Z_], 0, %*d):%n", mode, &rest) == 1 && rest > 0) {
    drawing.mode = mode;
    const char* text = call.c_str() + rest;
    Vertex v;
    Color c;
    int length = 0;
    while (sscanf(text, " (%d,%d,%d) %d,%d,%d;%n", &v.x, &v.y, &v.z, &c.red, &c.green, &c.blue,
                  &length) == 6) {
      drawing.vertices.push_back(v);
      drawing.colors.push_back(c);
      text += length;
    }
  }
  if (DrawCall(drawing) != call) {
    throw std::invalid_argument("no drawing: " + call);
  }
  return drawing;
}

}  // namespace marrowfin::testing
