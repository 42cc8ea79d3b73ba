#ifndef RENDER_OPENGL_H
#define RENDER_OPENGL_H

#include <GL/gl.h>

#include <functional>

namespace marrowfin {

// The functions of OpenGL, as they are found when a context is made.
//
// The viewer's pieces call OpenGL by its names, and there are several libraries with these names:
// one for each way to draw without a window. None of them is linked with, so that programs start
// where there is none. Instead, the names are defined here and lead to the functions of the context
// in which a thread draws (see SetCurrentFunctions); where it draws in none, they do nothing.

// Those that are called, without the gl that all begin with.
struct GlFunctions {
  decltype(glClear)* Clear = nullptr;
  decltype(glClearColor)* ClearColor = nullptr;
  decltype(glColorPointer)* ColorPointer = nullptr;
  decltype(glDrawArrays)* DrawArrays = nullptr;
  decltype(glEnableClientState)* EnableClientState = nullptr;
  decltype(glGetIntegerv)* GetIntegerv = nullptr;
  decltype(glGetString)* GetString = nullptr;
  decltype(glLoadIdentity)* LoadIdentity = nullptr;
  decltype(glMatrixMode)* MatrixMode = nullptr;
  decltype(glOrtho)* Ortho = nullptr;
  decltype(glPixelStorei)* PixelStorei = nullptr;
  decltype(glPopMatrix)* PopMatrix = nullptr;
  decltype(glPushMatrix)* PushMatrix = nullptr;
  decltype(glReadPixels)* ReadPixels = nullptr;
  decltype(glRotated)* Rotated = nullptr;
  decltype(glTranslated)* Translated = nullptr;
  decltype(glVertexPointer)* VertexPointer = nullptr;
  decltype(glViewport)* Viewport = nullptr;
};

// Finds all of them by `find`, which returns null for a name that it does not know; false where one
// is missing.
bool FindFunctions(const std::function<void*(const char* name)>& find, GlFunctions& functions);

// From now on this thread draws by these functions, which must live as long; null for none.
void SetCurrentFunctions(const GlFunctions* functions);
const GlFunctions* CurrentFunctions();

}  // namespace marrowfin

#endif
