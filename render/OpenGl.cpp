#include "render/OpenGl.h"

namespace marrowfin {
namespace {

thread_local const GlFunctions* current = nullptr;

template <class Result, class... Parameters, class... Arguments>
Result Call(Result (*GlFunctions::*function)(Parameters...), Arguments... arguments) {
  return current == nullptr ? Result() : (current->*function)(arguments...);
}

}  // namespace

bool FindFunctions(const std::function<void*(const char* name)>& find, GlFunctions& functions) {
  bool all = true;
  const auto fill = [&]<class Function>(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(find(name));
    all = all && function != nullptr;
  };
  fill(functions.Clear, "glClear");
  fill(functions.ClearColor, "glClearColor");
  fill(functions.ColorPointer, "glColorPointer");
  fill(functions.DrawArrays, "glDrawArrays");
  fill(functions.EnableClientState, "glEnableClientState");
  fill(functions.GetIntegerv, "glGetIntegerv");
  fill(functions.GetString, "glGetString");
  fill(functions.LoadIdentity, "glLoadIdentity");
  fill(functions.MatrixMode, "glMatrixMode");
  fill(functions.Ortho, "glOrtho");
  fill(functions.PixelStorei, "glPixelStorei");
  fill(functions.PopMatrix, "glPopMatrix");
  fill(functions.PushMatrix, "glPushMatrix");
  fill(functions.ReadPixels, "glReadPixels");
  fill(functions.Rotated, "glRotated");
  fill(functions.Translated, "glTranslated");
  fill(functions.VertexPointer, "glVertexPointer");
  fill(functions.Viewport, "glViewport");
  return all;
}

void SetCurrentFunctions(const GlFunctions* functions) { current = functions; }

const GlFunctions* CurrentFunctions() { return current; }

}  // namespace marrowfin

// Each name, for everything that is linked with this library.

using marrowfin::Call;
using marrowfin::GlFunctions;

extern "C" {

void glClear(GLbitfield mask) { Call(&GlFunctions::Clear, mask); }

void glClearColor(GLclampf red, GLclampf green, GLclampf blue, GLclampf alpha) {
  Call(&GlFunctions::ClearColor, red, green, blue, alpha);
}

void glColorPointer(GLint size, GLenum type, GLsizei stride, const GLvoid* pointer) {
  Call(&GlFunctions::ColorPointer, size, type, stride, pointer);
}

void glDrawArrays(GLenum mode, GLint first, GLsizei count) {
  Call(&GlFunctions::DrawArrays, mode, first, count);
}

void glEnableClientState(GLenum array) { Call(&GlFunctions::EnableClientState, array); }

void glGetIntegerv(GLenum name, GLint* values) { Call(&GlFunctions::GetIntegerv, name, values); }

const GLubyte* glGetString(GLenum name) { return Call(&GlFunctions::GetString, name); }

void glLoadIdentity() { Call(&GlFunctions::LoadIdentity); }

void glMatrixMode(GLenum mode) { Call(&GlFunctions::MatrixMode, mode); }

void glOrtho(GLdouble left, GLdouble right, GLdouble bottom, GLdouble top, GLdouble nearest,
             GLdouble farthest) {
  Call(&GlFunctions::Ortho, left, right, bottom, top, nearest, farthest);
}

void glPixelStorei(GLenum name, GLint value) { Call(&GlFunctions::PixelStorei, name, value); }

void glPopMatrix() { Call(&GlFunctions::PopMatrix); }

void glPushMatrix() { Call(&GlFunctions::PushMatrix); }

void glReadPixels(GLint x, GLint y, GLsizei width, GLsizei height, GLenum format, GLenum type,
                  GLvoid* pixels) {
  Call(&GlFunctions::ReadPixels, x, y, width, height, format, type, pixels);
}

void glRotated(GLdouble angle, GLdouble x, GLdouble y, GLdouble z) {
  Call(&GlFunctions::Rotated, angle, x, y, z);
}

void glTranslated(GLdouble x, GLdouble y, GLdouble z) { Call(&GlFunctions::Translated, x, y, z); }

void glVertexPointer(GLint size, GLenum type, GLsizei stride, const GLvoid* pointer) {
  Call(&GlFunctions::VertexPointer, size, type, stride, pointer);
}

void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
  Call(&GlFunctions::Viewport, x, y, width, height);
}

}  // extern "C"
