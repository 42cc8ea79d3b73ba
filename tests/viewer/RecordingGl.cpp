#include "tests/viewer/RecordingGl.h"

#include <GL/gl.h>

#include <cstdarg>
#include <cstdio>
#include <map>
#include <string>

#include "tests/viewer/Drawing.h"

namespace {

using marrowfin::testing::Drawing;
using marrowfin::testing::RecordCall;

// What glDrawArrays will take its vertices and colours from.
struct ClientArrays {
  bool verticesEnabled = false;
  bool colorsEnabled = false;
  const GLint* vertices = nullptr;
  const GLubyte* colors = nullptr;
};

ClientArrays arrays;

[[gnu::format(printf, 1, 2)]] void Record(const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  RecordCall(text);
}

// Values of several kinds share numbers, so each kind has a table of its own.
typedef std::map<GLenum, std::string> Names;

std::string Name(const Names& names, GLenum value) {
  const auto name = names.find(value);
  return name == names.end() ? std::to_string(value) : name->second;
}

std::string ArrayName(GLenum value) {
  return Name({{GL_VERTEX_ARRAY, "GL_VERTEX_ARRAY"}, {GL_COLOR_ARRAY, "GL_COLOR_ARRAY"}}, value);
}

std::string TypeName(GLenum value) {
  return Name({{GL_INT, "GL_INT"}, {GL_UNSIGNED_BYTE, "GL_UNSIGNED_BYTE"}}, value);
}

std::string MatrixName(GLenum value) {
  return Name({{GL_PROJECTION, "GL_PROJECTION"}, {GL_MODELVIEW, "GL_MODELVIEW"}}, value);
}

std::string ModeName(GLenum value) {
  return Name({{GL_QUADS, "GL_QUADS"}, {GL_LINE_LOOP, "GL_LINE_LOOP"}, {GL_LINES, "GL_LINES"}},
              value);
}

Drawing Contents(const std::string& mode, GLint first, GLsizei count) {
  Drawing drawing;
  drawing.mode = mode;
  for (GLint i = first; i < first + count; ++i) {
    const GLint* v = arrays.vertices + 3 * i;
    const GLubyte* c = arrays.colors + 3 * i;
    drawing.vertices.push_back({v[0], v[1], v[2]});
    drawing.colors.push_back({c[0], c[1], c[2]});
  }
  return drawing;
}

}  // namespace

void glEnableClientState(GLenum array) {
  Record("glEnableClientState(%s)", ArrayName(array).c_str());
  arrays.verticesEnabled = arrays.verticesEnabled || array == GL_VERTEX_ARRAY;
  arrays.colorsEnabled = arrays.colorsEnabled || array == GL_COLOR_ARRAY;
}

void glVertexPointer(GLint size, GLenum type, GLsizei stride, const GLvoid* pointer) {
  Record("glVertexPointer(%d, %s, %d, %p)", size, TypeName(type).c_str(), stride, pointer);
  const bool readable = size == 3 && type == GL_INT && stride == 0;
  arrays.vertices = readable ? static_cast<const GLint*>(pointer) : nullptr;
}

void glColorPointer(GLint size, GLenum type, GLsizei stride, const GLvoid* pointer) {
  Record("glColorPointer(%d, %s, %d, %p)", size, TypeName(type).c_str(), stride, pointer);
  const bool readable = size == 3 && type == GL_UNSIGNED_BYTE && stride == 0;
  arrays.colors = readable ? static_cast<const GLubyte*>(pointer) : nullptr;
}

void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
  const bool drawable = arrays.verticesEnabled && arrays.colorsEnabled &&
                        arrays.vertices != nullptr && arrays.colors != nullptr && first == 0;
  if (drawable) {
    RecordCall(DrawCall(Contents(ModeName(mode), first, count)));
  } else {
    Record("glDrawArrays(%s, %d, %d) of nothing", ModeName(mode).c_str(), first, count);
  }
}

void glClear(GLbitfield mask) {
  Record("glClear(%s)", Name({{GL_COLOR_BUFFER_BIT, "GL_COLOR_BUFFER_BIT"}}, mask).c_str());
}

void glClearColor(GLclampf red, GLclampf green, GLclampf blue, GLclampf alpha) {
  Record("glClearColor(%.9g, %.9g, %.9g, %.9g)", static_cast<double>(red),
         static_cast<double>(green), static_cast<double>(blue), static_cast<double>(alpha));
}

void glPushMatrix() { RecordCall("glPushMatrix()"); }

void glPopMatrix() { RecordCall("glPopMatrix()"); }

void glTranslated(GLdouble x, GLdouble y, GLdouble z) {
  Record("glTranslated(%.17g, %.17g, %.17g)", x, y, z);
}

void glRotated(GLdouble angle, GLdouble x, GLdouble y, GLdouble z) {
  Record("glRotated(%.17g, %.17g, %.17g, %.17g)", angle, x, y, z);
}

void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
  Record("glViewport(%d, %d, %d, %d)", x, y, width, height);
}

void glMatrixMode(GLenum mode) { Record("glMatrixMode(%s)", MatrixName(mode).c_str()); }

void glLoadIdentity() { RecordCall("glLoadIdentity()"); }

void glOrtho(GLdouble left, GLdouble right, GLdouble bottom, GLdouble top, GLdouble nearValue,
             GLdouble farValue) {
  Record("glOrtho(%.17g, %.17g, %.17g, %.17g, %.17g, %.17g)", left, right, bottom, top, nearValue,
         farValue);
}
